// What the callbacks of the services have in common.
#ifndef NAS_SERVICE_CALLBACK_H
#define NAS_SERVICE_CALLBACK_H

struct PeriodicCallbackRecord;

namespace nas
{

// How a callback was called.
struct CallMode {
    bool forced;        // start the daemon even when the service is switched off
    bool nomount;       // stop it and leave it stopped
    bool only_register; // do nothing but announce the router to the service's server
};

CallMode read_mode(const char *mode);

// Does the service stay stopped after this call? Logs its end when it had been running.
bool stays_stopped(const CallMode &call, int enable, bool was_running, const char *source);

// Is the service's disk mounted? Logs when it is not.
bool finds_disk(const char *disk, const char *source);

// Has the host call a periodic callback again after so many seconds.
inline constexpr int never = 0;
void call_again(PeriodicCallbackRecord &record, int seconds);

} // namespace nas

#endif
