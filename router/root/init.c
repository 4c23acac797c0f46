/*
 * First process of the virtual router: reaps every process that ends, at once, and keeps one daemon running.
 *
 *   init [PROGRAM LOCK]
 *
 * Daemons leave their children to it, and a child that nobody reaps is still counted by pidof. A shell or busybox's
 * init takes up to half a second for it.
 *
 * PROGRAM is started when nobody holds LOCK. So it does not matter who had started the one that ended: as an orphan it
 * was our child. After SIGTERM it is not started any more.
 */
#include <fcntl.h>
#include <signal.h>
#include <stddef.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static int is_held(const char *lock)
{
    int file = open(lock, O_RDONLY | O_CLOEXEC);
    int held = file >= 0 && flock(file, LOCK_SH | LOCK_NB) != 0;

    if (file >= 0)
        close(file);
    return held;
}

static pid_t start(const char *program)
{
    sigset_t none;
    pid_t child = fork();

    if (child != 0)
        return child;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, NULL);
    setsid();
    execl(program, program, (char *)NULL);
    _exit(127);
}

int main(int count, char **words)
{
    const char *program = count == 3 && access(words[1], X_OK) == 0 ? words[1] : NULL;
    const struct timespec second = {1, 0};
    sigset_t awaited;
    time_t started = 0;
    pid_t child = 0, ended;

    sigemptyset(&awaited);
    sigaddset(&awaited, SIGCHLD);
    sigaddset(&awaited, SIGTERM);
    sigprocmask(SIG_BLOCK, &awaited, NULL);
    for (;;) {
        int missing, received;

        while ((ended = waitpid(-1, NULL, WNOHANG)) > 0)
            child = ended == child ? 0 : child;
        missing = program != NULL && child == 0 && !is_held(words[2]);
        if (missing && time(NULL) != started) { /* no more than one in a second */
            started = time(NULL);
            child = start(program);
            missing = 0;
        }
        received = missing ? sigtimedwait(&awaited, NULL, &second) : sigwaitinfo(&awaited, NULL);
        if (received == SIGTERM)
            program = NULL;
    }
}
