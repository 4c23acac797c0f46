// Settings of the network and the device: recorded, not done.
#include "recording/recording_host.h"

#include "platform/device.h"
#include "platform/network.h"

using nas_recording::host;
using nas_recording::HostsOwnDoing;
using nas_recording::words;

namespace
{

int record(std::initializer_list<const char *> all)
{
    const HostsOwnDoing mine;
    host().record(words(all));
    return 0;
}

} // namespace

int set_ifconfig(const char *ifname, const char *ip, const char *mask)
{
    return record({"ifconfig", ifname, ip, mask});
}

int set_default_gateway(const char *ifname, const char *gateway)
{
    const HostsOwnDoing mine;
    const bool refused = host().network.refused_routes.contains(ifname);
    host().record_act(words({"gateway", ifname, gateway}), !refused);
    return refused ? host().network.route_refusal : 0;
}

int set_default_gateway2(const char *ifname, const char *ip, const char *mask, const char *gateway)
{
    return record({"gateway2", ifname, ip, mask, gateway});
}

int dhcpd_set_dns(const char *dns1, const char *dns2)
{
    return record({"dhcp-dns", dns1, dns2});
}

int set_system_dns(const char *wan)
{
    return record({"system-dns", wan});
}

int set_usbled(int port, int on)
{
    const HostsOwnDoing mine;
    host().record("led " + std::to_string(port) + " " + std::to_string(on));
    return 0;
}
