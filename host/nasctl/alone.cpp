#include "alone.h"

#include "nas/service.h"

#include "callback_output.h"
#include "output.h"
#include "worker_lock.h"

namespace nasctl
{

void run_alone(const char *who, std::initializer_list<const char *> starting, const std::function<void()> &work)
{
    constexpr int patience_milliseconds = 120 * 1000;
    nashost::LockFile lock;
    if (!nashost::take_worker_lock_within(lock, patience_milliseconds))
        throw Failure(std::string(who) + ": other services are being started or stopped; try again later");
    // Should we be ended in the middle, the next worker finds this, and removes the marks.
    const nashost::BusyNote note(lock, std::string("nasctl: ") + who);
    for (const char *service : starting)
        set_service_starting(service, 1);
    bool ended = run_with_output_to_error(work);
    for (const char *service : starting)
        set_service_starting(service, 0);
    if (!ended)
        throw Failure(std::string(who) + ": its callback was interrupted");
}

} // namespace nasctl
