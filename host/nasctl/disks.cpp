#include "disks.h"

#include "nas/mount.h"

#include "services.h"
#include "validate.h"

#include <filesystem>

namespace nasctl
{
namespace
{

bool is_mounted(const std::string &disk)
{
    return get_mount_devpath(disk_path(disk).c_str(), nullptr) != 0;
}

} // namespace

std::string disk_path(const std::string &disk)
{
    return "/tmp/mnt/" + disk;
}

void check_disk(const std::string &service, const std::string &disk, bool force)
{
    refuse(service, "disk", disk, problem_with_disk(disk));
    if (!force && !is_mounted(disk))
        throw Failure(service + ": no disk \"" + disk +
                      "\" is mounted (see: nasctl mounts; --force sets it all the same)");
}

void need_disk(const std::string &service, const std::string &disk)
{
    if (disk.empty())
        throw Failure(service + ": no disk is set; choose one with: nasctl service set " + service + " disk=NAME");
}

void check_folder_stays(const std::string &service, const std::string &disk, const std::string &folder)
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::path root = fs::weakly_canonical(disk_path(disk), ignored);
    const fs::path path = fs::weakly_canonical(disk_path(disk) + "/" + folder, ignored);
    const auto [root_end, rest] = std::mismatch(root.begin(), root.end(), path.begin(), path.end());
    const fs::file_status status = fs::status(path, ignored);
    if (root_end != root.end() || (fs::exists(status) && !fs::is_directory(status)))
        throw Failure(service + ": \"" + folder + "\" is no folder of the disk \"" + disk + "\"");
}

std::string disk_obstacle(const std::string &disk)
{
    if (disk.empty())
        return "no disk is set";
    return is_mounted(disk) ? "" : "the disk \"" + disk + "\" is not mounted";
}

} // namespace nasctl
