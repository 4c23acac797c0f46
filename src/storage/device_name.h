// Names of block devices.
#ifndef NAS_STORAGE_DEVICE_NAME_H
#define NAS_STORAGE_DEVICE_NAME_H

#include <cstring>
#include <string_view>

namespace nas
{

// A device's name up to its partition number. A 0 does not begin one: "sr0" is a whole disk.
inline std::string_view disk_of_device(const char *name)
{
    return {name, strcspn(name, "123456789")};
}

} // namespace nas

#endif
