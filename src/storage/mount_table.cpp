#include "storage/mount_table.h"

#include "nas/mount.h"
#include "storage/device_name.h"
#include "support/text.h"

#include <algorithm>
#include <cstring>

namespace nas
{

void open_mount_table(LineReader &table)
{
    open_table(table, "/proc/mounts", 511);
}

static bool is_octal(char c)
{
    return c >= '0' && c <= '7';
}

// The kernel writes blanks, tabs, line feeds and backslashes of names as "\ooo". Decodes from the first backslash on
// and returns the new end.
static char *decode_octal_escapes(char *backslash)
{
    char *to = backslash;
    const char *from = backslash;
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
    return to;
}

// Ends the field at the next blank; `rest` moves on to what follows.
static std::string_view split_field(char *&rest)
{
    char *const field = rest;
    rest = strchr(field, ' ');
    if (rest == nullptr)
        rest = field + strlen(field);
    const std::string_view text(field, static_cast<size_t>(rest - field));
    if (*rest == ' ')
        *rest++ = '\0';
    return text;
}

static void decode_name(std::string_view &name, char *line)
{
    char *const field = line + (name.data() - line);
    if (char *backslash = strchr(field, '\\'))
        name = {field, static_cast<size_t>(decode_octal_escapes(backslash) - field)};
}

bool next_mount(LineReader &table, MountLine &mount)
{
    char *const line = next_line(table);
    if (line == nullptr)
        return false;
    const bool has_escapes = strchr(line, '\\') != nullptr;
    char *rest = line;
    mount.device = split_field(rest);
    mount.mount_point = split_field(rest);
    mount.fstype = split_field(rest);
    if (has_escapes) {
        decode_name(mount.device, line);
        decode_name(mount.mount_point, line);
    }
    return true;
}

// Takes what is behind the path's last "/"; false when there is none.
static bool take_last_name(std::string_view path, std::string_view &name)
{
    const char *slash = strrchr(path.data(), '/');
    if (slash == nullptr)
        return false;
    name = path;
    name.remove_prefix(static_cast<size_t>(slash + 1 - path.data()));
    return true;
}

// Reads the parts of a USB volume's names out of a line; false when the line is none.
static bool read_volume(Volume &volume)
{
    const std::string_view mount_point = volume.mount.mount_point;
    if (!begins_with(mount_point, "/tmp/mnt") && !begins_with(mount_point, "/mnt"))
        return false;
    // The router's own RAM disk and root.
    if (volume.mount.device == "/dev/ram2" || volume.mount.device == "/dev/root")
        return false;
    if (!take_last_name(volume.mount.device, volume.device) || !take_last_name(volume.mount.mount_point, volume.folder))
        return false;
    const std::string_view disk = disk_of_device(volume.device.data());
    volume.disk = {disk.data(), std::min(disk.size(), sizeof MountEntry::disk - 1)};
    return true;
}

bool next_volume(LineReader &table, Volume &volume, const char *disk)
{
    while (next_mount(table, volume.mount))
        if (read_volume(volume) && (disk == nullptr || volume.disk == disk))
            return true;
    return false;
}

} // namespace nas
