#include "support/fixture.h"
#include "support/sysfs.h"

#include "nas/usbcheck.h"

#include <algorithm>
#include <string>
#include <vector>

namespace
{

namespace usb = nas_test::usb;

struct UsbCheck : nas_test::LibraryTest {
    // The router's ports, a kind each.
    void set_ports(const std::vector<int> &kinds)
    {
        host.device.hardware.usb_port_count = static_cast<int>(kinds.size());
        std::copy(kinds.begin(), kinds.end(), host.device.hardware.usb_port_kind);
    }

    void plug(std::string_view text)
    {
        nas_test::plug(sandbox, host, text);
    }

    // What the check writes, to the byte.
    std::string printed()
    {
        host.forget();
        EXPECT_EQ(host.call(print_usb_check), 0);
        const std::string channel = "stdout: ";
        const std::string unfinished = " (unfinished)";
        std::string text;
        for (const std::string &line : host.lines()) {
            if (!line.starts_with(channel))
                continue;
            text += line.substr(channel.size());
            if (text.ends_with(unfinished))
                text.resize(text.size() - unfinished.size());
            else
                text += "\n";
        }
        return text;
    }
};

TEST_F(UsbCheck, NoPortsPrintNothing)
{
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(host.transcript(), "");
    host.device.hardware.usb_port_count = -1;
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbCheck, EmptyPortFails)
{
    for (const int kind : {2, 3}) {
        set_ports({kind});
        EXPECT_EQ(printed(), "USB1:FAIL(Not Connected)");
    }
    EXPECT_EQ(host.transcript(), "stdout: USB1:FAIL(Not Connected) (unfinished)\n");
}

TEST_F(UsbCheck, SlowDevice)
{
    plug(usb::stick_on_bus_1);
    set_ports({2});
    EXPECT_EQ(printed(), "USB1:PASS(USB2.0)");
    set_ports({3});
    EXPECT_EQ(printed(), "USB1:FAIL(USB2.0)");
    for (const int kind : {0, 1, 4, -3}) {
        set_ports({kind});
        EXPECT_EQ(printed(), "USB1:PASS(USB2.0)") << kind;
    }
}

TEST_F(UsbCheck, FastDevice)
{
    plug(usb::stick_on_bus_2);
    for (const int kind : {3, 2, 0}) {
        set_ports({kind});
        EXPECT_EQ(printed(), "USB1:PASS(USB3.0)") << kind;
    }
}

TEST_F(UsbCheck, DeviceOnAnotherBusCountsAsNone)
{
    plug(usb::stick_on_bus_5);
    for (const int kind : {2, 3}) {
        set_ports({kind});
        EXPECT_EQ(printed(), "USB1:FAIL(Not Connected)");
    }
}

TEST_F(UsbCheck, DevicesThatAreNotListedCountAsNone)
{
    plug(usb::root_hubs);
    plug(usb::wireless_phone);
    plug(usb::vendor_specific);
    plug(usb::printer_without_node);
    set_ports({2});
    EXPECT_EQ(printed(), "USB1:FAIL(Not Connected)");
}

TEST_F(UsbCheck, AnyListedDeviceCounts)
{
    plug(usb::phone);
    set_ports({2});
    EXPECT_EQ(printed(), "USB1:PASS(USB2.0)");
    EXPECT_EQ(host.transcript(), "stdout: USB1:PASS(USB2.0) (unfinished)\n");
}

TEST_F(UsbCheck, TwoPorts)
{
    set_ports({3, 2});
    EXPECT_EQ(printed(), "USB1:FAIL(Not Connected)<br>USB2:FAIL(Not Connected)");
    plug(usb::stick_on_bus_2);
    EXPECT_EQ(printed(), "USB1:PASS(USB3.0)<br>USB2:FAIL(Not Connected)");
    plug(usb::stick_on_bus_1); // another one, in port 1 as well: the first in order counts
    EXPECT_EQ(printed(), "USB1:FAIL(USB2.0)<br>USB2:FAIL(Not Connected)");
}

TEST_F(UsbCheck, KindIsThatOfThePort)
{
    plug(usb::stick_on_bus_1);
    set_ports({2, 3, 3});
    EXPECT_EQ(printed(), "USB1:PASS(USB2.0)<br>USB2:FAIL(Not Connected)<br>USB3:FAIL(Not Connected)");
}

TEST_F(UsbCheck, NoMoreThan23Ports)
{
    std::string expected = "USB1:FAIL(Not Connected)";
    for (int port = 2; port <= 23; ++port)
        expected += "<br>USB" + std::to_string(port) + ":FAIL(Not Connected)";
    set_ports(std::vector<int>(23, 3));
    EXPECT_EQ(printed(), expected);
    for (const int count : {24, 1000, 2147483647}) {
        host.device.hardware.usb_port_count = count;
        EXPECT_EQ(printed(), expected) << count;
    }
}

} // namespace
