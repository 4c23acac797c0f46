/* Cloud backup and cloud sync: one folder of a disk each, as a module of an rsync daemon that is root. */
#include "nas/cloud.h"

#include "disks.h"
#include "ports.h"
#include "services.h"
#include "users.h"
#include "validate.h"

#include <sys/stat.h>

namespace nasctl
{
namespace
{

struct CloudService {
    const char *name;
    int (*get)(CloudShareConfig *config);
    int (*put)(const CloudShareConfig *config);
    size_t longest_folder;
};

constexpr size_t longest_file_name = 255;

/* Cloud sync tells its server the folder. Of the 1023 characters of that command this leaves an account (host name's
 * first label and credential) 108. */
constexpr size_t longest_told_folder = 160;

constexpr CloudService backup = {"rsync", get_rsync_config, set_rsync_config, longest_file_name};
constexpr CloudService cloud_sync = {"nalvexcloud", get_nalvexcloud_config, set_nalvexcloud_config,
                                     longest_told_folder};

constexpr char keys[] = "port, disk, folder";

CloudShareConfig stored_config(const CloudService &service)
{
    CloudShareConfig config;
    service.get(&config);
    return config;
}

void set_one(const CloudService &service, CloudShareConfig &config, const std::string &key, const std::string &value,
             bool force)
{
    if (key == "port")
        config.port = port_setting(service.name, key, value, false);
    else if (key == "disk")
        set_disk(config.disk_name, service.name, value, force);
    else if (key == "folder")
        set_text(config.folder, service.name, key, value, problem_with_module(value, service.longest_folder));
    else
        refuse_key(service_control(service.name), key);
}

/* A link on a disk would lead the daemon to any file of the router. */
void check_folder(const CloudService &service, const CloudShareConfig &config)
{
    struct stat found;
    std::string path = disk_path(config.disk_name) + "/" + config.folder;
    if (config.folder[0] != '\0' && lstat(path.c_str(), &found) == 0 && !S_ISDIR(found.st_mode))
        throw Failure(std::string(service.name) + ": \"" + config.folder + "\" on the disk \"" + config.disk_name +
                      "\" is no folder");
}

/* Raw records may hold what "set" refuses. */
void check(const CloudService &service)
{
    CloudShareConfig config = stored_config(service);
    need_disk(service.name, config.disk_name);
    refuse(service.name, "folder", config.folder, problem_with_module(config.folder, service.longest_folder));
    check_folder(service, config);
    need_user(service.name);
}

Json show(const CloudService &service)
{
    CloudShareConfig config = stored_config(service);
    return {
        {"enabled", config.enable != 0}, {"port", config.port}, {"disk", config.disk_name}, {"folder", config.folder}};
}

void store(const CloudService &service, const CloudShareConfig &config)
{
    service.put(&config);
    const CloudShareConfig stored = stored_config(service);
    check_stored(service.name, stored.enable == config.enable && stored.port == config.port &&
                                   std::string_view(stored.disk_name) == config.disk_name &&
                                   std::string_view(stored.folder) == config.folder);
}

void set(const CloudService &service, const Assignments &changes, bool force)
{
    const CloudShareConfig before = stored_config(service);
    CloudShareConfig config = before;
    for (const auto &[key, value] : changes)
        set_one(service, config, key, value, force);
    check_ports_are_free(service.name, {config.port});
    check_folder(service, config);
    store(service, config);
    if (before.enable != 0)
        close_former_ports({before.port}, {config.port});
}

void enable(const CloudService &service, bool on)
{
    CloudShareConfig config = stored_config(service);
    if (on) {
        check(service);
        check_ports_are_free(service.name, {config.port});
    }
    config.enable = on ? 1 : 0;
    store(service, config);
}

std::string obstacle(const CloudService &service)
{
    return disk_obstacle(stored_config(service).disk_name);
}

bool user_guards_it()
{
    return true;
}

} // namespace

const ServiceControl rsync_control = {
    "rsync",
    keys,
    [] { return show(backup); },
    [](const Assignments &changes, bool force) { set(backup, changes, force); },
    [](bool on) { enable(backup, on); },
    [] { return obstacle(backup); },
    rsync_callback,
    user_guards_it,
    [] { check(backup); },
};

const ServiceControl nalvexcloud_control = {
    "nalvexcloud",
    keys,
    [] { return show(cloud_sync); },
    [](const Assignments &changes, bool force) { set(cloud_sync, changes, force); },
    [](bool on) { enable(cloud_sync, on); },
    [] { return obstacle(cloud_sync); },
    nalvexcloud_callback,
    user_guards_it,
    [] { check(cloud_sync); },
};

} // namespace nasctl
