// The USB devices that sysfs shows, and what the search for their nodes answers.
#include "fuzz/fuzz.h"

#include "nas/mount.h"
#include "nas/usbcheck.h"
#include "nas/usbdev.h"

#include <cstring>
#include <vector>

namespace nas_fuzz
{
namespace
{

void look_at_list(World &world, const char *filter)
{
    UsbDevList list;
    std::memset(&list, 0x5a, sizeof list);
    world.host.call(get_usbdev_list, &list, filter);
    int entries = 0;
    for (const UsbDevInfo *info = list.first; info != nullptr; info = info->next) {
        ++entries;
        require_end(info->product, "a product ends");
        require_end(info->manufacturer, "a maker ends");
        require_end(info->serial, "a serial number ends");
        require_end(info->devname, "a device's name ends");
    }
    require(entries == list.count, "the list holds as many as it says");
    world.host.call(free_usbdev_list, &list);
}

} // namespace

void try_input(Input input, World &world)
{
    const std::string name = input.text();
    const std::string filter = input.text();
    const int index = static_cast<int>(input.choice(8)) - 1;
    world.host.on_command_prefix("/usr/bin/find ", {0}, input.text());
    world.host.device.hardware.usb_port_count = static_cast<int>(input.choice(26)) - 1;
    world.sandbox.set_mounts(input.text());
    plant_all("/sys", input);

    look_at_list(world, nullptr);
    look_at_list(world, filter.c_str());
    UsbDevInfo info = {};
    world.host.call(get_usbdev_info, ("/sys/bus/usb/devices/" + name).c_str(), nullptr, &info);
    world.host.call(get_number_of_usbdevice);
    world.host.call(check_usb_device_exist, name.c_str());
    world.host.call(get_usbidx_by_devname, name.c_str());
    world.host.call(set_usbdev_idx_cache, name.c_str(), index);
    world.host.call(get_usbdev_idx_cache, name.c_str());
    world.host.call(set_device_removed, name.c_str(), 1);
    world.host.call(is_usb_removed, name.c_str());
    std::vector<char> folder(NAS_MOUNT_POINT_SIZE);
    world.host.call(get_first_mount_dir_by_usbidx, index, folder.data());
    world.host.call(check_usbdev_is_active, index);
    world.host.call(check_usbdev_exist_by_idx, index);
    world.host.call(get_usbdev_conneted_mode, index);
    world.host.call(print_usb_check);
    world.host.call(turnoff_usbled);
    world.host.call(remove_all_usb_device);
}

} // namespace nas_fuzz
