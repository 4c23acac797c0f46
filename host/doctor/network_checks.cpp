/* platform/network.h */
#include "doctor/checks.h"

#include "doctor/examined_host.h"
#include "platform/network.h"

#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace nasdoctor
{
namespace
{

constexpr char no_interface[] = "nasdoctor9";
constexpr char interface[] = "nasdoctor0"; /* a bridge, in the private network only */

/* A text of an address or a name, as an operation has written it. */
struct AddressBuffer : Guarded {
    AddressBuffer() : Guarded(NAS_ADDRESS_SIZE)
    {
    }
};

std::string no_address(const char *name, int answer, const AddressBuffer &buffer)
{
    return first_of({defect_of_answer(name, answer, 0), buffer.overrun(),
                     buffer.text().empty()
                         ? ""
                         : std::string(name) + " leaves " + shown(buffer.text()) + " instead of an empty text"});
}

std::string absent_interface()
{
    AddressBuffer wan, ip, mask;
    const int wan_answer = EXAMINED(get_wan_ip)(no_interface, wan.data());
    const int answer = EXAMINED(get_ifconfig)(no_interface, ip.data(), mask.data());
    return first_of({no_address("get_wan_ip of no interface", wan_answer, wan),
                     no_address("get_ifconfig of no interface", answer, ip),
                     no_address("get_ifconfig of no interface", 0, mask),
                     defect_of_answer("get_ifexist of no interface", EXAMINED(get_ifexist)(no_interface), 0),
                     defect_of_answer("get_wan_link of no interface", EXAMINED(get_wan_link)(no_interface), 0),
                     EXAMINED(get_ifexist)("lo") != 0 ? "" : "get_ifexist answers 0 for lo"});
}

std::string null_mask()
{
    AddressBuffer ip;
    EXAMINED(get_ifconfig)("lo", ip.data(), nullptr);
    return defect_of_text(ip);
}

/* Whatever the facts are: what is written is a text within its bounds. */
std::string bounds()
{
    std::array<AddressBuffer, 13> buffers;
    size_t used = 0;
    auto next = [&] {
        buffers[used].data()[0] = '\0';
        return buffers[used++].data();
    };
    EXAMINED(get_wan_ip)("wan1", next());
    char *const lan = next();
    EXAMINED(get_ifconfig)("br-lan", lan, next());
    EXAMINED(get_wan_type)("wan1", next());
    char *const name = next(), *const ip = next(), *const mask = next();
    EXAMINED(get_wan_ipconfig)(name, ip, mask, next());
    EXAMINED(get_wan_hw_ifname)("wan1", next());
    EXAMINED(get_default_gateway)("br-lan", next());
    EXAMINED(get_hwaddr_by_ip)("192.0.2.1", next());
    char *const dns = next();
    EXAMINED(get_dns_shadow)("wan1", "dynamic", dns, next());
    for (const AddressBuffer &buffer : buffers) {
        if (std::string defect = defect_of_text(buffer); !defect.empty())
            return defect;
    }
    return "";
}

std::string questions()
{
    EXAMINED(get_wansetup_status)("wan1");
    EXAMINED(local_gateway_is_default_gateway)();
    const int automatic = EXAMINED(get_autodns)();
    return automatic == 0 || automatic == 1 ? "" : defect_of_answer("get_autodns", automatic, 1);
}

std::string hardware_addresses()
{
    AddressBuffer text;
    if (EXAMINED(get_hwaddr_org)("eth1", text.data()) == 0) {
        const std::string address = text.text();
        if (address.size() != 17 || address.find_first_not_of("0123456789abcdefABCDEF:") != std::string::npos)
            return "get_hwaddr_org answers 0 and writes " + shown(address);
    }
    Guarded octets(6);
    EXAMINED(get_hwaddr_flash_raw)("eth1", reinterpret_cast<unsigned char *>(octets.data()));
    return first_of({text.overrun(), octets.overrun()});
}

std::string gateways_that_fit()
{
    auto check = EXAMINED(check_default_gateway);
    return first_of(
        {defect_of_answer("check_default_gateway in the network", check("10.9.8.1", "10.9.8.7", "255.255.255.0"), 0),
         check("10.9.7.1", "10.9.8.7", "255.255.255.0") != 0
             ? ""
             : "check_default_gateway answers 0 for a gateway in another network"});
}

/* False where the kernel has no bridges. */
bool make_interface()
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ioctl(fd, SIOCBRADDBR, interface);
    ifreq request = {};
    strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_UP;
    const bool made = ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    close(fd);
    return made;
}

std::string gateway_comes_back(const std::string &expected)
{
    AddressBuffer gateway;
    const int found = EXAMINED(get_default_gateway)(interface, gateway.data());
    return found != 0 && gateway.text() == expected
               ? ""
               : "the gateway " + expected + " was set, " + shown(gateway.text()) + " comes back";
}

std::string addresses_and_gateways()
{
    if (!make_interface())
        throw NotChecked("the kernel makes no bridge for it");
    const int set = EXAMINED(set_ifconfig)(interface, "10.9.8.7", "255.255.255.0");
    AddressBuffer ip, mask;
    const int got = EXAMINED(get_ifconfig)(interface, ip.data(), mask.data());
    if (const std::string defect =
            first_of({defect_of_answer("set_ifconfig", set, 0), defect_of_answer("get_ifconfig", got, 1)});
        !defect.empty())
        return defect;
    if (ip.text() != "10.9.8.7" || mask.text() != "255.255.255.0")
        return "10.9.8.7/255.255.255.0 was set, " + shown(ip.text()) + "/" + shown(mask.text()) + " comes back";
    const int first = EXAMINED(set_default_gateway)(interface, "10.9.8.1");
    std::string defect = gateway_comes_back("10.9.8.1");
    const int second = EXAMINED(set_default_gateway2)(interface, "10.9.8.7", "255.255.255.0", "10.9.8.2");
    return first_of({defect_of_answer("set_default_gateway", first, 0), defect,
                     defect_of_answer("set_default_gateway2", second, 0), gateway_comes_back("10.9.8.2")});
}

std::string name_servers()
{
    return first_of({defect_of_answer("dhcpd_set_dns", EXAMINED(dhcpd_set_dns)("192.0.2.1", "192.0.2.2"), 0),
                     defect_of_answer("set_system_dns", EXAMINED(set_system_dns)("wan1"), 0)});
}

std::string private_ports()
{
    constexpr int count = 6;
    const int ports[count] = {2121, 0, 2123, 0, 0, 0};
    Guarded buffer(sizeof ports);
    const int written = EXAMINED(write_ftp_private_port)(ports, count);
    const int next = EXAMINED(read_ftp_private_port)(reinterpret_cast<int *>(buffer.data()), count);
    if (written != 0)
        return defect_of_answer("write_ftp_private_port", written, 0);
    if (memcmp(buffer.data(), ports, sizeof ports) != 0)
        return "the ports that were written do not come back";
    if (next < 0 || next >= count)
        return "the index for a new port is " + std::to_string(next) + ", outside of the list";
    return buffer.overrun();
}

} // namespace

std::vector<Check> network_checks()
{
    return {
        {"get_wan_ip, get_ifconfig, get_ifexist, get_wan_link", "an interface that is not there has nothing",
         Needs::nothing, absent_interface},
        {"get_ifconfig", "the mask may be null", Needs::nothing, null_mask},
        {"get_wan_ip, get_ifconfig, get_wan_type, get_wan_ipconfig, get_wan_hw_ifname, get_default_gateway, "
         "get_hwaddr_by_ip, get_dns_shadow",
         "never write past 64 bytes", Needs::nothing, bounds},
        {"get_wansetup_status, local_gateway_is_default_gateway, get_autodns", "answer", Needs::nothing, questions},
        {"get_hwaddr_org, get_hwaddr_flash_raw", "write a text with colons, and six octets", Needs::nothing,
         hardware_addresses},
        {"check_default_gateway", "tells whether a gateway lies in the network", Needs::nothing, gateways_that_fit},
        {"set_ifconfig, get_ifconfig, set_default_gateway, set_default_gateway2, get_default_gateway",
         "what was set comes back", Needs::private_world, addresses_and_gateways},
        {"dhcpd_set_dns, set_system_dns", "answer 0", Needs::private_world, name_servers},
        {"read_ftp_private_port, write_ftp_private_port", "the list comes back", Needs::private_world, private_ports}};
}

} // namespace nasdoctor
