/* The host's operations that only ask: the live host answers. */
#include "plan/live_host.h"

#include "platform/device.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/registration.h"

using nas_recording::host;
using nas_recording::HostsOwnDoing;
using nasplan::ask_live_host;

int get_wan_ip(const char *wan, char *ip)
{
    return ask_live_host(get_wan_ip, "get_wan_ip", wan, ip);
}

int get_ifconfig(const char *ifname, char *ip, char *mask)
{
    return ask_live_host(get_ifconfig, "get_ifconfig", ifname, ip, mask);
}

int get_ifexist(const char *ifname)
{
    return ask_live_host(get_ifexist, "get_ifexist", ifname);
}

int get_wan_link(const char *wan)
{
    return ask_live_host(get_wan_link, "get_wan_link", wan);
}

int get_wan_type(const char *wan, char *type)
{
    return ask_live_host(get_wan_type, "get_wan_type", wan, type);
}

int get_wan_ipconfig(char *ifname, char *ip, char *mask, char *gateway)
{
    return ask_live_host(get_wan_ipconfig, "get_wan_ipconfig", ifname, ip, mask, gateway);
}

int get_wan_hw_ifname(const char *wan, char *ifname)
{
    return ask_live_host(get_wan_hw_ifname, "get_wan_hw_ifname", wan, ifname);
}

int get_wansetup_status(const char *wan)
{
    return ask_live_host(get_wansetup_status, "get_wansetup_status", wan);
}

int get_default_gateway(const char *ifname, char *gateway)
{
    return ask_live_host(get_default_gateway, "get_default_gateway", ifname, gateway);
}

int check_default_gateway(const char *gateway, const char *ip, const char *mask)
{
    return ask_live_host(check_default_gateway, "check_default_gateway", gateway, ip, mask);
}

int local_gateway_is_default_gateway(void)
{
    return ask_live_host(local_gateway_is_default_gateway, "local_gateway_is_default_gateway");
}

int get_hwaddr_org(const char *ifname, char *text)
{
    return ask_live_host(get_hwaddr_org, "get_hwaddr_org", ifname, text);
}

int get_hwaddr_by_ip(const char *ip, char *text)
{
    return ask_live_host(get_hwaddr_by_ip, "get_hwaddr_by_ip", ip, text);
}

int get_hwaddr_flash_raw(const char *ifname, unsigned char *octets)
{
    return ask_live_host(get_hwaddr_flash_raw, "get_hwaddr_flash_raw", ifname, octets);
}

int get_dns_shadow(const char *ifname, const char *type, char *dns1, char *dns2)
{
    return ask_live_host(get_dns_shadow, "get_dns_shadow", ifname, type, dns1, dns2);
}

int get_autodns(void)
{
    return ask_live_host(get_autodns, "get_autodns");
}

int read_ftp_private_port(int *ports, int count)
{
    return ask_live_host(read_ftp_private_port, "read_ftp_private_port", ports, count);
}

int write_ftp_private_port(const int *ports, int count)
{
    const HostsOwnDoing mine;
    std::string line = "ftp-private-ports";
    for (int i = 0; i < count; i++)
        line += " " + std::to_string(ports[i]);
    host().record(line);
    return 0;
}

int get_si(const char *section, void *out)
{
    return ask_live_host(get_si, "get_si", section, out);
}

int is_factory_test_mode(void)
{
    return ask_live_host(is_factory_test_mode, "is_factory_test_mode");
}

int check_diag_flag(void)
{
    return ask_live_host(check_diag_flag, "check_diag_flag");
}

int check_module_installed(const char *module)
{
    return ask_live_host(check_module_installed, "check_module_installed", module);
}

int get_led_silent_control(LedSilentControl *control)
{
    return ask_live_host(get_led_silent_control, "get_led_silent_control", control);
}

int ddnsapi_read_config_by_service_type(int index, const char *type, DdnsConfig *record)
{
    return ask_live_host(ddnsapi_read_config_by_service_type, "ddnsapi_read_config_by_service_type", index, type,
                         record);
}

int encode_crypt(const char *input, unsigned char *output, int capacity, int option1, int option2, int length)
{
    return ask_live_host(encode_crypt, "encode_crypt", input, output, capacity, option1, option2, length);
}

int Base64encode(char *output, const char *input, int length)
{
    return ask_live_host(Base64encode, "Base64encode", output, input, length);
}

char *quote_r(char *text, int capacity)
{
    return ask_live_host(quote_r, "quote_r", text, capacity);
}

char *sf_strncpy(char *dst, const char *src, int size)
{
    return ask_live_host(sf_strncpy, "sf_strncpy", dst, src, size);
}
