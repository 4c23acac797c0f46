#include "kill/stepping.h"

#include "support/private_root.h"

#include <csignal>
#include <cstdio>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace stepping
{
namespace
{

constexpr int system_call_stop = SIGTRAP | 0x80;

void end(pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// The child is stopped. Every system call stops it twice: before and behind.
int step(pid_t child, int kill_behind)
{
    int status = 0, stops = 0;
    long signal = 0;
    while (ptrace(PTRACE_SYSCALL, child, nullptr, signal) == 0 && waitpid(child, &status, 0) == child &&
           WIFSTOPPED(status)) {
        signal = 0;
        if (WSTOPSIG(status) != system_call_stop) {
            signal = status >> 16 == 0 ? WSTOPSIG(status) : 0; // not an event of the tracing itself
        } else if (++stops == 2 * kill_behind) {
            end(child);
            return -1;
        }
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? stops / 2 : -2;
}

} // namespace

int run(const std::function<void()> &body, int kill_behind)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        private_root::be_quiet();
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        body();
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    return step(child, kill_behind);
}

bool kill_running(pid_t child, int kill_behind)
{
    if (ptrace(PTRACE_SEIZE, child, nullptr, PTRACE_O_TRACESYSGOOD) != 0 ||
        ptrace(PTRACE_INTERRUPT, child, nullptr, nullptr) != 0 || waitpid(child, nullptr, 0) != child)
        return false;
    return step(child, kill_behind) == -1;
}

} // namespace stepping
