/* What a worker can run: the tables of the library's callbacks. */
#ifndef SERVICED_SERVICES_H
#define SERVICED_SERVICES_H

#include <span>
#include <string>

struct PeriodicCallbackRecord;

namespace serviced
{

struct Service {
    const char *name; /* as in requests and in the library's table of services */
    int (*callback)(const char *mode);
    bool registers = false;      /* takes the mode "register" */
    bool (*may_run)() = nullptr; /* false: nobody misses its daemon now */
};

enum class Begins { with_the_services, when_asked };

struct Periodic {
    const char *name;
    int (*callback)(PeriodicCallbackRecord *record);
    Begins begins;
    const char *request = nullptr; /* asks for it */
    bool (*prepare)() = nullptr;   /* what has to be done first when it is asked for; false: it is not to be called */
    bool keeps_state = false;      /* in memory: all its calls have to come from one process */
};

/* In the order in which "all" runs them. */
std::span<const Service> services();
std::span<const Periodic> periodics();

/* Is the disk plugged in? */
bool is_disk_there(const std::string &disk);

/* Performs "add,<disk>". */
void perform_event(const std::string &event);

/* Mounts every volume that should be and is not, and those anew whose driver in user space is dead. True when something
 * has changed: the services are to be started anew then. */
bool repair_volumes();

/* Marks the service as being started, or no longer. */
void mark_starting(const char *service, bool on);

/* Asks for every service that is switched on and does not run. */
void check_health();

} // namespace serviced

#endif
