#include "support/fixture.h"
#include "support/sysfs.h"

#include "nas/tethering.h"
#include "platform/device.h"

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace
{

namespace usb = nas_test::usb;

const std::string restored = "stdout: Restore Network from USB tethering ..\n"
                             "run killall usbdhclient -> 0\n"
                             "ifconfig lte0 0.0.0.0 255.255.255.0\n"
                             "signal-update\n"
                             "signal-wan\n";

const std::string started = "list usbdhclient -> 0\n"
                            "led 1 1\n"
                            "stdout: Start TETHERING...\n"
                            "set-status auto_dns = 1\n"
                            "run killall dhclient -> 1\n"
                            "run killall pppd -> 1\n"
                            "ifconfig eth1 0.0.0.0 255.255.255.0\n"
                            "run /sbin/usbdhclient -i lte0 -p lte0.pid & -> 0\n";

struct Tethering : nas_test::LibraryTest {
    Tethering()
    {
        std::memset(&record, 0x5a, sizeof record);
        host.device.silent_leds = LedSilentControl{.mode = 0, .start_hour = 0, .end_hour = 0};
        host.commands.push_back({.text = "/sbin/usbdhclient -i lte0 -p lte0.pid &",
                                 .effect = [this] { host.add_process({.name = "usbdhclient"}); }});
    }

    void plug_phone()
    {
        nas_test::plug(sandbox, host, usb::phone);
        host.network.interfaces.insert("lte0");
    }
    void pull_phone()
    {
        for (const char *name : {"1-4", "1-4:1.0", "1-4:1.1"})
            sandbox.remove_file(std::string("/sys/bus/usb/devices/") + name);
        host.network.interfaces.erase("lte0");
    }
    void plug_cable()
    {
        host.network.links.insert("wan1");
    }
    void pull_cable()
    {
        host.network.links.erase("wan1");
    }
    void switch_to(const char *setting)
    {
        host.set_config("usb_tethering", setting);
    }

    // One periodic run; what is not the callback's stays.
    std::string run()
    {
        host.forget();
        EXPECT_EQ(host.call(tethering_callback, &record), 0);
        EXPECT_EQ(std::string(record.host_data, sizeof record.host_data), std::string(60, '\x5a'));
        EXPECT_EQ(record.run_count, 0x5a5a5a5a);
        EXPECT_EQ(host.open_process_lists, 0);
        return host.transcript();
    }
    // Whether it wants to be called again: "every 3".
    std::string wish() const
    {
        if (record.active == 0)
            return record.interval == 0 ? "never" : "never, but an interval";
        return record.active == 1 ? "every " + std::to_string(record.interval) : "neither";
    }

    std::string restore()
    {
        host.forget();
        EXPECT_EQ(host.call(restore_tethering), 0);
        return host.transcript();
    }

    PeriodicCallbackRecord record;
};

// ---- the setting

TEST_F(Tethering, SettingIsOffUntilItIsSet)
{
    EXPECT_EQ(host.call(get_usb_tethering_op), 0);
    EXPECT_EQ(host.call(set_usb_tethering_op, 1), 0);
    EXPECT_EQ(host.call(get_usb_tethering_op), 1);
    EXPECT_EQ(host.call(set_usb_tethering_op, 0), 0);
    EXPECT_EQ(host.call(get_usb_tethering_op), 0);
    EXPECT_EQ(host.transcript(), "set usb_tethering = 1\n"
                                 "set usb_tethering = 0\n");
}

TEST_F(Tethering, SettingIsKeptAsItIs)
{
    for (const int value : {2, -5, INT_MAX, INT_MIN}) {
        EXPECT_EQ(host.call(set_usb_tethering_op, value), 0);
        EXPECT_EQ(host.config.values["usb_tethering"], std::to_string(value));
        EXPECT_EQ(host.call(get_usb_tethering_op), value);
    }
}

// The store says "absent" that way.
TEST_F(Tethering, MinusOneReadsAsOff)
{
    EXPECT_EQ(host.call(set_usb_tethering_op, -1), 0);
    EXPECT_EQ(host.call(get_usb_tethering_op), 0);
    plug_phone();
    EXPECT_EQ(host.call(get_usb_tethering_status), 0);
}

TEST_F(Tethering, StoresResultIsPassedOn)
{
    host.config.refuses_writes = true;
    EXPECT_EQ(host.call(set_usb_tethering_op, 1), -1);
    EXPECT_EQ(host.call(get_usb_tethering_op), 0);
}

// ---- the status

TEST_F(Tethering, StatusIsOnWithoutCableAndWithPhone)
{
    for (const char *setting : {"", "0", "1", "2", "-5"}) {
        switch_to(setting);
        const bool on = std::strcmp(setting, "") != 0 && std::strcmp(setting, "0") != 0;
        for (const bool phone : {false, true}) {
            for (const bool cable : {false, true}) {
                host.network.interfaces.clear();
                host.network.links.clear();
                if (phone)
                    host.network.interfaces.insert("lte0");
                if (cable)
                    host.network.links.insert("wan1");
                const int expected = on && phone && !cable ? 1 : 0;
                EXPECT_EQ(host.call(get_usb_tethering_status), expected) << setting << phone << cable;
            }
        }
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Tethering, StatusIsOffWithoutASetting)
{
    host.network.interfaces.insert("lte0");
    EXPECT_EQ(host.call(get_usb_tethering_status), 0);
}

TEST_F(Tethering, OtherInterfacesAndPortsDoNotCount)
{
    switch_to("1");
    for (const char *other : {"usb0", "lte1", "lte", "eth1"})
        host.network.interfaces.insert(other);
    EXPECT_EQ(host.call(get_usb_tethering_status), 0);
    host.network.interfaces.insert("lte0");
    for (const char *other : {"eth1", "wan2", "wan"})
        host.network.links.insert(other);
    EXPECT_EQ(host.call(get_usb_tethering_status), 1);
}

TEST_F(Tethering, RunsWhileTheClientIsThere)
{
    for (const char *other : {"dhclient", "usbdhclient2", "pppd"})
        host.add_process({.name = other});
    EXPECT_EQ(host.call(tethering_is_running), 0);
    host.add_process({.name = "usbdhclient", .cmdline = "/sbin/usbdhclient -i lte0 -p lte0.pid"});
    EXPECT_EQ(host.call(tethering_is_running), 1);
    host.add_process({.name = "usbdhclient"});
    EXPECT_EQ(host.call(tethering_is_running), 1);
    EXPECT_EQ(host.transcript(), "list usbdhclient -> 0\n"
                                 "list usbdhclient -> 1\n"
                                 "list usbdhclient -> 2\n");
}

// ---- the LED

TEST_F(Tethering, LedGoesOffUnlessThePortIsInUse)
{
    EXPECT_EQ(host.call(turnoff_tethering_led), 0);
    EXPECT_EQ(host.transcript(), "led 1 0\n");
    host.forget();
    plug_phone();
    EXPECT_EQ(host.call(turnoff_tethering_led), 0);
    EXPECT_EQ(host.transcript(), "");
}

// ---- from state to state

TEST_F(Tethering, OffUntilSwitchedOn)
{
    plug_phone();
    host.network.set_up.insert("wan1");
    EXPECT_EQ(run(), "list usbdhclient -> 0\n");
    EXPECT_EQ(wish(), "never");
    switch_to("1");
    EXPECT_EQ(run(), started);
    EXPECT_EQ(wish(), "every 3");
}

TEST_F(Tethering, WaitsForThePhoneTheCableAndTheWan)
{
    switch_to("1");
    plug_cable();
    EXPECT_EQ(run(), "list usbdhclient -> 0\nled 1 0\n");
    EXPECT_EQ(wish(), "every 3");
    plug_phone();
    EXPECT_EQ(run(), "list usbdhclient -> 0\n");
    EXPECT_EQ(wish(), "every 3");
    pull_cable();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(run(), "list usbdhclient -> 0\nled 1 1\n") << i;
        EXPECT_EQ(wish(), "every 3") << i;
    }
    host.network.set_up.insert("wan1");
    EXPECT_EQ(run(), started);
    EXPECT_EQ(wish(), "every 3");
}

TEST_F(Tethering, OffFromWaiting)
{
    switch_to("1");
    EXPECT_EQ(run(), "list usbdhclient -> 0\nled 1 0\n");
    EXPECT_EQ(wish(), "every 3");
    switch_to("0");
    EXPECT_EQ(run(), "list usbdhclient -> 0\nled 1 0\n");
    EXPECT_EQ(wish(), "never");
}

TEST_F(Tethering, AnyYesOfTheHostCounts)
{
    switch_to("1");
    plug_phone();
    for (const int yes : {1, -1}) {
        host.yes = yes;
        plug_cable();
        EXPECT_EQ(host.call(get_usb_tethering_status), 0) << yes;
        EXPECT_EQ(run(), "list usbdhclient -> 0\n") << yes;
        pull_cable();
        EXPECT_EQ(host.call(get_usb_tethering_status), 1) << yes;
        EXPECT_EQ(run(), "list usbdhclient -> 0\nled 1 1\n") << yes;
        host.network.set_up.insert("wan1");
        EXPECT_EQ(run(), started) << yes;
        host.processes.clear();
        host.network.set_up.clear();
    }
}

// What starts tethered, with the client running.
struct Tethered : Tethering {
    Tethered()
    {
        plug_phone();
        switch_to("1");
        host.network.set_up.insert("wan1");
        host.network.wan_type["wan1"] = "dynamic";
        EXPECT_EQ(run(), started);
        EXPECT_EQ(host.processes.size(), 1U);
    }
};

TEST_F(Tethered, StaysTethered)
{
    host.network.set_up.clear();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(run(), "list usbdhclient -> 1\n") << i;
        EXPECT_EQ(wish(), "every 3") << i;
    }
}

TEST_F(Tethered, ClientThatEndedIsStartedAgain)
{
    host.processes.clear();
    EXPECT_EQ(run(), started);
    EXPECT_EQ(run(), "list usbdhclient -> 1\n");
}

TEST_F(Tethered, CableTakesOverAndGivesBack)
{
    plug_cable();
    EXPECT_EQ(run(), "list usbdhclient -> 1\n" + restored);
    EXPECT_EQ(wish(), "every 3");
    EXPECT_EQ(run(), "list usbdhclient -> 0\n");
    EXPECT_EQ(wish(), "every 3");
    pull_cable();
    EXPECT_EQ(run(), started);
    EXPECT_EQ(wish(), "every 3");
}

TEST_F(Tethered, PhoneLeavesAndReturns)
{
    pull_phone();
    EXPECT_EQ(run(), "list usbdhclient -> 1\n" + restored + "led 1 0\n");
    EXPECT_EQ(wish(), "every 3");
    EXPECT_EQ(run(), "list usbdhclient -> 0\nled 1 0\n");
    EXPECT_EQ(wish(), "every 3");
    plug_phone();
    EXPECT_EQ(run(), started);
}

TEST_F(Tethered, PhoneLeavesAsTheCableComes)
{
    pull_phone();
    plug_cable();
    EXPECT_EQ(run(), "list usbdhclient -> 1\n" + restored + "led 1 0\n");
    EXPECT_EQ(wish(), "every 3");
}

TEST_F(Tethered, SwitchedOff)
{
    for (const char *off : {"0", "-1"}) {
        switch_to(off);
        EXPECT_EQ(run(), "list usbdhclient -> 1\n" + restored) << off;
        EXPECT_EQ(wish(), "never") << off;
        EXPECT_EQ(run(), "list usbdhclient -> 0\n") << off;
        EXPECT_EQ(wish(), "never") << off;
        switch_to("1");
        EXPECT_EQ(run(), started) << off;
    }
}

TEST_F(Tethered, EveryWayInAndOutWithAFixedAddress)
{
    host.network.wan_type["wan1"] = "static";
    host.network.static_wan = {"vlan2", "203.0.113.7", "255.255.255.0", "203.0.113.1"};
    host.network.hw_ifname["wan1"] = "eth1";
    host.network.dns["eth1 static"] = {"192.0.2.53", "192.0.2.54"};
    const std::string fixed = "list usbdhclient -> 1\n"
                              "stdout: Restore Network from USB tethering ..\n"
                              "run killall usbdhclient -> 0\n"
                              "ifconfig lte0 0.0.0.0 255.255.255.0\n"
                              "ifconfig vlan2 203.0.113.7 255.255.255.0\n"
                              "check-gateway 203.0.113.1 203.0.113.7 255.255.255.0 -> 0\n"
                              "gateway br-lan (none)\n"
                              "gateway vlan2 203.0.113.1\n"
                              "dhcp-dns 192.0.2.53 192.0.2.54\n"
                              "system-dns wan1\n"
                              "signal-update\n"
                              "signal-wan\n";
    plug_cable();
    EXPECT_EQ(run(), fixed);
    pull_cable();
    EXPECT_EQ(run(), started);
    pull_phone();
    EXPECT_EQ(run(), fixed + "led 1 0\n");
    plug_phone();
    EXPECT_EQ(run(), started);
    switch_to("0");
    EXPECT_EQ(run(), fixed);
    EXPECT_EQ(wish(), "never");
}

// ---- giving the WAN back

TEST_F(Tethering, RestoringAsksForNoClient)
{
    host.network.wan_type["wan1"] = "dynamic";
    EXPECT_EQ(restore(), "stdout: Restore Network from USB tethering ..\n"
                         "run killall usbdhclient -> 1\n"
                         "ifconfig lte0 0.0.0.0 255.255.255.0\n"
                         "signal-update\n"
                         "signal-wan\n");
    EXPECT_EQ(host.process_list_calls, 0);
}

TEST_F(Tethering, OnlyStaticIsStatic)
{
    host.network.static_wan = {"vlan2", "203.0.113.7", "255.255.255.0", "203.0.113.1"};
    const std::vector<std::string> types = {"",      "dynamic", "pppoe",   "Static",  "STATIC",
                                            "stati", "statics", "static ", " static", "static" + std::string(57, 'x')};
    for (const std::string &type : types) {
        host.network.wan_type["wan1"] = type;
        EXPECT_EQ(restore(), "stdout: Restore Network from USB tethering ..\n"
                             "run killall usbdhclient -> 1\n"
                             "ifconfig lte0 0.0.0.0 255.255.255.0\n"
                             "signal-update\n"
                             "signal-wan\n")
            << type;
    }
}

TEST_F(Tethering, AnyNumberButZeroRefusesTheGateway)
{
    host.network.wan_type["wan1"] = "static";
    host.network.static_wan = {"vlan2", "203.0.113.7", "255.255.255.0", "203.0.113.1"};
    host.network.refused_routes.insert("vlan2");
    for (const int refusal : {1, -1}) {
        host.network.route_refusal = refusal;
        restore();
        EXPECT_EQ(host.count_lines("gateway2 vlan2 203.0.113.7 255.255.255.0 203.0.113.1"), 1) << refusal;
    }
}

TEST_F(Tethering, TypeIsThatOfTheFirstWan)
{
    host.network.wan_type["wan2"] = "static";
    host.network.static_wan = {"vlan2", "203.0.113.7", "255.255.255.0", "203.0.113.1"};
    restore();
    EXPECT_EQ(host.count_lines("ifconfig "), 1);
    EXPECT_EQ(host.count_lines("check-gateway "), 0);
}

TEST_F(Tethering, LongestTextsPassWhole)
{
    const std::string name(63, 'n');
    const std::string ip(63, 'i');
    const std::string mask(63, 'm');
    const std::string gateway(63, 'g');
    const std::string hardware(63, 'h');
    const std::string dns1(63, 'd');
    const std::string dns2(63, 'e');
    host.network.wan_type["wan1"] = "static";
    host.network.static_wan = {name, ip, mask, gateway};
    host.network.hw_ifname["wan1"] = hardware;
    host.network.dns[hardware + " static"] = {dns1, dns2};
    host.network.refused_routes.insert(name);
    EXPECT_EQ(restore(), "stdout: Restore Network from USB tethering ..\n"
                         "run killall usbdhclient -> 1\n"
                         "ifconfig lte0 0.0.0.0 255.255.255.0\n"
                         "ifconfig " +
                             name + " " + ip + " " + mask + "\ncheck-gateway " + gateway + " " + ip + " " + mask +
                             " -> 0\ngateway br-lan (none)\ngateway " + name + " " + gateway + " -> failed\ngateway2 " +
                             name + " " + ip + " " + mask + " " + gateway + "\ndhcp-dns " + dns1 + " " + dns2 +
                             "\nsystem-dns wan1\nsignal-update\nsignal-wan\n");
}

TEST_F(Tethering, WhatTheHostCannotTellIsEmpty)
{
    host.network.wan_type["wan1"] = "static";
    EXPECT_EQ(restore(), "stdout: Restore Network from USB tethering ..\n"
                         "run killall usbdhclient -> 1\n"
                         "ifconfig lte0 0.0.0.0 255.255.255.0\n"
                         "ifconfig   \n"
                         "check-gateway    -> 0\n"
                         "gateway br-lan (none)\n"
                         "gateway  \n"
                         "dhcp-dns  \n"
                         "system-dns wan1\n"
                         "signal-update\n"
                         "signal-wan\n");
}

TEST_F(Tethering, StatusThatCannotBeKeptHoldsNothingUp)
{
    plug_phone();
    switch_to("1");
    host.network.set_up.insert("wan1");
    host.status.refuses_writes = true;
    run();
    EXPECT_EQ(host.count_lines("set-status auto_dns = 1 -> failed"), 1);
    EXPECT_EQ(host.lines().back(), "run /sbin/usbdhclient -i lte0 -p lte0.pid & -> 0");
}

} // namespace
