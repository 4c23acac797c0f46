#include "storage/mount_table.h"

#include "nas/partition.h"
#include "support/text.h"

#include <cstring>

namespace nas
{

void open_mount_table(MountTable &table)
{
    table.file.reset(fopen("/proc/mounts", "r"));
}

static bool is_octal(char c)
{
    return c >= '0' && c <= '7';
}

// The kernel writes blanks, tabs, line feeds and backslashes of names as "\ooo".
static void decode_octal_escapes(char *text)
{
    char *to = strchr(text, '\\');
    if (to == nullptr)
        return;
    const char *from = to;
    while (*from != '\0') {
        if (from[0] == '\\' && is_octal(from[1]) && is_octal(from[2]) && is_octal(from[3])) {
            const int code = (from[1] - '0') * 64 + (from[2] - '0') * 8 + (from[3] - '0');
            // A NUL would end the text, and more than a byte is no escape of the kernel's.
            if (code > 0 && code <= 0xff) {
                *to++ = static_cast<char>(code);
                from += 4;
                continue;
            }
        }
        *to++ = *from++;
    }
    *to = '\0';
}

// Ends the field at the next blank and returns what follows.
static char *split_field(char *field)
{
    char *end = field + strcspn(field, " ");
    if (*end == ' ')
        *end++ = '\0';
    return end;
}

bool next_mount(MountTable &table, MountLine &mount)
{
    if (!next_line(table.file, table.line))
        return false;
    mount.device = table.line;
    mount.mount_point = split_field(mount.device);
    mount.fstype = split_field(mount.mount_point);
    split_field(mount.fstype);
    decode_octal_escapes(mount.device);
    decode_octal_escapes(mount.mount_point);
    return true;
}

// Reads the parts of a USB volume's names out of a line; false when the line is none.
static bool read_volume(Volume &volume)
{
    const char *device = volume.mount.device;
    const char *mount_point = volume.mount.mount_point;
    // The router's own RAM disk and root.
    if (strcmp(device, "/dev/ram2") == 0 || strcmp(device, "/dev/root") == 0)
        return false;
    if (!begins_with(mount_point, "/mnt") && !begins_with(mount_point, "/tmp/mnt"))
        return false;
    const char *device_slash = strrchr(device, '/');
    const char *folder_slash = strrchr(mount_point, '/');
    if (device_slash == nullptr || folder_slash == nullptr)
        return false;
    volume.device = device_slash + 1;
    volume.folder = folder_slash + 1;
    char disk[NAS_DEVICE_NAME_SIZE];
    parse_devname(volume.device, disk, nullptr);
    copy_text(volume.disk, disk);
    return true;
}

bool next_volume(MountTable &table, Volume &volume, const char *disk)
{
    while (next_mount(table, volume.mount))
        if (read_volume(volume) && (disk == nullptr || strcmp(disk, volume.disk) == 0))
            return true;
    return false;
}

} // namespace nas
