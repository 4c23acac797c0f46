#include "mounting.h"

#include "users.h"

#include <fcntl.h>
#include <mntent.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace usbmount
{
namespace
{

/* How a file system is mounted: by the driver in user space where there is one, else by the kernel. The library watches
 * drivers of these names and knows how to start them anew. */
struct Driver {
    const char *type;
    const char *program;
    const char *program_options;
    const char *kernel_type;
    const char *kernel_options;
};

constexpr Driver drivers[] = {
    {"ext2", nullptr, nullptr, "ext2", ""},
    {"ext3", nullptr, nullptr, "ext3", ""},
    {"ext4", nullptr, nullptr, "ext4", ""},
    {"vfat", nullptr, nullptr, "vfat", "umask=0,utf8"},
    {"exfat", "/sbin/mount.exfat-fuse", "dmask=0000,fmask=0000", "exfat", "umask=0"},
    {"ntfs", "/sbin/ntfs-3g", "umask=0", "ntfs3", "umask=0"},
};

const Driver *find_driver(const std::string &type)
{
    for (const Driver &driver : drivers) {
        if (type == driver.type)
            return &driver;
    }
    return nullptr;
}

std::string explained(int error)
{
    switch (error) {
    case ENODEV:
        return "this kernel has no driver for it";
    case EINVAL:
    case EUCLEAN:
        return "it is damaged";
    default:
        return strerror(error);
    }
}

/* 0, else the error. A disk that is locked against writing is mounted for reading. */
int mount_by_kernel(const char *device, const char *folder, const char *type, const char *options)
{
    constexpr unsigned long flags = MS_NOSUID | MS_NOATIME;
    if (mount(device, folder, type, flags, options) == 0)
        return 0;
    if ((errno == EROFS || errno == EACCES) && mount(device, folder, type, flags | MS_RDONLY, options) == 0)
        return 0;
    return errno;
}

std::string mount_with_kernel_driver(const Driver &driver, const char *device, const char *folder)
{
    int error = mount_by_kernel(device, folder, driver.kernel_type, driver.kernel_options);
    if (error == ENODEV && strncmp(driver.kernel_type, "ext", 3) == 0)
        error = mount_by_kernel(device, folder, "ext4", driver.kernel_options); // it knows the older ones
    return error == 0 ? "" : explained(error);
}

/* As long as a file of a dead driver's volume is open, the kernel takes the device for that one's. */
bool leads_to_dead_driver(const std::string &folder)
{
    struct stat status;
    return stat(folder.c_str(), &status) != 0 && errno == ENOTCONN;
}

/* The driver goes to the background once the volume is mounted. */
std::string mount_with_program(const Driver &driver, const std::string &device, const std::string &folder)
{
    std::string words[] = {driver.program, "-o", driver.program_options, device, folder};
    char *arguments[std::size(words) + 1] = {};
    for (size_t i = 0; i < std::size(words); i++)
        arguments[i] = words[i].data();
    pid_t child = 0;
    if (const int error = posix_spawn(&child, driver.program, nullptr, nullptr, arguments, environ); error != 0)
        return std::string(driver.program) + ": " + strerror(error);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !is_mounted(device))
        return std::string(driver.program) + " refuses it";
    if (!leads_to_dead_driver(folder))
        return {};
    umount2(folder.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW);
    return "files of its former driver, which is dead, are still open";
}

void tell_who_uses(const Mount &mount)
{
    std::string names;
    for (const User &user : users_of(mount.folder))
        names += (names.empty() ? "" : ", ") + user.name + " (" + std::to_string(user.pid) + ")";
    syslog(LOG_WARNING, "%s: %s is in use by %s; it ends when they let go of it", mount.device.c_str(),
           mount.folder.c_str(), names.empty() ? "the kernel" : names.c_str());
}

} // namespace

std::vector<Mount> mount_table()
{
    std::vector<Mount> mounts;
    std::unique_ptr<FILE, int (*)(FILE *)> table(setmntent("/proc/self/mounts", "r"), endmntent);
    mntent entry;
    std::vector<char> text(16UL * 1024);
    while (table && getmntent_r(table.get(), &entry, text.data(), static_cast<int>(text.size())) != nullptr)
        mounts.push_back({entry.mnt_fsname, entry.mnt_dir, entry.mnt_type});
    return mounts;
}

bool is_mounted(const std::string &device)
{
    const std::vector<Mount> mounts = mount_table();
    return std::any_of(mounts.begin(), mounts.end(), [&](const Mount &mount) { return mount.device == device; });
}

std::string mount_volume(const std::string &device, const std::string &type, const std::string &folder)
{
    const Driver *driver = find_driver(type);
    if (driver == nullptr)
        return "file systems of this type are not supported";
    if (driver->program != nullptr && access(driver->program, X_OK) == 0)
        return mount_with_program(*driver, device, folder);
    return mount_with_kernel_driver(*driver, device.c_str(), folder.c_str());
}

Unmounted unmount(const Mount &mount)
{
    constexpr int tries = 10;
    constexpr useconds_t pause_microseconds = 100 * 1000;
    for (int i = 0; i < tries; i++) {
        if (umount2(mount.folder.c_str(), UMOUNT_NOFOLLOW) == 0)
            return Unmounted::now;
        if (errno != EBUSY)
            break;
        usleep(pause_microseconds);
    }
    if (errno == EBUSY)
        tell_who_uses(mount);
    if (umount2(mount.folder.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW) == 0)
        return Unmounted::when_let_go;
    syslog(LOG_ERR, "%s: %s cannot be unmounted: %s", mount.device.c_str(), mount.folder.c_str(), strerror(errno));
    return Unmounted::not_at_all;
}

} // namespace usbmount
