#include "worker.h"

#include "device_name.h"
#include "request_queue.h"
#include "schedule.h"
#include "services.h"
#include "settings.h"
#include "text.h"
#include "worker_lock.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace serviced
{
namespace
{

const Service *find_service(const std::string &name)
{
    for (const Service &service : services()) {
        if (name == service.name)
            return &service;
    }
    return nullptr;
}

const Periodic *find_periodic(const std::string &name)
{
    for (const Periodic &periodic : periodics()) {
        if (name == periodic.name)
            return &periodic;
    }
    return nullptr;
}

const Periodic *find_periodic_for(const std::string &request)
{
    for (const Periodic &periodic : periodics()) {
        if (periodic.request != nullptr && request == periodic.request)
            return &periodic;
    }
    return nullptr;
}

/* In a process of its own, so that one that crashes takes nothing along: not the services behind it, not the mark. */
void call_apart(const Service &service, const char *mode)
{
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        service.callback(mode);
        fflush(nullptr);
        _exit(0);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    if (child < 0)
        syslog(LOG_ERR, "no process for %s: %s", service.name, strerror(errno));
    else if (WIFSIGNALED(status))
        syslog(LOG_ERR, "%s was ended by signal %d", service.name, WTERMSIG(status));
}

void run_service(const Service &service, const char *mode)
{
    mark_starting(service.name, true);
    call_apart(service, mode);
    mark_starting(service.name, false);
}

/* Stored when the request is done, and as often as it takes: see store_at_last(). */
std::vector<std::string> to_be_scheduled;

void run_all_services()
{
    for (const Service &service : services())
        run_service(service, nullptr);
    for (const Periodic &periodic : periodics()) {
        if (periodic.begins == Begins::with_the_services)
            to_be_scheduled.push_back(periodic.name);
    }
}

void register_cloud_services()
{
    for (const Service &service : services()) {
        if (service.registers)
            call_apart(service, "register");
    }
}

void schedule_periodic(const char *name)
{
    to_be_scheduled.push_back(name);
}

/* A program of its own: a mere child would keep our lock. */
void start_poller(const char *name)
{
    const std::string program = nashost::setting("worker_program");
    if (fork() != 0)
        return;
    execl(program.c_str(), program.c_str(), name, nullptr);
    syslog(LOG_ERR, "%s cannot be started: %s", program.c_str(), strerror(errno));
    _exit(127);
}

void begin_periodic(const Periodic &periodic)
{
    if (periodic.prepare != nullptr && !periodic.prepare())
        return;
    if (periodic.keeps_state)
        start_poller(periodic.name);
    else
        schedule_periodic(periodic.name);
}

/* The library could not mount a volume anew whose driver in user space had died. */
void follow_failed_remount()
{
    if (repair_volumes())
        nashost::add_request(std::string(nashost::all_services_request));
    schedule_periodic("fuse");
}

/* A call that is not in the schedule would be due at once again. */
WorkerStatus run_periodic(const std::string &name)
{
    const Periodic *periodic = find_periodic(name);
    PeriodicCallbackRecord record = {};
    if (periodic != nullptr) {
        if (!edit_schedule([&](Schedule &schedule) { record = begin_call(schedule, name, present_time()); }))
            return worker_had_no_room;
        periodic->callback(&record);
    }
    const bool stored = edit_schedule([&](Schedule &schedule) { end_call(schedule, name, record, present_time()); });
    return stored ? worker_done : worker_had_no_room;
}

/* The name goes unquoted into a command line: nothing but a disk's name may. A disk that was pulled out before its turn
 * came has no event any more: nothing would be mounted, and all the services would be started anew for it. */
bool perform_mount(const std::string &disk)
{
    if (!nashost::is_disk_name(disk))
        return false;
    if (is_disk_there(disk))
        perform_event("add," + disk);
    else
        syslog(LOG_INFO, "%s is gone already", disk.c_str());
    return true;
}

bool begins_with(const std::string &text, const char *prefix)
{
    return text.compare(0, strlen(prefix), prefix) == 0;
}

std::string visible(std::string text)
{
    std::replace_if(text.begin(), text.end(), nashost::is_control, '?');
    return '"' + text + '"';
}

/* The worker that wrote this note ended in the middle of a start; nobody is starting anything now. */
void clean_up_after(const std::string &unfinished)
{
    syslog(LOG_WARNING, "%s was not finished: its process ended early", visible(unfinished).c_str());
    for (const Service &service : services())
        mark_starting(service.name, false);
}

bool is_routine(const std::string &request)
{
    return request == health_request || begins_with(request, periodic_prefix);
}

bool store_schedule()
{
    return to_be_scheduled.empty() || edit_schedule([](Schedule &schedule) {
               for (const std::string &name : to_be_scheduled)
                   schedule_now(schedule, name, present_time());
           });
}

/* The callbacks are run, and shall not be run again for this. While there is no room serviced could not have another
 * request performed either; a removal could be, so the lock is not held. The next serviced schedules by itself. */
void store_at_last(pid_t serviced)
{
    syslog(LOG_ERR, "the schedule cannot be stored; trying until it can");
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    do
        sleep(1);
    while (getppid() == serviced && !store_schedule());
}

int perform_and_log(const std::string &request)
{
    if (is_routine(request))
        return perform_request(request);
    syslog(LOG_INFO, "%s: begins", visible(request).c_str());
    const Milliseconds begin = present_time();
    const WorkerStatus status = perform_request(request);
    syslog(LOG_INFO, "%s: done after %lld ms", visible(request).c_str(),
           static_cast<long long>(present_time() - begin));
    return status;
}

} // namespace

bool is_service(const std::string &request)
{
    return find_service(request) != nullptr;
}

WorkerStatus perform_request(const std::string &request)
{
    constexpr char mount_prefix[] = "mount:";
    if (const Service *service = find_service(request)) {
        run_service(*service, nullptr);
        return worker_started_services;
    }
    if (request == nashost::all_services_request) {
        run_all_services();
        return worker_started_services;
    }
    if (request == health_request)
        check_health();
    else if (request.empty())
        follow_failed_remount();
    else if (const Periodic *periodic = find_periodic_for(request))
        begin_periodic(*periodic);
    else if (request == "register_cloudbackup")
        register_cloud_services();
    else if (begins_with(request, periodic_prefix))
        return run_periodic(request.substr(strlen(periodic_prefix)));
    else if (!begins_with(request, mount_prefix) || !perform_mount(request.substr(strlen(mount_prefix))))
        syslog(LOG_WARNING, "unknown request %s", visible(request).c_str());
    return worker_done;
}

/* Its parent has arranged that a worker which only waits ends together with it: each serviced would leave one behind
 * otherwise. One that works goes on, whatever becomes of its parent. */
int work()
{
    const pid_t serviced = getppid();
    nashost::LockFile lock;
    if (!nashost::take_worker_lock(lock)) {
        syslog(LOG_ERR, "%s cannot be locked", nashost::worker_lock_path().c_str());
        return 1;
    }
    prctl(PR_SET_PDEATHSIG, 0);
    if (const std::string unfinished = lock.note(); !unfinished.empty())
        clean_up_after(unfinished);

    bool is_taken_out = false;
    const std::optional<std::string> request = nashost::take_request(is_service, &is_taken_out);
    if (!request)
        return is_taken_out ? worker_done : worker_had_no_room;
    lock.set_note(*request);
    const int status = perform_and_log(*request);
    const bool stored = store_schedule();
    lock.set_note("");
    lock.release();
    if (!stored)
        store_at_last(serviced);
    return status;
}

int poll(const std::string &name)
{
    const Periodic *periodic = find_periodic(name);
    nashost::LockFile alone;
    if (periodic == nullptr || !alone.take_within(nashost::setting("run_dir") + "/" + name + ".lock", 0))
        return worker_done;
    PeriodicCallbackRecord record = {};
    for (;;) {
        nashost::LockFile lock;
        if (!nashost::take_worker_lock(lock))
            return 1;
        record.run_count++;
        periodic->callback(&record);
        if (record.active == 0)
            return worker_done;
        lock.release();
        sleep(static_cast<unsigned>(std::max(record.interval, 1)));
    }
}

} // namespace serviced
