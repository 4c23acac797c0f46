#include "supervisor.h"

#include "event_queue.h"
#include "request_queue.h"
#include "settings.h"
#include "startup.h"
#include "text.h"
#include "worker.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace serviced
{
namespace
{

constexpr Milliseconds second = 1000;
constexpr Milliseconds pause_after_failure = second;
constexpr Milliseconds event_interval = 5 * second;

Milliseconds health_interval()
{
    return std::max(nashost::setting_number("health_seconds"), 1) * second;
}

sigset_t handled_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (int signal : {SIGTERM, SIGINT, SIGCHLD})
        sigaddset(&signals, signal);
    return signals;
}

/* In the child, between fork and exec. */
[[noreturn]] void become(const std::string &program, const char *argument)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execl(program.c_str(), program.c_str(), argument, nullptr);
    syslog(LOG_ERR, "%s cannot be started: %s", program.c_str(), strerror(errno));
    _exit(127);
}

[[noreturn]] void become_worker(pid_t serviced, const std::string &program)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // as long as it only waits: see work()
    if (getppid() != serviced)
        _exit(worker_done);
    become(program, nullptr);
}

/* A handler of events that died in the middle has nobody else who goes on for it. */
void resume_events(Supervisor &supervisor, Milliseconds now)
{
    if (now < supervisor.events_due || !hotplug::events_are_left())
        return;
    supervisor.events_due = now + event_interval;
    const std::string program = nashost::setting("hotplug_program");
    if (fork() == 0)
        become(program, "--resume");
}

void start_worker(Supervisor &supervisor)
{
    const std::string program = nashost::setting("worker_program");
    const pid_t serviced = getpid();
    const pid_t child = fork();
    if (child == 0)
        become_worker(serviced, program);
    if (child > 0) {
        supervisor.worker = child;
        return;
    }
    syslog(LOG_ERR, "no process for a worker: %s", strerror(errno));
    supervisor.worker_due = present_time() + pause_after_failure;
}

/* Said once, until there is room again. */
void note_room(Supervisor &supervisor, bool has_room)
{
    if (has_room == supervisor.has_no_room) {
        syslog(has_room ? LOG_INFO : LOG_ERR,
               has_room ? "there is room in %s again" : "there is no room in %s: requests have to wait",
               nashost::setting("run_dir").c_str());
    }
    supervisor.has_no_room = !has_room;
}

bool ask(Supervisor &supervisor, const std::string &request, Milliseconds now)
{
    if (nashost::add_request(request))
        return true;
    supervisor.asking_due = now + pause_after_failure;
    note_room(supervisor, false);
    return false;
}

/* Asks for what is due, as anybody else would ask. */
void ask_for_what_is_due(Supervisor &supervisor, Milliseconds now)
{
    if (now < supervisor.asking_due)
        return;
    if (supervisor.wants_all)
        supervisor.wants_all = !ask(supervisor, std::string(nashost::all_services_request), now);
    for (const Appointment &appointment : read_schedule()) {
        if (appointment.due <= now)
            ask(supervisor, periodic_prefix + appointment.name, now);
    }
    if (supervisor.health_due <= now && ask(supervisor, health_request, now))
        supervisor.health_due = now + health_interval();
}

/* Nothing is due while a worker is there: services that it has stopped would look as if they had died. */
void start_what_is_due(Supervisor &supervisor)
{
    const Milliseconds now = present_time();
    if (supervisor.worker != 0)
        return;
    ask_for_what_is_due(supervisor, now);
    if (nashost::requests_wait() && supervisor.worker_due <= now)
        start_worker(supervisor);
}

/* The log is looked at now and then, whatever else there is to do. */
int poll_timeout(const Supervisor &supervisor)
{
    constexpr Milliseconds longest = 5 * second;
    const std::optional<Milliseconds> time =
        sleep_time(supervisor, read_schedule(), nashost::requests_wait(), present_time());
    return static_cast<int>(std::min(time.value_or(longest), longest));
}

void read_wake_ups(int fd)
{
    char text[1];
    while (recv(fd, text, sizeof text, MSG_DONTWAIT) >= 0)
        continue;
}

void reap(Supervisor &supervisor)
{
    int status = 0;
    for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (pid == supervisor.worker)
            note_worker_end(supervisor, status, present_time());
    }
}

/* The signal that ends the loop; 0 when it goes on. */
int read_signals(Supervisor &supervisor)
{
    signalfd_siginfo info;
    while (read(supervisor.signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        if (info.ssi_signo != SIGCHLD)
            return static_cast<int>(info.ssi_signo);
        reap(supervisor);
    }
    return 0;
}

} // namespace

int open_wake_socket()
{
    const std::string path = nashost::setting("serviced_socket");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return -1;
    nashost::copy_cut(address.sun_path, sizeof address.sun_path, path);
    unlink(path.c_str()); // of one that was killed
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const mode_t mask = umask(0177);
    const bool bound = fd >= 0 && bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    umask(mask);
    if (bound)
        return fd;
    if (fd >= 0)
        close(fd);
    return -1;
}

void remove_wake_socket()
{
    unlink(nashost::setting("serviced_socket").c_str());
}

std::optional<Milliseconds> sleep_time(const Supervisor &supervisor, const Schedule &schedule, bool requests_wait,
                                       Milliseconds now)
{
    if (supervisor.worker != 0)
        return std::nullopt;
    Milliseconds next = supervisor.health_due;
    if (std::optional<Milliseconds> due = first_due(schedule))
        next = std::min(next, *due);
    if (supervisor.wants_all)
        next = now;
    next = std::max(next, supervisor.asking_due);
    if (requests_wait)
        next = std::min(next, supervisor.worker_due);
    return std::max<Milliseconds>(next - now, 0);
}

/* Daemons that were just started need a moment until all their processes are there. */
void note_worker_end(Supervisor &supervisor, int status, Milliseconds now)
{
    supervisor.worker = 0;
    const int left_with = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (left_with == worker_started_services)
        supervisor.health_due = now + health_interval();
    if (left_with == worker_started_services || left_with == worker_done)
        return note_room(supervisor, true);
    supervisor.worker_due = now + pause_after_failure;
    supervisor.asking_due = supervisor.worker_due;
    if (left_with == worker_had_no_room)
        note_room(supervisor, false);
    else if (WIFSIGNALED(status))
        syslog(LOG_ERR, "a worker was ended by signal %d", WTERMSIG(status));
    else
        syslog(LOG_ERR, "a worker failed with status %d", WEXITSTATUS(status));
}

int supervise(Supervisor &supervisor)
{
    const sigset_t handled = handled_signals();
    sigprocmask(SIG_BLOCK, &handled, nullptr);
    supervisor.signals = signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
    if (supervisor.signals < 0)
        return 1;
    supervisor.health_due = present_time() + health_interval();
    for (;;) {
        start_what_is_due(supervisor);
        resume_events(supervisor, present_time());
        nashost::bound_log();
        pollfd sources[] = {{supervisor.signals, POLLIN, 0}, {supervisor.wake_socket, POLLIN, 0}};
        poll(sources, std::size(sources), poll_timeout(supervisor));
        read_wake_ups(supervisor.wake_socket);
        if (const int signal = read_signals(supervisor); signal != 0) {
            syslog(LOG_INFO, "ends on signal %d", signal);
            return 0;
        }
    }
}

} // namespace serviced
