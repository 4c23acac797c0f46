// The trees that the USB tests stand on look as the kernel's do.
#include "support/fixture.h"
#include "support/sysfs.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

using nas_test::exists;
using nas_test::read_file;

struct Sysfs : nas_test::LibraryTest {
    void plug(std::string_view devices)
    {
        nas_test::plug(sandbox, host, devices);
    }

    // What a search through the shell answers, up to 4,095 characters.
    std::string search(const std::string &command)
    {
        return host.call([&] {
            std::FILE *const file = popen(command.c_str(), "r");
            char text[4096];
            const std::size_t length = std::fread(text, 1, sizeof text, file);
            pclose(file);
            return std::string(text, length);
        });
    }
};

std::string resolved(const std::string &path)
{
    char target[PATH_MAX];
    return realpath(path.c_str(), target) == nullptr ? "" : target;
}

TEST_F(Sysfs, DeviceAndInterfaceAreLinked)
{
    plug(nas_test::usb::stick_on_bus_1);
    const std::string device = "/sys/devices/pci0000:00/0000:00:12.0/usb1/1-1";
    EXPECT_EQ(resolved("/sys/bus/usb/devices/1-1"), device);
    EXPECT_EQ(resolved("/sys/bus/usb/devices/1-1:1.0"), device + "/1-1:1.0");
    EXPECT_EQ(resolved("/sys/bus/usb/devices/1-1:1.0/.."), device);
    EXPECT_EQ(read_file(device + "/version"), " 2.00\n");
    EXPECT_EQ(read_file(device + "/1-1:1.0/bInterfaceClass"), "08\n");
    EXPECT_EQ(resolved("/sys/block/sda"), device + "/1-1:1.0/host0/target0:0:0/0:0:0:0/block/sda");
    EXPECT_TRUE(exists("/sys/block/sda/sda2"));
}

TEST_F(Sysfs, DeviceBehindAHubIsBelowIt)
{
    plug(nas_test::usb::stick_on_hub);
    EXPECT_EQ(resolved("/sys/bus/usb/devices/1-1.4:1.0/.."), "/sys/devices/pci0000:00/0000:00:12.0/usb1/1-1/1-1.4");
}

TEST_F(Sysfs, PrinterNodeIsLinkedWhereItIsSaidToBe)
{
    plug("device 1-3\n"
         "# without a class\n"
         "interface 1-3:1.0\n"
         "printer usb lp4\n");
    EXPECT_EQ(resolved("/sys/class/usb/lp4"), "/sys/devices/pci0000:00/0000:00:12.0/usb1/1-3/1-3:1.0/usb/lp4");
    EXPECT_FALSE(exists("/sys/class/usbmisc"));
    EXPECT_FALSE(exists("/sys/bus/usb/devices/1-3:1.0/bInterfaceClass"));
}

TEST_F(Sysfs, DevicesSayWhatTheyAre)
{
    plug(nas_test::usb::stick_on_hub);
    const std::string device = "/sys/devices/pci0000:00/0000:00:12.0/usb1/1-1/1-1.4";
    EXPECT_EQ(read_file(device + "/uevent"), "DEVTYPE=usb_device\n");
    EXPECT_EQ(read_file(device + "/1-1.4:1.0/uevent"), "DEVTYPE=usb_interface\n");
    EXPECT_EQ(resolved(device + "/1-1.4:1.0/subsystem"), "/sys/bus/usb");
    EXPECT_EQ(read_file("/sys/class/block/sda/uevent"), "DEVNAME=sda\nDEVTYPE=disk\n");
    EXPECT_EQ(read_file("/sys/class/block/sda1/uevent"), "DEVNAME=sda1\nDEVTYPE=partition\n");
    EXPECT_EQ(resolved("/sys/class/block/sda1/subsystem"), "/sys/class/block");
    EXPECT_EQ(resolved("/sys/class/block/sda1"), resolved("/sys/block/sda") + "/sda1");
}

TEST_F(Sysfs, SearchesAnswerAsTheTreeWould)
{
    plug(nas_test::usb::stick_on_bus_1);
    plug(nas_test::usb::stick_on_bus_2);
    EXPECT_EQ(search("/usr/bin/find /sys/bus/usb/devices//2-1:1.0/.. | grep sdb"),
              "/sys/bus/usb/devices//2-1:1.0/../2-1:1.0/host0/target0:0:0/0:0:0:0/block/sdb\n"
              "/sys/bus/usb/devices//2-1:1.0/../2-1:1.0/host0/target0:0:0/0:0:0:0/block/sdb/sdb1\n");
    EXPECT_EQ(search("/usr/bin/find 1-1:1.0/.. | grep sda").substr(0, 24), "1-1:1.0/../1-1:1.0/host0");
    EXPECT_EQ(search("/usr/bin/find /sys/bus/usb/devices//2-1:1.0/.. | grep sda"), "");
    EXPECT_EQ(search("/usr/bin/find /sys/bus/usb/devices//2-1/.. | grep sdb"), "");
}

} // namespace
