#include "services.h"

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/ftp.h"
#include "nas/hotplug.h"
#include "nas/media.h"
#include "nas/mount.h"
#include "nas/partition.h"
#include "nas/printer.h"
#include "nas/samba.h"
#include "nas/service.h"
#include "nas/tethering.h"
#include "nas/torrent.h"
#include "nas/usbdev.h"
#include "nas/web.h"
#include "platform/process.h"

#include "device_name.h"
#include "print_server.h"
#include "request_queue.h"

#include <mntent.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace serviced
{
namespace
{

int run_web_file_service(const char *mode)
{
    return lighttpd_callback(mode, "url");
}

constexpr char installation_request[] = "entware_download";

/* Before it is installed there is no login that could be missed. */
bool is_environment_installed()
{
    return get_entware_status() == NAS_ENTWARE_INSTALLED;
}

/* One that has failed is not tried again by itself. */
bool is_installation_wanted()
{
    return get_entware_config(nullptr) != 0 && get_entware_status() == NAS_ENTWARE_NONE &&
           access("/tmp/cur", F_OK) == 0;
}

constexpr Service service_callbacks[] = {
    {"ftp", ftp_callback},
    {"samba", samba_callback},
    {"url", run_web_file_service},
    {"rsync", rsync_callback, true},
    {"nalvexcloud", nalvexcloud_callback, true},
    {"torrent", torrent_callback},
    {"media", media_callback},
    {"entware", entware_callback, false, is_environment_installed},
};

constexpr Periodic periodic_callbacks[] = {
    {"fuse", fuse_callback, Begins::with_the_services},
    {"lp", lp_callback, Begins::when_asked, "cupsd", prepare_print_server},
    {"tethering", tethering_callback, Begins::with_the_services, "usb_tethering"},
    {"entware_download", entware_download_callback, Begins::when_asked, installation_request, nullptr, true},
};

/* The names of USB volumes that are mounted by a driver in user space of which no process is left. No volume is asked
 * for anything: one that hangs would hang its questioner. */
std::vector<std::string> dead_volumes()
{
    constexpr std::string_view nodes = "/dev/";
    std::vector<std::string> dead;
    std::unique_ptr<FILE, int (*)(FILE *)> table(setmntent("/proc/self/mounts", "r"), endmntent);
    while (const mntent *entry = table ? getmntent(table.get()) : nullptr) {
        const std::string_view device = entry->mnt_fsname;
        if (strcmp(entry->mnt_type, "fuseblk") != 0 || device.substr(0, nodes.size()) != nodes)
            continue;
        const std::string name(device.substr(nodes.size()));
        char driver[NAS_FUSE_LABEL_SIZE];
        if ((nashost::is_disk_name(name) || nashost::is_partition_name(name)) &&
            get_fuse_fsname(name.c_str(), driver) == 0)
            dead.push_back(name);
    }
    return dead;
}

/* What is mounted already stays as it is; what the user has taken out stays out. */
void mount_all_disks()
{
    UsbDevList devices;
    get_usbdev_list(&devices, "08");
    for (const UsbDevInfo *device = devices.first; device != nullptr; device = device->next) {
        if (nashost::is_disk_name(device->devname) && is_usb_removed(device->devname) == 0)
            system2("/sbin/usbmount %s", device->devname);
    }
    free_usbdev_list(&devices);
}

} // namespace

std::span<const Service> services()
{
    return service_callbacks;
}

std::span<const Periodic> periodics()
{
    return periodic_callbacks;
}

bool is_disk_there(const std::string &disk)
{
    return get_blockdev_exist(disk.c_str()) != 0;
}

void perform_event(const std::string &event)
{
    hotplug_callback(event.c_str());
}

/* The kernel does not let go of a dead driver's volume while a daemon has a file of it open. stop_nas_service ends
 * serviced, too; the next one waits until we are done. */
bool repair_volumes()
{
    const std::vector<std::string> dead = dead_volumes();
    if (!dead.empty())
        stop_nas_service();
    for (const std::string &volume : dead)
        system2("/sbin/usbumount %s", volume.c_str());
    const int mounted = get_num_of_mountdev(nullptr);
    mount_all_disks();
    return !dead.empty() || get_num_of_mountdev(nullptr) != mounted;
}

void mark_starting(const char *service, bool on)
{
    set_service_starting(service, on ? 1 : 0);
}

void check_health()
{
    ProcessList processes;
    get_process_list(nullptr, &processes, 0);
    for (const Service &service : service_callbacks) {
        if (service.may_run == nullptr || service.may_run())
            restart_nas_service(&processes, service.name);
    }
    free_process_list(&processes);
    if (is_installation_wanted())
        nashost::add_request(installation_request);
}

} // namespace serviced
