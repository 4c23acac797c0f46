#include "support/fixture.h"
#include "support/guarded.h"
#include "support/stopped_services.h"
#include "support/sysfs.h"

#include "nas/hotplug.h"
#include "platform/device.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

using nas_test::GuardedText;
using nas_test::LibraryTest;
using nas_test::services_stopped;

namespace usb = nas_test::usb;

// What loading and unloading the file systems' modules runs.
const std::string modules_loaded = "run insmod ext2 -> 0\n"
                                   "run insmod jbd -> 0\n"
                                   "run insmod ext3 -> 0\n"
                                   "run insmod fat -> 0\n"
                                   "run insmod fuse -> 0\n"
                                   "run insmod msdos -> 0\n"
                                   "run insmod vfat -> 0\n"
                                   "run insmod jbd2 -> 0\n"
                                   "run insmod ext4dev -> 0\n";
const std::string modules_unloaded = "run rmmod ext2 -> 0\n"
                                     "run rmmod ext3 -> 0\n"
                                     "run rmmod jbd -> 0\n"
                                     "run rmmod vfat -> 0\n"
                                     "run rmmod msdos -> 0\n"
                                     "run rmmod fat -> 0\n"
                                     "run rmmod fuse -> 0\n"
                                     "run rmmod ext4dev -> 0\n"
                                     "run rmmod jbd2 -> 0\n";

// What starting the services anew does where none runs.
const std::string services_started = "stderr: =====================> Real Start Serviced\n"
                                     "run /usr/bin/killall serviced -> 1\n"
                                     "run /sbin/serviced & -> 0\n";

// The look for the port of a stick on bus 1.
const std::string look_for_sda = "popen /usr/bin/find /sys/bus/usb/devices//1-1:1.0/.. | grep sda\n";

const std::string disk_path = "/devices/pci0000:00/0000:00:12.0/usb1/1-1/1-1:1.0/host0/target0:0:0/0:0:0:0/block/sda";

struct Hotplug : LibraryTest {
    Hotplug()
    {
        host.device.silent_leds = LedSilentControl{.mode = 0, .start_hour = 0, .end_hour = 0};
        unsetenv("ACTION");
        unsetenv("DEVPATH");
    }
    ~Hotplug() override
    {
        unsetenv("ACTION");
        unsetenv("DEVPATH");
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

    // Unmounting the volume leaves these mounted.
    void on_unmount(const std::string &volume, const std::string &mounts_left)
    {
        host.commands.push_back(
            {.text = "/sbin/usbumount " + volume, .effect = [this, mounts_left] { sandbox.set_mounts(mounts_left); }});
    }

    void enable_tethering()
    {
        host.set_config("usb_tethering", "1");
    }

    // A kernel event, told by the environment; a null text is not there.
    std::string event(const char *action, const char *path)
    {
        host.forget();
        const auto tell = [](const char *name, const char *text) {
            if (text == nullptr)
                unsetenv(name);
            else
                setenv(name, text, 1);
        };
        tell("ACTION", action);
        tell("DEVPATH", path);
        char program[] = "hotplug";
        char type[] = "block";
        char *words[] = {program, type, nullptr};
        EXPECT_EQ(host.call(hotplug_usb2, 2, static_cast<char **>(words)), 0);
        return host.transcript();
    }
    std::string event(const char *action, const std::string &path)
    {
        return event(action, path.c_str());
    }

    // A kernel event, told by three words.
    std::string words_event(const std::string &action, const std::string &device)
    {
        host.forget();
        std::string program = "hotplug";
        std::string first = action;
        std::string second = device;
        char *words[] = {program.data(), first.data(), second.data(), nullptr};
        EXPECT_EQ(host.call(hotplug_usb2, 3, static_cast<char **>(words)), 0);
        return host.transcript();
    }

    // Performs a storage event.
    int perform(const std::string &text)
    {
        host.forget();
        const GuardedText guarded(text);
        return host.call(hotplug_callback, static_cast<const char *>(guarded));
    }
};

// ---- kernel events of disks

TEST_F(Hotplug, AddedDiskIsHandedOver)
{
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(event("add", disk_path), "request mount:sda\n" + look_for_sda + "set-status usbdevidx_sda = 1\n" +
                                           look_for_sda + "log 1 @{126} 1\n");
    EXPECT_EQ(event("add", "/block/sda"), "request mount:sda\n" + look_for_sda + "set-status usbdevidx_sda = 1\n" +
                                              look_for_sda + "log 1 @{126} 1\n");
}

TEST_F(Hotplug, AddedDiskThatIsNotListedHasNoPort)
{
    EXPECT_EQ(event("add", "/devices/x/block/sdb"), "request mount:sdb\n"
                                                    "set-status usbdevidx_sdb = -1\n"
                                                    "log 1 @{126} -1\n");
}

TEST_F(Hotplug, AddedPartitionDoesNothing)
{
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(event("add", disk_path + "/sda1"), "");
    EXPECT_EQ(words_event("add", "sda/sda1"), "");
    host.device.diagnostics = true;
    EXPECT_EQ(event("add", disk_path + "/sda1"), "");
}

TEST_F(Hotplug, DiagnosticsAddAtOnce)
{
    plug(usb::stick_on_bus_1);
    host.device.diagnostics = true;
    EXPECT_EQ(event("add", disk_path), look_for_sda + "set-status usbdevidx_sda = 1\n" +
                                           "run insmod /lib/modules/tntfs.ko -> 0\n" + modules_loaded +
                                           "set-status usbremove.sda = 0\n"
                                           "run /sbin/usbmount sda -> 0\n" +
                                           services_started + look_for_sda + "led 1 1\n" + look_for_sda +
                                           "log 1 @{127} 1\n");
}

TEST_F(Hotplug, DiagnosticsAddADiskThatIsNotListed)
{
    host.device.diagnostics = true;
    host.device.modules.insert("tntfs");
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(words_event("add", "sda"), "set-status usbdevidx_sda = -1\n"
                                         "set-status usbremove.sda = 0\n"
                                         "run /sbin/usbmount sda -> 0\n" +
                                             services_started +
                                             "led -1 1\n"
                                             "log 1 @{127} -1\n");
}

TEST_F(Hotplug, HostSaysYesByAnyNumberButZero)
{
    host.device.diagnostics = true;
    host.device.modules.insert("tntfs");
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    for (const int yes : {1, 2, INT_MAX, -1}) {
        host.yes = yes;
        EXPECT_EQ(event("add", "/block/sda"), "set-status usbdevidx_sda = -1\n"
                                              "set-status usbremove.sda = 0\n"
                                              "run /sbin/usbmount sda -> 0\n" +
                                                  services_started +
                                                  "led -1 1\n"
                                                  "log 1 @{127} -1\n")
            << yes;
    }
}

TEST_F(Hotplug, RemovedPartitionIsTakenDownAtOnce)
{
    host.set_status("usbdevidx_sda", "1");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    on_unmount("sda1", "");
    EXPECT_EQ(event("remove", disk_path + "/sda1"), services_stopped +
                                                        "run /sbin/usbumount sda1 -> 0\n"
                                                        "led 1 0\n"
                                                        "log 1 @{129} 1\n" +
                                                        modules_unloaded +
                                                        "request all\n"
                                                        "log 1 @{128} 1\n");
}

TEST_F(Hotplug, RemovedPartitionOfADiskWithMoreVolumesIsNotLogged)
{
    host.set_status("usbdevidx_sda", "1");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n/dev/sda2 /tmp/mnt/B vfat rw 0 0\n");
    on_unmount("sda1", "/dev/sda2 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(event("remove", disk_path + "/sda1"), services_stopped + "run /sbin/usbumount sda1 -> 0\n");
}

TEST_F(Hotplug, RemovedPartitionOfAnUnknownPort)
{
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(words_event("remove", "sdc/sdc1"), services_stopped + "run /sbin/usbumount sdc1 -> 0\n"
                                                                    "led 1 0\n"
                                                                    "log 1 @{129} -1\n"
                                                                    "log 1 @{128} -1\n");
}

TEST_F(Hotplug, RemovedDiskThatIsNotMountedIsIgnored)
{
    EXPECT_EQ(event("remove", disk_path), "");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n/dev/sdb /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(event("remove", disk_path), "");
    EXPECT_EQ(words_event("remove", "sda"), "");
    host.device.diagnostics = true;
    EXPECT_EQ(event("remove", disk_path), "");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Hotplug, RemovedDiskThatIsAVolumeItselfIsTakenDown)
{
    host.set_status("usbdevidx_sda", "1");
    sandbox.set_mounts("/dev/sda /tmp/mnt/A vfat rw 0 0\n/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    on_unmount("sda", "/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(event("remove", disk_path), services_stopped + "run /sbin/usbumount sda -> 0\n"
                                                             "led 1 0\n"
                                                             "log 1 @{129} 1\n"
                                                             "log 1 @{128} 1\n");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Hotplug, RemovalIsTheSameInDiagnostics)
{
    host.device.diagnostics = true;
    host.set_status("usbdevidx_sda", "1");
    EXPECT_EQ(event("remove", disk_path + "/sda1"), services_stopped +
                                                        "run /sbin/usbumount sda1 -> 0\n"
                                                        "led 1 0\n"
                                                        "log 1 @{129} 1\n" +
                                                        modules_unloaded +
                                                        "request all\n"
                                                        "log 1 @{128} 1\n");
}

TEST_F(Hotplug, EveryActionButAddIsARemoval)
{
    host.set_status("usbdevidx_sda", "1");
    for (const char *action : {"change", "bind", "ADD", "added", "ad", " add", "a", "\xff"}) {
        EXPECT_EQ(event(action, disk_path), "") << action;
        EXPECT_EQ(event(action, disk_path + "/sda1"), services_stopped +
                                                          "run /sbin/usbumount sda1 -> 0\n"
                                                          "led 1 0\n"
                                                          "log 1 @{129} 1\n" +
                                                          modules_unloaded +
                                                          "request all\n"
                                                          "log 1 @{128} 1\n")
            << action;
    }
}

TEST_F(Hotplug, ThreeWordsTellTheEvent)
{
    plug(usb::stick_on_bus_1);
    setenv("ACTION", "remove", 1);
    setenv("DEVPATH", "/block/sdx/sdx1", 1);
    EXPECT_EQ(words_event("add", "sda"), "request mount:sda\n" + look_for_sda + "set-status usbdevidx_sda = 1\n" +
                                             look_for_sda + "log 1 @{126} 1\n");
    EXPECT_EQ(words_event("remove", "sda/sda1"), services_stopped + "run /sbin/usbumount sda1 -> 0\n" + look_for_sda +
                                                     "led 1 0\n"
                                                     "log 1 @{129} 1\n" +
                                                     modules_unloaded +
                                                     "request all\n"
                                                     "log 1 @{128} 1\n");
}

TEST_F(Hotplug, AnyOtherNumberOfWordsAsksTheEnvironment)
{
    setenv("ACTION", "add", 1);
    setenv("DEVPATH", "/class/usb/lp0", 1);
    char word[] = "add";
    char device[] = "sda";
    char *words[] = {word, word, device, word, nullptr};
    for (const int count : {0, 1, 2, 4}) {
        host.forget();
        EXPECT_EQ(host.call(hotplug_usb2, count, static_cast<char **>(words)), 0);
        EXPECT_EQ(host.transcript(), "request cupsd\n") << count;
    }
    host.forget();
    EXPECT_EQ(host.call(hotplug_usb2, 0, static_cast<char **>(nullptr)), 0);
    EXPECT_EQ(host.transcript(), "request cupsd\n");
}

TEST_F(Hotplug, EventWithoutActionOrPathIsIgnored)
{
    enable_tethering();
    EXPECT_EQ(event(nullptr, "/block/sda"), "");
    EXPECT_EQ(event(nullptr, "/class/usb/lp0"), "");
    EXPECT_EQ(event(nullptr, "/class/net/usb0"), "");
    EXPECT_EQ(event("add", nullptr), "");
    EXPECT_EQ(event("remove", nullptr), "");
    EXPECT_EQ(event(nullptr, nullptr), "");
    EXPECT_EQ(event("", "/block/sda/sda1"), "");
    EXPECT_EQ(event("", "/class/usb/lp0"), "");
    EXPECT_EQ(event("remove", ""), "");
}

TEST_F(Hotplug, WordsNeedNoEnvironment)
{
    EXPECT_EQ(words_event("add", "sdd"), "request mount:sdd\n"
                                         "set-status usbdevidx_sdd = -1\n"
                                         "log 1 @{126} -1\n");
}

TEST_F(Hotplug, PathsThatMentionABlockAreNoDisks)
{
    for (const char *path : {"/block", "/devices/block", "/blocks/sda", "/devices/xblock/sda", "/devices/blockx/sda",
                             "/class/usb/lp0/blocks", "/usb/lp0-block", "/devices/block:0/usbmisc/lp0", "block/sda"}) {
        EXPECT_EQ(event("add", path), "") << path;
        EXPECT_EQ(event("remove", path), "") << path;
    }
}

TEST_F(Hotplug, WhateverAPathBeginsWithItsDiskIsFound)
{
    for (const char *path : {"x/block/sdb", "\x01/block/sdb", "\xff/block/sdb"})
        EXPECT_EQ(event("add", path), "request mount:sdb\n"
                                      "set-status usbdevidx_sdb = -1\n"
                                      "log 1 @{126} -1\n")
            << path;
}

TEST_F(Hotplug, OtherPathsDoNothing)
{
    for (const char *path : {"/", "/devices/pci0000:00/0000:00:12.0/usb1/1-1", "/class/net/eth0", "/module/usbcore",
                             "/class/scsi_device/0:0:0:0", "sda"}) {
        EXPECT_EQ(event("add", path), "") << path;
        EXPECT_EQ(event("remove", path), "") << path;
    }
}

TEST_F(Hotplug, OverlongNameOfADiskIsCut)
{
    const std::string name = "sd" + std::string(300, 'x');
    EXPECT_EQ(event("add", "/devices/x/block/" + name), "request mount:sd" + std::string(119, 'x') +
                                                            "\n"
                                                            "set-status usbdevidx_sd" +
                                                            std::string(51, 'x') +
                                                            " = -1\n"
                                                            "log 1 @{126} -1\n");
}

TEST_F(Hotplug, OverlongWordIsCut)
{
    // "/block/" and 120 characters
    const std::string name = "sd" + std::string(300, 'x');
    EXPECT_EQ(words_event("add", name), "request mount:sd" + std::string(118, 'x') +
                                            "\n"
                                            "set-status usbdevidx_sd" +
                                            std::string(51, 'x') +
                                            " = -1\n"
                                            "log 1 @{126} -1\n");
    EXPECT_EQ(words_event("add", "sda" + std::string(117, 'x') + "/sda1").substr(0, 21), "request mount:sdaxxxx");
}

TEST_F(Hotplug, OverlongNameOfAVolumeMakesNoEvent)
{
    // What is cut off holds the two fields that a removal must have.
    EXPECT_EQ(event("remove", "/block/sda/sda" + std::string(5000, '1')), "");
}

TEST_F(Hotplug, LongNameOfAVolumeIsWhole)
{
    const std::string name = "sda" + std::string(108, '1'); // its command has 127 characters
    EXPECT_EQ(event("remove", "/block/sda/" + name), services_stopped + "run /sbin/usbumount " + name +
                                                         " -> 0\n"
                                                         "led 1 0\n"
                                                         "log 1 @{129} -1\n" +
                                                         modules_unloaded +
                                                         "request all\n"
                                                         "log 1 @{128} -1\n");
}

// ---- kernel events of printers

TEST_F(Hotplug, PrinterIsPassedOn)
{
    for (const char *path : {"/class/usb/lp0", "/devices/pci0000:00/usb1/1-1/1-1:1.0/usb/lp0", "/class/usbmisc/lp0",
                             "/devices/pci0000:00/usb1/1-1/1-1:1.0/usbmisc/lp0"}) {
        for (const char *action : {"add", "remove", "change"})
            EXPECT_EQ(event(action, path), "request cupsd\n") << action << " " << path;
    }
}

TEST_F(Hotplug, OtherPrintersAreNot)
{
    for (const char *path :
         {"/class/usb/lp1", "/class/usbmisc/lp1", "/devices/usb1/1-1/usb/lp9", "/class/printer/lp0", "/class/usb/lp",
          "/class/usb/lo0", "/class/usb/mp0", "/class/vsb/lp0", "/devices/lp0", "usb/lp0", "/usbmisc/ lp0"}) {
        EXPECT_EQ(event("add", path), "") << path;
        EXPECT_EQ(event("remove", path), "") << path;
    }
}

TEST_F(Hotplug, PrinterRequest)
{
    EXPECT_EQ(host.call(hotplug_printer, "/class/usb/lp0", "add"), 0);
    EXPECT_EQ(host.call(hotplug_printer, "", ""), 0);
    EXPECT_EQ(host.transcript(), "request cupsd\nrequest cupsd\n");
}

// ---- kernel events of phones

TEST_F(Hotplug, InterfaceOfAPhoneIsLogged)
{
    enable_tethering();
    for (const char *path : {"/class/net/usb0", "/sys/class/net/usb0", "/class/net/usb0/queues"}) {
        EXPECT_EQ(event("add", path), "log 1 @{125}\n") << path;
        for (const char *action : {"remove", "change", "ADD"})
            EXPECT_EQ(event(action, path), "log 1 @{124}\n") << action << " " << path;
    }
    for (const char *path : {"/class/net/usb1", "/class/net/eth0", "/class/net", "/net/usb0", "usb0"}) {
        EXPECT_EQ(event("add", path), "") << path;
        EXPECT_EQ(event("remove", path), "") << path;
    }
}

TEST_F(Hotplug, PhoneIsNotLoggedWithoutTethering)
{
    for (const char *action : {"add", "remove"}) {
        EXPECT_EQ(event(action, "/class/net/usb0"), "") << action;
        host.set_config("usb_tethering", "0");
        EXPECT_EQ(event(action, "/class/net/usb0"), "") << action;
    }
}

TEST_F(Hotplug, AnySettingButZeroIsTethering)
{
    for (const char *on : {"2", "-5"}) {
        host.set_config("usb_tethering", on);
        EXPECT_EQ(event("add", "/class/net/usb0"), "log 1 @{125}\n") << on;
        EXPECT_EQ(event("remove", "/class/net/usb0"), "log 1 @{124}\n") << on;
    }
}

TEST_F(Hotplug, DeviceOfAPhoneIsLogged)
{
    enable_tethering();
    plug(usb::phone);
    EXPECT_EQ(event("add", "/class/usb_device/1-4:1.0"), ""); // a bare name: from within its folder alone
    stand_in("/sys/bus/usb/devices");
    EXPECT_EQ(event("add", "/class/usb_device/1-4:1.0"), "log 1 @{125}\n");
    EXPECT_EQ(event("remove", "/class/usb_device/1-4:1.1"), "log 1 @{124}\n");
    EXPECT_EQ(event("add", "/class/usb_device/1-4"), "");
    EXPECT_EQ(event("add", "/class/usb_device/1-5:1.0"), "");
    host.set_config("usb_tethering", "0");
    EXPECT_EQ(event("add", "/class/usb_device/1-4:1.0"), "");
}

TEST_F(Hotplug, OtherEventsAreCheckedForAPhoneToo)
{
    enable_tethering();
    EXPECT_EQ(event("add", "/class/net/usb0/usb/lp0"), "request cupsd\nlog 1 @{125}\n");
    EXPECT_EQ(event("remove", "/class/net/usb0/block/sda"), "log 1 @{124}\n");
    EXPECT_EQ(event("add", "/class/net/usb0/block/sda"), "request mount:sda\n"
                                                         "set-status usbdevidx_sda = -1\n"
                                                         "log 1 @{126} -1\n"
                                                         "log 1 @{125}\n");
    EXPECT_EQ(event("add", "/class/net/usb0/block/sda/sda1"), "log 1 @{125}\n");
}

TEST_F(Hotplug, ClassOfAPhone)
{
    plug(usb::phone);
    plug(usb::stick_on_bus_1);
    plug(usb::wireless_phone);
    plug(usb::printer);
    stand_in("/sys/bus/usb/devices");
    EXPECT_EQ(host.call(check_usb_tethering_class, "/class/usb_device/1-4:1.0"), 1);
    EXPECT_EQ(host.call(check_usb_tethering_class, "/class/usb_device/1-4:1.1"), 1);
    for (const char *path :
         {"/class/usb_device/1-1:1.0", "/class/usb_device/1-9:1.0", "/class/usb_device/1-3:1.0",
          "/class/usb_device/1-4", "/class/usb_device/1-8:1.0", "/class/usb_device/", "/class/usb_device", "1-4:1.0",
          "", "class/usb_device/1-4:1.0", "/sys/class/usb_device/1-4:1.0", "/class/usb_devices/1-4:1.0",
          "/class/USB_device/1-4:1.0"})
        EXPECT_EQ(host.call(check_usb_tethering_class, path), 0) << path;
    stand_in("/");
    EXPECT_EQ(host.call(check_usb_tethering_class, "/class/usb_device/1-4:1.0"), 0);
}

TEST_F(Hotplug, ClassIsReadNoFurtherThanThePathsEnd)
{
    for (const char *text : {"", "/", "/class/usb_device", "/class/usb_device/"}) {
        const GuardedText path(text);
        EXPECT_EQ(host.call(check_usb_tethering_class, static_cast<const char *>(path)), 0) << text;
    }
}

// ---- performing an addition

TEST_F(Hotplug, FirstDiskLoadsTheModules)
{
    plug(usb::stick_on_bus_1);
    sandbox.set_mounts("/dev/root / squashfs ro 0 0\nproc /proc proc rw 0 0\n");
    EXPECT_EQ(perform("add,sda"), 0);
    EXPECT_EQ(host.transcript(), "run insmod /lib/modules/tntfs.ko -> 0\n" + modules_loaded +
                                     "set-status usbremove.sda = 0\n"
                                     "run /sbin/usbmount sda -> 0\n" +
                                     services_started + look_for_sda + "led 1 1\n" + look_for_sda + "log 1 @{127} 1\n");
}

TEST_F(Hotplug, FurtherDiskFindsTheModulesLoaded)
{
    plug(usb::stick_on_bus_1);
    host.device.modules.insert("tntfs");
    host.set_status("usbremove.sda", "1");
    host.add_process({"serviced"});
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(perform("add,sda"), 0);
    EXPECT_EQ(host.transcript(), "set-status usbremove.sda = 0\n"
                                 "run /sbin/usbmount sda -> 0\n"
                                 "stderr: =====================> Real Start Serviced\n"
                                 "run /usr/bin/killall serviced -> 0\n"
                                 "run /sbin/serviced & -> 0\n" +
                                     look_for_sda + "led 1 1\n" + look_for_sda + "log 1 @{127} 1\n");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Hotplug, ModulesAreAskedForOneByOne)
{
    // NTFS alone is there, then all others alone.
    host.device.modules.insert("tntfs");
    EXPECT_EQ(perform("add,sda"), 0);
    EXPECT_EQ(host.count_lines("run insmod "), 9);
    EXPECT_EQ(host.count_lines("run insmod /lib/modules/tntfs.ko"), 0);
    host.device.modules = {"ext2", "jbd", "ext3", "fat", "fuse", "msdos", "vfat", "jbd2", "ext4dev"};
    sandbox.set_mounts("/dev/sdb1 /mnt/B vfat rw 0 0\n");
    EXPECT_EQ(perform("add,sda"), 0);
    EXPECT_EQ(host.count_lines("run insmod "), 1);
    EXPECT_EQ(host.lines().front(), "run insmod /lib/modules/tntfs.ko -> 0");
}

TEST_F(Hotplug, AdditionGoesOnWhateverFails)
{
    host.on_command_prefix("insmod ", {1});
    host.on_command_prefix("/sbin/usbmount ", {-1});
    host.status.refuses_writes = true;
    EXPECT_EQ(perform("add,sda"), 0);
    EXPECT_EQ(host.count_lines("run insmod "), 10);
    EXPECT_EQ(host.count_lines("set-status usbremove.sda = 0 -> failed"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/usbmount sda -> failed"), 1);
    EXPECT_EQ(host.lines().back(), "log 1 @{127} -1");
}

TEST_F(Hotplug, AdditionKeepsTheLedsDark)
{
    plug(usb::stick_on_bus_1);
    host.device.silent_leds = LedSilentControl{.mode = 1, .start_hour = 0, .end_hour = 0};
    EXPECT_EQ(perform("add,sda"), 0);
    EXPECT_EQ(host.count_lines("led "), 1);
    EXPECT_EQ(host.count_lines("led 1 0"), 1);
}

TEST_F(Hotplug, DeviceOfAnAdditionEndsAtCommaOrLineFeed)
{
    for (const char *text : {"add,sda", "add,sda\n", "add,sda,1,10", "add,sda,", "add,sda\nrest", "add,sda,\n"}) {
        EXPECT_EQ(perform(text), 0) << text;
        EXPECT_EQ(host.count_lines("run /sbin/usbmount sda -> 0"), 1) << text;
        EXPECT_EQ(host.count_lines("set-status usbremove.sda = 0"), 1) << text;
    }
}

TEST_F(Hotplug, CommandOfAnAdditionIsCutAt127Characters)
{
    const std::string name = "sda" + std::string(109, 'x');
    EXPECT_EQ(perform("add," + name), 0);
    EXPECT_EQ(host.count_lines("run /sbin/usbmount " + name + " -> 0"), 1);
    EXPECT_EQ(perform("add," + name + "yz"), 0);
    EXPECT_EQ(host.count_lines("run /sbin/usbmount " + name + " -> 0"), 1);
}

// ---- performing a removal

TEST_F(Hotplug, LastVolumeOfAllUnloadsTheModules)
{
    host.set_status("usbdevidx_sda", "1");
    sandbox.set_mounts("/dev/root / squashfs ro 0 0\n/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    on_unmount("sda1", "/dev/root / squashfs ro 0 0\n");
    EXPECT_EQ(perform("remove,sda1,1,10"), 1);
    EXPECT_EQ(host.transcript(), services_stopped +
                                     "run /sbin/usbumount sda1 -> 0\n"
                                     "led 1 0\n"
                                     "log 1 @{129} 1\n" +
                                     modules_unloaded + "request all\n");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Hotplug, OneOfTwoVolumesLeavesTheRest)
{
    host.set_status("usbdevidx_sda", "1");
    on_unmount("sda1", "/dev/sda2 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(perform("remove,sda1,1,10"), 0);
    EXPECT_EQ(host.transcript(), services_stopped + "run /sbin/usbumount sda1 -> 0\n");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Hotplug, LastVolumeOfADiskLeavesTheModules)
{
    host.set_status("usbdevidx_sda", "1");
    on_unmount("sda2", "/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(perform("remove,sda2,1,10"), 1);
    EXPECT_EQ(host.transcript(), services_stopped + "run /sbin/usbumount sda2 -> 0\n"
                                                    "led 1 0\n"
                                                    "log 1 @{129} 1\n");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Hotplug, LedStaysOnWhileTheFirstDeviceIsInUse)
{
    // The other stick comes first in the inventory and is mounted.
    plug(usb::stick_on_bus_1);
    host.set_status("usbdevidx_sdb", "1");
    on_unmount("sdb1", "/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    EXPECT_EQ(perform("remove,sdb1,1,10"), 1);
    EXPECT_EQ(host.transcript(),
              services_stopped + "run /sbin/usbumount sdb1 -> 0\n" + look_for_sda + "log 1 @{129} 1\n");
}

TEST_F(Hotplug, DiskIsTheFirstThreeCharacters)
{
    host.set_status("usbdevidx_sda", "1");
    on_unmount("sda12", "/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n/dev/sdaa1 /tmp/mnt/C vfat rw 0 0\n");
    EXPECT_EQ(perform("remove,sda12,1,10"), 1);
    EXPECT_EQ(host.lines().back(), "log 1 @{129} 1");
    EXPECT_EQ(host.status.reads["usbdevidx_sda"], 1);
    on_unmount("sdaa2", "/dev/sda3 /tmp/mnt/B vfat rw 0 0\n");
    EXPECT_EQ(perform("remove,sdaa2,1,10"), 0); // counts as the disk sda's
    EXPECT_EQ(host.lines().back(), "run /sbin/usbumount sdaa2 -> 0");
}

TEST_F(Hotplug, ShortDeviceIsItsOwnDisk)
{
    EXPECT_EQ(perform("remove,sd,1,10"), 1);
    EXPECT_EQ(host.status.reads["usbdevidx_sd"], 1);
    EXPECT_EQ(host.count_lines("run /sbin/usbumount sd -> 0"), 1);
}

TEST_F(Hotplug, RemovalDoesNotTouchTheRemovedFlag)
{
    host.set_status("usbremove.sda", "1");
    host.set_status("usbremove.sda1", "1");
    perform("remove,sda1,1,10");
    EXPECT_EQ(host.count_lines("set-status usbremove"), 0);
    EXPECT_EQ(host.count_lines("remove-status"), 0);
}

TEST_F(Hotplug, RemovalGoesOnWhateverFails)
{
    host.on_command("/sbin/usbumount sda1", {1});
    host.on_command_prefix("rmmod ", {1});
    EXPECT_EQ(perform("remove,sda1,1,10"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/usbumount sda1 -> 1"), 1);
    EXPECT_EQ(host.count_lines("run rmmod "), 9);
    EXPECT_EQ(host.lines().back(), "request all");
}

TEST_F(Hotplug, VolumeThatStaysMountedStops)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n");
    host.on_command("/sbin/usbumount sda1", {1});
    EXPECT_EQ(perform("remove,sda1,1,10"), 0);
    EXPECT_EQ(host.transcript(), services_stopped + "run /sbin/usbumount sda1 -> 1\n");
}

TEST_F(Hotplug, RunningServicesAreStoppedBeforeUnmounting)
{
    host.add_process({"serviced"});
    host.add_process({"smbd"});
    host.add_process({.name = "proftpd:", .kills = 2});
    EXPECT_EQ(perform("remove,sda1,1,10"), 1);
    EXPECT_TRUE(host.processes.empty());
    ASSERT_EQ(host.count_lines("run /sbin/usbumount sda1 -> 0"), 1);
    const std::string transcript = host.transcript();
    EXPECT_LT(transcript.find("list telnetd -> 0\n"), transcript.find("run /sbin/usbumount sda1 -> 0\n"));
    EXPECT_EQ(transcript.find("run /sbin/serviced"), std::string::npos); // not started again here
}

TEST_F(Hotplug, FurtherFieldsOfARemovalMustBeThereAndAreNotUsed)
{
    for (const char *text : {"remove,sda1,1,10", "remove,sda1,0,0", "remove,sda1,x,y", "remove,sda1,1,10\n",
                             "remove,sda1,1,10,more", "remove,sda1,-1, "}) {
        EXPECT_EQ(perform(text), 1) << text;
        EXPECT_EQ(host.count_lines("run /sbin/usbumount sda1 -> 0"), 1) << text;
    }
}

TEST_F(Hotplug, CommandOfARemovalIsCutAt127Characters)
{
    const std::string name = "sda" + std::string(108, 'x');
    EXPECT_EQ(perform("remove," + name + ",1,10"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/usbumount " + name + " -> 0"), 1);
    EXPECT_EQ(perform("remove," + name + "yz,1,10"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/usbumount " + name + " -> 0"), 1);
}

// ---- events that are not performed

TEST_F(Hotplug, MalformedEventsDoNothing)
{
    for (const char *text : {"",
                             ",",
                             ",,",
                             "\n",
                             "add",
                             "add,",
                             "add,\n",
                             "add\n",
                             "add,,",
                             "add,,sda",
                             "add,\nsda",
                             ",sda",
                             ",add,sda",
                             "remove",
                             "remove,",
                             "remove,sda1",
                             "remove,sda1\n",
                             "remove,sda1,",
                             "remove,sda1,1",
                             "remove,sda1,1,",
                             "remove,sda1,1\n",
                             "remove,sda1,,10",
                             "remove,sda1,,",
                             "remove,sda1,,,10",
                             "remove,,1,10",
                             "remove,,sda1,1,10",
                             ",remove,sda1,1,10",
                             "remove,,,",
                             "remove,\n,1,10"}) {
        EXPECT_EQ(perform(text), 0) << text;
        EXPECT_EQ(host.transcript(), "") << text;
    }
}

TEST_F(Hotplug, OtherActionsDoNothing)
{
    for (const char *text : {"change,sda1,1,10", "ADD,sda", "added,sda", "ad,sda", " add,sda", "add ,sda", "\nadd,sda",
                             "mount,sda", "mount:sda", "umount,sda,1,10", "Remove,sda1,1,10", "removed,sda1,1,10",
                             "remov,sda1,1,10", "remove ,sda1,1,10"}) {
        EXPECT_EQ(perform(text), 0) << text;
        EXPECT_EQ(host.transcript(), "") << text;
    }
}

TEST_F(Hotplug, OverlongEventsAreCut)
{
    const std::string name(5000, 'x');
    EXPECT_EQ(perform("remove," + name + ",1,10"), 0); // the fields behind are cut off
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(perform("add," + name), 0);
    EXPECT_EQ(host.count_lines("run /sbin/usbmount xxx"), 1);
    EXPECT_EQ(host.count_lines("set-status usbremove." + std::string(117, 'x') + " = 0"), 1);
    EXPECT_EQ(perform("remove,sda1,1," + name), 1);
    EXPECT_EQ(host.count_lines("run /sbin/usbumount sda1 -> 0"), 1);
    EXPECT_EQ(perform(name), 0);
    EXPECT_EQ(perform(name + ",sda"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Hotplug, EventIsNotChanged)
{
    char text[] = "remove,sda1,1,10\n";
    EXPECT_EQ(host.call(hotplug_callback, static_cast<const char *>(text)), 1);
    EXPECT_STREQ(text, "remove,sda1,1,10\n");
}

// ---- modules

TEST_F(Hotplug, ModulesAreLoadedInOrder)
{
    EXPECT_EQ(host.call(install_fs_modules), 0);
    EXPECT_EQ(host.transcript(), modules_loaded);
}

TEST_F(Hotplug, ModulesAreUnloadedInOrder)
{
    EXPECT_EQ(host.call(uninstall_fs_modules), 0);
    EXPECT_EQ(host.transcript(), modules_unloaded);
}

TEST_F(Hotplug, ModuleThatFailsDoesNotStopTheOthers)
{
    host.on_command_prefix("insmod ", {-1});
    host.on_command_prefix("rmmod ", {1});
    EXPECT_EQ(host.call(install_fs_modules), 0);
    EXPECT_EQ(host.call(uninstall_fs_modules), 0);
    EXPECT_EQ(host.count_lines("run insmod "), 9);
    EXPECT_EQ(host.count_lines("run rmmod "), 9);
}

TEST_F(Hotplug, AllUnmounted)
{
    EXPECT_EQ(host.call(check_all_unmounted), 1); // without a table
    sandbox.set_mounts("/dev/root / squashfs ro 0 0\n/dev/sda1 /media/x vfat rw 0 0\n");
    EXPECT_EQ(host.call(check_all_unmounted), 1);
    for (const char *line : {"/dev/sda1 /tmp/mnt/A vfat rw 0 0\n", "/dev/mapper/data /mnt/A ext4 rw 0 0\n"}) {
        sandbox.set_mounts(line);
        EXPECT_EQ(host.call(check_all_unmounted), 0) << line;
    }
    EXPECT_EQ(host.statfs_calls, 0);
    EXPECT_EQ(host.transcript(), "");
}

// ---- the LED

struct Led : Hotplug {
    // The LED at every hour of a day, at the hour's first and last second: "1" on, "0" off, "?" when they differ.
    std::string day(int mode, int start, int end)
    {
        constexpr std::time_t midnight = 1'700'006'400; // of a day in UTC
        host.device.silent_leds = LedSilentControl{.mode = mode, .start_hour = start, .end_hour = end};
        std::string hours;
        for (int hour = 0; hour < 24; ++hour) {
            const std::string first = led_at(midnight + hour * 3600);
            const std::string last = led_at(midnight + hour * 3600 + 3599);
            hours += first == last ? first : "?";
        }
        return hours;
    }

    std::string led_at(std::time_t now)
    {
        host.now = now;
        host.forget();
        EXPECT_EQ(host.call(turnon_usbled_by_silent_control, "sda"), 0);
        if (host.transcript() == "led -1 1\n")
            return "1";
        return host.transcript() == "led -1 0\n" ? "0" : host.transcript();
    }
};

TEST_F(Led, OnAndOff)
{
    EXPECT_EQ(day(0, 22, 7), "111111111111111111111111");
    EXPECT_EQ(day(0, 0, 24), "111111111111111111111111");
    EXPECT_EQ(day(1, 22, 7), "000000000000000000000000");
    EXPECT_EQ(day(1, 7, 7), "000000000000000000000000");
}

TEST_F(Led, DarkOverNight)
{
    EXPECT_EQ(day(2, 22, 7), "000000011111111111111100");
    EXPECT_EQ(day(2, 23, 0), "111111111111111111111110");
    EXPECT_EQ(day(2, 23, 1), "011111111111111111111110");
    EXPECT_EQ(day(2, 12, 11), "000000000001000000000000");
}

TEST_F(Led, DarkByDay)
{
    EXPECT_EQ(day(2, 8, 17), "111111110000000001111111");
    EXPECT_EQ(day(2, 0, 1), "011111111111111111111111");
    EXPECT_EQ(day(2, 0, 23), "000000000000000000000001");
    EXPECT_EQ(day(2, 22, 23), "111111111111111111111101");
    EXPECT_EQ(day(2, 0, 24), "000000000000000000000000");
}

TEST_F(Led, EqualHoursAreAlwaysDark)
{
    for (const int hour : {0, 1, 12, 23})
        EXPECT_EQ(day(2, hour, hour), "000000000000000000000000") << hour;
}

TEST_F(Led, AnyOtherModeIsScheduled)
{
    for (const int mode : {3, -1, 100})
        EXPECT_EQ(day(mode, 22, 7), "000000011111111111111100") << mode;
}

TEST_F(Led, HoursAreThoseOfUtc)
{
    setenv("TZ", "XYZ-9", 1);
    tzset();
    const std::string hours = day(2, 22, 7);
    unsetenv("TZ");
    tzset();
    EXPECT_EQ(hours, "000000011111111111111100");
}

TEST_F(Led, LedIsOnWhenTheHourIsNotKnown)
{
    // The year of this moment does not fit. Where it does, the hour is 3 or 15.
    host.device.silent_leds = LedSilentControl{.mode = 2, .start_hour = 20, .end_hour = 23};
    EXPECT_EQ(led_at(std::numeric_limits<std::time_t>::max()), "1");
}

TEST_F(Led, LedIsThatOfTheDevicesPort)
{
    plug(usb::stick_on_bus_1);
    EXPECT_EQ(host.call(turnon_usbled_by_silent_control, "sda"), 0);
    EXPECT_EQ(host.call(turnon_usbled_by_silent_control, "sdb"), 0);
    host.device.silent_leds->mode = 1;
    EXPECT_EQ(host.call(turnon_usbled_by_silent_control, "sda"), 0);
    EXPECT_EQ(host.transcript(), look_for_sda + "led 1 1\n" + look_for_sda + "led -1 1\n" + look_for_sda + "led 1 0\n");
}

TEST_F(Led, LedIsOnWhereNothingIsSet)
{
    host.device.silent_leds.reset();
    EXPECT_EQ(host.call(turnon_usbled_by_silent_control, "sda"), 0);
    EXPECT_EQ(host.transcript(), "led -1 1\n");
}

// ---- the watchdog of FUSE volumes

struct Watchdog : LibraryTest {
    Watchdog()
    {
        std::memset(&record, 0x5a, sizeof record);
        nas_test::plug(sandbox, host, usb::stick_on_bus_1);
    }

    std::string watch()
    {
        host.forget();
        EXPECT_EQ(host.call(fuse_callback, &record), 0);
        EXPECT_EQ(host.statfs_calls, 0);
        EXPECT_EQ(host.open_process_lists, 0);
        // What is the host's own stays.
        EXPECT_EQ(std::string(record.host_data, sizeof record.host_data), std::string(60, '\x5a'));
        EXPECT_EQ(record.run_count, 0x5a5a5a5a);
        return host.transcript();
    }

    PeriodicCallbackRecord record;
};

TEST_F(Watchdog, StopsWithoutFuse)
{
    for (const char *mounts :
         {"", "/dev/sda1 /tmp/mnt/A vfat rw 0 0\n", "/dev/sda1 /tmp/mnt/A fuse rw 0 0\n",
          "/dev/sda1 /tmp/mnt/A fuseblk2 rw 0 0\n", "/dev/sda1 /tmp/mnt/A\n", "/dev/sda1 /media/A fuseblk rw 0 0\n"}) {
        sandbox.set_mounts(mounts);
        record.active = 1;
        record.interval = 10;
        EXPECT_EQ(watch(), look_for_sda + "stdout: fuse_callback -----> No Fuse fs. Stop callback\n") << mounts;
        EXPECT_EQ(record.active, 0) << mounts;
        EXPECT_EQ(record.interval, 0) << mounts;
    }
}

TEST_F(Watchdog, LeavesAVolumeThatIsServed)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    host.add_process({.name = "ntfs-3g", .cmdline = "ntfs-3g /dev/sda1 /tmp/mnt/A"});
    EXPECT_EQ(watch(), look_for_sda + "list ntfs-3g -> 1\n");
    EXPECT_EQ(record.active, 1);
    EXPECT_EQ(record.interval, 10);
    host.processes.clear();
    record.active = 0;
    record.interval = 0;
    host.add_process({.name = "mount.exfat-fuse", .cmdline = "mount.exfat-fuse /dev/sda1 /tmp/mnt/A"});
    EXPECT_EQ(watch(), look_for_sda + "list ntfs-3g -> 0\n"
                                      "list mount.exfat-fuse -> 1\n");
    EXPECT_EQ(record.active, 1);
    EXPECT_EQ(record.interval, 10);
}

TEST_F(Watchdog, MountsAVolumeAnewWhoseDriverDied)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    host.add_process({.name = "ntfs-3g", .cmdline = "ntfs-3g /dev/sdb1 /tmp/mnt/B"});
    EXPECT_EQ(watch(), look_for_sda + "list ntfs-3g -> 1\n"
                                      "list mount.exfat-fuse -> 0\n"
                                      "stdout: No process for fuseblk -> remount again\n"
                                      "run umount /mnt/A -> 0\n"
                                      "run mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sda1 /mnt/A -> 0\n");
    EXPECT_EQ(record.active, 1);
    EXPECT_EQ(record.interval, 10);
}

TEST_F(Watchdog, DriverIsKnownByTheDevice)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    host.add_process({.name = "ntfs-3g", .cmdline = "ntfs-3g /dev/sda1 /tmp/mnt/B"});
    EXPECT_EQ(watch(), look_for_sda + "list ntfs-3g -> 1\n");
    host.processes.clear();
    host.add_process({.name = "ntfs-3g", .cmdline = "ntfs-3g /dev/sda2 /tmp/mnt/A"});
    watch();
    EXPECT_EQ(host.count_lines("run umount /mnt/A"), 1);
}

TEST_F(Watchdog, TellsThatMountingFailed)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    host.on_command("umount /mnt/A", {1});
    for (const int status : {1, 255, -1}) {
        host.commands.insert(
            host.commands.begin(),
            {.text = "mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sda1 /mnt/A", .exit_statuses = {status}});
        const std::string shown = status < 0 ? "failed" : std::to_string(status);
        EXPECT_EQ(watch(), look_for_sda +
                               "list ntfs-3g -> 0\n"
                               "list mount.exfat-fuse -> 0\n"
                               "stdout: No process for fuseblk -> remount again\n"
                               "run umount /mnt/A -> 1\n"
                               "run mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sda1 /mnt/A -> " +
                               shown +
                               "\n"
                               "request \n");
        EXPECT_EQ(record.active, 1);
        EXPECT_EQ(record.interval, 10);
    }
}

TEST_F(Watchdog, TheFolderIsLookedForBelowMnt)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/deep/My\\040Disk fuseblk rw 0 0\n");
    EXPECT_EQ(watch(), look_for_sda + "list ntfs-3g -> 0\n"
                                      "list mount.exfat-fuse -> 0\n"
                                      "stdout: No process for fuseblk -> remount again\n"
                                      "run umount /mnt/My Disk -> 0\n"
                                      "run mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sda1 /mnt/My Disk -> 0\n");
}

TEST_F(Watchdog, EachVolumeIsLookedAt)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n"
                       "/dev/sda2 /tmp/mnt/B vfat rw 0 0\n"
                       "/dev/sda3 /tmp/mnt/C fuseblk rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/D fuseblk rw 0 0\n"); // of a disk that is not listed
    host.add_process({.name = "mount.exfat-fuse", .cmdline = "mount.exfat-fuse /dev/sda3 /tmp/mnt/C"});
    EXPECT_EQ(watch(), look_for_sda + "list ntfs-3g -> 0\n"
                                      "list mount.exfat-fuse -> 1\n"
                                      "stdout: No process for fuseblk -> remount again\n"
                                      "run umount /mnt/A -> 0\n"
                                      "run mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sda1 /mnt/A -> 0\n"
                                      "list ntfs-3g -> 0\n"
                                      "list mount.exfat-fuse -> 1\n");
    EXPECT_EQ(record.active, 1);
    EXPECT_EQ(record.interval, 10);
}

TEST_F(Watchdog, EachDiskIsLookedAt)
{
    nas_test::plug(sandbox, host, usb::stick_on_bus_2);
    nas_test::plug(sandbox, host, usb::phone);
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B fuseblk rw 0 0\n"
                       "/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    EXPECT_EQ(watch(), look_for_sda + "popen /usr/bin/find /sys/bus/usb/devices//2-1:1.0/.. | grep sda\n"
                                      "popen /usr/bin/find /sys/bus/usb/devices//2-1:1.0/.. | grep sdb\n"
                                      "list ntfs-3g -> 0\n"
                                      "list mount.exfat-fuse -> 0\n"
                                      "stdout: No process for fuseblk -> remount again\n"
                                      "run umount /mnt/A -> 0\n"
                                      "run mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sda1 /mnt/A -> 0\n"
                                      "list ntfs-3g -> 0\n"
                                      "list mount.exfat-fuse -> 0\n"
                                      "stdout: No process for fuseblk -> remount again\n"
                                      "run umount /mnt/B -> 0\n"
                                      "run mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sdb1 /mnt/B -> 0\n");
}

TEST_F(Watchdog, SecondDiskAloneKeepsItGoing)
{
    nas_test::plug(sandbox, host, usb::stick_on_bus_2);
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/B fuseblk rw 0 0\n");
    host.add_process({.name = "ntfs-3g", .cmdline = "ntfs-3g /dev/sdb1 /tmp/mnt/B"});
    watch();
    EXPECT_EQ(host.lines().back(), "list ntfs-3g -> 1");
    EXPECT_EQ(record.active, 1);
    EXPECT_EQ(record.interval, 10);
}

TEST_F(Watchdog, FirstDiskAloneKeepsItGoing)
{
    nas_test::plug(sandbox, host, usb::stick_on_bus_2);
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n"
                       "/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    host.add_process({.name = "ntfs-3g", .cmdline = "ntfs-3g /dev/sda1 /tmp/mnt/A"});
    watch();
    EXPECT_EQ(host.lines().back(), "list ntfs-3g -> 1");
    EXPECT_EQ(record.active, 1);
    EXPECT_EQ(record.interval, 10);
}

struct WatchdogAlone : LibraryTest {
};

TEST_F(WatchdogAlone, LooksAtStorageInterfacesOnly)
{
    PeriodicCallbackRecord record = {};
    nas_test::plug(sandbox, host, usb::printer_with_disk); // the printer goes by the disk's name, too
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    EXPECT_EQ(host.call(fuse_callback, &record), 0);
    EXPECT_EQ(host.count_lines("run mount.exfat-fuse -o dmask=0000,fmask=0000 /dev/sda1 /mnt/A -> 0"), 1);
    EXPECT_EQ(host.count_lines("popen /usr/bin/find /sys/bus/usb/devices//1-3:1.1/.. | grep sda"), 1);
    EXPECT_EQ(host.count_lines("popen "), 1);
}

TEST_F(WatchdogAlone, StopsWithoutADisk)
{
    PeriodicCallbackRecord record = {};
    record.active = 1;
    record.interval = 10;
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A fuseblk rw 0 0\n");
    nas_test::plug(sandbox, host, usb::reader_without_disk); // without a name it has no volumes
    EXPECT_EQ(host.call(fuse_callback, &record), 0);
    EXPECT_EQ(host.transcript(), "stdout: fuse_callback -----> No Fuse fs. Stop callback\n");
    EXPECT_EQ(record.active, 0);
    EXPECT_EQ(record.interval, 0);
}

} // namespace
