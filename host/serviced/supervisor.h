/* The loop of serviced: it starts a worker for every request that waits, one at a time, and asks for what is due by
 * itself. It runs nothing of the library, so nothing of the library can hold it up. */
#ifndef SERVICED_SUPERVISOR_H
#define SERVICED_SUPERVISOR_H

#include "schedule.h"

#include <sys/types.h>

#include <optional>

namespace serviced
{

struct Supervisor {
    int wake_socket = -1;
    int signals = -1;
    pid_t worker = 0;            /* 0 when none is there */
    Milliseconds health_due = 0; /* the next look at the services */
    Milliseconds worker_due = 0; /* no worker before, after one that failed */
    Milliseconds asking_due = 0; /* nothing is asked for before, after a request that could not be stored */
    Milliseconds events_due = 0; /* no handler of events before, after one that was started */
    bool wants_all = true;       /* every service is to be asked for */
    bool has_no_room = false;    /* the queue or the schedule could not be stored, and the log says so */
};

/* The datagram socket that wakes the loop, at the path of the setting; -1 when it cannot be made. */
int open_wake_socket();
void remove_wake_socket();

/* ---- the rules ---- */

/* How long the loop may sleep; nothing: until a datagram or a signal comes. */
std::optional<Milliseconds> sleep_time(const Supervisor &supervisor, const Schedule &schedule, bool requests_wait,
                                       Milliseconds now);

/* The worker has ended with this wait status. */
void note_worker_end(Supervisor &supervisor, int status, Milliseconds now);

/* Runs until a signal ends it; a worker that works goes on. Returns the exit status. */
int supervise(Supervisor &supervisor);

} // namespace serviced

#endif
