#include "nas/torrent.h"

#include "disks.h"
#include "ports.h"
#include "services.h"
#include "users.h"
#include "validate.h"

namespace nasctl
{
namespace
{

TorrentConfig stored_config()
{
    TorrentConfig config;
    get_torrent_config(&config);
    return config;
}

Json show()
{
    TorrentConfig config = stored_config();
    return {
        {"enabled", config.enabled != 0}, {"port", config.port}, {"disk", config.disk_name}, {"folder", config.folder}};
}

void store(const TorrentConfig &config)
{
    set_torrent_config(&config);
    const TorrentConfig stored = stored_config();
    check_stored("torrent", stored.enabled == config.enabled && stored.port == config.port &&
                                std::string_view(stored.disk_name) == config.disk_name &&
                                std::string_view(stored.folder) == config.folder);
}

void set(const Assignments &changes, bool force)
{
    const TorrentConfig before = stored_config();
    TorrentConfig config = before;
    for (const auto &[key, value] : changes) {
        if (key == "port")
            config.port = port_setting("torrent", key, value, false);
        else if (key == "disk")
            set_disk(config.disk_name, "torrent", value, force);
        else if (key == "folder")
            set_text(config.folder, "torrent", key, value, problem_with_torrent_folder(value));
        else
            refuse_key(torrent_control, key);
    }
    if (config.enabled != 0)
        check_ports_are_free("torrent", {config.port});
    store(config);
    if (before.enabled != 0)
        close_former_ports({before.port}, {config.port});
}

/* Raw records may hold what "set" refuses. Without a user the daemon would take an option for the name, and let in
 * whoever it let in before. */
void check()
{
    const TorrentConfig config = stored_config();
    need_disk("torrent", config.disk_name);
    refuse("torrent", "folder", config.folder, problem_with_torrent_folder(config.folder));
    check_folder_stays("torrent", config.disk_name, config.folder);
    need_user("torrent");
}

bool user_guards_it()
{
    return true;
}

void enable(bool on)
{
    TorrentConfig config = stored_config();
    if (on) {
        check();
        check_ports_are_free("torrent", {config.port});
    }
    config.enabled = on ? 1 : 0;
    store(config);
}

std::string obstacle()
{
    return disk_obstacle(stored_config().disk_name);
}

} // namespace

const ServiceControl torrent_control = {
    .name = "torrent",
    .keys = "port, disk, folder",
    .show = show,
    .set = set,
    .enable = enable,
    .obstacle = obstacle,
    .run = torrent_callback,
    .user_guards_it = user_guards_it,
    .check = check,
};

} // namespace nasctl
