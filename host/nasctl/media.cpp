#include "nas/media.h"

#include "nas/mount.h"

#include "ports.h"
#include "services.h"
#include "text.h"
#include "validate.h"

namespace nasctl
{
namespace
{

MediaConfig stored_config()
{
    MediaConfig config;
    get_media_config(&config);
    return config;
}

bool is_mounted(const std::string &disk)
{
    return get_mount_devpath(("/tmp/mnt/" + disk).c_str(), nullptr) != 0;
}

void set_name(MediaConfig &config, const std::string &value)
{
    refuse("media", "name", value, problem_with_record_text(value, sizeof config.friendly_name - 1));
    nashost::copy_cut(config.friendly_name, sizeof config.friendly_name, value);
}

void set_disk(MediaConfig &config, const std::string &value, bool force)
{
    refuse("media", "disk", value, problem_with_disk(value));
    if (!force && !is_mounted(value))
        throw Failure("media: no disk \"" + value + "\" is mounted (see: nasctl mounts; --force sets it all the same)");
    nashost::copy_cut(config.disk_name, sizeof config.disk_name, value);
}

void set_folder(MediaConfig &config, const std::string &value)
{
    refuse("media", "folder", value, problem_with_folder(value));
    nashost::copy_cut(config.folder, sizeof config.folder, value);
}

Json show()
{
    MediaConfig config = stored_config();
    return {{"enabled", config.enabled != 0},
            {"name", config.friendly_name},
            {"disk", config.disk_name},
            {"folder", config.folder}};
}

void store(const MediaConfig &config)
{
    set_media_config(&config);
    // The library does not say whether it could write, so what was written is looked at.
    MediaConfig stored = stored_config();
    if (stored.enabled != config.enabled || std::string_view(stored.friendly_name) != config.friendly_name ||
        std::string_view(stored.disk_name) != config.disk_name || std::string_view(stored.folder) != config.folder)
        throw Failure("media: the record could not be stored");
}

void set(const Assignments &changes, bool force)
{
    MediaConfig config = stored_config();
    for (const auto &[key, value] : changes) {
        if (key == "name")
            set_name(config, value);
        else if (key == "disk")
            set_disk(config, value, force);
        else if (key == "folder")
            set_folder(config, value);
        else
            throw UsageError("media: there is no setting \"" + key + "\" (settings: " + media_control.keys + ")");
    }
    store(config);
}

void enable(bool on)
{
    MediaConfig config = stored_config();
    if (on && config.disk_name[0] == '\0')
        throw Failure("media: no disk is set; choose one with: nasctl service set media disk=NAME");
    if (on)
        check_ports_are_free("media", fixed_ports_of("media"));
    config.enabled = on ? 1 : 0;
    store(config);
}

std::string obstacle()
{
    std::string disk = stored_config().disk_name;
    if (disk.empty())
        return "no disk is set";
    return is_mounted(disk) ? "" : "the disk \"" + disk + "\" is not mounted";
}

} // namespace

const ServiceControl media_control = {"media", "name, disk, folder", show, set, enable, obstacle, media_callback};

} // namespace nasctl
