#include "nas/samba.h"

#include "ports.h"
#include "services.h"
#include "validate.h"

#include <strings.h>

namespace nasctl
{
namespace
{

/* Without a record the library leaves the protocols alone. */
SambaConfig stored_config()
{
    SambaConfig config = {};
    config.smb2 = 1;
    get_samba_config(&config);
    return config;
}

void set_one(SambaConfig &config, const std::string &key, const std::string &value)
{
    if (key == "name")
        set_text(config.server_name, "samba", key, value, problem_with_network_name(value));
    else if (key == "workgroup")
        set_text(config.workgroup, "samba", key, value, problem_with_network_name(value));
    else if (key == "recycle")
        config.recycle = on_or_off("samba", key, value);
    else if (key == "smb1")
        config.smb1 = on_or_off("samba", key, value);
    else if (key == "smb2")
        config.smb2 = on_or_off("samba", key, value);
    else
        refuse_key(samba_control, key);
}

Json show()
{
    SambaConfig config = stored_config();
    return {{"enabled", config.enabled != 0}, {"name", config.server_name}, {"workgroup", config.workgroup},
            {"recycle", config.recycle != 0}, {"smb1", config.smb1 != 0},   {"smb2", config.smb2 != 0}};
}

void store(SambaConfig config)
{
    set_samba_config(&config);
    const SambaConfig stored = stored_config();
    check_stored("samba", stored.enabled == config.enabled && stored.recycle == config.recycle &&
                              stored.smb1 == config.smb1 && stored.smb2 == config.smb2 &&
                              std::string_view(stored.server_name) == config.server_name &&
                              std::string_view(stored.workgroup) == config.workgroup);
}

void set(const Assignments &changes, bool)
{
    SambaConfig config = stored_config();
    for (const auto &[key, value] : changes)
        set_one(config, key, value);
    if (config.smb1 == 0 && config.smb2 == 0)
        throw UsageError("samba: smb1 and smb2 cannot both be off");
    if (strcasecmp(config.server_name, config.workgroup) == 0)
        throw UsageError("samba: name and workgroup must differ");
    store(config);
}

void enable(bool on)
{
    SambaConfig config = stored_config();
    if (on)
        check_ports_are_free("samba", fixed_ports_of("samba"));
    config.enabled = on ? 1 : 0;
    store(config);
}

/* It serves whatever disks there are; without one it says so in a share. */
std::string obstacle()
{
    return "";
}

} // namespace

const ServiceControl samba_control = {
    "samba", "name, workgroup, recycle, smb1, smb2", show, set, enable, obstacle, samba_callback};

} // namespace nasctl
