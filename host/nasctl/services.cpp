#include "services.h"

#include "nas/service.h"
#include "platform/process.h"

#include <algorithm>
#include <cstring>

namespace nasctl
{
namespace
{

const ServiceControl *const controls[] = {
    &ftp_control,         &samba_control,   &url_control,   &rsync_control,
    &nalvexcloud_control, &torrent_control, &media_control, &entware_control,
};

int count_processes(const char *process_name)
{
    ProcessList list;
    int count = 0;
    get_process_list(nullptr, &list, 0);
    for (const ProcessEntry *entry = list.first; entry != nullptr; entry = entry->next)
        count += strcmp(entry->name, process_name) == 0 ? 1 : 0;
    free_process_list(&list);
    return count;
}

[[noreturn]] void refuse_unknown(const std::string &name)
{
    throw UsageError("there is no service \"" + name + "\" (services: " + service_names() + ")");
}

} // namespace

std::string service_names()
{
    std::string names;
    for (const ServiceControl *control : controls)
        names += std::string(names.empty() ? "" : ", ") + control->name;
    return names;
}

const NasServiceInfo &service_info(const std::string &name)
{
    for (const NasServiceInfo *info = nas_service_table; info->name != nullptr; info++) {
        if (name == info->name)
            return *info;
    }
    refuse_unknown(name);
}

const ServiceControl &service_control(const std::string &name)
{
    for (const ServiceControl *control : controls) {
        if (name == control->name)
            return *control;
    }
    refuse_unknown(name);
}

void refuse(const std::string &service, const std::string &key, const std::string &value, const std::string &problem)
{
    if (!problem.empty())
        throw UsageError(service + ": " + key + " \"" + value + "\" is refused: " + problem);
}

void refuse_key(const ServiceControl &control, const std::string &key)
{
    throw UsageError(std::string(control.name) + ": there is no setting \"" + key + "\" (settings: " + control.keys +
                     ")");
}

void check_stored(const std::string &service, bool is_stored)
{
    if (!is_stored)
        throw Failure(service + ": the record could not be stored");
}

int on_or_off(const std::string &service, const std::string &key, const std::string &value)
{
    refuse(service, key, value, value == "on" || value == "off" ? "" : "it is on or off");
    return value == "on" ? 1 : 0;
}

Assignments parse_assignments(const std::vector<std::string> &texts)
{
    Assignments assignments;
    for (const std::string &text : texts) {
        size_t equals = text.find('=');
        if (equals == std::string::npos || equals == 0)
            throw UsageError("\"" + text + "\" is no KEY=VALUE");
        assignments.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    }
    return assignments;
}

/* The record's own flag: the library counts a service without its disk as switched off. */
bool is_enabled(const ServiceControl &control)
{
    return control.show().at("enabled").get<bool>();
}

ServiceState service_state(const NasServiceInfo &info)
{
    const ServiceControl &control = service_control(info.name);
    ServiceState state;
    state.name = info.name;
    state.enabled = is_enabled(control);
    state.running = count_processes(info.process_name);
    state.needed = info.min_processes;
    if (state.enabled)
        state.obstacle = control.obstacle();
    return state;
}

std::vector<ServiceState> all_service_states()
{
    std::vector<ServiceState> states;
    for (const NasServiceInfo *info = nas_service_table; info->name != nullptr; info++)
        states.push_back(service_state(*info));
    return states;
}

std::string running_text(const ServiceState &state)
{
    return std::to_string(std::min(state.running, state.needed)) + " of " + std::to_string(state.needed);
}

std::vector<std::vector<std::string>> service_rows(const std::vector<ServiceState> &states)
{
    std::vector<std::vector<std::string>> rows = {{"SERVICE", "ENABLED", "RUNNING", "REMARK"}};
    for (const ServiceState &state : states)
        rows.push_back({state.name, yes_or_no(state.enabled), running_text(state), state.obstacle});
    return rows;
}

Json service_json(const ServiceState &state)
{
    Json json = {
        {"name", state.name}, {"enabled", state.enabled}, {"running", state.running}, {"needed", state.needed}};
    if (!state.obstacle.empty())
        json["obstacle"] = state.obstacle;
    return json;
}

} // namespace nasctl
