// Network facts, as they are set up.
#include "recording/recording_host.h"

#include "platform/network.h"

#include <cstdio>

using nas_recording::copy_bounded;
using nas_recording::host;
using nas_recording::HostsOwnDoing;
using nas_recording::words;

namespace
{

void put(char *to, const std::string &text)
{
    if (to != nullptr)
        copy_bounded(to, NAS_ADDRESS_SIZE, text);
}

using Facts = std::map<std::string, std::string>;

// Writes the fact; leaves the text as it was when there is none.
bool answer(const Facts &facts, const char *key, char *to)
{
    const HostsOwnDoing mine;
    const auto found = facts.find(key);
    if (found == facts.end())
        return false;
    put(to, found->second);
    return true;
}

// Writes the fact, or the empty text when there is none.
bool answer_or_clear(const Facts &facts, const char *key, char *to)
{
    const HostsOwnDoing mine;
    put(to, "");
    return answer(facts, key, to);
}

} // namespace

int get_wan_ip(const char *wan, char *ip)
{
    return answer_or_clear(host().network.wan_ip, wan, ip) ? 1 : 0;
}

int get_ifconfig(const char *ifname, char *ip, char *mask)
{
    answer_or_clear(host().network.mask, ifname, mask);
    return answer_or_clear(host().network.address, ifname, ip) ? 1 : 0;
}

int get_ifexist(const char *ifname)
{
    return host().network.interfaces.contains(ifname) ? host().yes : 0;
}

int get_wan_link(const char *wan)
{
    return host().network.links.contains(wan) ? host().yes : 0;
}

int get_wan_type(const char *wan, char *type)
{
    return answer(host().network.wan_type, wan, type) ? 0 : -1;
}

int get_wan_ipconfig(char *ifname, char *ip, char *mask, char *gateway)
{
    const HostsOwnDoing mine;
    const std::vector<std::string> &settings = host().network.static_wan;
    if (settings.size() != 4)
        return -1;
    put(ifname, settings[0]);
    put(ip, settings[1]);
    put(mask, settings[2]);
    put(gateway, settings[3]);
    return 0;
}

int get_wan_hw_ifname(const char *wan, char *ifname)
{
    return answer(host().network.hw_ifname, wan, ifname) ? 0 : -1;
}

int get_wansetup_status(const char *wan)
{
    return host().network.set_up.contains(wan) ? host().yes : 0;
}

int get_default_gateway(const char *ifname, char *gateway)
{
    return answer(host().network.gateway, ifname, gateway) ? host().yes : 0;
}

int check_default_gateway(const char *gateway, const char *ip, const char *mask)
{
    const HostsOwnDoing mine;
    const int result = host().network.gateway_check;
    host().record(words({"check-gateway", gateway, ip, mask}) + " -> " + std::to_string(result));
    return result;
}

int local_gateway_is_default_gateway(void)
{
    return host().network.gateway_is_local ? host().yes : 0;
}

int get_hwaddr_org(const char *ifname, char *text)
{
    return answer(host().network.hwaddr, ifname, text) ? 0 : -1;
}

int get_hwaddr_by_ip(const char *ip, char *text)
{
    return answer(host().network.neighbour, ip, text) ? 0 : -1;
}

int get_hwaddr_flash_raw(const char *ifname, unsigned char *octets)
{
    char text[NAS_ADDRESS_SIZE];
    unsigned part[6];
    if (!answer(host().network.hwaddr, ifname, text) ||
        std::sscanf(text, "%x:%x:%x:%x:%x:%x", &part[0], &part[1], &part[2], &part[3], &part[4], &part[5]) != 6)
        return -1;
    for (int i = 0; i < 6; ++i)
        octets[i] = static_cast<unsigned char>(part[i]);
    return 0;
}

int get_dns_shadow(const char *ifname, const char *type, char *dns1, char *dns2)
{
    const HostsOwnDoing mine;
    const auto found = host().network.dns.find(words({ifname, type}));
    if (found == host().network.dns.end() || found->second.size() != 2)
        return -1;
    put(dns1, found->second[0]);
    put(dns2, found->second[1]);
    return 0;
}

int get_autodns(void)
{
    return host().network.dns_is_automatic ? 1 : 0;
}

int read_ftp_private_port(int *ports, int count)
{
    const std::vector<int> &known = host().network.ftp_private_ports;
    for (int i = 0; i < count; ++i)
        ports[i] = static_cast<std::size_t>(i) < known.size() ? known[static_cast<std::size_t>(i)] : 0;
    return host().network.next_ftp_private_port;
}

int write_ftp_private_port(const int *ports, int count)
{
    const HostsOwnDoing mine;
    std::string line = "ftp-private-ports";
    for (int i = 0; i < count; ++i)
        line += " " + std::to_string(ports[i]);
    host().record(line);
    host().network.ftp_private_ports.assign(ports, ports + count);
    return 0;
}
