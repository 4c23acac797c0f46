#include "nas/hotplug.h"

#include "nas/mount.h"
#include "nas/service.h"
#include "nas/tethering.h"
#include "nas/usbdev.h"
#include "platform/device.h"
#include "platform/process.h"
#include "platform/request.h"
#include "service/callback.h"
#include "storage/volume_list.h"
#include "support/record.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

using namespace nas;

static constexpr char event_phone_left[] = "@{124}";
static constexpr char event_phone_came[] = "@{125}";
static constexpr char event_disk_came[] = "@{126}";
static constexpr char event_disk_mounted[] = "@{127}";
static constexpr char event_disk_removed[] = "@{128}";
static constexpr char event_disk_unmounted[] = "@{129}";

static constexpr int watchdog_seconds = 10;

using EventText = char[128];
using CommandLine = char[128];

static void log_port_event(const char *event, int port)
{
    syslog_msg(1, event, port);
}

static void cache_port_index(const char *disk)
{
    set_usbdev_idx_cache(disk, get_usbidx_by_devname(disk));
}

// A whole disk came. Its partitions are mounted with it, so theirs are no events of their own.
static void add_disk(const char *disk)
{
    EventText add_event, mount_request;
    format_text(add_event, "add,%s", disk);
    format_text(mount_request, "mount:%s", disk);
    if (check_diag_flag() != 0) {
        cache_port_index(disk);
        hotplug_callback(add_event);
        return;
    }
    // serviced performs the event: it takes longer than the kernel's handler may.
    signal_nas(mount_request);
    cache_port_index(disk);
    log_port_event(event_disk_came, get_usbidx_by_devname(disk));
}

static void remove_volume(const char *volume)
{
    EventText remove_event;
    format_text(remove_event, "remove,%s,1,10", volume);
    if (hotplug_callback(remove_event) != 0)
        log_port_event(event_disk_removed, get_usbdev_idx_cache(volume));
}

static void handle_block_event(const char *name, bool added)
{
    const char *slash = strchr(name, '/');
    if (added) {
        if (slash == nullptr)
            add_disk(name);
    } else if (slash != nullptr) {
        remove_volume(slash + 1);
    } else if (get_mtab_info(name, nullptr, nullptr) != 0) {
        remove_volume(name); // a disk without partitions
    }
}

static bool is_printer(const char *path)
{
    return strstr(path, "/usb/lp0") != nullptr || strcmp(path, "/class/usb/lp0") == 0 ||
           strstr(path, "/usbmisc/lp0") != nullptr;
}

static void handle_event(const char *path, const char *action)
{
    const bool added = strcmp(action, "add") == 0;
    static constexpr std::string_view block = "/block/";
    if (const char *name = strstr(path, block.data()))
        handle_block_event(name + block.size(), added);
    else if (strstr(path, "block") == nullptr && is_printer(path))
        hotplug_printer(path, action);

    if ((strstr(path, "/class/net/usb0") != nullptr || check_usb_tethering_class(path) != 0) &&
        get_usb_tethering_op() != 0)
        syslog_msg(1, added ? event_phone_came : event_phone_left);
}

int hotplug_usb2(int argc, char **argv)
{
    if (argc == 3) {
        EventText path;
        format_text(path, "/block/%s", argv[2]);
        handle_event(path, argv[1]);
        return 0;
    }
    const char *path = getenv("DEVPATH");
    const char *action = getenv("ACTION");
    if (path != nullptr && action != nullptr && path[0] != '\0' && action[0] != '\0')
        handle_event(path, action);
    return 0;
}

static void perform_add(const char *device)
{
    if (check_module_installed("tntfs") == 0)
        system("insmod /lib/modules/tntfs.ko");
    if (check_all_unmounted() == 1)
        install_fs_modules();
    set_device_removed(device, 0);
    CommandLine command;
    format_text(command, "/sbin/usbmount %s", device);
    system(command);
    start_serviced();
    turnon_usbled_by_silent_control(device);
    log_port_event(event_disk_mounted, get_usbidx_by_devname(device));
}

// Returns 1 when the disk's last volume went away.
static int perform_remove(const char *device)
{
    char disk[4];
    copy_text(disk, device);
    stop_nas_service();
    CommandLine command;
    format_text(command, "/sbin/usbumount %s", device);
    system(command);
    if (get_num_of_mountdev(disk) != 0)
        return 0;
    turnoff_usbled();
    log_port_event(event_disk_unmounted, get_usbdev_idx_cache(disk));
    if (get_num_of_mountdev(nullptr) != 0)
        return 1;
    uninstall_fs_modules();
    signal_nas("all");
    return 1;
}

int hotplug_callback(const char *event)
{
    Record fields;
    split_text(fields, event);
    const char *action = next_field(fields);
    const char *device = next_field(fields, ",\n");
    if (action == nullptr || device == nullptr)
        return 0;
    if (strcmp(action, "add") == 0) {
        perform_add(device);
        return 0;
    }
    // Both fields behind the device must be there; what they say does not matter.
    if (strcmp(action, "remove") != 0 || next_field(fields) == nullptr || next_field(fields) == nullptr)
        return 0;
    return perform_remove(device);
}

int hotplug_printer(const char *, const char *)
{
    signal_nas("cupsd");
    return 0;
}

int check_usb_tethering_class(const char *path)
{
    static constexpr std::string_view devices = "/class/usb_device/";
    if (!begins_with(path, devices))
        return 0;
    UsbDevInfo info = {};
    if (get_usbdev_info(path + devices.size(), nullptr, &info) == 0)
        return 0;
    return strcmp(info.devname, "usb0") == 0;
}

static void remount(const MountEntry &volume)
{
    puts("No process for fuseblk -> remount again");
    char folder[128];
    format_text(folder, "/mnt/%s", volume.folder);
    system2("umount %s", folder);
    // Whatever driver served it before, this one can be had again at once.
    if (system2("mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/%s %s", volume.device, folder) != 0)
        signal_nas("");
}

// Remounts the disk's FUSE volumes that nothing serves; says whether it has any FUSE volume.
static bool watch_fuse_volumes(const char *disk)
{
    bool any = false;
    MountList volumes;
    // Without sizes: a volume whose driver hangs would hang its questioner, too.
    list_volumes(volumes, disk, Sizes::unknown);
    for (const MountEntry *volume = volumes.first; volume != nullptr; volume = volume->next) {
        if (strcmp(volume->fstype, "fuseblk") != 0)
            continue;
        any = true;
        char label[NAS_FUSE_LABEL_SIZE];
        if (get_fuse_fsname(volume->device, label) == 0)
            remount(*volume);
    }
    free_mount_list(&volumes);
    return any;
}

int fuse_callback(PeriodicCallbackRecord *record)
{
    UsbDevList devices;
    get_usbdev_list(&devices, "08");
    bool any = false;
    for (const UsbDevInfo *device = devices.first; device != nullptr; device = device->next)
        any = watch_fuse_volumes(device->devname) || any;
    free_usbdev_list(&devices);

    if (!any)
        puts("fuse_callback -----> No Fuse fs. Stop callback");
    call_again(*record, any ? watchdog_seconds : never);
    return 0;
}

int check_all_unmounted(void)
{
    return get_num_of_mountdev(nullptr) == 0;
}

int install_fs_modules(void)
{
    system("insmod ext2");
    system("insmod jbd");
    system("insmod ext3");
    system("insmod fat");
    system("insmod fuse");
    system("insmod msdos");
    system("insmod vfat");
    system("insmod jbd2");
    system("insmod ext4dev");
    return 0;
}

int uninstall_fs_modules(void)
{
    system("rmmod ext2");
    system("rmmod ext3");
    system("rmmod jbd");
    system("rmmod vfat");
    system("rmmod msdos");
    system("rmmod fat");
    system("rmmod fuse");
    system("rmmod ext4dev");
    system("rmmod jbd2");
    return 0;
}

// Is it dark at this hour? The period may pass midnight; equal hours mean always.
static bool is_dark(const LedSilentControl &control, int hour)
{
    if (control.start_hour < control.end_hour)
        return control.start_hour <= hour && hour < control.end_hour;
    return hour >= control.start_hour || hour < control.end_hour;
}

int turnon_usbled_by_silent_control(const char *devname)
{
    LedSilentControl control = {};
    get_led_silent_control(&control);
    const int port = get_usbidx_by_devname(devname);
    if (control.mode == 0 || control.mode == 1) {
        set_usbled(port, control.mode == 0 ? 1 : 0);
        return 0;
    }
    const time_t now = time(nullptr);
    const tm *utc = gmtime(&now);
    set_usbled(port, utc == nullptr || !is_dark(control, utc->tm_hour) ? 1 : 0);
    return 0;
}
