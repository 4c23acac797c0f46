#include "netlink.h"

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>
#include <netlink/netlink.h>
#include <netlink/route/addr.h>
#include <netlink/route/link.h>
#include <netlink/route/neighbour.h>
#include <netlink/route/nexthop.h>
#include <netlink/route/route.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace nashost
{
namespace
{

template <auto release>
struct Release {
    template <class Object>
    void operator()(Object *object) const
    {
        release(object);
    }
};
using Socket = std::unique_ptr<nl_sock, Release<nl_socket_free>>;
using Cache = std::unique_ptr<nl_cache, Release<nl_cache_free>>;
using Address = std::unique_ptr<nl_addr, Release<nl_addr_put>>;
using LinkObject = std::unique_ptr<rtnl_link, Release<rtnl_link_put>>;
using AddressObject = std::unique_ptr<rtnl_addr, Release<rtnl_addr_put>>;
using RouteObject = std::unique_ptr<rtnl_route, Release<rtnl_route_put>>;

constexpr uint32_t lower_layer_up = 1U << 16; // IFF_LOWER_UP, which <net/if.h> does not name

Socket connected()
{
    Socket socket(nl_socket_alloc());
    if (socket && nl_connect(socket.get(), NETLINK_ROUTE) != 0)
        socket.reset();
    return socket;
}

Address ipv4(uint32_t address, int prefix)
{
    uint32_t bytes = htonl(address);
    Address result(nl_addr_build(AF_INET, &bytes, sizeof bytes));
    if (result)
        nl_addr_set_prefixlen(result.get(), prefix);
    return result;
}

uint32_t number_of(nl_addr *address)
{
    uint32_t bytes = 0;
    if (address != nullptr && nl_addr_get_len(address) == sizeof bytes)
        memcpy(&bytes, nl_addr_get_binary_addr(address), sizeof bytes);
    return ntohl(bytes);
}

std::optional<HardwareAddress> hardware_address_of(nl_addr *address)
{
    HardwareAddress octets;
    if (address == nullptr || nl_addr_get_len(address) != octets.size())
        return std::nullopt;
    memcpy(octets.data(), nl_addr_get_binary_addr(address), octets.size());
    return octets;
}

/* Calls `visit` with every object of the cache, in the kernel's order. */
template <class Object, class Visit>
void for_each(nl_cache *cache, Visit visit)
{
    for (nl_object *object = nl_cache_get_first(cache); object != nullptr; object = nl_cache_get_next(object))
        visit(reinterpret_cast<Object *>(object));
}

Cache address_cache(nl_sock *socket)
{
    nl_cache *cache = nullptr;
    return Cache(rtnl_addr_alloc_cache(socket, &cache) == 0 ? cache : nullptr);
}

/* Calls `visit` with every IPv4 address of the interface. */
template <class Visit>
void for_each_address(nl_sock *socket, int link, Visit visit)
{
    Cache cache = address_cache(socket);
    if (!cache)
        return;
    for_each<rtnl_addr>(cache.get(), [&](rtnl_addr *address) {
        if (rtnl_addr_get_family(address) == AF_INET && rtnl_addr_get_ifindex(address) == link)
            visit(address);
    });
}

bool bring_up(nl_sock *socket, int link)
{
    LinkObject present(rtnl_link_alloc()), change(rtnl_link_alloc());
    if (!present || !change)
        return false;
    rtnl_link_set_ifindex(present.get(), link);
    rtnl_link_set_flags(change.get(), IFF_UP);
    return rtnl_link_change(socket, present.get(), change.get(), 0) == 0;
}

bool add_address(nl_sock *socket, int link, const InterfaceAddress &wanted)
{
    AddressObject object(rtnl_addr_alloc());
    Address local = ipv4(wanted.address, wanted.prefix);
    uint32_t host_bits = wanted.prefix >= 31 ? 0 : UINT32_MAX >> wanted.prefix;
    Address broadcast = ipv4(wanted.address | host_bits, 32);
    if (!object || !local || !broadcast)
        return false;
    rtnl_addr_set_ifindex(object.get(), link);
    bool filled = rtnl_addr_set_local(object.get(), local.get()) == 0 &&
                  (host_bits == 0 || rtnl_addr_set_broadcast(object.get(), broadcast.get()) == 0);
    return filled && rtnl_addr_add(socket, object.get(), 0) == 0;
}

/* Calls `visit` with the route and its next hop for every default route of the main table. */
template <class Visit>
bool for_each_default_route(nl_sock *socket, Visit visit)
{
    nl_cache *routes = nullptr;
    if (rtnl_route_alloc_cache(socket, AF_INET, 0, &routes) != 0)
        return false;
    Cache cache(routes);
    for_each<rtnl_route>(cache.get(), [&](rtnl_route *route) {
        bool is_default = rtnl_route_get_table(route) == RT_TABLE_MAIN && rtnl_route_get_type(route) == RTN_UNICAST &&
                          nl_addr_get_prefixlen(rtnl_route_get_dst(route)) == 0;
        rtnl_nexthop *hop = is_default ? rtnl_route_nexthop_n(route, 0) : nullptr;
        if (hop != nullptr)
            visit(route, hop);
    });
    return true;
}

} // namespace

std::optional<Link> find_link(const std::string &name)
{
    Socket socket = connected();
    rtnl_link *object = nullptr;
    if (!socket || name.empty() || rtnl_link_get_kernel(socket.get(), 0, name.c_str(), &object) != 0)
        return std::nullopt;
    LinkObject owner(object);
    Link link;
    link.index = rtnl_link_get_ifindex(object);
    link.carrier = (rtnl_link_get_flags(object) & lower_layer_up) != 0;
    link.hardware_address = hardware_address_of(rtnl_link_get_addr(object));
    return link;
}

std::optional<InterfaceAddress> first_address(int link)
{
    Socket socket = connected();
    std::optional<InterfaceAddress> first;
    if (!socket)
        return first;
    for_each_address(socket.get(), link, [&](rtnl_addr *address) {
        if (!first)
            first = InterfaceAddress{number_of(rtnl_addr_get_local(address)), rtnl_addr_get_prefixlen(address)};
    });
    return first;
}

/* The wanted address is kept when it is there already: taking it away would end its connections. */
bool replace_address(int link, const InterfaceAddress &wanted)
{
    Socket socket = connected();
    if (!socket)
        return false;
    bool present = false, removed = true;
    for_each_address(socket.get(), link, [&](rtnl_addr *address) {
        if (number_of(rtnl_addr_get_local(address)) == wanted.address &&
            rtnl_addr_get_prefixlen(address) == wanted.prefix)
            present = true;
        else
            removed = rtnl_addr_delete(socket.get(), address, 0) == 0 && removed;
    });
    if (wanted.address == 0)
        return removed;
    return removed && bring_up(socket.get(), link) && (present || add_address(socket.get(), link, wanted));
}

std::vector<DefaultRoute> default_routes()
{
    std::vector<DefaultRoute> routes;
    Socket socket = connected();
    if (!socket)
        return routes;
    for_each_default_route(socket.get(), [&](rtnl_route *route, rtnl_nexthop *hop) {
        routes.push_back({rtnl_route_nh_get_ifindex(hop), number_of(rtnl_route_nh_get_gateway(hop)),
                          rtnl_route_get_priority(route)});
    });
    std::stable_sort(routes.begin(), routes.end(),
                     [](const DefaultRoute &a, const DefaultRoute &b) { return a.metric < b.metric; });
    return routes;
}

bool set_default_route(int link, uint32_t gateway, bool reach_anyway)
{
    Socket socket = connected();
    RouteObject route(rtnl_route_alloc());
    Address everything = ipv4(0, 0), via = ipv4(gateway, 32);
    rtnl_nexthop *hop = rtnl_route_nh_alloc();
    if (!socket || !route || !everything || !via || hop == nullptr) {
        if (hop != nullptr)
            rtnl_route_nh_free(hop);
        return false;
    }
    rtnl_route_nh_set_ifindex(hop, link);
    if (gateway != 0)
        rtnl_route_nh_set_gateway(hop, via.get());
    if (reach_anyway)
        rtnl_route_nh_set_flags(hop, RTNH_F_ONLINK);
    rtnl_route_add_nexthop(route.get(), hop); // the route owns it from here
    rtnl_route_set_family(route.get(), AF_INET);
    rtnl_route_set_table(route.get(), RT_TABLE_MAIN);
    rtnl_route_set_protocol(route.get(), RTPROT_STATIC);
    rtnl_route_set_scope(route.get(), gateway != 0 ? RT_SCOPE_UNIVERSE : RT_SCOPE_LINK);
    return rtnl_route_set_dst(route.get(), everything.get()) == 0 &&
           rtnl_route_add(socket.get(), route.get(), NLM_F_CREATE | NLM_F_REPLACE) == 0;
}

bool remove_default_routes(int link)
{
    Socket socket = connected();
    bool removed = true;
    return socket &&
           for_each_default_route(socket.get(),
                                  [&](rtnl_route *route, rtnl_nexthop *hop) {
                                      if (rtnl_route_nh_get_ifindex(hop) == link)
                                          removed = rtnl_route_delete(socket.get(), route, 0) == 0 && removed;
                                  }) &&
           removed;
}

std::optional<HardwareAddress> neighbour_address(uint32_t address)
{
    Socket socket = connected();
    nl_cache *neighbours = nullptr;
    std::optional<HardwareAddress> found;
    if (!socket || rtnl_neigh_alloc_cache(socket.get(), &neighbours) != 0)
        return found;
    Cache cache(neighbours);
    for_each<rtnl_neigh>(cache.get(), [&](rtnl_neigh *neighbour) {
        bool known = (rtnl_neigh_get_state(neighbour) & (NUD_FAILED | NUD_INCOMPLETE)) == 0;
        if (known && number_of(rtnl_neigh_get_dst(neighbour)) == address && !found)
            found = hardware_address_of(rtnl_neigh_get_lladdr(neighbour));
    });
    return found;
}

} // namespace nashost
