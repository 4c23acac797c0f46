#include "nas/torrent.h"

#include "disks.h"
#include "ports.h"
#include "services.h"
#include "text.h"
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

void set_disk(TorrentConfig &config, const std::string &value, bool force)
{
    check_disk("torrent", value, force);
    nashost::copy_cut(config.disk_name, sizeof config.disk_name, value);
}

void set_folder(TorrentConfig &config, const std::string &value)
{
    refuse("torrent", "folder", value, problem_with_torrent_folder(value));
    nashost::copy_cut(config.folder, sizeof config.folder, value);
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
    // The library does not say whether it could write, so what was written is looked at.
    TorrentConfig stored = stored_config();
    if (stored.enabled != config.enabled || stored.port != config.port ||
        std::string_view(stored.disk_name) != config.disk_name || std::string_view(stored.folder) != config.folder)
        throw Failure("torrent: the record could not be stored");
}

void set(const Assignments &changes, bool force)
{
    const TorrentConfig before = stored_config();
    TorrentConfig config = before;
    for (const auto &[key, value] : changes) {
        if (key == "port")
            config.port = port_setting("torrent", key, value, false);
        else if (key == "disk")
            set_disk(config, value, force);
        else if (key == "folder")
            set_folder(config, value);
        else
            throw UsageError("torrent: there is no setting \"" + key + "\" (settings: " + torrent_control.keys + ")");
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
