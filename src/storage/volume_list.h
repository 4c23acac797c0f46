// The list of mounted volumes, with or without their sizes.
#ifndef NAS_STORAGE_VOLUME_LIST_H
#define NAS_STORAGE_VOLUME_LIST_H

#include "nas/mount.h"

namespace nas
{

enum class Sizes { known, unknown };

// Fills `list` as get_mount_list does; without sizes no volume is asked for anything.
void list_volumes(MountList &list, const char *disk, Sizes sizes);

} // namespace nas

#endif
