/* How nasctl sees and changes the services. A further service is one more row of the table in services.cpp. */
#ifndef NASCTL_SERVICES_H
#define NASCTL_SERVICES_H

#include "output.h"
#include "text.h"

#include <string>
#include <utility>
#include <vector>

struct NasServiceInfo;

namespace nasctl
{

/* "key" and "value", in the order given. */
using Assignments = std::vector<std::pair<std::string, std::string>>;

struct ServiceControl {
    const char *name;
    const char *keys; /* what `set` takes, for messages */
    /* The record: "enabled" and the keys. */
    Json (*show)();
    /* Changes the record; throws a UsageError or a Failure and changes nothing when a value is refused. `force`
     * also takes a disk that is not mounted. */
    void (*set)(const Assignments &changes, bool force);
    /* Switches the service on or off; throws when something is missing that it needs. */
    void (*enable)(bool on);
    /* Why a service that is switched on cannot run now; empty when nothing is in the way. */
    std::string (*obstacle)();
    /* The library's callback. */
    int (*run)(const char *mode);
    /* Would it let everybody in without its user? Null for a service that never does. */
    bool (*user_guards_it)() = nullptr;
    /* Throws when the service, run as its record says, would let everybody in or leave its place. Null for none. */
    void (*check)() = nullptr;
    /* What it is busy with before it can run, which takes longer; empty for nothing. Null for a service that never
     * is. */
    std::string (*under_way)() = nullptr;
};

/* Throws a UsageError for a text that is no KEY=VALUE. */
Assignments parse_assignments(const std::vector<std::string> &texts);

struct ServiceState {
    std::string name;
    bool enabled = false;
    int running = 0;
    int needed = 0;
    std::string obstacle;
};

/* "ftp, samba ..." */
std::string service_names();

/* Both throw a UsageError for an unknown service. */
const NasServiceInfo &service_info(const std::string &name);
const ServiceControl &service_control(const std::string &name);

/* Runs a service that is switched on anew, so that it sees what changed; false when there is nothing to run. Throws
 * when it does not run then. Defined in service_commands.cpp. */
bool restart_if_enabled(const std::string &name);

bool is_enabled(const ServiceControl &control);
ServiceState service_state(const NasServiceInfo &info);
std::vector<ServiceState> all_service_states();

/* Throws a UsageError when `value` is refused for a problem: text of validate.h, empty for none. */
void refuse(const std::string &service, const std::string &key, const std::string &value, const std::string &problem);

/* Throws a UsageError: the service has no such setting. */
[[noreturn]] void refuse_key(const ServiceControl &control, const std::string &key);

/* Sets a text of a record; throws as refuse(). */
template <size_t size>
void set_text(char (&field)[size], const std::string &service, const std::string &key, const std::string &value,
              const std::string &problem)
{
    refuse(service, key, value, problem);
    nashost::copy_cut(field, size, value);
}

/* Throws a Failure unless the record is stored: the library does not say whether it could write, so what was written is
 * looked at. */
void check_stored(const std::string &service, bool is_stored);

/* 1 for "on", 0 for "off"; throws a UsageError for anything else. */
int on_or_off(const std::string &service, const std::string &key, const std::string &value);

/* "1 of 2": how many of the processes run that it needs. Some daemons have more. */
std::string running_text(const ServiceState &state);

/* The states as a table's rows with a heading, and as JSON. */
std::vector<std::vector<std::string>> service_rows(const std::vector<ServiceState> &states);
Json service_json(const ServiceState &state);

/* Each is defined in its service's own file. */
extern const ServiceControl entware_control;
extern const ServiceControl ftp_control;
extern const ServiceControl media_control;
extern const ServiceControl nalvexcloud_control;
extern const ServiceControl rsync_control;
extern const ServiceControl samba_control;
extern const ServiceControl url_control;
extern const ServiceControl torrent_control;

} // namespace nasctl

#endif
