// The kernel's mount table, line by line; nothing here asks a volume for its size.
#ifndef NAS_STORAGE_MOUNT_TABLE_H
#define NAS_STORAGE_MOUNT_TABLE_H

#include "support/line_reader.h"

#include <string_view>

namespace nas
{

// A line's first three fields, each terminated, where the table was read; a missing one is the empty text.
struct MountLine {
    std::string_view device;
    std::string_view mount_point;
    std::string_view fstype;
};

// A line that is a mounted USB volume, with the parts of its names.
struct Volume {
    MountLine mount;
    std::string_view device; // behind the last "/" of the device's path
    std::string_view folder; // behind the last "/" of the mount point
    std::string_view disk;   // the device without its partition number, cut as an entry of the list has it
};

void open_mount_table(LineReader &table);

bool next_mount(LineReader &table, MountLine &mount);

// The next USB volume, of `disk` alone when it is not null.
bool next_volume(LineReader &table, Volume &volume, const char *disk);

} // namespace nas

#endif
