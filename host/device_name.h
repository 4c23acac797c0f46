/* The names of USB disks and their partitions: "sda" to "sdz", "sda1" ... The library tells a disk by its first three
 * characters, so longer names ("sdaa") are none here. */
#ifndef NASHOST_DEVICE_NAME_H
#define NASHOST_DEVICE_NAME_H

#include <algorithm>
#include <string_view>

namespace nashost
{

constexpr size_t disk_name_length = 3;

inline bool is_disk_name(std::string_view name)
{
    return name.size() == disk_name_length && name.substr(0, 2) == "sd" && name[2] >= 'a' && name[2] <= 'z';
}

inline bool is_partition_name(std::string_view name)
{
    constexpr size_t longest_number = 3;
    if (name.size() <= disk_name_length || name.size() > disk_name_length + longest_number)
        return false;
    const std::string_view number = name.substr(disk_name_length);
    return is_disk_name(name.substr(0, disk_name_length)) && number[0] != '0' &&
           std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace nashost

#endif
