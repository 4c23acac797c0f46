#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"
#include "support/sysfs.h"

#include "nas/usbdev.h"

#include <climits>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

// readlink ends no text: what stands behind the target is anything, here more of a path. So is what stands there when
// there is no target, here the path of an interface.
extern "C" ssize_t nas_test_readlink(const char *path, char *target, std::size_t size) __asm__("readlink");
ssize_t nas_test_readlink(const char *path, char *target, std::size_t size)
{
    const auto fill = [=](char name) {
        for (std::size_t i = 0; i < size; ++i)
            target[i] = i % 2 == 0 ? '/' : name;
    };
    fill('x');
    const ssize_t length = syscall(SYS_readlinkat, AT_FDCWD, path, target, size);
    if (length < 0) {
        fill('1');
        target[size - 1] = '\0';
    }
    return length;
}

namespace
{

using nas_test::FailingMemory;
using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::LibraryTest;

namespace usb = nas_test::usb;

constexpr const char *no_text = nullptr;
constexpr const char *devices = "/sys/bus/usb/devices";
constexpr const char *stick_interface = "/sys/bus/usb/devices/1-1:1.0";

struct UsbDev : LibraryTest {
    ~UsbDev() override
    {
        release();
        stand_in("/");
    }

    void plug(std::string_view text)
    {
        nas_test::plug(sandbox, host, text);
    }

    void stand_in(const char *folder)
    {
        ASSERT_EQ(chdir(folder), 0);
    }

    // Reads one interface into a cleared record.
    int read(const std::string &path, const char *filter = nullptr)
    {
        info = {};
        return host.call(get_usbdev_info, path.c_str(), filter, &info);
    }

    // The same with the class of the stick's interface replaced.
    int read_with_class(std::string_view text, const char *filter = nullptr)
    {
        sandbox.put_file("/sys/bus/usb/devices/1-1:1.0/bInterfaceClass", text);
        return read(stick_interface, filter);
    }

    // Fills `list`, which held garbage before.
    int build(const char *filter = nullptr)
    {
        release();
        std::memset(&list, 0x5a, sizeof list);
        filled = true;
        const int count = host.call(get_usbdev_list, &list, filter);
        EXPECT_EQ(count, list.count);
        return count;
    }

    // "class name mode product", a line each.
    std::string records() const
    {
        std::string text;
        for (const UsbDevInfo *record = list.first; record != nullptr; record = record->next)
            text += std::string(record->interface_class) + " " + record->devname + " " +
                    std::to_string(record->connected_mode) + " " + record->product + "\n";
        return text;
    }

    void release()
    {
        if (filled)
            free_usbdev_list(&list);
        filled = false;
    }

    UsbDevInfo info = {};
    UsbDevList list = {};
    bool filled = false;
};

// A path of the stick's interface with that many characters.
std::string path_of_length(std::size_t length)
{
    std::string path = devices;
    while (path.size() + std::strlen("/1-1:1.0") + 2 <= length)
        path += "/.";
    if (path.size() + std::strlen("/1-1:1.0") < length)
        path += "/";
    return path + "/1-1:1.0";
}

int open_descriptors()
{
    int count = 0;
    for (int descriptor = 0; descriptor < 1024; ++descriptor)
        count += fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
    return count;
}

// ---- one interface

TEST_F(UsbDev, StickIsReadWhole)
{
    plug(usb::stick_on_bus_1);
    ASSERT_EQ(read(stick_interface), 1);
    EXPECT_EQ(info.next, nullptr);
    EXPECT_EQ(info.index, 1);
    EXPECT_STREQ(info.id_product, "3c4d");
    EXPECT_STREQ(info.id_vendor, "1a2b");
    EXPECT_STREQ(info.manufacturer, "Acme");
    EXPECT_STREQ(info.product, "Pocket Drive");
    EXPECT_STREQ(info.speed, "480");
    EXPECT_STREQ(info.version, " 2.00");
    EXPECT_STREQ(info.serial, "AC000001");
    EXPECT_STREQ(info.interface_class, "08");
    EXPECT_STREQ(info.devname, "sda");
    EXPECT_EQ(info.connected_mode, 1);
    EXPECT_EQ(info.busnum, 1);
    EXPECT_EQ(info.devnum, 7);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep sda\n");
}

TEST_F(UsbDev, AnyNumberButZeroSaysThatAFileIsThere)
{
    plug(usb::stick_on_bus_1);
    for (const int yes : {1, 2, INT_MAX, -1}) {
        host.yes = yes;
        ASSERT_EQ(read(stick_interface), 1) << yes;
        EXPECT_STREQ(info.product, "Pocket Drive") << yes;
        EXPECT_STREQ(info.devname, "sda") << yes;
    }
    EXPECT_EQ(host.count_lines("popen "), 4);
}

TEST_F(UsbDev, MissingAttributesAreEmpty)
{
    plug(usb::stick_without_attributes);
    ASSERT_EQ(read(devices + std::string("//1-1:1.0")), 1);
    EXPECT_EQ(info.index, 1);
    EXPECT_STREQ(info.id_product, "");
    EXPECT_STREQ(info.id_vendor, "");
    EXPECT_STREQ(info.manufacturer, "");
    EXPECT_STREQ(info.product, "");
    EXPECT_STREQ(info.speed, "");
    EXPECT_STREQ(info.version, "");
    EXPECT_STREQ(info.serial, "");
    EXPECT_STREQ(info.interface_class, "08");
    EXPECT_STREQ(info.devname, "sda");
    EXPECT_EQ(info.connected_mode, 1);
    EXPECT_EQ(info.busnum, 0);
    EXPECT_EQ(info.devnum, 0);
}

TEST_F(UsbDev, AttributesThatDoNotFitAreCut)
{
    plug("device 2-1\n"
         "manufacturer=" +
         std::string(300, 'm') +
         "\n"
         "product=" +
         std::string(300, 'p') +
         "\n"
         "speed=" +
         std::string(300, '5') +
         "\n"
         "serial=" +
         std::string(300, 's') +
         "\n"
         "idProduct=" +
         std::string(300, 'a') +
         "\n"
         "idVendor=" +
         std::string(300, 'b') +
         "\n"
         "version=" +
         std::string(300, '2') +
         "\n"
         "devnum=7\n"
         "busnum=2\n"
         "interface 2-1:1.0 08\n");
    ASSERT_EQ(read("/sys/bus/usb/devices/2-1:1.0"), 1);
    EXPECT_EQ(info.index, 1);
    EXPECT_STREQ(info.id_product, "aaaaaaa");
    EXPECT_STREQ(info.id_vendor, "bbbbbbb");
    EXPECT_EQ(std::string(info.manufacturer), std::string(127, 'm'));
    EXPECT_EQ(std::string(info.product), std::string(127, 'p'));
    EXPECT_STREQ(info.speed, "555555555555555");
    EXPECT_STREQ(info.version, "2222222");
    EXPECT_EQ(std::string(info.serial), std::string(63, 's'));
    EXPECT_STREQ(info.interface_class, "08");
    EXPECT_STREQ(info.devname, "");
    EXPECT_EQ(info.connected_mode, 2);
    EXPECT_EQ(info.busnum, 2);
    EXPECT_EQ(info.devnum, 7);
}

TEST_F(UsbDev, AttributesThatJustFitAreWhole)
{
    plug("device 1-1\n"
         "manufacturer=" +
         std::string(127, 'm') +
         "\n"
         "product=" +
         std::string(127, 'p') +
         "\n"
         "speed=123456789012345\n"
         "serial=" +
         std::string(63, 's') +
         "\n"
         "idProduct=1234567\n"
         "idVendor=7654321\n"
         "version=1.23456\n"
         "interface 1-1:1.0 08\n");
    ASSERT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.id_product, "1234567");
    EXPECT_STREQ(info.id_vendor, "7654321");
    EXPECT_EQ(std::string(info.manufacturer), std::string(127, 'm'));
    EXPECT_EQ(std::string(info.product), std::string(127, 'p'));
    EXPECT_STREQ(info.speed, "123456789012345");
    EXPECT_STREQ(info.version, "1.23456");
    EXPECT_EQ(std::string(info.serial), std::string(63, 's'));
}

TEST_F(UsbDev, WhatIsNoLinkIsNoInterface)
{
    plug(usb::stick_on_bus_1);
    sandbox.put_file("/sys/bus/usb/devices/1-2:1.0/bInterfaceClass", "08\n");
    sandbox.put_file("/sys/bus/usb/devices/1-3:1.0", "08\n");
    for (const char *name : {"1-2:1.0", "1-3:1.0", "1-4:1.0", "1-1:1.0/bInterfaceClass", "1-1:1.0/"}) {
        EXPECT_EQ(read(std::string(devices) + "/" + name), 0) << name;
        EXPECT_EQ(info.index, 0) << name;
    }
    EXPECT_EQ(read(""), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, LinkMustEndInADigit)
{
    plug(usb::stick_on_bus_1);
    sandbox.put_link("/sys/bus/usb/devices/1-1:1.1", "../devices/1-1:1.0/");
    sandbox.put_link("/sys/bus/usb/devices/1-1:1.2", "../devices/1-1:1.0/.");
    sandbox.put_link("/sys/bus/usb/devices/x1-1:1.0", "1-1:1.0");
    sandbox.put_link("/sys/bus/usb/devices/1-1:1.3", "../devices/x1-1:1.0");
    sandbox.put_link("/sys/bus/usb/devices/:1-1:1.0", "1-1:1.0");
    sandbox.put_link("/sys/bus/usb/devices/1-1:1.4", "../devices/:1-1:1.0");
    for (const char *name : {"1-1:1.1", "1-1:1.2", "1-1:1.3", "1-1:1.4"}) {
        EXPECT_EQ(read(std::string(devices) + "/" + name), 0) << name;
        EXPECT_EQ(info.index, 0) << name;
        EXPECT_STREQ(info.product, "") << name;
    }
}

TEST_F(UsbDev, NameOfTheInterfaceIsTheLinksTarget)
{
    plug(usb::stick_on_bus_2);
    sandbox.put_link("/sys/bus/usb/devices/other", "2-1:1.0");
    ASSERT_EQ(read("/sys/bus/usb/devices/other"), 1);
    EXPECT_STREQ(info.product, "Fast Drive");
    EXPECT_EQ(info.connected_mode, 2);
}

TEST_F(UsbDev, LinkIsReadForItsFirst512Bytes)
{
    plug(usb::stick_on_bus_1);
    std::string blanks; // steps that lead nowhere
    for (int i = 0; i < 252; ++i)
        blanks += "./";
    sandbox.put_link("/sys/bus/usb/devices/longest", blanks + "1-1:1.0");
    sandbox.put_link("/sys/bus/usb/devices/longer", blanks + blanks + "1-1:1.0");
    EXPECT_EQ(read("/sys/bus/usb/devices/longest"), 1);
    EXPECT_STREQ(info.product, "Pocket Drive");
    EXPECT_EQ(read("/sys/bus/usb/devices/longer"), 0);
    EXPECT_EQ(info.index, 0);
}

TEST_F(UsbDev, LinkCountsUpToIts511thCharacter)
{
    plug(usb::stick_on_bus_1);
    sandbox.put_link("/sys/bus/usb/devices/1", "1-1:1.0");
    std::string blanks;
    for (int i = 0; i < 255; ++i)
        blanks += "./";
    sandbox.put_link("/sys/bus/usb/devices/longest", blanks + "1");
    sandbox.put_link("/sys/bus/usb/devices/longer", blanks + "/1");
    EXPECT_EQ(read("/sys/bus/usb/devices/longest"), 1);
    EXPECT_STREQ(info.product, "Pocket Drive");
    EXPECT_EQ(read("/sys/bus/usb/devices/longer"), 0); // without the last one it ends in no name
    EXPECT_EQ(info.index, 0);
}

TEST_F(UsbDev, LinkToNothingIsNoInterface)
{
    sandbox.put_link(stick_interface, "../../../devices/gone/1-1:1.0");
    EXPECT_EQ(read(stick_interface), 0);
    EXPECT_EQ(info.index, 1);
    EXPECT_STREQ(info.interface_class, "");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, PathsOfAttributesAreCutAt255Characters)
{
    plug(usb::stick_on_bus_1);
    ASSERT_EQ(read(path_of_length(239)), 1);
    EXPECT_STREQ(info.manufacturer, "Acme"); // its path has 255 characters
    EXPECT_STREQ(info.product, "Pocket Drive");
    read(path_of_length(240));
    EXPECT_STREQ(info.manufacturer, "");
    EXPECT_STREQ(info.product, "Pocket Drive");
    EXPECT_STREQ(info.id_product, "3c4d");
    read(path_of_length(245));
    EXPECT_STREQ(info.product, "");
    EXPECT_STREQ(info.serial, "AC000001");
    EXPECT_STREQ(info.version, "");
    EXPECT_EQ(info.busnum, 1);
}

TEST_F(UsbDev, PathIsReadNoFurtherThanItsEnd)
{
    plug(usb::stick_on_bus_1);
    const GuardedText path(stick_interface);
    const GuardedText filter("08");
    UsbDevInfo record = {};
    EXPECT_EQ(host.call(get_usbdev_info, static_cast<const char *>(path), static_cast<const char *>(filter), &record),
              1);
    EXPECT_STREQ(record.devname, "sda");
}

// ---- which are refused

TEST_F(UsbDev, TwoBuiltInDevicesAreRefused)
{
    plug(usb::built_in_device);
    EXPECT_EQ(read("/sys/bus/usb/devices/1-6:1.0"), 0);
    EXPECT_STREQ(info.id_product, "bd17");
    EXPECT_STREQ(info.id_vendor, "0a5c");
    EXPECT_STREQ(info.interface_class, "");
    sandbox.remove_file("/sys/block/sda");
    plug(usb::built_in_hub);
    EXPECT_EQ(read("/sys/bus/usb/devices/1-7:1.0"), 0);
    EXPECT_STREQ(info.manufacturer, "Linux 2.6.22 ehci_hcd");
    EXPECT_STREQ(info.interface_class, "");
    EXPECT_EQ(build(), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, RefusedDevicesAreTakenExactly)
{
    struct Almost {
        const char *product, *vendor, *manufacturer;
    };
    const Almost others[] = {
        {"bd17", "0a5d", "Maker"},
        {"bd18", "0a5c", "Maker"},
        {"BD17", "0A5C", "Maker"},
        {"0a5c", "bd17", "Maker"},
        {"bd17", "", ""},
        {"bd17a", "0a5c", "Maker"},
        {"0000", "0000", "Linux 2.6.22 ehci_hc"},
        {"0000", "0000", "Linux 2.6.22 ehci_hcd "},
        {"0000", "0000", "Linux 2.6.23 ehci_hcd"},
        {"0000", "0000", ""},
        {"0000", "0001", "Linux 2.6.22 ehci_hcd"},
        {"0001", "0000", "Linux 2.6.22 ehci_hcd"},
    };
    plug(usb::reader_without_disk);
    for (const Almost &other : others) {
        sandbox.put_file("/sys/bus/usb/devices/1-1/idProduct", std::string(other.product) + "\n");
        sandbox.put_file("/sys/bus/usb/devices/1-1/idVendor", std::string(other.vendor) + "\n");
        sandbox.put_file("/sys/bus/usb/devices/1-1/manufacturer", std::string(other.manufacturer) + "\n");
        EXPECT_EQ(read(stick_interface), 1) << other.product << " " << other.vendor << " " << other.manufacturer;
    }
    sandbox.put_file("/sys/bus/usb/devices/1-1/idProduct", "bd17");
    sandbox.put_file("/sys/bus/usb/devices/1-1/idVendor", "0a5c");
    EXPECT_EQ(read(stick_interface), 0); // whoever made it
}

TEST_F(UsbDev, InterfaceWithoutClassIsRefused)
{
    plug("device 1-1\n"
         "product=Odd\n"
         "interface 1-1:1.0\n");
    EXPECT_EQ(read(stick_interface), 0);
    EXPECT_STREQ(info.product, "Odd");
    EXPECT_STREQ(info.interface_class, "");
    EXPECT_EQ(info.connected_mode, 0);
}

TEST_F(UsbDev, ClassesThatAreListed)
{
    plug(usb::stick_on_bus_1);
    for (const char *text : {"08\n", "07\n", "02\n", "0a\n", "08", "08\n\n", "07\nff\n"}) { // three characters count
        EXPECT_EQ(read_with_class(text), 1) << text;
        EXPECT_EQ(std::string(info.interface_class), std::string(text).substr(0, 2));
        EXPECT_EQ(info.connected_mode, 1);
    }
}

TEST_F(UsbDev, ClassesThatAreRefusedUnread)
{
    plug(usb::stick_on_bus_1);
    for (const char *text :
         {"ff\n", "00\n", "01\n", "03\n", "09\n", "0b\n",  "0e\n",  "10\n",  "dc\n",   "ef\n",   "fe\n",
          "FF\n", "0A\n", "E0\n", "8\n",  "a\n",  "080\n", "08 \n", " 08\n", "ffff\n", "e0e0\n", "080808080808080808\n",
          "",     "\n"}) {
        EXPECT_EQ(read_with_class(text), 0) << text;
        EXPECT_EQ(info.index, 1) << text;
        EXPECT_STREQ(info.product, "Pocket Drive") << text;
        EXPECT_STREQ(info.interface_class, "") << text;
        EXPECT_STREQ(info.devname, "") << text;
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, WirelessControllerIsReadAndRefused)
{
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(read_with_class("e0\n"), 0);
    EXPECT_STREQ(info.interface_class, "e0");
    EXPECT_STREQ(info.devname, "");
    EXPECT_EQ(info.connected_mode, 0);
    EXPECT_EQ(read_with_class("e0\n", "e0"), 0);
    EXPECT_EQ(read_with_class("e0\n", "08"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, FilterIsTheWholeClass)
{
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(read_with_class("08\n", "08"), 1);
    for (const char *filter : {"", "0", "8", "080", "07", "02", "0a", "e0", "ff"}) {
        EXPECT_EQ(read_with_class("08\n", filter), 0) << filter;
        EXPECT_STREQ(info.interface_class, "08") << filter;
        EXPECT_STREQ(info.devname, "") << filter;
        EXPECT_EQ(info.connected_mode, 0) << filter;
    }
    EXPECT_EQ(host.count_lines("popen "), 1);
    EXPECT_EQ(read_with_class("0a\n", "0a"), 1);
    EXPECT_EQ(read_with_class("0a\n", "02"), 0);
    EXPECT_EQ(read_with_class("ff\n", "ff"), 0);
}

// ---- the name of the device

TEST_F(UsbDev, CommunicationInterfacesAreNamedWithoutASearch)
{
    plug(usb::stick_on_bus_1);
    for (const char *text : {"02\n", "0a\n"}) {
        EXPECT_EQ(read_with_class(text), 1);
        EXPECT_STREQ(info.devname, "usb0");
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, EveryNodeIsTriedUntilOneFits)
{
    plug(usb::stick_on_bus_1);
    plug(usb::stick_on_bus_2);
    plug(usb::optical_drive);
    plug(usb::printer);
    plug("device 1-8\n"
         "interface 1-8:1.0 07\n"
         "printer usbmisc lp1\n");
    ASSERT_EQ(read("/sys/bus/usb/devices/1-8:1.0"), 1);
    EXPECT_STREQ(info.devname, "lp1");
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices/1-8:1.0/.. | grep sda\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices/1-8:1.0/.. | grep sdb\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices/1-8:1.0/.. | grep sr0\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices/1-8:1.0/.. | grep lp0\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices/1-8:1.0/.. | grep lp1\n");
    host.forget();
    ASSERT_EQ(read("/sys/bus/usb/devices/2-1:1.0"), 1);
    EXPECT_STREQ(info.devname, "sdb");
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices/2-1:1.0/.. | grep sda\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices/2-1:1.0/.. | grep sdb\n");
    host.forget();
    ASSERT_EQ(read("/sys/bus/usb/devices/1-2:1.0"), 1);
    EXPECT_STREQ(info.devname, "sr0");
    EXPECT_EQ(host.count_lines("popen "), 3);
}

TEST_F(UsbDev, AtMost46NodesAreTried)
{
    plug(usb::reader_without_disk);
    std::string expected;
    for (const char letter : std::string("abcdefghijklmnopqrstuvwxyz")) {
        sandbox.put_dir(std::string("/sys/block/sd") + letter);
        expected += std::string("popen /usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep sd") + letter + "\n";
    }
    for (const char digit : std::string("0123456789")) {
        sandbox.put_dir(std::string("/sys/block/sr") + digit);
        expected += std::string("popen /usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep sr") + digit + "\n";
    }
    for (const char digit : std::string("0123456789")) {
        sandbox.put_dir(std::string("/sys/class/usbmisc/lp") + digit);
        expected += std::string("popen /usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep lp") + digit + "\n";
    }
    ASSERT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.devname, "");
    EXPECT_EQ(host.transcript(), expected);
}

TEST_F(UsbDev, LastOfEachKindIsFound)
{
    plug("device 1-1\ninterface 1-1:1.0 08\nblock sdz\n");
    plug("device 1-2\ninterface 1-2:1.0 08\nblock sr9\n");
    plug("device 1-3\ninterface 1-3:1.0 07\nprinter usbmisc lp9\n");
    ASSERT_EQ(build(), 3);
    EXPECT_EQ(records(), "08 sdz 1 \n08 sr9 1 \n07 lp9 1 \n");
}

TEST_F(UsbDev, OtherNodesAreNotTried)
{
    plug(usb::reader_without_disk);
    for (const char *node : {"/sys/block/sdaa", "/sys/block/sda1", "/sys/block/sd", "/sys/block/sdA", "/sys/block/sr10",
                             "/sys/block/sr", "/sys/block/sd0", "/sys/block/sra", "/sys/block/hda", "/sys/block/lp0",
                             "/sys/class/usbmisc/lp10", "/sys/class/usbmisc/lpa", "/sys/class/usbmisc/sda"})
        sandbox.put_dir(node);
    EXPECT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.devname, "");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, FirstMatchWinsWhateverTheClass)
{
    plug(usb::printer_with_disk);
    ASSERT_EQ(build(), 2);
    EXPECT_EQ(records(), "07 sda 1 Writer\n08 sda 1 Writer\n");
    sandbox.remove_file("/sys/block/sda");
    ASSERT_EQ(build(), 2);
    EXPECT_EQ(records(), "07 lp0 1 Writer\n08 lp0 1 Writer\n");
}

TEST_F(UsbDev, OlderPrinterFolderIsPreferred)
{
    plug("device 1-3\n"
         "interface 1-3:1.0 07\n"
         "printer usb lp0\n"
         "printer usbmisc lp1\n");
    ASSERT_EQ(read("/sys/bus/usb/devices/1-3:1.0"), 1);
    EXPECT_STREQ(info.devname, "lp0");
    sandbox.remove_file("/sys/class/usb/lp0");
    host.forget();
    EXPECT_EQ(read("/sys/bus/usb/devices/1-3:1.0"), 0); // the other is not asked as long as this one is there
    EXPECT_STREQ(info.devname, "");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, PrinterFolderThatCannotBeOpenedIsPassedOver)
{
    plug(usb::printer);
    sandbox.put_file("/sys/class/usb", "");
    EXPECT_EQ(read("/sys/bus/usb/devices/1-3:1.0"), 1);
    EXPECT_STREQ(info.devname, "lp0");
}

TEST_F(UsbDev, PrinterWithoutNodeIsRefused)
{
    plug("device 2-3\n"
         "product=Writer\n"
         "interface 2-3:1.0 07\n");
    EXPECT_EQ(read("/sys/bus/usb/devices/2-3:1.0"), 0); // without a folder of printers
    EXPECT_STREQ(info.interface_class, "07");
    EXPECT_STREQ(info.devname, "");
    EXPECT_EQ(info.connected_mode, 2);
    sandbox.put_dir("/sys/class/usbmisc");
    EXPECT_EQ(read("/sys/bus/usb/devices/2-3:1.0"), 0);
    sandbox.put_dir("/sys/class/usbmisc/lp0"); // another one's
    EXPECT_EQ(read("/sys/bus/usb/devices/2-3:1.0"), 0);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices/2-3:1.0/.. | grep lp0\n");
}

TEST_F(UsbDev, StorageWithoutDiskHasNoName)
{
    plug(usb::reader_without_disk);
    EXPECT_EQ(read(stick_interface, "08"), 1);
    EXPECT_STREQ(info.devname, "");
    EXPECT_EQ(info.connected_mode, 1);
}

TEST_F(UsbDev, AnyLineIsAnAnswer)
{
    plug(usb::reader_without_disk);
    for (const char *name : {"sda", "sdb", "sdc", "sdd"})
        sandbox.put_dir(std::string("/sys/block/") + name);
    const std::string search = "/usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep ";
    host.on_command(search + "sdd", {0}, "x"); // without a line feed
    EXPECT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.devname, "sdd");
    host.on_command(search + "sdc", {0}, std::string(5000, 'x') + "\n");
    EXPECT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.devname, "sdc");
    host.on_command(search + "sdb", {1}, "sdb\n"); // the line alone counts
    EXPECT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.devname, "sdb");
    host.on_command(search + "sda", {0}, "");
    EXPECT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.devname, "sdb");
}

TEST_F(UsbDev, SearchThatCannotBeRunFindsNothing)
{
    host.on_command("/usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep sda", {-1});
    plug("device 1-1\n"
         "interface 1-1:1.0 08\n"
         "block sda\n"
         "block sdb\n");
    EXPECT_EQ(read(stick_interface), 1);
    EXPECT_STREQ(info.devname, "sdb");
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep sda\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices/1-1:1.0/.. | grep sdb\n");
}

TEST_F(UsbDev, SearchIsCutAt255Characters)
{
    plug(usb::stick_without_attributes);
    const std::string fits = path_of_length(227);
    host.on_command("/usr/bin/find " + fits + "/.. | grep sda", {0}, "sda\n");
    EXPECT_EQ(read(fits), 1);
    EXPECT_STREQ(info.devname, "sda");
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find " + fits + "/.. | grep sda\n");
    host.forget();
    const std::string longer = path_of_length(228);
    EXPECT_EQ(read(longer), 1);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find " + longer + "/.. | grep sd\n");
}

TEST_F(UsbDev, NothingStaysOpen)
{
    plug(usb::root_hubs);
    plug(usb::stick_on_bus_1);
    plug(usb::stick_on_bus_2);
    plug(usb::printer);
    plug(usb::phone);
    build();
    const int before = open_descriptors();
    build();
    host.call(get_usbidx_by_devname, "none");
    stand_in(devices);
    host.call(get_number_of_usbdevice);
    EXPECT_EQ(open_descriptors(), before);
}

// ---- the bus

TEST_F(UsbDev, NumberOfTheBusTellsTheMode)
{
    struct Bus {
        const char *number;
        int mode;
    };
    const Bus buses[] = {{"0", 0},
                         {"1", 1},
                         {"2", 2},
                         {"3", 1},
                         {"4", 2},
                         {"5", 0},
                         {"6", 0},
                         {"9", 0},
                         {"10", 0},
                         {"11", 0},
                         {"12", 0},
                         {"20", 0},
                         {"41", 0},
                         {"4294967297", 0},
                         {"4294967300", 0},
                         {"18446744073709551617", 0},
                         {"18446744073709551618", 0},
                         {"99999999999999999999999999", 0}};
    for (const Bus &bus : buses) {
        const std::string device = std::string(bus.number) + "-1";
        plug("device " + device + "\ninterface " + device + ":1.0 02\n");
        EXPECT_EQ(read("/sys/bus/usb/devices/" + device + ":1.0"), 1) << bus.number;
        EXPECT_EQ(info.connected_mode, bus.mode) << bus.number;
    }
}

TEST_F(UsbDev, AttributeDoesNotTellTheMode)
{
    plug("device 2-1\n"
         "busnum=1\n"
         "speed=480\n"
         "version= 2.00\n"
         "interface 2-1:1.0 02\n");
    EXPECT_EQ(read("/sys/bus/usb/devices/2-1:1.0"), 1);
    EXPECT_EQ(info.connected_mode, 2);
    EXPECT_EQ(info.busnum, 1);
}

// ---- the list

TEST_F(UsbDev, NothingPluggedInGivesAnEmptyList)
{
    const auto expect_empty = [&] {
        EXPECT_EQ(build(), 0);
        EXPECT_EQ(list.first, nullptr);
        EXPECT_EQ(list.last, nullptr);
    };
    expect_empty(); // without the folder
    sandbox.put_dir(devices);
    expect_empty();
    plug(usb::root_hubs);
    expect_empty();
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, ListOfOne)
{
    plug(usb::root_hubs);
    plug(usb::stick_on_bus_1);
    ASSERT_EQ(build(), 1);
    EXPECT_EQ(list.first, list.last);
    const UsbDevInfo record = *list.first; // as a caller may copy it: whole
    EXPECT_EQ(record.next, nullptr);
    EXPECT_EQ(record.index, 1);
    EXPECT_STREQ(record.serial, "AC000001");
    EXPECT_STREQ(record.version, " 2.00");
    EXPECT_STREQ(record.devname, "sda");
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices//1-1:1.0/.. | grep sda\n");
}

TEST_F(UsbDev, ListIsInTheOrderOfTheNames)
{
    plug(usb::stick_on_bus_5);
    plug(usb::stick_on_bus_2);
    plug(usb::phone);
    plug(usb::printer);
    plug(usb::optical_drive);
    plug(usb::stick_on_bus_1);
    plug("device 10-1\nproduct=Far\ninterface 10-1:1.0 0a\n");
    ASSERT_EQ(build(), 8);
    EXPECT_EQ(records(), "08 sda 1 Pocket Drive\n"
                         "08 sr0 1 Disc\n"
                         "07 lp0 1 Writer\n"
                         "02 usb0 1 Phone\n"
                         "0a usb0 1 Phone\n"
                         "0a usb0 0 Far\n"
                         "08 sdb 2 Fast Drive\n"
                         "08 sdc 0 \n");
    EXPECT_STREQ(list.last->devname, "sdc");
    EXPECT_EQ(list.last->next, nullptr);
    for (const UsbDevInfo *record = list.first; record != nullptr; record = record->next)
        EXPECT_EQ(record->index, 1);
}

TEST_F(UsbDev, FilteredLists)
{
    plug(usb::stick_on_bus_1);
    plug(usb::stick_on_bus_2);
    plug(usb::printer);
    plug(usb::phone);
    plug(usb::wireless_phone);
    EXPECT_EQ(build("08"), 2);
    EXPECT_EQ(records(), "08 sda 1 Pocket Drive\n08 sdb 2 Fast Drive\n");
    EXPECT_EQ(build("07"), 1);
    EXPECT_EQ(records(), "07 lp0 1 Writer\n");
    EXPECT_EQ(build("02"), 1);
    EXPECT_EQ(records(), "02 usb0 1 Phone\n");
    EXPECT_EQ(build("0a"), 1);
    EXPECT_EQ(records(), "0a usb0 1 Phone\n");
    for (const char *filter : {"e0", "ff", "09", "", "8"}) {
        EXPECT_EQ(build(filter), 0) << filter;
        EXPECT_EQ(list.first, nullptr) << filter;
        EXPECT_EQ(list.last, nullptr) << filter;
    }
}

TEST_F(UsbDev, WhatIsNotListed)
{
    plug(usb::root_hubs);
    plug(usb::wireless_phone);
    plug(usb::vendor_specific);
    plug(usb::printer_without_node);
    plug(usb::built_in_device);
    EXPECT_EQ(build(), 0);
    EXPECT_EQ(records(), "");
}

TEST_F(UsbDev, DeviceBehindAHubIsListed)
{
    plug(usb::stick_on_hub);
    ASSERT_EQ(build(), 1);
    EXPECT_EQ(records(), "08 sda 1 Stick\n");
}

TEST_F(UsbDev, EachInterfaceIsARecord)
{
    plug("device 2-1\n"
         "product=Two\n"
         "devnum=4\n"
         "interface 2-1:1.0 08\n"
         "block sda\n"
         "interface 2-1:1.1 ff\n"
         "interface 2-1:1.2 08\n");
    ASSERT_EQ(build(), 2);
    EXPECT_EQ(records(), "08 sda 2 Two\n08 sda 2 Two\n");
    EXPECT_EQ(list.first->next, list.last);
    EXPECT_EQ(list.first->devnum, 4);
    EXPECT_EQ(list.last->devnum, 4);
}

TEST_F(UsbDev, RecordsStartCleared)
{
    plug("device 1-1\nmanufacturer=Acme\nserial=1\nidVendor=1234\ndevnum=3\ninterface 1-1:1.0 08\nblock sda\n");
    plug("device 1-2\ninterface 1-2:1.0 08\n");
    ASSERT_EQ(build(), 2);
    EXPECT_STREQ(list.last->manufacturer, "");
    EXPECT_STREQ(list.last->serial, "");
    EXPECT_STREQ(list.last->id_vendor, "");
    EXPECT_STREQ(list.last->devname, "");
    EXPECT_EQ(list.last->devnum, 0);
}

TEST_F(UsbDev, EntriesThatAreNoInterfacesByName)
{
    plug(usb::stick_on_bus_1);
    // All lead to the stick's interface; the name decides.
    for (const char *name : {"1-2", "1-0:1.0", "1-:1.0", "1-a:1.0", "11:1.0", ":", "1:1-0", "2-1-0:1.0", "1-1:1.-",
                             "usbdev1.1", "usbdev2.1", "usbdev3.1", "lost+found", "usb1"})
        sandbox.put_link(std::string(devices) + "/" + name, "1-1:1.0");
    EXPECT_EQ(build("08"), 1);
}

TEST_F(UsbDev, EntriesThatAreInterfacesByName)
{
    plug(usb::stick_on_bus_1);
    for (const char *name : {"a:-1", "x-0-9:", "1-10:1.0", "-5:", "usb-2:1.0"})
        sandbox.put_link(std::string(devices) + "/" + name, "1-1:1.0");
    EXPECT_EQ(build("08"), 6);
}

TEST_F(UsbDev, FreeingKeepsTheHead)
{
    plug(usb::stick_on_bus_1);
    plug(usb::stick_on_bus_2);
    build();
    const UsbDevInfo *const first = list.first;
    const UsbDevInfo *const last = list.last;
    EXPECT_EQ(host.call(free_usbdev_list, &list), 0);
    filled = false;
    EXPECT_EQ(list.count, 2);
    EXPECT_EQ(list.first, first);
    EXPECT_EQ(list.last, last);
    UsbDevList empty = {};
    EXPECT_EQ(host.call(free_usbdev_list, &empty), 0);
}

TEST_F(UsbDev, ListEndsWhereMemoryEnds)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    plug("device 1-1\ninterface 1-1:1.0 02\n");
    plug("device 1-2\ninterface 1-2:1.0 02\n");
    plug("device 1-3\ninterface 1-3:1.0 02\n");
    // With more and more memory the list becomes longer, and what there is of it is whole.
    std::vector<int> counts;
    for (int allocations = 0; counts.empty() || counts.back() < 3; ++allocations) {
        ASSERT_LT(allocations, 100);
        const FailingMemory memory(allocations, 1);
        const int count = build();
        int nodes = 0;
        for (const UsbDevInfo *record = list.first; record != nullptr; record = record->next) {
            ++nodes;
            EXPECT_EQ(record->next == nullptr, record == list.last);
        }
        EXPECT_EQ(nodes, count);
        if (counts.empty() || counts.back() != count)
            counts.push_back(count);
    }
    EXPECT_EQ(counts, (std::vector<int>{0, 1, 2, 3}));
}

// ---- counting

TEST_F(UsbDev, CountingNeedsTheFolder)
{
    plug(usb::stick_on_bus_1);
    plug(usb::printer);
    plug(usb::phone);
    plug(usb::wireless_phone);
    plug(usb::root_hubs);
    stand_in("/");
    EXPECT_EQ(host.call(get_number_of_usbdevice), 0);
    EXPECT_EQ(host.transcript(), "");
    stand_in(devices);
    EXPECT_EQ(host.call(get_number_of_usbdevice), 4);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find 1-1:1.0/.. | grep sda\n"
                                 "popen /usr/bin/find 1-3:1.0/.. | grep sda\n"
                                 "popen /usr/bin/find 1-3:1.0/.. | grep lp0\n");
}

TEST_F(UsbDev, CountingNothing)
{
    EXPECT_EQ(host.call(get_number_of_usbdevice), 0);
    sandbox.put_dir(devices);
    stand_in(devices);
    EXPECT_EQ(host.call(get_number_of_usbdevice), 0);
}

TEST_F(UsbDev, CountingTakesEntriesOfAnyOtherName)
{
    plug(usb::reader_without_disk);
    stand_in(devices);
    EXPECT_EQ(host.call(get_number_of_usbdevice), 1);
    for (const char *name : {"usbdev1.1", "usbdev2.1", "usbdev3.1", "lost+found"})
        sandbox.put_link(std::string(devices) + "/" + name, "1-1:1.0");
    EXPECT_EQ(host.call(get_number_of_usbdevice), 1);
    for (const char *name : {"usbdev4.1", "usbdev1.2", "1-0:1.0", "other", "#", ".#"})
        sandbox.put_link(std::string(devices) + "/" + name, "1-1:1.0");
    EXPECT_EQ(host.call(get_number_of_usbdevice), 7);
    EXPECT_EQ(build(), 1);
}

TEST_F(UsbDev, CountingKeepsWhatTheEntryBeforeToldOfItself)
{
    plug("device 1-1\nidProduct=bd17\nidVendor=0a5c\ninterface 1-1:1.0 02\n");
    plug("device 1-2\ninterface 1-2:1.0 02\n");
    plug("device 1-3\nidProduct=1234\ninterface 1-3:1.0 02\n");
    stand_in(devices);
    EXPECT_EQ(host.call(get_number_of_usbdevice), 1); // the second has no numbers of its own and is refused, too
    EXPECT_EQ(build(), 2);
}

TEST_F(UsbDev, EachCountStartsAfresh)
{
    plug("device 1-1\ninterface 1-1:1.0 02\n");
    plug("device 1-2\nidProduct=bd17\nidVendor=0a5c\ninterface 1-2:1.0 02\n");
    stand_in(devices);
    EXPECT_EQ(host.call(get_number_of_usbdevice), 1);
    EXPECT_EQ(host.call(get_number_of_usbdevice), 1);
}

// ---- queries

TEST_F(UsbDev, NothingPluggedInAnswersEveryQuestion)
{
    char dir[64] = "untouched";
    EXPECT_EQ(host.call(check_usb_device_exist, no_text), 0);
    EXPECT_EQ(host.call(check_usb_device_exist, "sda"), 0);
    EXPECT_EQ(host.call(check_usb_device_exist, ""), 0);
    EXPECT_EQ(host.call(get_usbidx_by_devname, "sda"), -1);
    EXPECT_EQ(host.call(get_usbidx_by_devname, ""), -1);
    EXPECT_EQ(host.call(check_usbdev_exist_by_idx, 1), 0);
    EXPECT_EQ(host.call(get_usbdev_conneted_mode, 1), 0);
    EXPECT_EQ(host.call(get_first_mount_dir_by_usbidx, 1, static_cast<char *>(dir)), 0);
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    EXPECT_EQ(host.call(remove_all_usb_device), 0);
    EXPECT_STREQ(dir, "untouched");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(UsbDev, StorageDevicesExist)
{
    plug(usb::printer);
    plug(usb::phone);
    EXPECT_EQ(host.call(check_usb_device_exist, no_text), 0);
    EXPECT_EQ(host.call(check_usb_device_exist, "lp0"), 0);
    EXPECT_EQ(host.call(check_usb_device_exist, "usb0"), 0);
    EXPECT_EQ(host.transcript(), ""); // others than storage are not looked for
    plug(usb::stick_on_bus_1);
    plug(usb::stick_on_bus_2);
    EXPECT_EQ(host.call(check_usb_device_exist, no_text), 1);
    EXPECT_EQ(host.call(check_usb_device_exist, "sda"), 1);
    EXPECT_EQ(host.call(check_usb_device_exist, "sdb"), 1);
    for (const char *name : {"sdc", "sda1", "sd", "lp0", "usb0", ""})
        EXPECT_EQ(host.call(check_usb_device_exist, name), 0) << name;
}

TEST_F(UsbDev, StorageWithoutDiskExists)
{
    plug(usb::reader_without_disk);
    EXPECT_EQ(host.call(check_usb_device_exist, no_text), 1);
    EXPECT_EQ(host.call(check_usb_device_exist, "sda"), 0);
}

TEST_F(UsbDev, PortOfADevice)
{
    plug(usb::stick_on_bus_1);
    plug(usb::stick_on_bus_2);
    plug(usb::printer);
    plug(usb::phone);
    for (const char *name : {"sda", "sdb", "lp0", "usb0"})
        EXPECT_EQ(host.call(get_usbidx_by_devname, name), 1) << name;
    for (const char *name : {"sdc", "sda1", "sd", "lp1", "usb1", "SDA", ""})
        EXPECT_EQ(host.call(get_usbidx_by_devname, name), -1) << name;
}

TEST_F(UsbDev, EverythingIsInPort1)
{
    plug(usb::stick_on_bus_2);
    plug(usb::phone);
    EXPECT_EQ(host.call(check_usbdev_exist_by_idx, 1), 1);
    for (const int index : {0, 2, 3, -1, 257})
        EXPECT_EQ(host.call(check_usbdev_exist_by_idx, index), 0) << index;
}

TEST_F(UsbDev, ModeIsTheFirstRecords)
{
    plug(usb::stick_on_bus_2);
    EXPECT_EQ(host.call(get_usbdev_conneted_mode, 1), 2);
    for (const int index : {0, 2, -1})
        EXPECT_EQ(host.call(get_usbdev_conneted_mode, index), 0) << index;
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(host.call(get_usbdev_conneted_mode, 1), 1);
}

TEST_F(UsbDev, ModeIsNotKnownOnOtherBuses)
{
    plug(usb::stick_on_bus_5);
    EXPECT_EQ(host.call(get_usbdev_conneted_mode, 1), 0);
    EXPECT_EQ(host.call(check_usbdev_exist_by_idx, 1), 1);
}

TEST_F(UsbDev, FirstMountPoint)
{
    plug(usb::stick_on_bus_1);
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/Other vfat rw 0 0\n"
                       "/dev/sda2 /tmp/mnt/Second vfat rw 0 0\n"
                       "/dev/sda1 /tmp/mnt/First vfat rw 0 0\n");
    const GuardedBuffer dir(64);
    EXPECT_EQ(host.call(get_first_mount_dir_by_usbidx, 1, dir.data()), 1);
    EXPECT_STREQ(dir.data(), "/tmp/mnt/Second");
    EXPECT_EQ(host.statfs_calls, 0);
    for (const int index : {0, 2, -1}) {
        EXPECT_EQ(host.call(get_first_mount_dir_by_usbidx, index, dir.data()), 0) << index;
        EXPECT_STREQ(dir.data(), "/tmp/mnt/Second") << index;
    }
}

TEST_F(UsbDev, LongMountPointIsCut)
{
    plug(usb::stick_on_bus_1);
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/" + std::string(200, 'f') + " vfat rw 0 0\n");
    const GuardedBuffer dir(64);
    EXPECT_EQ(host.call(get_first_mount_dir_by_usbidx, 1, dir.data()), 1);
    EXPECT_EQ(std::string(dir.data()), "/tmp/mnt/" + std::string(54, 'f'));
}

TEST_F(UsbDev, NoMountPointWithoutAVolumeOfTheFirstRecord)
{
    char dir[64] = "untouched";
    const auto ask = [&] { return host.call(get_first_mount_dir_by_usbidx, 1, static_cast<char *>(dir)); };
    plug(usb::stick_on_bus_2);
    EXPECT_EQ(ask(), 0); // without a table
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n"
                       "/dev/sdb1 /media/B vfat rw 0 0\n");
    EXPECT_EQ(ask(), 0);
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(ask(), 1);
    std::strcpy(dir, "untouched");
    plug(usb::printer); // a name that comes first, and no storage
    EXPECT_EQ(ask(), 0);
    plug(usb::stick_on_bus_1); // not mounted
    EXPECT_EQ(ask(), 0);
    EXPECT_STREQ(dir, "untouched");
}

TEST_F(UsbDev, StorageWithoutDiskHasNoMountPoint)
{
    plug(usb::reader_without_disk);
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    char dir[64] = "untouched";
    EXPECT_EQ(host.call(get_first_mount_dir_by_usbidx, 1, static_cast<char *>(dir)), 0);
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    EXPECT_STREQ(dir, "untouched");
}

TEST_F(UsbDev, PrinterHasNoMountPointThoughItsNameIsADisks)
{
    plug(usb::printer_with_disk);
    host.set_config("cupsd_conf", "0");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    char dir[64] = "untouched";
    EXPECT_EQ(host.call(get_first_mount_dir_by_usbidx, 1, static_cast<char *>(dir)), 0);
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    EXPECT_STREQ(dir, "untouched");
}

TEST_F(UsbDev, PhoneHasNoMountPointThoughItsNameIsADisks)
{
    sandbox.set_mounts("/dev/usb0 /tmp/mnt/A vfat rw 0 0\n");
    for (const char *phone : {"device 1-4\ninterface 1-4:1.1 0a\n", "device 1-3\ninterface 1-3:1.0 02\n"}) {
        plug(phone);
        char dir[64] = "untouched";
        EXPECT_EQ(host.call(get_first_mount_dir_by_usbidx, 1, static_cast<char *>(dir)), 0) << phone;
        EXPECT_STREQ(dir, "untouched") << phone;
    }
}

TEST_F(UsbDev, StorageIsInUseWhileMounted)
{
    plug(usb::stick_on_bus_1);
    host.network.interfaces.insert("lte0");
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 1);
    for (const int index : {0, 2, -1})
        EXPECT_EQ(host.call(check_usbdev_is_active, index), 0) << index;
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(UsbDev, PrinterIsInUseWhilePrintingIsOn)
{
    plug(usb::printer);
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 1); // where nothing is set
    host.set_config("cupsd_remote_conf", "0");
    for (const auto &[text, setting] : std::map<std::string, int>{{"1", 1}, {"5", 5}, {"-3", -3}}) {
        host.set_config("cupsd_conf", text);
        EXPECT_EQ(host.call(check_usbdev_is_active, 1), setting) << text;
    }
    for (const int index : {0, 2, -1})
        EXPECT_EQ(host.call(check_usbdev_is_active, index), 0) << index;
}

TEST_F(UsbDev, PrinterIsNotInUseWhilePrintingIsOff)
{
    plug(usb::printer);
    host.network.interfaces.insert("lte0");
    host.set_config("cupsd_remote_conf", "1");
    for (const char *off : {"0", "", "off"}) {
        host.set_config("cupsd_conf", off);
        EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0) << off;
    }
}

TEST_F(UsbDev, PrinterAloneDecidesForItsDisk)
{
    plug(usb::printer_with_disk);
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 1);
    host.set_config("cupsd_conf", "0");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
}

TEST_F(UsbDev, PrinterWithoutNodeIsNotInUse)
{
    plug(usb::printer_without_node);
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
}

TEST_F(UsbDev, PhoneIsInUseWhileItsInterfaceIsThere)
{
    plug(usb::phone);
    sandbox.set_mounts("/dev/usb0 /tmp/mnt/A vfat rw 0 0\n");
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    for (const char *other : {"lte1", "usb0", "lte"})
        host.network.interfaces.insert(other);
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    host.network.interfaces.insert("lte0");
    EXPECT_NE(host.call(check_usbdev_is_active, 1), 0);
}

TEST_F(UsbDev, DataInterfaceIsInUseLikeAPhone)
{
    plug("device 1-4\ninterface 1-4:1.1 0a\n");
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
    host.network.interfaces.insert("lte0");
    EXPECT_NE(host.call(check_usbdev_is_active, 1), 0);
}

TEST_F(UsbDev, FirstRecordAloneDecidesWhetherThePortIsInUse)
{
    plug(usb::phone);
    plug(usb::stick_on_bus_2);
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(host.call(check_usbdev_is_active, 1), 0);
}

// ---- taking devices out

TEST_F(UsbDev, EveryStorageDeviceIsTakenOut)
{
    plug(usb::stick_on_bus_1);
    plug(usb::phone);
    plug(usb::stick_on_bus_2);
    host.on_command("/sbin/usbumount hdddev:sda 1 10 auto", {1});
    EXPECT_EQ(host.call(remove_all_usb_device), 0);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices//1-1:1.0/.. | grep sda\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices//2-1:1.0/.. | grep sda\n"
                                 "popen /usr/bin/find /sys/bus/usb/devices//2-1:1.0/.. | grep sdb\n"
                                 "syslog 7 Removing Storage Device ---------> devname: sda\n"
                                 "run /sbin/usbumount hdddev:sda 1 10 auto -> 1\n"
                                 "syslog 7 Removing Storage Device ---------> devname: sdb\n"
                                 "run /sbin/usbumount hdddev:sdb 1 10 auto -> 0\n");
}

TEST_F(UsbDev, OtherDevicesAreLeftIn)
{
    plug(usb::phone);
    plug(usb::printer);
    EXPECT_EQ(host.call(remove_all_usb_device), 0);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices//1-3:1.0/.. | grep lp0\n");
}

TEST_F(UsbDev, StorageIsTakenOutForEachOfItsInterfaces)
{
    plug("device 1-1\n"
         "interface 1-1:1.0 08\n"
         "interface 1-1:1.1 08\n");
    EXPECT_EQ(host.call(remove_all_usb_device), 0);
    EXPECT_EQ(host.transcript(), "syslog 7 Removing Storage Device ---------> devname: \n"
                                 "run /sbin/usbumount hdddev: 1 10 auto -> 0\n"
                                 "syslog 7 Removing Storage Device ---------> devname: \n"
                                 "run /sbin/usbumount hdddev: 1 10 auto -> 0\n");
}

// ---- the LED

TEST_F(UsbDev, LedGoesOffWithoutADevice)
{
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), "led 1 0\n");
}

TEST_F(UsbDev, LedGoesOffUnlessTheDeviceIsInUse)
{
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices//1-1:1.0/.. | grep sda\n"
                                 "led 1 0\n");
    host.forget();
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices//1-1:1.0/.. | grep sda\n");
}

TEST_F(UsbDev, LedStaysOnForAPrinterWhilePrintingIsOn)
{
    const std::string find_printer = "popen /usr/bin/find /sys/bus/usb/devices//1-3:1.0/.. | grep lp0\n";
    plug(usb::printer);
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), find_printer);
    host.forget();
    host.set_config("cupsd_conf", "-3");
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), find_printer);
    host.forget();
    host.set_config("cupsd_conf", "0");
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), find_printer + "led 1 0\n");
}

TEST_F(UsbDev, LedStaysOnForAPhoneInUse)
{
    plug(usb::phone);
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), "led 1 0\n");
    host.network.interfaces.insert("lte0");
    host.forget();
    EXPECT_EQ(host.call(turnoff_usbled), 0);
    EXPECT_EQ(host.transcript(), "");
}

// ---- flags in the status store

TEST_F(UsbDev, RemovedFlag)
{
    EXPECT_EQ(host.call(is_usb_removed, "sda"), 0);
    EXPECT_EQ(host.call(set_device_removed, "sda", 1), 0);
    EXPECT_EQ(host.call(is_usb_removed, "sda"), 1);
    EXPECT_EQ(host.call(is_usb_removed, "sda1"), 0);
    EXPECT_EQ(host.call(set_device_removed, "sda", 0), 0);
    EXPECT_EQ(host.call(is_usb_removed, "sda"), 0);
    EXPECT_EQ(host.call(set_device_removed, "sda1", 5), 0);
    EXPECT_EQ(host.call(is_usb_removed, "sda1"), 5);
    EXPECT_EQ(host.transcript(), "set-status usbremove.sda = 1\n"
                                 "set-status usbremove.sda = 0\n"
                                 "set-status usbremove.sda1 = 5\n");
}

TEST_F(UsbDev, RemovedFlagThatIsNotThereReadsAsMinusOne)
{
    for (const auto &[value, flag] : std::map<int, int>{{-1, 0}, {-2, -2}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}}) {
        EXPECT_EQ(host.call(set_device_removed, "sda", value), 0) << value;
        EXPECT_EQ(host.call(is_usb_removed, "sda"), flag) << value;
    }
}

TEST_F(UsbDev, RemovedFlagPassesTheStoresResultOn)
{
    host.status.refuses_writes = true;
    EXPECT_EQ(host.call(set_device_removed, "sda", 1), -1);
    EXPECT_EQ(host.call(is_usb_removed, "sda"), 0);
}

TEST_F(UsbDev, RemovedFlagsKeyIsCutAt127Characters)
{
    const GuardedText name(std::string(300, 'n'));
    EXPECT_EQ(host.call(set_device_removed, static_cast<const char *>(name), 1), 0);
    EXPECT_EQ(host.transcript(), "set-status usbremove." + std::string(117, 'n') + " = 1\n");
    EXPECT_EQ(host.call(is_usb_removed, static_cast<const char *>(name)), 1);
    EXPECT_EQ(host.status.reads["usbremove." + std::string(117, 'n')], 1);
}

TEST_F(UsbDev, PortIsKeptForTheDisk)
{
    EXPECT_EQ(host.call(get_usbdev_idx_cache, "sda"), -1);
    EXPECT_EQ(host.call(set_usbdev_idx_cache, "sda", 1), 0);
    for (const char *name : {"sda", "sda1", "sda12", "sdax"})
        EXPECT_EQ(host.call(get_usbdev_idx_cache, name), 1) << name;
    for (const char *name : {"sdb", "sd", "s", "", "xsda"})
        EXPECT_EQ(host.call(get_usbdev_idx_cache, name), -1) << name;
    EXPECT_EQ(host.transcript(), "set-status usbdevidx_sda = 1\n");
    EXPECT_EQ(host.status.reads["usbdevidx_sda"], 5);
    EXPECT_EQ(host.status.reads["usbdevidx_sd"], 1);
    EXPECT_EQ(host.status.reads["usbdevidx_"], 1);
    EXPECT_EQ(host.status.reads["usbdevidx_xsd"], 1);
}

TEST_F(UsbDev, PortIsWrittenForTheWholeName)
{
    EXPECT_EQ(host.call(set_usbdev_idx_cache, "sda1", 7), 0);
    EXPECT_EQ(host.transcript(), "set-status usbdevidx_sda1 = 7\n");
    EXPECT_EQ(host.call(get_usbdev_idx_cache, "sda1"), -1);
    EXPECT_EQ(host.call(set_usbdev_idx_cache, "sda", -1), 0);
    EXPECT_EQ(host.call(get_usbdev_idx_cache, "sda1"), -1);
}

TEST_F(UsbDev, PortsKeyIsCutAt63Characters)
{
    const GuardedText name(std::string(300, 'n'));
    EXPECT_EQ(host.call(set_usbdev_idx_cache, static_cast<const char *>(name), 1), 0);
    EXPECT_EQ(host.transcript(), "set-status usbdevidx_" + std::string(53, 'n') + " = 1\n");
    EXPECT_EQ(host.call(get_usbdev_idx_cache, static_cast<const char *>(name)), -1);
    EXPECT_EQ(host.status.reads["usbdevidx_nnn"], 1);
}

TEST_F(UsbDev, PortThatCannotBeKeptIsNoError)
{
    host.status.refuses_writes = true;
    EXPECT_EQ(host.call(set_usbdev_idx_cache, "sda", 1), 0);
    EXPECT_EQ(host.transcript(), "set-status usbdevidx_sda = 1 -> failed\n");
}

TEST_F(UsbDev, NamesAreReadNoFurtherThanTheirEnd)
{
    for (const char *text : {"", "s", "sd", "sda"}) {
        const GuardedText name(text);
        EXPECT_EQ(host.call(get_usbdev_idx_cache, static_cast<const char *>(name)), -1) << text;
        EXPECT_EQ(host.call(is_usb_removed, static_cast<const char *>(name)), 0) << text;
        EXPECT_EQ(host.call(get_usbidx_by_devname, static_cast<const char *>(name)), -1) << text;
    }
}

} // namespace
