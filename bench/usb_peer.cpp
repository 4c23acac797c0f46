#include "usb_peer.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <libudev.h>
#include <memory>

namespace nas_bench
{
namespace
{

struct Release {
    void operator()(udev *context) const
    {
        udev_unref(context);
    }
    void operator()(udev_enumerate *search) const
    {
        udev_enumerate_unref(search);
    }
    void operator()(udev_device *device) const
    {
        udev_device_unref(device);
    }
};

template <class Thing>
using Owned = std::unique_ptr<Thing, Release>;

template <std::size_t Size>
void copy_text(char (&to)[Size], const char *from)
{
    if (from == nullptr)
        return;
    const std::size_t length = std::min(std::strlen(from), Size - 1);
    std::memcpy(to, from, length);
}

int number(udev_device *device, const char *attribute)
{
    const char *const text = udev_device_get_sysattr_value(device, attribute);
    return text == nullptr ? 0 : std::atoi(text);
}

void read_attributes(udev_device *device, UsbDevInfo &info)
{
    copy_text(info.manufacturer, udev_device_get_sysattr_value(device, "manufacturer"));
    copy_text(info.product, udev_device_get_sysattr_value(device, "product"));
    copy_text(info.speed, udev_device_get_sysattr_value(device, "speed"));
    copy_text(info.serial, udev_device_get_sysattr_value(device, "serial"));
    copy_text(info.id_product, udev_device_get_sysattr_value(device, "idProduct"));
    copy_text(info.id_vendor, udev_device_get_sysattr_value(device, "idVendor"));
    copy_text(info.version, udev_device_get_sysattr_value(device, "version"));
    info.devnum = number(device, "devnum");
    info.busnum = number(device, "busnum");
    // Buses 1 and 3 are USB 2.0, 2 and 4 USB 3.0.
    info.connected_mode = info.busnum < 1 || info.busnum > 4 ? 0 : info.busnum % 2 == 1 ? 1 : 2;
}

void append_disk(UsbDevList &list, udev_device *disk)
{
    udev_device *const interface = udev_device_get_parent_with_subsystem_devtype(disk, "usb", "usb_interface");
    udev_device *const device = udev_device_get_parent_with_subsystem_devtype(disk, "usb", "usb_device");
    if (interface == nullptr || device == nullptr)
        return;
    const char *const interface_class = udev_device_get_sysattr_value(interface, "bInterfaceClass");
    if (interface_class == nullptr || std::strcmp(interface_class, "08") != 0)
        return;
    auto *const info = static_cast<UsbDevInfo *>(std::calloc(1, sizeof(UsbDevInfo)));
    if (info == nullptr)
        return;
    info->index = 1;
    read_attributes(device, *info);
    copy_text(info->interface_class, interface_class);
    copy_text(info->devname, udev_device_get_sysname(disk));
    (list.last == nullptr ? list.first : list.last->next) = info;
    list.last = info;
    ++list.count;
}

} // namespace

int list_usb_disks_with_libudev(UsbDevList *list)
{
    *list = {};
    const Owned<udev> context(udev_new());
    const Owned<udev_enumerate> search(udev_enumerate_new(context.get()));
    udev_enumerate_add_match_subsystem(search.get(), "block");
    udev_enumerate_add_match_property(search.get(), "DEVTYPE", "disk");
    udev_enumerate_scan_devices(search.get());
    for (udev_list_entry *entry = udev_enumerate_get_list_entry(search.get()); entry != nullptr;
         entry = udev_list_entry_get_next(entry)) {
        const Owned<udev_device> disk(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        if (disk)
            append_disk(*list, disk.get());
    }
    return list->count;
}

} // namespace nas_bench
