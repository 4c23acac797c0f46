#include "nas/media.h"

#include "disks.h"
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

void set_name(MediaConfig &config, const std::string &value)
{
    refuse("media", "name", value, problem_with_record_text(value, sizeof config.friendly_name - 1));
    nashost::copy_cut(config.friendly_name, sizeof config.friendly_name, value);
}

void set_disk(MediaConfig &config, const std::string &value, bool force)
{
    check_disk("media", value, force);
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
    if (on) {
        need_disk("media", config.disk_name);
        check_ports_are_free("media", fixed_ports_of("media"));
    }
    config.enabled = on ? 1 : 0;
    store(config);
}

std::string obstacle()
{
    return disk_obstacle(stored_config().disk_name);
}

} // namespace

const ServiceControl media_control = {"media", "name, disk, folder", show, set, enable, obstacle, media_callback};

} // namespace nasctl
