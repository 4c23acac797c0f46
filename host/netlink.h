/* Interfaces, IPv4 addresses, default routes and neighbours of the kernel, over netlink.
 * Addresses and masks are numbers in host order. Every call opens a socket of its own: nothing to keep over a fork. */
#ifndef NASHOST_NETLINK_H
#define NASHOST_NETLINK_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nashost
{

using HardwareAddress = std::array<unsigned char, 6>;

struct Link {
    int index = 0;
    bool carrier = false; /* up, and the other end is there */
    std::optional<HardwareAddress> hardware_address;
};

struct InterfaceAddress {
    uint32_t address = 0;
    int prefix = 0;
};

struct DefaultRoute {
    int link = 0;
    uint32_t gateway = 0; /* 0: none */
    uint32_t metric = 0;
};

std::optional<Link> find_link(const std::string &name);

/* The interface's first address. */
std::optional<InterfaceAddress> first_address(int link);

/* Switches the interface on and leaves it this address alone; none at all for an address of 0. */
bool replace_address(int link, const InterfaceAddress &wanted);

/* The main table's default routes; the one in effect first. */
std::vector<DefaultRoute> default_routes();

/* Replaces the default route of metric 0. `reach_anyway`: the gateway need not lie in a network of the interface. */
bool set_default_route(int link, uint32_t gateway, bool reach_anyway);
bool remove_default_routes(int link);

std::optional<HardwareAddress> neighbour_address(uint32_t address);

} // namespace nashost

#endif
