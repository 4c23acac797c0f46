#include "nas/entware.h"

#include "platform/request.h"
#include "platform/store.h"

#include "disks.h"
#include "ports.h"
#include "services.h"
#include "validate.h"

namespace nasctl
{
namespace
{

EntwareConfig stored_config()
{
    EntwareConfig config;
    get_entware_config(&config);
    return config;
}

const char *state_word()
{
    switch (get_entware_status()) {
    case NAS_ENTWARE_INSTALLING:
        return "being installed";
    case NAS_ENTWARE_INSTALLED:
        return "installed";
    case NAS_ENTWARE_FAILED:
        return "failed";
    default:
        return "not installed";
    }
}

Json show()
{
    EntwareConfig config = stored_config();
    return {
        {"enabled", config.run != 0}, {"disk", config.disk_name}, {"folder", config.folder}, {"state", state_word()}};
}

/* Not by the library's own function: that builds the environment anew at once, which is the callback's work here. */
void store(const EntwareConfig &config)
{
    iconfig_set_value_direct("entware_run", config.run != 0 ? "1" : "0");
    iconfig_set_value_direct("entware_hddname", config.disk_name);
    iconfig_set_value_direct("entware_folder", config.folder);
    const EntwareConfig stored = stored_config();
    check_stored("entware", stored.run == config.run && std::string_view(stored.disk_name) == config.disk_name &&
                                std::string_view(stored.folder) == config.folder);
}

void set(const Assignments &changes, bool force)
{
    EntwareConfig config = stored_config();
    for (const auto &[key, value] : changes) {
        if (key == "disk")
            set_disk(config.disk_name, "entware", value, force);
        else if (key == "folder")
            set_text(config.folder, "entware", key, value, problem_with_environment_folder(value));
        else
            refuse_key(entware_control, key);
    }
    store(config);
}

void check()
{
    const EntwareConfig config = stored_config();
    need_disk("entware", config.disk_name);
    if (config.folder[0] == '\0')
        throw Failure("entware: no folder is set; choose one with: nasctl service set entware folder=NAME");
    refuse("entware", "folder", config.folder, problem_with_environment_folder(config.folder));
    check_folder_stays("entware", config.disk_name, config.folder);
}

void enable(bool on)
{
    EntwareConfig config = stored_config();
    if (on) {
        check();
        check_ports_are_free("entware", fixed_ports_of("entware"));
    }
    config.run = on ? 1 : 0;
    store(config);
}

std::string obstacle()
{
    std::string problem = disk_obstacle(stored_config().disk_name);
    if (!problem.empty() || get_entware_status() == NAS_ENTWARE_INSTALLED)
        return problem;
    return get_entware_status() == NAS_ENTWARE_FAILED ? "its installation failed"
                                                      : std::string("it is ") + state_word();
}

/* serviced would notice by itself that the environment is still to be installed, but not at once. */
int run(const char *mode)
{
    const int result = entware_callback(mode);
    if (result == 0 && mode == nullptr && get_entware_config(nullptr) != 0 && get_entware_status() == NAS_ENTWARE_NONE)
        signal_nas("entware_download");
    return result;
}

std::string under_way()
{
    return get_entware_status() == NAS_ENTWARE_INSTALLING ? "the package manager is being installed" : "";
}

} // namespace

const ServiceControl entware_control = {
    .name = "entware",
    .keys = "disk, folder",
    .show = show,
    .set = set,
    .enable = enable,
    .obstacle = obstacle,
    .run = run,
    .check = check,
    .under_way = under_way,
};

} // namespace nasctl
