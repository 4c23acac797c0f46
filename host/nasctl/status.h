/* The router at one look: its services, volumes and USB devices. */
#ifndef NASCTL_STATUS_H
#define NASCTL_STATUS_H

#include "services.h"

#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace nasctl
{

struct ServiceStatus {
    ServiceState state;
    bool starting = false;
    std::string disk; /* that holds its data; empty for none */
    bool disk_mounted = false;
    std::vector<int> ports;
    std::string internet; /* how its ports stand at the upstream gateway: "mapped", "waiting", "refused" or "no" */
    std::optional<time_t> since;
    std::set<std::string> clients;
};

std::vector<ServiceStatus> service_statuses();

struct UsbDevice {
    int port = 0;
    std::string name; /* maker and product */
    std::string kind; /* "disk", "printer" ... */
    std::string device;
};

std::vector<UsbDevice> usb_devices();

} // namespace nasctl

#endif
