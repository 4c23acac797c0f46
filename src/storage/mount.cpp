#include "nas/mount.h"

#include "platform/process.h"
#include "storage/disk.h"
#include "storage/mount_table.h"
#include "storage/volume_list.h"
#include "support/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/vfs.h>

using namespace nas;

// What is used of what users can have, as df computes it.
static int used_percent(uint64_t used_blocks, uint64_t available_blocks)
{
    const uint64_t reachable = used_blocks + available_blocks;
    if (reachable == 0)
        return 0;
    // Bit by bit: on a 32-bit machine a division would bring a kilobyte of code along.
    const uint64_t rounded = used_blocks * 100 + reachable / 2;
    unsigned percent = 0;
    for (unsigned bit = 64; bit != 0; bit /= 2)
        if (percent + bit <= 100 && reachable * (percent + bit) <= rounded)
            percent += bit;
    return static_cast<int>(percent);
}

VolumeSizes nas::ask_for_sizes(const char *mount_point)
{
    struct statfs fs;
    if (statfs(mount_point, &fs) != 0 || fs.f_blocks == 0)
        return {};
    const uint64_t block_size = static_cast<uint64_t>(fs.f_bsize);
    const uint64_t blocks = fs.f_blocks;
    const uint64_t free_blocks = std::min<uint64_t>(fs.f_bfree, blocks);
    const uint64_t used_blocks = blocks - free_blocks;
    return {blocks * block_size, used_blocks * block_size, free_blocks * block_size,
            used_percent(used_blocks, fs.f_bavail)};
}

static void fill_sizes(MountEntry &entry, const char *mount_point)
{
    const VolumeSizes sizes = ask_for_sizes(mount_point);
    entry.total = sizes.total;
    entry.used = sizes.used;
    entry.free = sizes.free;
    entry.used_percent = sizes.used_percent;
}

static MountEntry *make_entry(const Volume &volume, Sizes sizes)
{
    auto *entry = static_cast<MountEntry *>(calloc(1, sizeof(MountEntry)));
    if (entry == nullptr)
        return nullptr;
    copy_text(entry->disk, volume.disk);
    copy_text(entry->device, volume.device);
    copy_text(entry->mount_point, volume.mount.mount_point);
    copy_text(entry->folder, volume.folder);
    copy_text(entry->fstype, volume.mount.fstype);
    memcpy(entry->bus, "usb", sizeof "usb");
    if (sizes == Sizes::known)
        fill_sizes(*entry, volume.mount.mount_point.data());
    return entry;
}

static void append_entry(MountList &list, MountEntry *entry)
{
    if (list.last != nullptr)
        list.last->next = entry;
    else
        list.first = entry;
    list.last = entry;
    list.count++;
}

void nas::list_volumes(MountList &list, const char *disk, Sizes sizes)
{
    list = {};
    LineReader table;
    open_mount_table(table);
    for (Volume volume; next_volume(table, volume, disk);) {
        MountEntry *entry = make_entry(volume, sizes);
        if (entry == nullptr)
            break;
        append_entry(list, entry);
    }
}

int get_mount_list(MountList *list, const char *disk)
{
    list_volumes(*list, disk, Sizes::known);
    return static_cast<int>(list->count);
}

int free_mount_list(MountList *list)
{
    for (MountEntry *entry = list->first; entry != nullptr;) {
        MountEntry *next = entry->next;
        free(entry);
        entry = next;
    }
    return 0;
}

int get_num_of_mountdev(const char *disk)
{
    LineReader table;
    open_mount_table(table);
    int count = 0;
    for (Volume volume; next_volume(table, volume, disk);)
        count++;
    return count;
}

// The device's name without the folder that device nodes live in; null for a path too short to have one.
static const char *device_behind_prefix(const char *path)
{
    static constexpr std::string_view mapper = "/dev/mapper/", dev = "/dev/";
    if (begins_with(path, mapper))
        return path + mapper.size();
    // Whatever the first five characters are, they count as the folder.
    return strlen(path) > dev.size() ? path + dev.size() : nullptr;
}

int get_mtab_info(const char *dev, char *fstype, char *mount_point)
{
    LineReader table;
    open_mount_table(table);
    int found = 0;
    for (MountLine mount; next_mount(table, mount);) {
        const char *device = device_behind_prefix(mount.device.data());
        if (device == nullptr || strcmp(device, dev) != 0)
            continue;
        if (mount_point != nullptr)
            copy_text({mount_point, NAS_MOUNT_POINT_SIZE}, mount.mount_point);
        if (mount.fstype.empty())
            continue;
        if (fstype != nullptr)
            copy_text({fstype, NAS_FSTYPE_SIZE}, mount.fstype);
        found = 1;
    }
    return found;
}

int get_mount_devpath(const char *mount_point, char *dev)
{
    LineReader table;
    open_mount_table(table);
    for (MountLine mount; next_mount(table, mount);) {
        if (mount.mount_point.empty() || mount.mount_point != mount_point)
            continue;
        if (dev != nullptr)
            copy_text({dev, NAS_DEVICE_PATH_SIZE}, mount.device);
        return 1;
    }
    if (dev != nullptr)
        dev[0] = '\0';
    return 0;
}

bool nas::is_disk_mounted(const char *disk)
{
    char mount_point[128];
    format_text(mount_point, "/tmp/mnt/%s", disk);
    return get_mount_devpath(mount_point, nullptr) == 1;
}

int check_process_mount(const char *process, const char *text)
{
    ProcessList list = {};
    get_process_list(process, &list, 0);
    int found = 0;
    for (const ProcessEntry *entry = list.first; entry != nullptr && found == 0; entry = entry->next)
        found = strstr(entry->cmdline, text) != nullptr;
    free_process_list(&list);
    return found;
}

int get_fuse_fsname(const char *text, char *label)
{
    const std::span<char> to(label, NAS_FUSE_LABEL_SIZE);
    if (check_process_mount("ntfs-3g", text) == 1) {
        copy_text(to, "NTFS");
        return 1;
    }
    if (check_process_mount("mount.exfat-fuse", text) == 1) {
        copy_text(to, "ExFAT");
        return 1;
    }
    copy_text(to, "UNKNOWN");
    return 0;
}
