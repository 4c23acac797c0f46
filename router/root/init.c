/*
 * First process of the virtual router: reaps every process that ends, at once.
 *
 * Daemons leave their children to it, and a child that nobody reaps is still counted by pidof. A shell or busybox's
 * init takes up to half a second for it.
 */
#include <signal.h>
#include <stddef.h>
#include <sys/wait.h>

int main(void)
{
    sigset_t child_ended;

    sigemptyset(&child_ended);
    sigaddset(&child_ended, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child_ended, NULL);
    for (;;) {
        while (waitpid(-1, NULL, WNOHANG) > 0)
            continue;
        sigwaitinfo(&child_ended, NULL);
    }
}
