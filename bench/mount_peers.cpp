#include "mount_peers.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <libmount/libmount.h>
#include <memory>
#include <mntent.h>
#include <sys/vfs.h>

namespace nas_bench
{
namespace
{

constexpr const char *table_path = "/proc/mounts";
constexpr std::size_t dev_length = 5; // "/dev/"

struct CloseTable {
    void operator()(std::FILE *table) const
    {
        endmntent(table);
    }
    void operator()(libmnt_table *table) const
    {
        mnt_unref_table(table);
    }
};

void copy_text(char *to, std::size_t size, const char *from)
{
    const std::size_t length = std::min(std::strlen(from), size - 1);
    std::memcpy(to, from, length);
    to[length] = '\0';
}

template <std::size_t Size>
void copy_text(char (&to)[Size], const char *from)
{
    copy_text(to, Size, from);
}

const char *last_name(const char *path)
{
    const char *const slash = std::strrchr(path, '/');
    return slash == nullptr ? nullptr : slash + 1;
}

bool is_volume(const char *device, const char *mount_point)
{
    if (std::strncmp(mount_point, "/tmp/mnt", 8) != 0 && std::strncmp(mount_point, "/mnt", 4) != 0)
        return false;
    return std::strcmp(device, "/dev/ram2") != 0 && std::strcmp(device, "/dev/root") != 0 &&
           last_name(device) != nullptr;
}

void fill_sizes(MountEntry &entry)
{
    struct statfs fs;
    if (statfs(entry.mount_point, &fs) != 0 || fs.f_blocks == 0)
        return;
    const auto block_size = static_cast<std::uint64_t>(fs.f_bsize);
    const std::uint64_t used = fs.f_blocks - fs.f_bfree, reachable = used + fs.f_bavail;
    entry.total = fs.f_blocks * block_size;
    entry.used = used * block_size;
    entry.free = fs.f_bfree * block_size;
    entry.used_percent = reachable == 0 ? 0 : static_cast<int>((used * 100 + reachable / 2) / reachable);
}

void append_volume(MountList &list, const char *device, const char *mount_point, const char *fstype)
{
    auto *const entry = static_cast<MountEntry *>(std::calloc(1, sizeof(MountEntry)));
    if (entry == nullptr)
        return;
    copy_text(entry->device, last_name(device));
    copy_text(entry->disk, entry->device);
    for (std::size_t end = std::strlen(entry->disk);
         end > 0 && entry->disk[end - 1] >= '0' && entry->disk[end - 1] <= '9';)
        entry->disk[--end] = '\0';
    copy_text(entry->mount_point, mount_point);
    copy_text(entry->folder, last_name(mount_point));
    copy_text(entry->fstype, fstype);
    copy_text(entry->bus, "usb");
    fill_sizes(*entry);
    (list.last == nullptr ? list.first : list.last->next) = entry;
    list.last = entry;
    ++list.count;
}

// --- getmntent ---

using Lines = std::unique_ptr<std::FILE, CloseTable>;

Lines open_lines()
{
    return Lines(setmntent(table_path, "r"));
}

// The next line that is a volume; null at the end.
const mntent *next_volume(const Lines &lines)
{
    while (const mntent *line = getmntent(lines.get()))
        if (is_volume(line->mnt_fsname, line->mnt_dir))
            return line;
    return nullptr;
}

int list_with_getmntent(MountList *list)
{
    *list = {};
    const Lines lines = open_lines();
    while (const mntent *line = next_volume(lines))
        append_volume(*list, line->mnt_fsname, line->mnt_dir, line->mnt_type);
    return static_cast<int>(list->count);
}

int count_with_getmntent()
{
    int count = 0;
    const Lines lines = open_lines();
    while (next_volume(lines) != nullptr)
        ++count;
    return count;
}

int find_device_with_getmntent(const char *dev, char *fstype, char *mount_point)
{
    int found = 0;
    const Lines lines = open_lines();
    while (const mntent *line = getmntent(lines.get())) {
        if (std::strncmp(line->mnt_fsname, "/dev/", dev_length) != 0 ||
            std::strcmp(line->mnt_fsname + dev_length, dev) != 0)
            continue;
        copy_text(fstype, NAS_FSTYPE_SIZE, line->mnt_type);
        copy_text(mount_point, NAS_MOUNT_POINT_SIZE, line->mnt_dir);
        found = 1;
    }
    return found;
}

int find_mount_point_with_getmntent(const char *mount_point, char *dev)
{
    const Lines lines = open_lines();
    while (const mntent *line = getmntent(lines.get())) {
        if (std::strcmp(line->mnt_dir, mount_point) != 0)
            continue;
        copy_text(dev, NAS_DEVICE_PATH_SIZE, line->mnt_fsname);
        return 1;
    }
    return 0;
}

// --- libmount: the table as a whole, then its own ways to look around in it ---

using Table = std::unique_ptr<libmnt_table, CloseTable>;

Table open_libmount_table()
{
    return Table(mnt_new_table_from_file(table_path));
}

template <class Act>
int for_each_libmount_volume(Act act)
{
    const Table table = open_libmount_table();
    libmnt_iter *const place = mnt_new_iter(MNT_ITER_FORWARD);
    int count = 0;
    for (libmnt_fs *fs = nullptr; mnt_table_next_fs(table.get(), place, &fs) == 0;) {
        if (!is_volume(mnt_fs_get_source(fs), mnt_fs_get_target(fs)))
            continue;
        act(fs);
        ++count;
    }
    mnt_free_iter(place);
    return count;
}

int list_with_libmount(MountList *list)
{
    *list = {};
    return for_each_libmount_volume([list](libmnt_fs *fs) {
        append_volume(*list, mnt_fs_get_source(fs), mnt_fs_get_target(fs), mnt_fs_get_fstype(fs));
    });
}

int count_with_libmount()
{
    return for_each_libmount_volume([](libmnt_fs *) {});
}

int find_device_with_libmount(const char *dev, char *fstype, char *mount_point)
{
    char path[NAS_DEVICE_PATH_SIZE] = "/dev/";
    copy_text(path + dev_length, sizeof path - dev_length, dev);
    const Table table = open_libmount_table();
    libmnt_fs *const fs = mnt_table_find_srcpath(table.get(), path, MNT_ITER_BACKWARD);
    if (fs == nullptr)
        return 0;
    copy_text(fstype, NAS_FSTYPE_SIZE, mnt_fs_get_fstype(fs));
    copy_text(mount_point, NAS_MOUNT_POINT_SIZE, mnt_fs_get_target(fs));
    return 1;
}

int find_mount_point_with_libmount(const char *mount_point, char *dev)
{
    const Table table = open_libmount_table();
    libmnt_fs *const fs = mnt_table_find_target(table.get(), mount_point, MNT_ITER_FORWARD);
    if (fs == nullptr)
        return 0;
    copy_text(dev, NAS_DEVICE_PATH_SIZE, mnt_fs_get_source(fs));
    return 1;
}

constexpr MountReader readers[] = {
    {"library", [](MountList *list) { return get_mount_list(list, nullptr); },
     [] { return get_num_of_mountdev(nullptr); }, get_mtab_info, get_mount_devpath},
    {"getmntent", list_with_getmntent, count_with_getmntent, find_device_with_getmntent,
     find_mount_point_with_getmntent},
    {"libmount", list_with_libmount, count_with_libmount, find_device_with_libmount, find_mount_point_with_libmount},
};

} // namespace

std::span<const MountReader> mount_readers()
{
    return readers;
}

int read_with_getmntent()
{
    const Lines table = open_lines();
    int lines = 0;
    while (table && getmntent(table.get()) != nullptr)
        ++lines;
    return lines;
}

} // namespace nas_bench
