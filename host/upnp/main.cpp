/* nas-upnpd: has the upstream gateway lead the services' ports to this router.
 *
 * It takes one message per datagram on the socket "upnp_socket", and runs in the foreground until SIGTERM. What it was
 * told stays in a file, so that a new agent goes on where the last one ended. */
#include "agent.h"
#include "files.h"
#include "settings.h"
#include "text.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace
{

using upnp::Clock;

/* Empties the socket: the kernel queues only a few messages and refuses the next. */
void take_messages(int socket_fd, upnp::Agent &agent)
{
    char message[2048];
    ssize_t got;
    while ((got = recv(socket_fd, message, sizeof message, MSG_DONTWAIT)) >= 0 || errno == EINTR) {
        if (got >= 0)
            agent.take_message({message, static_cast<size_t>(got)}, Clock::now());
    }
}

bool is_answered(int fd, const sockaddr_un &address)
{
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

/* Takes the place of a socket that an agent left when it was killed, not of one that is in use. -1 on failure. */
int listen_at(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return -1;
    nashost::copy_cut(address.sun_path, sizeof address.sun_path, path);
    nashost::make_parent_folders(path);

    int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool answered = is_answered(probe, address);
    close(probe);
    if (answered) {
        errno = EADDRINUSE;
        return -1;
    }
    struct stat status;
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode))
        unlink(path.c_str());
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    mode_t mask = umask(0177); // root alone may ask for open ports
    bool bound = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    umask(mask);
    if (bound)
        return fd;
    int error = errno;
    close(fd);
    errno = error;
    return -1;
}

int open_signals()
{
    sigset_t awaited;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGTERM);
    sigaddset(&awaited, SIGINT);
    sigprocmask(SIG_BLOCK, &awaited, nullptr);
    return signalfd(-1, &awaited, SFD_CLOEXEC);
}

int milliseconds_until(Clock::time_point time)
{
    auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

void run(int socket_fd, int signal_fd)
{
    upnp::Agent agent;
    for (;;) {
        pollfd watched[] = {{signal_fd, POLLIN, 0}, {socket_fd, POLLIN, 0}, {agent.round().descriptor(), POLLIN, 0}};
        int ready = poll(watched, std::size(watched), milliseconds_until(agent.next_event()));
        if (ready > 0 && watched[0].revents != 0)
            return;
        if (ready > 0 && watched[1].revents != 0)
            take_messages(socket_fd, agent);
        if (ready > 0 && watched[2].revents != 0)
            agent.take_results(Clock::now());
        agent.work_when_due(Clock::now());
    }
}

} // namespace

int main(int argc, char **)
{
    if (argc > 1) {
        fputs("usage: nas-upnpd (its settings are in /etc/nas-host.conf)\n", stderr);
        return 2;
    }
    openlog("nas-upnpd", LOG_PERROR | LOG_PID, LOG_DAEMON);
    signal(SIGPIPE, SIG_IGN);
    int signal_fd = open_signals();
    std::string path = nashost::setting("upnp_socket");
    int socket_fd = listen_at(path);
    if (socket_fd < 0 || signal_fd < 0) {
        syslog(LOG_ERR, "%s: %s", path.c_str(), strerror(errno));
        return 1;
    }
    run(socket_fd, signal_fd);
    unlink(path.c_str());
    return 0;
}
