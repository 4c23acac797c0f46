/* serviced: runs the services of the router, on requests and by itself. Its worker, nas-worker, calls the library; this
 * one only starts workers. */
#include "lock_file.h"
#include "settings.h"
#include "startup.h"
#include "supervisor.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace
{

enum Exit { done = 0, failed = 1, wrong_usage = 2 };

struct Options {
    bool foreground = false;
    bool help = false;
    bool valid = true;
};

Options parse(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; i++) {
        const std::string_view word = argv[i];
        if (word == "-f" || word == "--foreground")
            options.foreground = true;
        else if (word == "-h" || word == "--help")
            options.help = true;
        else
            options.valid = false;
    }
    return options;
}

void print_usage(FILE *to)
{
    fputs("usage: serviced [-f | --foreground]\n"
          "Runs the router's services: all of them now, and each when it is asked for.\n"
          "  -f, --foreground   do not go to the background; messages go to standard error\n",
          to);
}

/* The parent leaves once everything is set up, so that whoever has started serviced can rely on it. */
bool go_to_background()
{
    if (!nashost::send_output_to_log())
        syslog(LOG_WARNING, "%s: %s", nashost::setting("serviced_log").c_str(), strerror(errno));
    const pid_t child = fork();
    if (child > 0)
        _exit(done);
    return child == 0 && setsid() > 0;
}

} // namespace

int main(int argc, char **argv)
{
    const Options options = parse(argc, argv);
    if (options.help || !options.valid) {
        print_usage(options.help ? stdout : stderr);
        return options.help ? done : wrong_usage;
    }
    nashost::fill_standard_descriptors();
    nashost::make_sure_of_path();
    umask(022);
    openlog("serviced", LOG_PID | LOG_PERROR, LOG_DAEMON);

    // One that was told to end may still be about to.
    constexpr int patience_milliseconds = 2000;
    const std::string lock_path = nashost::setting("run_dir") + "/serviced.lock";
    nashost::LockFile lock;
    if (!lock.take_within(lock_path, patience_milliseconds)) {
        const bool runs_already = errno == EWOULDBLOCK;
        if (runs_already)
            syslog(LOG_INFO, "another one runs already");
        else
            syslog(LOG_ERR, "%s cannot be locked: %s", lock_path.c_str(), strerror(errno));
        return runs_already ? done : failed;
    }
    serviced::Supervisor supervisor;
    supervisor.wake_socket = serviced::open_wake_socket();
    if (supervisor.wake_socket < 0) {
        syslog(LOG_ERR, "no socket at %s: %s", nashost::setting("serviced_socket").c_str(), strerror(errno));
        return failed;
    }
    if (chdir("/") != 0 || (!options.foreground && !go_to_background())) {
        syslog(LOG_ERR, "cannot start: %s", strerror(errno));
        return failed;
    }
    if (!lock.set_note(std::to_string(getpid()) + "\n"))
        syslog(LOG_WARNING, "%s cannot be written: %s", lock_path.c_str(), strerror(errno));
    const int status = serviced::supervise(supervisor);
    serviced::remove_wake_socket();
    return status;
}
