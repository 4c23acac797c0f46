// /proc/mounts, and the processes that serve FUSE volumes.
#include "fuzz/fuzz.h"

#include "nas/hotplug.h"
#include "nas/mount.h"

#include <cstring>

namespace nas_fuzz
{
namespace
{

void look_at_list(World &world, const char *disk)
{
    MountList list;
    std::memset(&list, 0x5a, sizeof list);
    world.host.call(get_mount_list, &list, disk);
    unsigned entries = 0;
    for (const MountEntry *entry = list.first; entry != nullptr; entry = entry->next) {
        ++entries;
        require_end(entry->device, "a device ends");
        require_end(entry->folder, "a folder ends");
        require_end(entry->mount_point, "a mount point ends");
        require_end(entry->fstype, "a type ends");
        require(entry->used_percent >= 0 && entry->used_percent <= 100, "a percentage is one");
    }
    require(entries == list.count, "the list holds as many as it says");
    require(world.host.call(get_num_of_mountdev, disk) == static_cast<int>(list.count), "listed and counted alike");
    world.host.call(free_mount_list, &list);
}

} // namespace

void try_input(Input input, World &world)
{
    const std::string text = input.text();
    const std::string command_line = input.text();
    world.host.add_process({.name = "mount.exfat-fuse", .cmdline = command_line.substr(0, 500)});
    world.host.file_systems["/tmp/mnt/Disk1"] = {4096, 1000, 400, 300};
    world.sandbox.set_mounts(input.rest());

    look_at_list(world, nullptr);
    look_at_list(world, text.c_str());
    char type[NAS_FSTYPE_SIZE];
    char mount_point[NAS_MOUNT_POINT_SIZE];
    char device[NAS_DEVICE_PATH_SIZE];
    char label[NAS_FUSE_LABEL_SIZE];
    world.host.call(get_mtab_info, text.c_str(), type, mount_point);
    world.host.call(get_mount_devpath, text.c_str(), device);
    world.host.call(get_fuse_fsname, text.c_str(), label);
    world.host.call(check_process_mount, "mount.exfat-fuse", text.c_str());
    world.host.call(check_all_unmounted);
    PeriodicCallbackRecord record = {};
    world.host.call(fuse_callback, &record);
}

} // namespace nas_fuzz
