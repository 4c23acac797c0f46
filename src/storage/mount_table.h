// The kernel's mount table, line by line; nothing here asks a volume for its size.
#ifndef NAS_STORAGE_MOUNT_TABLE_H
#define NAS_STORAGE_MOUNT_TABLE_H

#include "support/line_reader.h"

namespace nas
{

// One reading of the table. `line` holds the fields of the current line.
struct MountTable {
    File file;
    char line[512];
};

// A line's first three fields, inside the table's `line`; a missing one is the empty text.
struct MountLine {
    char *device;
    char *mount_point;
    char *fstype;
};

// A line that is a mounted USB volume, with the parts of its names.
struct Volume {
    MountLine mount;
    const char *device; // behind the last "/" of the device's path
    const char *folder; // behind the last "/" of the mount point
    char disk[16];      // the device without its partition number, as a list's entry bears it
};

// Opens /proc/mounts. A table that cannot be opened has no lines.
void open_mount_table(MountTable &table);

bool next_mount(MountTable &table, MountLine &mount);

// The next USB volume, of `disk` alone when it is not null.
bool next_volume(MountTable &table, Volume &volume, const char *disk);

} // namespace nas

#endif
