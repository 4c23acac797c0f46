#include "status.h"

#include "nas/mount.h"
#include "nas/service.h"
#include "nas/usbdev.h"
#include "platform/process.h"

#include "clients.h"
#include "ports.h"
#include "processes.h"
#include "state.h"
#include "text.h"

#include <algorithm>

namespace nasctl
{
namespace
{

/* When the oldest of its processes was started. */
std::optional<time_t> running_since(const char *process_name)
{
    ProcessList list;
    std::optional<time_t> oldest;
    get_process_list(nullptr, &list, 0);
    for (const ProcessEntry *entry = list.first; entry != nullptr; entry = entry->next) {
        if (std::string_view(entry->name) != process_name)
            continue;
        const std::optional<time_t> start = nashost::process_start(entry->pid);
        if (start && (!oldest || *start < *oldest))
            oldest = start;
    }
    free_process_list(&list);
    return oldest;
}

std::vector<int> exposed_ports(const char *service)
{
    ServicePort entries[3] = {};
    std::vector<int> ports;
    if (get_service_ports(service, entries, 3) == 0)
        return ports;
    for (const ServicePort &entry : entries) {
        if (entry.port != 0)
            ports.push_back(entry.port);
    }
    return ports;
}

/* The worst of the ports: a service is reached when all of them are open. */
std::string internet_standing(const std::vector<int> &ports, const upnp::State &gateway)
{
    std::string worst = "no";
    for (const upnp::WantedMapping &wanted : gateway.wanted) {
        if (std::find(ports.begin(), ports.end(), wanted.mapping.external) == ports.end())
            continue;
        if (worst == "no" || wanted.standing != upnp::Standing::mapped)
            worst = upnp::standing_word(wanted.standing);
    }
    return worst;
}

std::string disk_of(const char *service)
{
    return service_control(service).show().value("disk", "");
}

std::string kind_word(const std::string &interface_class)
{
    if (interface_class == "08")
        return "disk";
    if (interface_class == "07")
        return "printer";
    if (interface_class == "02" || interface_class == "e0" || interface_class == "0a")
        return "network";
    return "class " + interface_class;
}

} // namespace

std::vector<ServiceStatus> service_statuses()
{
    const upnp::State gateway = upnp::read_state();
    const std::vector<Connection> all = connections();
    std::vector<ServiceStatus> statuses;
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; row++) {
        ServiceStatus status;
        status.state = service_state(*row);
        status.starting = check_service_starting(row->name) != 0;
        status.disk = disk_of(row->name);
        status.disk_mounted =
            !status.disk.empty() && get_mount_devpath(("/tmp/mnt/" + status.disk).c_str(), nullptr) != 0;
        status.ports = exposed_ports(row->name);
        status.internet = internet_standing(status.ports, gateway);
        if (status.state.enabled) {
            const std::vector<int> fixed = fixed_ports_of(row->name);
            status.ports.insert(status.ports.end(), fixed.begin(), fixed.end());
        }
        if (status.state.running > 0) {
            status.since = running_since(row->process_name);
            status.clients = clients_of(status.ports, all);
        }
        statuses.push_back(status);
    }
    return statuses;
}

std::vector<UsbDevice> usb_devices()
{
    UsbDevList list;
    std::vector<UsbDevice> devices;
    get_usbdev_list(&list, nullptr);
    for (const UsbDevInfo *info = list.first; info != nullptr; info = info->next) {
        const std::string name = std::string(info->manufacturer) + " " + info->product;
        devices.push_back(
            {info->index, std::string(nashost::trimmed(name)), kind_word(info->interface_class), info->devname});
    }
    free_usbdev_list(&list);
    return devices;
}

} // namespace nasctl
