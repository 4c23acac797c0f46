/* Mounting and unmounting of one volume. */
#ifndef USBMOUNT_MOUNTING_H
#define USBMOUNT_MOUNTING_H

#include <string>
#include <vector>

namespace usbmount
{

/* Where volumes are mounted. */
constexpr char mount_folder[] = "/tmp/mnt";

struct Mount {
    std::string device; /* "/dev/sda1" */
    std::string folder;
    std::string type; /* "ext4"; "fuseblk" for a driver in user space */
};

/* The mount table, first mount first; folders as they are, without the kernel's escapes. */
std::vector<Mount> mount_table();

bool is_mounted(const std::string &device);

/* Mounts the device, which holds a file system of the type, so that every user may write where its file system knows no
 * owners. Returns an empty text, else what went wrong. */
std::string mount_volume(const std::string &device, const std::string &type, const std::string &folder);

enum class Unmounted { now, when_let_go, not_at_all };

/* Unmounts it; while it is in use, for a second at most, tries again, then takes it out of sight for the kernel to end
 * when its last user lets go. Says who uses it. */
Unmounted unmount(const Mount &mount);

} // namespace usbmount

#endif
