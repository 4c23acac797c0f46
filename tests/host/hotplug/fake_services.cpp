/* The tables of a worker whose callbacks only write down that they run, and wait while they are told to.
 * Folder of a run, from NAS_TEST_FOLDER: "journal", and "hold": while it is there, the callbacks do not end. */
#include "services.h"

#include "platform/device.h"
#include "platform/request.h"

#include "settings.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace serviced
{
namespace
{

constexpr size_t many = 200;

std::string folder()
{
    return getenv("NAS_TEST_FOLDER");
}

void journal(const std::string &line)
{
    const int fd = open((folder() + "/journal").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const std::string text = line + "\n";
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        abort();
    close(fd);
}

void stay_while_held()
{
    while (access((folder() + "/hold").c_str(), F_OK) == 0)
        usleep(2000);
}

void run(const std::string &name, const char *mode)
{
    journal("begin " + name + (mode == nullptr ? "" : std::string(" ") + mode));
    stay_while_held();
    journal("end " + name);
}

int alpha(const char *mode)
{
    run("alpha", mode);
    return 0;
}

int beta(const char *mode)
{
    run("beta", mode);
    return 0;
}

int crash(const char *)
{
    if (access((folder() + "/crash").c_str(), F_OK) == 0)
        raise(SIGKILL);
    return 0;
}

int quiet(const char *)
{
    journal("quiet");
    return 0;
}

/* Wants to be called three times, a second between; or on and on. */
int tick(PeriodicCallbackRecord *record)
{
    journal("tick " + std::to_string(record->run_count));
    stay_while_held();
    const bool goes_on = access((folder() + "/ticking").c_str(), F_OK) == 0;
    record->active = record->run_count < 3 || goes_on ? 1 : 0;
    record->interval = 1;
    return 0;
}

int tock(PeriodicCallbackRecord *record)
{
    journal("tock");
    record->active = 0;
    return 0;
}

std::vector<Service> make_services()
{
    std::vector<Service> table = {{"alpha", alpha, true}, {"crash", crash}, {"beta", beta}};
    static std::vector<std::string> names;
    names.reserve(many);
    for (size_t i = 0; i < many; i++) {
        names.push_back("quiet" + std::to_string(i));
        table.push_back({names.back().c_str(), quiet});
    }
    return table;
}

bool is_knock_answered()
{
    journal("knock");
    return access((folder() + "/nobody_home").c_str(), F_OK) != 0;
}

/* Keeps in memory how often it was called. */
int count_up(PeriodicCallbackRecord *record)
{
    static int calls = 0;
    calls++;
    run("call " + std::to_string(calls), nullptr);
    record->active = calls < 3 ? 1 : 0;
    record->interval = 1;
    return 0;
}

constexpr Periodic periodic_callbacks[] = {
    {"fuse", tick, Begins::when_asked},
    {"door", tick, Begins::when_asked, "knock", is_knock_answered},
    {"counter", count_up, Begins::when_asked, "count", nullptr, true},
    {"clock", tock, Begins::with_the_services},
};

} // namespace

/* "all" runs the first three; the many are asked for by name. */
std::span<const Service> services()
{
    static const std::vector<Service> table = make_services();
    const bool wants_many = access((folder() + "/many").c_str(), F_OK) == 0;
    return {table.data(), wants_many ? table.size() : 3};
}

std::span<const Periodic> periodics()
{
    return periodic_callbacks;
}

bool is_disk_there(const std::string &)
{
    return access((folder() + "/no_disk").c_str(), F_OK) != 0;
}

/* As the library does when a disk was added: it ends serviced and starts another. */
void perform_event(const std::string &event)
{
    run(event, nullptr);
    const std::string note = nashost::setting("run_dir") + "/serviced.lock";
    const int fd = open(note.c_str(), O_RDONLY | O_CLOEXEC);
    char text[32] = "";
    if (read(fd, text, sizeof text - 1) > 0)
        kill(static_cast<pid_t>(strtol(text, nullptr, 10)), SIGTERM);
    close(fd);
    if (system(SERVICED " &") != 0)
        journal("no serviced");
}

bool repair_volumes()
{
    return access((folder() + "/dead_volume").c_str(), F_OK) == 0;
}

void mark_starting(const char *service, bool on)
{
    if (std::string(service) == "alpha" || std::string(service) == "crash")
        journal((on ? "starting " : "started ") + std::string(service));
}

void check_health()
{
    journal("health");
    if (access((folder() + "/dead").c_str(), F_OK) == 0)
        signal_nas("beta");
}

} // namespace serviced
