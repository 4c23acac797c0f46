/* usbumount VOLUME, usbumount DISK: unmounts a volume of a USB disk, or all of them. */
#include "device_name.h"
#include "folders.h"
#include "lock_file.h"
#include "mounting.h"
#include "settings.h"
#include "startup.h"
#include "users.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace
{

enum Exit { done = 0, failed = 1, wrong_usage = 2 };

/* "hdddev:sda" and further words is how the library names a whole disk. */
std::string named_device(int argc, char **argv)
{
    constexpr char disk_prefix[] = "hdddev:";
    std::string name = argc >= 2 ? argv[1] : "";
    const bool is_disk = name.compare(0, strlen(disk_prefix), disk_prefix) == 0;
    if (is_disk)
        name.erase(0, strlen(disk_prefix));
    const bool valid = nashost::is_disk_name(name) || (!is_disk && nashost::is_partition_name(name));
    return valid && (is_disk || argc == 2) ? name : "";
}

bool belongs_to(const std::string &device, const std::string &name)
{
    constexpr char nodes[] = "/dev/";
    if (device.compare(0, strlen(nodes), nodes) != 0)
        return false;
    const std::string found = device.substr(strlen(nodes));
    if (found == name)
        return true;
    return nashost::is_disk_name(name) && nashost::is_partition_name(found) && found.compare(0, name.size(), name) == 0;
}

/* A driver in user space writes its last blocks after the volume is gone; the disk may be pulled when it has ended. */
void wait_until_closed(const std::string &device)
{
    constexpr int tries = 100;
    constexpr useconds_t pause_microseconds = 50 * 1000;
    for (int i = 0; i < tries && usbmount::is_device_open(device); i++)
        usleep(pause_microseconds);
}

bool unmount_one(const usbmount::Mount &mount)
{
    const usbmount::Unmounted result = usbmount::unmount(mount);
    if (result == usbmount::Unmounted::not_at_all)
        return false;
    usbmount::remove_folder(mount.folder);
    if (result == usbmount::Unmounted::now && mount.type.compare(0, 4, "fuse") == 0)
        wait_until_closed(mount.device);
    syslog(LOG_INFO, "%s is unmounted from %s", mount.device.c_str(), mount.folder.c_str());
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string name = named_device(argc, argv);
    if (name.empty()) {
        fputs("usage: usbumount VOLUME | DISK | hdddev:DISK [WORD...]\n"
              "Unmounts a volume of a USB disk (sda1), or all of them (sda).\n",
              stderr);
        return wrong_usage;
    }
    nashost::fill_standard_descriptors();
    openlog("usbumount", LOG_PERROR, LOG_DAEMON);

    nashost::LockFile lock;
    constexpr int patience_milliseconds = 60 * 1000;
    if (!lock.take_within(nashost::setting("run_dir") + "/usbmount.lock", patience_milliseconds))
        syslog(LOG_WARNING, "another usbmount or usbumount does not end; going on without waiting");

    int status = done;
    std::vector<usbmount::Mount> mounts = usbmount::mount_table();
    std::reverse(mounts.begin(), mounts.end()); // what was mounted last is on top
    for (const usbmount::Mount &mount : mounts) {
        if (belongs_to(mount.device, name) && !unmount_one(mount))
            status = failed;
    }
    usbmount::remove_left_folders(name);
    return status;
}
