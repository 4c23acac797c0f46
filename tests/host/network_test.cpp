/* Against a real kernel: every test runs in a network namespace of its own. */
#include "platform/network.h"

#include "platform/store.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace
{

std::string address_of(const char *ifname)
{
    char ip[NAS_ADDRESS_SIZE] = "?", mask[NAS_ADDRESS_SIZE] = "?";
    int found = get_ifconfig(ifname, ip, mask);
    return std::to_string(found) + " " + ip + " " + mask;
}

std::string gateway_of(const char *ifname)
{
    char gateway[NAS_ADDRESS_SIZE] = "";
    return get_default_gateway(ifname, gateway) != 0 ? gateway : "none";
}

std::string wan_address()
{
    char ip[NAS_ADDRESS_SIZE] = "?";
    return std::to_string(get_wan_ip("wan1", ip)) + " " + ip;
}

std::string hardware_address(const char *ifname)
{
    char text[NAS_ADDRESS_SIZE] = "";
    return get_hwaddr_org(ifname, text) == 0 ? text : "unknown";
}

/* wan1 and br-lan of a router, the WAN's other end in the same namespace. */
bool lay_wires()
{
    return unshare(CLONE_NEWNET) == 0 &&
           system("ip link add wan1 address 02:00:00:00:00:01 type veth peer name far address 02:00:00:00:00:02 && "
                  "ip link add br-lan type bridge && ip link set br-lan address 02:00:00:00:00:03 && "
                  "ip link set br-lan up") == 0;
}

/* Runs the test's body in its namespace; gtest's failures of a child are its exit status. */
void in_network(const std::function<void()> &body)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can make a network namespace";
    bool laid = host_test::in_child([] { return lay_wires(); });
    if (!laid)
        GTEST_SKIP() << "no network namespace, no veth pair or no program ip here";
    EXPECT_TRUE(host_test::in_child([&] {
        lay_wires();
        body();
        fflush(stdout);
        return !testing::Test::HasFailure();
    }));
}

} // namespace

TEST(Network, SetsAndReadsAddresses)
{
    in_network([] {
        EXPECT_EQ("0  ", address_of("br-lan"));
        EXPECT_EQ("0  ", address_of("nothere"));
        EXPECT_EQ(0, set_ifconfig("br-lan", "192.168.1.1", "255.255.255.0"));
        EXPECT_EQ("1 192.168.1.1 255.255.255.0", address_of("br-lan"));
        EXPECT_EQ(0, set_ifconfig("br-lan", "192.168.1.1", "255.255.255.0"));
        EXPECT_EQ(0, set_ifconfig("br-lan", "10.1.2.3", "255.255.0.0"));
        EXPECT_EQ("1 10.1.2.3 255.255.0.0", address_of("br-lan"));
        EXPECT_NE(std::string::npos, host_test::output_of("ip -4 addr show br-lan").find("brd 10.1.255.255"));
        EXPECT_EQ(1U, host_test::output_of("ip -4 -o addr show br-lan | grep -c .").find('\n'));
        char ip[NAS_ADDRESS_SIZE];
        EXPECT_EQ(1, get_ifconfig("br-lan", ip, nullptr));
        EXPECT_EQ(0, set_ifconfig("br-lan", "0.0.0.0", "255.255.255.0"));
        EXPECT_EQ("0  ", address_of("br-lan"));
        EXPECT_EQ(-1, set_ifconfig("nothere", "10.0.0.1", "255.0.0.0"));
        EXPECT_EQ(-1, set_ifconfig("br-lan", "10.0.0", "255.0.0.0"));
        EXPECT_EQ(-1, set_ifconfig("br-lan", "10.0.0.1", "255.0.255.0"));
    });
}

TEST(Network, KnowsTheWan)
{
    in_network([] {
        EXPECT_NE(0, get_ifexist("wan1"));
        EXPECT_EQ(0, get_ifexist("lte0"));
        EXPECT_EQ(0, get_wan_link("wan1"));
        EXPECT_EQ("0 ", wan_address());
        set_ifconfig("wan1", "203.0.113.5", "255.255.255.252");
        EXPECT_EQ(0, get_wan_link("wan1")) << "the other end is down";
        EXPECT_EQ(0, system("ip link set far up"));
        EXPECT_NE(0, get_wan_link("wan1"));
        EXPECT_EQ("1 203.0.113.5", wan_address());
        char text[NAS_ADDRESS_SIZE];
        EXPECT_EQ(0, get_wan_hw_ifname("wan1", text));
        EXPECT_STREQ("wan1", text);
        host_test::use_settings("wan = br-lan\nwan_hw = far\n");
        EXPECT_EQ("0 ", wan_address());
        EXPECT_EQ(0, get_wan_hw_ifname("wan1", text));
        EXPECT_STREQ("far", text);
        host_test::use_settings("wan_hw = nothere\n");
        EXPECT_EQ(-1, get_wan_hw_ifname("wan1", text));
    });
    host_test::use_settings();
}

TEST(Network, SetsDefaultGateways)
{
    in_network([] {
        set_ifconfig("wan1", "203.0.113.5", "255.255.255.0");
        set_ifconfig("br-lan", "192.168.1.1", "255.255.255.0");
        EXPECT_EQ(0, system("ip link set far up"));
        EXPECT_EQ("none", gateway_of("wan1"));
        EXPECT_EQ(0, local_gateway_is_default_gateway());
        EXPECT_EQ(0, set_default_gateway("wan1", "203.0.113.1"));
        EXPECT_EQ("203.0.113.1", gateway_of("wan1"));
        EXPECT_EQ("none", gateway_of("br-lan"));
        EXPECT_NE(0, local_gateway_is_default_gateway());
        EXPECT_EQ(0, set_default_gateway("wan1", "203.0.113.2"));
        EXPECT_EQ("203.0.113.2", gateway_of("wan1"));
        EXPECT_EQ(0, set_default_gateway("br-lan", "192.168.1.254"));
        EXPECT_EQ("192.168.1.254", gateway_of("br-lan"));
        EXPECT_EQ("none", gateway_of("wan1"));
        EXPECT_EQ(0, set_default_gateway("br-lan", nullptr)) << "the LAN's is taken away";
        EXPECT_EQ("", host_test::output_of("ip route show default"));
        EXPECT_EQ(0, set_default_gateway("br-lan", nullptr)) << "there is none to take";
        EXPECT_EQ(0, set_default_gateway("wan1", nullptr));
        EXPECT_EQ(0U, host_test::output_of("ip route show default").find("default dev wan1"));
        EXPECT_EQ(0, local_gateway_is_default_gateway()) << "a route without a gateway";
        EXPECT_EQ(0, system("ip route del default"));
        EXPECT_NE(0, set_default_gateway("wan1", "198.51.100.1")) << "in no network of the interface";
        EXPECT_EQ(0, set_default_gateway2("wan1", "203.0.113.9", "255.255.255.0", "198.51.100.1"));
        EXPECT_EQ("198.51.100.1", gateway_of("wan1"));
        EXPECT_EQ("1 203.0.113.9 255.255.255.0", address_of("wan1"));
        EXPECT_NE(0, set_default_gateway("nothere", "203.0.113.1"));
        EXPECT_NE(0, set_default_gateway("wan1", "text"));
    });
}

TEST(Network, TakesADefaultRouteElsewhereForForeign)
{
    in_network([] {
        EXPECT_EQ(
            0,
            system(
                "ip link add lte0 type veth peer name phone && ip link set phone up && ip addr add 10.64.0.2/24 dev lte0 && ip link set lte0 up && "
                "ip route add default via 10.64.0.1 dev lte0 metric 5"));
        EXPECT_EQ("10.64.0.1", gateway_of("lte0"));
        EXPECT_EQ(0, local_gateway_is_default_gateway());
        set_ifconfig("br-lan", "192.168.1.1", "255.255.255.0");
        EXPECT_EQ(0, set_default_gateway("br-lan", "192.168.1.254"));
        EXPECT_NE(0, local_gateway_is_default_gateway()) << "the lower metric is in effect";
    });
}

TEST(Network, KnowsHardwareAddresses)
{
    in_network([] {
        EXPECT_EQ("02:00:00:00:00:03", hardware_address("br-lan"));
        EXPECT_EQ("02:00:00:00:00:01", hardware_address("eth1")) << "what lies below the WAN";
        EXPECT_EQ("unknown", hardware_address("eth7"));
        host_test::use_settings("hwaddr_eth1 = 00:11:22:AA:bb:cC\nhwaddr_eth2 = nonsense\n");
        EXPECT_EQ("00:11:22:aa:bb:cc", hardware_address("eth1"));
        EXPECT_EQ("unknown", hardware_address("eth2"));
        unsigned char octets[8] = {9, 9, 9, 9, 9, 9, 9, 9};
        EXPECT_EQ(0, get_hwaddr_flash_raw("eth1", octets));
        EXPECT_EQ(0, memcmp(octets, "\x00\x11\x22\xaa\xbb\xcc\x09\x09", 8));
        EXPECT_EQ(-1, get_hwaddr_flash_raw("eth7", octets));
        set_ifconfig("br-lan", "192.168.1.1", "255.255.255.0");
        EXPECT_EQ(0, system("ip neigh add 192.168.1.20 lladdr 02:11:11:11:11:11 dev br-lan nud permanent"));
        char text[NAS_ADDRESS_SIZE] = "kept";
        EXPECT_EQ(0, get_hwaddr_by_ip("192.168.1.20", text));
        EXPECT_STREQ("02:11:11:11:11:11", text);
        EXPECT_EQ(-1, get_hwaddr_by_ip("192.168.1.21", text));
        EXPECT_EQ(-1, get_hwaddr_by_ip("no address", text));
    });
    host_test::use_settings();
}

TEST(Network, TellsWhetherAGatewayCanBeReached)
{
    EXPECT_EQ(0, check_default_gateway("192.168.1.1", "192.168.1.5", "255.255.255.0"));
    EXPECT_EQ(0, check_default_gateway("10.255.0.1", "10.0.0.1", "255.0.0.0"));
    EXPECT_EQ(0, check_default_gateway("10.0.0.0", "10.0.0.1", "255.255.255.254"));
    for (const char *wrong : {"192.168.2.1", "192.168.1.5", "192.168.1.0", "192.168.1.255", "0.0.0.0", "", "x"})
        EXPECT_NE(0, check_default_gateway(wrong, "192.168.1.5", "255.255.255.0")) << wrong;
    EXPECT_NE(0, check_default_gateway("192.168.1.1", "192.168.1.5", "255.0.255.0"));
}

TEST(Network, ReadsStaticSettings)
{
    char ifname[NAS_ADDRESS_SIZE], ip[NAS_ADDRESS_SIZE], mask[NAS_ADDRESS_SIZE], gateway[NAS_ADDRESS_SIZE];
    EXPECT_EQ(-1, get_wan_ipconfig(ifname, ip, mask, gateway));
    EXPECT_EQ(0, get_wan_type("wan1", ip));
    EXPECT_STREQ("dynamic", ip);
    EXPECT_EQ(-1, get_wan_type("wan9", ip));
    host_test::use_settings("wan_type = static\nwan_static_ip = 203.0.113.5\nwan_static_mask = 255.255.255.0\n"
                            "wan_static_gateway = 203.0.113.1\nwan = " +
                            std::string(100, 'w') + "\n");
    EXPECT_EQ(0, get_wan_type("wan1", ip));
    EXPECT_STREQ("static", ip);
    EXPECT_EQ(0, get_wan_ipconfig(ifname, ip, mask, gateway));
    EXPECT_EQ(std::string(63, 'w'), ifname);
    EXPECT_STREQ("203.0.113.5", ip);
    EXPECT_STREQ("255.255.255.0", mask);
    EXPECT_STREQ("203.0.113.1", gateway);
    host_test::use_settings();
}

TEST(Network, HandsOnDnsServers)
{
    const std::string &f = host_test::folder();
    char dns1[NAS_ADDRESS_SIZE], dns2[NAS_ADDRESS_SIZE];
    std::string files = "provider_dns_dir = " + f + "/dns\nresolv_conf = " + f +
                        "/resolv.conf\nlan_dhcp_options = " + f + "/dhcp-options\n";
    host_test::use_settings(files);
    EXPECT_EQ(-1, get_dns_shadow("wan1", "dynamic", dns1, dns2));
    EXPECT_EQ(-1, get_dns_shadow("wan1", "static", dns1, dns2));
    std::filesystem::create_directory(f + "/dns");
    host_test::put_contents(f + "/dns/wan1", "# from the provider\nsearch example.net\nnameserver 192.0.2.1\n");
    EXPECT_EQ(0, get_dns_shadow("wan1", "dynamic", dns1, dns2));
    EXPECT_STREQ("192.0.2.1", dns1);
    EXPECT_STREQ("", dns2);
    EXPECT_EQ(0, set_system_dns("wan1"));
    EXPECT_EQ("nameserver 192.0.2.1\n", host_test::contents(f + "/resolv.conf"));

    host_test::use_settings(files + "wan_type = static\nwan_static_dns = 192.0.2.7, 192.0.2.8\nauto_dns = 0\n");
    EXPECT_EQ(0, get_dns_shadow("wan1", "static", dns1, dns2));
    EXPECT_STREQ("192.0.2.7", dns1);
    EXPECT_STREQ("192.0.2.8", dns2);
    EXPECT_EQ(0, set_system_dns("wan1"));
    EXPECT_EQ("nameserver 192.0.2.7\nnameserver 192.0.2.8\n", host_test::contents(f + "/resolv.conf"));
    EXPECT_EQ(0, dhcpd_set_dns(dns1, dns2));
    EXPECT_EQ("option:dns-server,192.0.2.7,192.0.2.8\n", host_test::contents(f + "/dhcp-options"));
    EXPECT_EQ(0, dhcpd_set_dns("", ""));
    EXPECT_EQ("", host_test::contents(f + "/dhcp-options"));
    EXPECT_EQ(0, get_autodns());
    host_test::use_settings();
    EXPECT_EQ(1, get_autodns());
}

TEST(Network, KeepsThePrivateFtpPorts)
{
    iconfig_remove_config_tag("host_ftp_private_ports");
    int ports[7] = {9, 9, 9, 9, 9, 9, 99};
    EXPECT_EQ(0, read_ftp_private_port(ports, 6));
    EXPECT_EQ(0, ports[0]);
    EXPECT_EQ(0, ports[5]);
    EXPECT_EQ(99, ports[6]);
    const int some[6] = {2121, 0, 2323, 0, 0, 0}, full[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(0, write_ftp_private_port(some, 6));
    EXPECT_EQ(1, read_ftp_private_port(ports, 6));
    EXPECT_EQ(2121, ports[0]);
    EXPECT_EQ(2323, ports[2]);
    EXPECT_EQ(0, write_ftp_private_port(full, 6));
    EXPECT_EQ(0, read_ftp_private_port(ports, 6)) << "no place is free";
    EXPECT_EQ(6, ports[5]);
}
