/* hotplug: the kernel's handler of device events, named in /proc/sys/kernel/hotplug. The event is in the environment
 * (ACTION, DEVPATH, SEQNUM). */
#include "nas/hotplug.h"
#include "platform/device.h"

#include "event_queue.h"
#include "filter.h"
#include "startup.h"
#include "worker_lock.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace
{

std::string environment(const char *name)
{
    const char *value = getenv(name);
    return value == nullptr ? "" : value;
}

/* What is held until no event waits: the partitions of a disk go one after the other, and nothing is to be started
 * between. */
struct Batch {
    nashost::LockFile turn;
    nashost::LockFile lock;
    int patience_milliseconds = 120 * 1000;
};

/* A worker that hangs on the disk which is gone must not keep it mounted for ever; it is waited for only once. */
void keep_workers_out(Batch &batch)
{
    if (batch.lock.is_held() || nashost::take_worker_lock_first(batch.turn, batch.lock, batch.patience_milliseconds))
        return;
    batch.patience_milliseconds = 0;
    syslog(LOG_WARNING, "a worker of serviced does not end; the event is handled in spite of it");
}

void handle(const hotplug::Event &event, hotplug::Attempt attempt, Batch &batch)
{
    const char *action = event.action.c_str(), *path = event.path.c_str();
    if (attempt == hotplug::Attempt::none_left)
        return syslog(LOG_ERR, "%s %s is given up: its handler ended twice in the middle", action, path);
    if (attempt == hotplug::Attempt::second)
        syslog(LOG_WARNING, "%s %s was not finished: its handler ended early; once more", action, path);
    else
        syslog(LOG_INFO, "%s %s", action, path);
    // A disk that is added is mounted by serviced's worker, except for diagnosis.
    if (hotplug::removes_volume(event) || check_diag_flag() != 0)
        keep_workers_out(batch);
    std::optional<nashost::BusyNote> note;
    if (batch.lock.is_held())
        note.emplace(batch.lock, event.action + " " + event.path);
    setenv("ACTION", action, 1);
    setenv("DEVPATH", path, 1);
    hotplug_usb2(0, nullptr);
}

void print_usage(FILE *to)
{
    fputs("usage: ACTION=add|remove DEVPATH=PATH hotplug [SUBSYSTEM]\n"
          "       hotplug --resume\n"
          "Handles an event of a USB disk, a printer or a phone, as the kernel's handler. Other events are ignored.\n"
          "  --resume   handle what a handler has left that ended in the middle\n",
          to);
}

/* The kernel gives its handler no open file; what is told while disks come and go belongs into serviced's log. */
void set_up_output()
{
    const bool has_output = fcntl(STDERR_FILENO, F_GETFD) >= 0;
    nashost::fill_standard_descriptors();
    if (!has_output)
        nashost::send_output_to_log();
    setvbuf(stdout, nullptr, _IOLBF, 0);
}

int drain()
{
    Batch batch;
    const bool stored = hotplug::drain_events(
        [&](const hotplug::Event &event, hotplug::Attempt attempt) { handle(event, attempt, batch); });
    if (!stored)
        syslog(LOG_ERR, "events wait: the queue cannot be stored");
    return stored ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string action = environment("ACTION"), path = environment("DEVPATH");
    const std::string_view option = argc == 2 && argv[1][0] == '-' ? argv[1] : "";
    const bool resumes = option == "--resume";
    if (!resumes && (argc > 2 || !option.empty() || action.empty() || path.empty())) {
        const bool asked = option == "-h" || option == "--help";
        print_usage(asked ? stdout : stderr);
        return asked ? 0 : 2;
    }
    const std::optional<hotplug::Event> event = hotplug::accepted_event(action, path);
    if (!resumes && !event)
        return 0;
    set_up_output();
    nashost::make_sure_of_path();
    openlog("hotplug", LOG_PID | LOG_PERROR, LOG_DAEMON);
    if (!resumes && !hotplug::add_event({strtoull(environment("SEQNUM").c_str(), nullptr, 10), *event})) {
        syslog(LOG_ERR, "the event %s of %s is lost: it cannot be stored", action.c_str(), path.c_str());
        return 1;
    }
    return drain();
}
