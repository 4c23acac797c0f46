// The library's questions to the mount table, answered by it and by others that do the same work.
#ifndef NAS_BENCH_MOUNT_PEERS_H
#define NAS_BENCH_MOUNT_PEERS_H

#include "nas/mount.h"

#include <span>

namespace nas_bench
{

struct MountReader {
    const char *name; // "library", "getmntent", "libmount"
    int (*list)(MountList *list);
    int (*count)();
    int (*find_device)(const char *dev, char *fstype, char *mount_point);
    int (*find_mount_point)(const char *mount_point, char *dev);
};

// All that there are. Each list is released with free_mount_list.
std::span<const MountReader> mount_readers();

// Reads the table with getmntent and does nothing else; returns the number of lines.
int read_with_getmntent();

} // namespace nas_bench

#endif
