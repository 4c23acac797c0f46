/* One request, performed by a process that is not named serviced. */
#ifndef SERVICED_WORKER_H
#define SERVICED_WORKER_H

#include <string>

namespace serviced
{

/* What a worker's exit status says. */
enum WorkerStatus {
    worker_done = 0,
    worker_started_services = 10, /* daemons may still be on their way up */
    worker_had_no_room = 11,      /* nothing is done: the queue or the schedule cannot be stored */
};

/* Requests of serviced to its own workers. */
constexpr char health_request[] = "health";
constexpr char periodic_prefix[] = "periodic:";

/* Is it one of the services of the tables? */
bool is_service(const std::string &request);

/* An unknown request is logged and does nothing. */
WorkerStatus perform_request(const std::string &request);

/* Waits until no other process runs callbacks or events, takes the first request of the queue and performs it. */
int work();

/* Calls one periodic callback until it wants no more, unless another process does; each call waits as work() does. */
int poll(const std::string &name);

} // namespace serviced

#endif
