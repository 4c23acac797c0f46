#include "nas/media.h"

#include "disks.h"
#include "ports.h"
#include "services.h"
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
    const MediaConfig stored = stored_config();
    check_stored("media", stored.enabled == config.enabled &&
                              std::string_view(stored.friendly_name) == config.friendly_name &&
                              std::string_view(stored.disk_name) == config.disk_name &&
                              std::string_view(stored.folder) == config.folder);
}

void set(const Assignments &changes, bool force)
{
    MediaConfig config = stored_config();
    for (const auto &[key, value] : changes) {
        if (key == "name")
            set_text(config.friendly_name, "media", key, value,
                     problem_with_record_text(value, sizeof config.friendly_name - 1));
        else if (key == "disk")
            set_disk(config.disk_name, "media", value, force);
        else if (key == "folder")
            set_text(config.folder, "media", key, value, problem_with_folder(value));
        else
            refuse_key(media_control, key);
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
