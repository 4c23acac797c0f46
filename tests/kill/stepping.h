// Ends a process by SIGKILL right behind a system call counted off.
#ifndef NAS_TESTS_STEPPING_H
#define NAS_TESTS_STEPPING_H

#include <functional>
#include <sys/types.h>

namespace stepping
{

inline constexpr int never = 0;

// Calls `body` in a child and kills it behind its system call number `kill_behind` (from 1; `never` lets it end).
// Returns how many it had made when it ended by itself; -1 when it was killed.
int run(const std::function<void()> &body, int kill_behind);

// Does the same to a child of ours that runs already. False when it ended by itself.
bool kill_running(pid_t child, int kill_behind);

} // namespace stepping

#endif
