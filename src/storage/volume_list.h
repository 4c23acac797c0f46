// The list of mounted volumes, with or without their sizes, and the sizes of a single one.
#ifndef NAS_STORAGE_VOLUME_LIST_H
#define NAS_STORAGE_VOLUME_LIST_H

#include "nas/mount.h"

namespace nas
{

enum class Sizes { known, unknown };

// Fills `list` as get_mount_list does; without sizes no volume is asked for anything.
void list_volumes(MountList &list, const char *disk, Sizes sizes);

// What a volume says of itself; all 0 when it cannot be asked or has no blocks.
struct VolumeSizes {
    uint64_t total; // bytes
    uint64_t used;
    uint64_t free;
    int used_percent;
};

VolumeSizes ask_for_sizes(const char *mount_point);

} // namespace nas

#endif
