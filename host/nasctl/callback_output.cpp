#include "callback_output.h"

#include "files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace nasctl
{
namespace
{

constexpr useconds_t pause_microseconds = 50 * 1000;

int open_output_file()
{
    int fd = memfd_create("output", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd >= 0)
        fcntl(fd, F_SETFL, O_APPEND); // both descriptors write behind what is there
    return fd;
}

[[noreturn]] void be_child(int output, const std::function<void()> &work)
{
    signal(SIGINT, SIG_DFL);
    signal(SIGPIPE, SIG_DFL);
    int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0)
        dup2(nothing, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    work();
    fflush(stdout);
    _exit(0);
}

/* Passes on what stands behind `position`, and moves it. */
void forward(int output, off_t &position)
{
    char part[4096];
    for (ssize_t got; (got = pread(output, part, sizeof part, position)) > 0; position += got)
        nashost::write_all(STDERR_FILENO, {part, static_cast<size_t>(got)});
}

/* Forwards until the child has ended; its wait status. */
int forward_until_ended(pid_t child, int output)
{
    off_t position = 0;
    for (;;) {
        int status = 0;
        pid_t ended = waitpid(child, &status, WNOHANG);
        forward(output, position);
        if (ended == child)
            return status;
        if (ended < 0 && errno != EINTR)
            return -1;
        usleep(pause_microseconds);
    }
}

} // namespace

bool run_with_output_to_error(const std::function<void()> &work)
{
    int output = open_output_file();
    if (output < 0)
        return false;
    fflush(stdout);
    fflush(stderr);
    // An interrupt reaches the child, and who reads may have gone: whoever waits for the child has to tidy up.
    auto *interrupt = signal(SIGINT, SIG_IGN);
    auto *broken_pipe = signal(SIGPIPE, SIG_IGN);
    pid_t child = fork();
    if (child == 0)
        be_child(output, work);
    int status = child > 0 ? forward_until_ended(child, output) : -1;
    signal(SIGINT, interrupt);
    signal(SIGPIPE, broken_pipe);
    fcntl(output, F_ADD_SEALS, F_SEAL_GROW | F_SEAL_WRITE); // a talkative daemon must not fill the memory
    close(output);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace nasctl
