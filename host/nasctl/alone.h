/* Runs what starts and stops services. */
#ifndef NASCTL_ALONE_H
#define NASCTL_ALONE_H

#include <functional>
#include <initializer_list>

namespace nasctl
{

/* Runs `work`, its output on standard error, while serviced's workers and the hotplug handler stay away, and whoever
 * looks after services leaves those in `starting` alone. `who` begins the message of the Failure that is thrown when
 * the others do not let go, or when `work` does not end by itself. */
void run_alone(const char *who, std::initializer_list<const char *> starting, const std::function<void()> &work);

} // namespace nasctl

#endif
