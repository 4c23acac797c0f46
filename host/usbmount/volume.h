/* The volumes of a USB disk: its partitions, or itself when it has none. */
#ifndef USBMOUNT_VOLUME_H
#define USBMOUNT_VOLUME_H

#include <string>
#include <string_view>
#include <vector>

namespace usbmount
{

/* The names of the disk's volumes in the text of /proc/partitions, in the order of their numbers; none when the disk is
 * not there. The frame of logical partitions is no volume. */
std::vector<std::string> volumes_in(std::string_view partitions, const std::string &disk);
std::vector<std::string> volumes_of(const std::string &disk);

/* What is on a volume, as its first blocks tell; anything of it may be made up by whoever formatted the disk. */
struct FileSystem {
    std::string type; /* "ext4", "vfat", "exfat", "ntfs" ...; empty when none was found */
    std::string label;
    std::string uuid;
};

FileSystem file_system_on(const std::string &device);

} // namespace usbmount

#endif
