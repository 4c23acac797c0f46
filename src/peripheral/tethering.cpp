#include "nas/tethering.h"

#include "nas/hotplug.h"
#include "nas/usbdev.h"
#include "platform/device.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/request.h"
#include "platform/store.h"
#include "service/callback.h"
#include "service/process.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace nas;

static constexpr char phone[] = "lte0";
static constexpr char wan[] = "wan1";
static constexpr char no_address[] = "0.0.0.0";
static constexpr char netmask[] = "255.255.255.0";
static constexpr int check_interval = 3;

using Address = char[NAS_ADDRESS_SIZE];

int set_usb_tethering_op(int on)
{
    return iconfig_set_intvalue_direct("usb_tethering", on);
}

int get_usb_tethering_op(void)
{
    const int on = iconfig_get_intvalue_direct("usb_tethering");
    return on != -1 ? on : 0;
}

int get_usb_tethering_status(void)
{
    return get_usb_tethering_op() != 0 && get_ifexist(phone) != 0 && get_wan_link(wan) == 0 ? 1 : 0;
}

int tethering_is_running(void)
{
    return process_exists("usbdhclient") ? 1 : 0;
}

int turnoff_tethering_led(void)
{
    turnoff_usbled();
    return 0;
}

static void set_static_route(const char *ifname, const char *ip, const char *mask, const char *gateway)
{
    if (check_default_gateway(gateway, ip, mask) != 0) {
        set_default_gateway(ifname, nullptr);
        return;
    }
    set_default_gateway("br-lan", nullptr);
    if (set_default_gateway(ifname, gateway) != 0)
        set_default_gateway2(ifname, ip, mask, gateway);
}

static void restore_static_wan()
{
    Address ifname = "", ip = "", mask = "", gateway = "", dns1 = "", dns2 = "";
    get_wan_ipconfig(ifname, ip, mask, gateway);
    set_ifconfig(ifname, ip, mask);
    set_static_route(ifname, ip, mask, gateway);
    // The host keeps the DNS servers under the name of the hardware.
    get_wan_hw_ifname(wan, ifname);
    get_dns_shadow(ifname, "static", dns1, dns2);
    dhcpd_set_dns(dns1, dns2);
    set_system_dns(wan);
}

int restore_tethering(void)
{
    puts("Restore Network from USB tethering ..");
    system("killall usbdhclient");
    set_ifconfig(phone, no_address, netmask);
    Address type = "";
    get_wan_type(wan, type);
    if (strcmp(type, "static") == 0)
        restore_static_wan();
    signal_update();
    signal_wan();
    return 0;
}

// Takes the WAN from its port's own clients and gives it to the phone.
static void start_tethering()
{
    puts("Start TETHERING...");
    istatus_set_intvalue_direct("auto_dns", get_autodns());
    system("killall dhclient");
    system("killall pppd");
    set_ifconfig("eth1", no_address, netmask);
    system("/sbin/usbdhclient -i lte0 -p lte0.pid &");
}

static void stop_tethering()
{
    if (tethering_is_running() != 0)
        restore_tethering();
    turnoff_tethering_led();
}

int tethering_callback(PeriodicCallbackRecord *record)
{
    const bool enabled = get_usb_tethering_op() != 0;
    call_again(*record, enabled ? check_interval : never);
    // The cable has priority.
    if (!enabled || get_wan_link(wan) != 0 || get_ifexist(phone) == 0) {
        stop_tethering();
        return 0;
    }
    if (tethering_is_running() != 0)
        return 0;
    // The inventory knows the phone by the name that the kernel gave it first.
    turnon_usbled_by_silent_control("usb0");
    if (get_wansetup_status(wan) != 0)
        start_tethering();
    return 0;
}
