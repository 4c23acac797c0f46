/* usbmount DISK: mounts every volume of a USB disk below /tmp/mnt. */
#include "device_name.h"
#include "folders.h"
#include "lock_file.h"
#include "mounting.h"
#include "settings.h"
#include "startup.h"
#include "volume.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>

namespace
{

enum Exit { done = 0, failed = 1, wrong_usage = 2 };

/* The kernel announces a disk a moment before its nodes are there. */
bool has_node(const std::string &device)
{
    constexpr int tries = 40;
    constexpr useconds_t pause_microseconds = 50 * 1000;
    struct stat status;
    for (int i = 0; i < tries; i++) {
        if (stat(device.c_str(), &status) == 0)
            return S_ISBLK(status.st_mode);
        usleep(pause_microseconds);
    }
    return false;
}

bool complain(const std::string &volume, const std::string &text)
{
    syslog(LOG_ERR, "%s is not mounted: %s", volume.c_str(), text.c_str());
    return false;
}

bool mount_one(const std::string &volume)
{
    const std::string device = "/dev/" + volume;
    if (usbmount::is_mounted(device))
        return true;
    if (!has_node(device))
        return complain(volume, device + " is no block device");
    const usbmount::FileSystem found = usbmount::file_system_on(device);
    if (found.type.empty())
        return complain(volume, "no file system is found on it");
    const std::string folder = usbmount::make_folder(found);
    if (folder.empty())
        return complain(volume, "there is no folder for it");
    const std::string problem = usbmount::mount_volume(device, found.type, folder);
    if (!problem.empty()) {
        usbmount::remove_folder(folder);
        return complain(volume, found.type + ": " + problem);
    }
    usbmount::remember_folder(volume, found, folder);
    syslog(LOG_INFO, "%s (%s) is mounted at %s", volume.c_str(), found.type.c_str(), folder.c_str());
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string disk = argc == 2 ? argv[1] : "";
    if (!nashost::is_disk_name(disk)) {
        fputs("usage: usbmount DISK\nMounts every volume of the USB disk (sda to sdz) below /tmp/mnt.\n", stderr);
        return wrong_usage;
    }
    nashost::fill_standard_descriptors();
    umask(022);
    openlog("usbmount", LOG_PERROR, LOG_DAEMON);

    nashost::LockFile lock;
    constexpr int patience_milliseconds = 60 * 1000;
    if (!lock.take_within(nashost::setting("run_dir") + "/usbmount.lock", patience_milliseconds))
        syslog(LOG_WARNING, "another usbmount or usbumount does not end; going on without waiting");

    const std::vector<std::string> volumes = usbmount::volumes_of(disk);
    if (volumes.empty()) {
        syslog(LOG_ERR, "there is no disk %s", disk.c_str());
        return failed;
    }
    int status = done;
    for (const std::string &volume : volumes) {
        if (!mount_one(volume))
            status = failed;
    }
    return status;
}
