#include "filter.h"

#include "device_name.h"
#include "text.h"

#include <algorithm>

namespace hotplug
{
namespace
{

constexpr size_t path_limit = 1023;

bool ends_with(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/* "/block/sda" or "/block/sda/sda1", whatever folders are above: the library reads on behind the first "/block/", so
 * there must be only one. */
bool is_usb_volume(std::string_view path)
{
    constexpr std::string_view block = "/block/";
    const size_t at = path.find(block);
    if (at == std::string_view::npos)
        return false;
    const std::string_view name = path.substr(at + block.size());
    const size_t slash = name.find('/');
    if (slash == std::string_view::npos)
        return nashost::is_disk_name(name);
    const std::string_view disk = name.substr(0, slash), partition = name.substr(slash + 1);
    return nashost::is_disk_name(disk) && nashost::is_partition_name(partition) &&
           partition.substr(0, disk.size()) == disk;
}

/* Printers are below "usbmisc" since long, and were below "usb" before. */
bool is_printer(std::string_view path)
{
    return ends_with(path, "/usbmisc/lp0") || ends_with(path, "/usb/lp0");
}

/* The library knows the interface by the path that old kernels gave it. The queues below it are none of its own. */
constexpr std::string_view phone_path = "/class/net/usb0";

bool is_phone(std::string_view path)
{
    return path == phone_path || ends_with(path, "/net/usb0");
}

bool is_old_usb_device(std::string_view path)
{
    constexpr std::string_view devices = "/class/usb_device/";
    return path.substr(0, devices.size()) == devices && path.find('/', devices.size()) == std::string_view::npos;
}

} // namespace

std::optional<Event> accepted_event(std::string_view action, std::string_view device_path)
{
    if (action != "add" && action != "remove")
        return std::nullopt;
    if (device_path.size() > path_limit || std::any_of(device_path.begin(), device_path.end(), nashost::is_control))
        return std::nullopt;
    if (is_phone(device_path))
        return Event{std::string(action), std::string(phone_path)};
    if (is_usb_volume(device_path) || is_printer(device_path) || is_old_usb_device(device_path))
        return Event{std::string(action), std::string(device_path)};
    return std::nullopt;
}

bool removes_volume(const Event &event)
{
    return event.action == "remove" && is_usb_volume(event.path);
}

} // namespace hotplug
