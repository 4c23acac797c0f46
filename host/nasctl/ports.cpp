#include "ports.h"

#include "nas/service.h"

#include "platform/request.h"

#include "services.h"

#include <charconv>
#include <optional>

namespace nasctl
{
namespace
{

/* What a service listens on besides the ports that it offers to the internet. */
struct FixedPort {
    const char *service;
    int port;
};

constexpr FixedPort fixed_ports[] = {{"samba", 139}, {"samba", 445}, {"media", 8200}, {"entware", 23}};

/* "0" to "65535" without anything else. */
std::optional<int> parse_port(const std::string &text)
{
    constexpr int highest_port = 65535;
    int port = 0;
    const char *end = text.data() + text.size();
    auto [rest, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || rest != end || port < 0 || port > highest_port)
        return std::nullopt;
    return port;
}

} // namespace

std::vector<int> fixed_ports_of(const std::string &service)
{
    std::vector<int> ports;
    for (const FixedPort &fixed : fixed_ports) {
        if (service == fixed.service)
            ports.push_back(fixed.port);
    }
    return ports;
}

int port_setting(const std::string &service, const std::string &key, const std::string &value, bool may_be_none)
{
    std::optional<int> port = parse_port(value);
    bool fits = port && (*port != 0 || may_be_none);
    refuse(service, key, value,
           fits ? "" : std::string("a port is a number from 1 to 65535") + (may_be_none ? ", or 0 for none" : ""));
    return *port;
}

namespace
{

std::vector<int> ports_in_use_by(const char *service)
{
    std::vector<int> used;
    ServicePort offered[3] = {};
    if (get_service_ports(service, offered, 3) != 0) {
        for (const ServicePort &entry : offered)
            used.push_back(entry.port);
    }
    if (get_service_enable(service) != 0) {
        std::vector<int> fixed = fixed_ports_of(service);
        used.insert(used.end(), fixed.begin(), fixed.end());
    }
    return used;
}

} // namespace

void check_ports_are_free(const std::string &service, const std::vector<int> &ports)
{
    for (const NasServiceInfo *info = nas_service_table; info->name != nullptr; info++) {
        if (service == info->name)
            continue;
        for (int used : ports_in_use_by(info->name)) {
            if (used != 0 && std::find(ports.begin(), ports.end(), used) != ports.end())
                throw Failure(service + ": port " + std::to_string(used) + " belongs to " + info->name);
        }
    }
}

void close_former_ports(const std::vector<int> &before, const std::vector<int> &now)
{
    for (int port : before) {
        if (port != 0 && std::find(now.begin(), now.end(), port) == now.end())
            signal_start(("upnp:service,D,tcp," + std::to_string(port) + ",0,null").c_str());
    }
}

} // namespace nasctl
