/* Network facts and settings: platform/network.h. What the kernel knows is asked over netlink; what only a
 * router's own configuration knows (the kind of WAN, static settings, DNS servers) is a setting of the host. */
#include "platform/network.h"

#include "platform/store.h"

#include "files.h"
#include "hooks.h"
#include "netlink.h"
#include "settings.h"
#include "text.h"

#include <arpa/inet.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using nashost::InterfaceAddress;
using nashost::setting;

namespace
{

constexpr char first_wan[] = "wan1";
constexpr char private_ports_key[] = "host_ftp_private_ports";

void put(char *to, std::string_view text)
{
    nashost::copy_cut(to, NAS_ADDRESS_SIZE, text);
}

std::optional<uint32_t> parse_address(const char *text)
{
    in_addr address;
    if (inet_pton(AF_INET, text, &address) != 1)
        return std::nullopt;
    return ntohl(address.s_addr);
}

std::string address_text(uint32_t address)
{
    in_addr bytes = {htonl(address)};
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &bytes, text, sizeof text);
    return text;
}

uint32_t mask_of(int prefix)
{
    return prefix == 0 ? 0 : UINT32_MAX << (32 - prefix);
}

/* Empty for a mask whose ones do not all stand in front. */
std::optional<int> prefix_of(const char *mask)
{
    std::optional<uint32_t> bits = parse_address(mask);
    if (!bits || mask_of(std::popcount(*bits)) != *bits)
        return std::nullopt;
    return std::popcount(*bits);
}

/* The interface that carries the WAN's address; with PPPoE another one than the hardware interface below it. */
std::string wan_interface(const char *wan)
{
    return strcmp(wan, first_wan) == 0 ? setting("wan") : std::string(wan);
}

std::string wan_hardware_interface(const char *wan)
{
    std::string below = strcmp(wan, first_wan) == 0 ? setting("wan_hw") : std::string();
    return below.empty() ? wan_interface(wan) : below;
}

std::optional<InterfaceAddress> address_of(const std::string &ifname)
{
    std::optional<nashost::Link> link = nashost::find_link(ifname);
    return link ? nashost::first_address(link->index) : std::nullopt;
}

std::optional<nashost::HardwareAddress> parse_hardware_address(const std::string &text)
{
    unsigned part[6];
    char rest;
    if (sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", part, part + 1, part + 2, part + 3, part + 4, part + 5,
               &rest) != 6)
        return std::nullopt;
    nashost::HardwareAddress octets;
    for (size_t i = 0; i < octets.size(); i++)
        octets[i] = static_cast<unsigned char>(part[i]);
    return octets;
}

/* The setting "hwaddr_<interface>" stands for the address that the factory wrote into the flash. Without it, and
 * where the hardware has no interface of that name, "eth1" is what lies below the WAN. */
std::optional<nashost::HardwareAddress> original_hardware_address(const char *ifname)
{
    if (auto octets = parse_hardware_address(setting(std::string("hwaddr_") + ifname)))
        return octets;
    std::optional<nashost::Link> link = nashost::find_link(ifname);
    if (!link && strcmp(ifname, "eth1") == 0)
        link = nashost::find_link(wan_hardware_interface(first_wan));
    return link ? link->hardware_address : std::nullopt;
}

int put_hardware_address(const std::optional<nashost::HardwareAddress> &octets, char *text)
{
    if (!octets)
        return -1;
    const nashost::HardwareAddress &o = *octets;
    snprintf(text, NAS_ADDRESS_SIZE, "%02x:%02x:%02x:%02x:%02x:%02x", o[0], o[1], o[2], o[3], o[4], o[5]);
    return 0;
}

/* The addresses behind "nameserver", as a DHCP client writes them for its interface. */
std::vector<std::string> name_servers_in(const std::string &path)
{
    std::vector<std::string> servers;
    for (const std::string &line : nashost::split(nashost::read_text(path, 4096).value_or(""), '\n')) {
        std::string_view text = nashost::trimmed(line);
        if (text.starts_with("nameserver ") || text.starts_with("nameserver\t"))
            servers.emplace_back(nashost::trimmed(text.substr(10)));
    }
    return servers;
}

std::vector<std::string> static_name_servers()
{
    std::vector<std::string> servers;
    for (const std::string &part : nashost::split(setting("wan_static_dns"), ',')) {
        if (!nashost::trimmed(part).empty())
            servers.emplace_back(nashost::trimmed(part));
    }
    return servers;
}

int number_of_ports(int count)
{
    constexpr int most = 64; // so many always fit into one stored value
    return std::clamp(count, 0, most);
}

} // namespace

int get_wan_ip(const char *wan, char *ip)
{
    return get_ifconfig(wan_interface(wan).c_str(), ip, nullptr);
}

int get_ifconfig(const char *ifname, char *ip, char *mask)
{
    std::optional<InterfaceAddress> address = address_of(ifname);
    put(ip, address ? address_text(address->address) : "");
    if (mask != nullptr)
        put(mask, address ? address_text(mask_of(address->prefix)) : "");
    return address ? 1 : 0;
}

int set_ifconfig(const char *ifname, const char *ip, const char *mask)
{
    std::optional<nashost::Link> link = nashost::find_link(ifname);
    std::optional<uint32_t> address = parse_address(ip);
    std::optional<int> prefix = prefix_of(mask);
    if (!link || !address || !prefix)
        return -1;
    return nashost::replace_address(link->index, {*address, *prefix}) ? 0 : -1;
}

int get_ifexist(const char *ifname)
{
    return nashost::find_link(ifname).has_value();
}

int get_wan_link(const char *wan)
{
    std::optional<nashost::Link> link = nashost::find_link(wan_hardware_interface(wan));
    return link && link->carrier;
}

int get_wan_type(const char *wan, char *type)
{
    if (strcmp(wan, first_wan) != 0)
        return -1;
    put(type, setting("wan_type"));
    return 0;
}

/* Settings wan_static_ip, wan_static_mask and wan_static_gateway. */
int get_wan_ipconfig(char *ifname, char *ip, char *mask, char *gateway)
{
    std::string address = setting("wan_static_ip");
    if (address.empty())
        return -1;
    put(ifname, wan_interface(first_wan));
    put(ip, address);
    put(mask, setting("wan_static_mask"));
    put(gateway, setting("wan_static_gateway"));
    return 0;
}

int get_wan_hw_ifname(const char *wan, char *ifname)
{
    std::string name = wan_hardware_interface(wan);
    if (!nashost::find_link(name))
        return -1;
    put(ifname, name);
    return 0;
}

/* Whether or not it has an address: without its cable it may have none, and that is when somebody else takes its
 * place. */
int get_wansetup_status(const char *)
{
    return nashost::wan_is_being_set_up() ? 0 : 1;
}

int get_default_gateway(const char *ifname, char *gateway)
{
    std::optional<nashost::Link> link = nashost::find_link(ifname);
    for (const nashost::DefaultRoute &route : nashost::default_routes()) {
        if (link && route.link == link->index && route.gateway != 0) {
            put(gateway, address_text(route.gateway));
            return 1;
        }
    }
    return 0;
}

int set_default_gateway(const char *ifname, const char *gateway)
{
    std::optional<nashost::Link> link = nashost::find_link(ifname);
    if (!link)
        return -1;
    if (gateway == nullptr && setting("lan") == ifname)
        return nashost::remove_default_routes(link->index) ? 0 : -1;
    std::optional<uint32_t> via = gateway == nullptr ? 0 : parse_address(gateway);
    return via && nashost::set_default_route(link->index, *via, false) ? 0 : -1;
}

/* Gives the interface the address once more, and then asks for no proof that the gateway can be reached from it:
 * this is the way out when set_default_gateway was refused. */
int set_default_gateway2(const char *ifname, const char *ip, const char *mask, const char *gateway)
{
    std::optional<nashost::Link> link = nashost::find_link(ifname);
    std::optional<uint32_t> via = parse_address(gateway);
    if (!link || !via || set_ifconfig(ifname, ip, mask) != 0)
        return -1;
    return nashost::set_default_route(link->index, *via, true) ? 0 : -1;
}

/* The network's own address, its broadcast address and the interface's own one are no gateways. */
int check_default_gateway(const char *gateway, const char *ip, const char *mask)
{
    std::optional<uint32_t> via = parse_address(gateway), address = parse_address(ip);
    std::optional<int> prefix = prefix_of(mask);
    if (!via || !address || !prefix || *via == 0 || *via == *address)
        return -1;
    uint32_t network = mask_of(*prefix);
    bool special = *prefix < 31 && ((*via & ~network) == 0 || (*via | network) == UINT32_MAX);
    return (*via & network) == (*address & network) && !special ? 0 : -1;
}

/* True for a default route over the WAN or, where the router is only a bridge, over the LAN; false for one that
 * leads elsewhere, to a phone for example. */
int local_gateway_is_default_gateway(void)
{
    std::vector<nashost::DefaultRoute> routes = nashost::default_routes();
    if (routes.empty() || routes.front().gateway == 0)
        return 0;
    for (const std::string &own : {wan_interface(first_wan), setting("lan")}) {
        std::optional<nashost::Link> link = nashost::find_link(own);
        if (link && link->index == routes.front().link)
            return 1;
    }
    return 0;
}

int get_hwaddr_org(const char *ifname, char *text)
{
    return put_hardware_address(original_hardware_address(ifname), text);
}

int get_hwaddr_by_ip(const char *ip, char *text)
{
    std::optional<uint32_t> address = parse_address(ip);
    return address ? put_hardware_address(nashost::neighbour_address(*address), text) : -1;
}

int get_hwaddr_flash_raw(const char *ifname, unsigned char *octets)
{
    std::optional<nashost::HardwareAddress> address = original_hardware_address(ifname);
    if (!address)
        return -1;
    memcpy(octets, address->data(), address->size());
    return 0;
}

/* "static": the setting wan_static_dns; any other type: the file <provider_dns_dir>/<interface>. */
int get_dns_shadow(const char *ifname, const char *type, char *dns1, char *dns2)
{
    bool fixed = strcmp(type, "static") == 0;
    std::vector<std::string> servers =
        fixed ? static_name_servers() : name_servers_in(setting("provider_dns_dir") + "/" + ifname);
    put(dns1, !servers.empty() ? servers[0] : "");
    put(dns2, servers.size() > 1 ? servers[1] : "");
    return servers.empty() ? -1 : 0;
}

/* A DHCP server's options file; the server takes it over when it is told to. */
int dhcpd_set_dns(const char *dns1, const char *dns2)
{
    std::string line = std::string("option:dns-server,") + dns1 + (*dns2 != '\0' ? "," : "") + dns2 + "\n";
    std::string path = setting("lan_dhcp_options");
    nashost::make_parent_folders(path);
    nashost::replace_file(path, *dns1 != '\0' ? line : "");
    return 0;
}

int set_system_dns(const char *wan)
{
    char dns1[NAS_ADDRESS_SIZE], dns2[NAS_ADDRESS_SIZE];
    std::string text;
    if (get_dns_shadow(wan_hardware_interface(wan).c_str(), setting("wan_type").c_str(), dns1, dns2) == 0) {
        for (const char *server : {dns1, dns2})
            text += *server != '\0' ? std::string("nameserver ") + server + "\n" : "";
        nashost::replace_file(setting("resolv_conf"), text);
    }
    return 0;
}

int get_autodns(void)
{
    return nashost::setting_number("auto_dns") != 0;
}

/* Kept in the configuration store, under a key of the host's own. When every place is taken a new port goes to the
 * first, which as a rule is the oldest. */
int read_ftp_private_port(int *ports, int count)
{
    char value[NAS_STORE_VALUE_SIZE] = "";
    iconfig_get_value_direct(private_ports_key, value);
    std::vector<std::string> stored = nashost::split(value, ',');
    int free_place = -1;
    for (int i = 0; i < count; i++) {
        auto at = static_cast<size_t>(i);
        ports[i] = at < stored.size() ? nashost::decimal_value(stored[at].c_str()) : 0;
        if (ports[i] == 0 && free_place < 0)
            free_place = i;
    }
    return free_place < 0 ? 0 : free_place;
}

int write_ftp_private_port(const int *ports, int count)
{
    std::string value;
    for (int i = 0; i < number_of_ports(count); i++) {
        value += i > 0 ? "," : "";
        value += std::to_string(ports[i]);
    }
    return iconfig_set_value_direct(private_ports_key, value.c_str());
}
