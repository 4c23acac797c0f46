// What is plugged into the USB ports, as the kernel shows it below /sys, from a short text:
//
//   device 1-1                   a folder below /sys/devices and the link /sys/bus/usb/devices/1-1
//   speed=480                    an attribute of the device, as it stands, blanks and all
//   interface 1-1:1.0 08         a folder in the device's and its link; the class (without: no such attribute)
//   block sda sda1               a disk of the interface with its partitions, and the link /sys/block/sda
//   printer usbmisc lp0          a printer node of the interface
//   # text
//
// Each device, interface and node has its files uevent and subsystem, and each node its link below /sys/class.
#ifndef NAS_TESTS_SYSFS_H
#define NAS_TESTS_SYSFS_H

#include "support/recording_host.h"
#include "support/sandbox.h"

#include <string_view>

namespace nas_test
{

// Makes the folders, files and links. On the host, "/usr/bin/find FOLDER | grep NAME" answers for these devices as it
// would for the folders of the tree, where FOLDER is an interface's link and "/.."; the link by its path, with one
// slash or two before its name, or by its name alone.
// Devices that are plugged in later do not change what is there. A line that is not understood ends the program.
void plug(Sandbox &sandbox, RecordingHost &host, std::string_view devices);

namespace usb
{

inline constexpr std::string_view root_hubs = "device usb1\n"
                                              "idVendor=1d6b\n"
                                              "idProduct=0002\n"
                                              "interface 1-0:1.0 09\n"
                                              "device usb2\n"
                                              "idVendor=1d6b\n"
                                              "idProduct=0003\n"
                                              "interface 2-0:1.0 09\n";

// The kernel writes the version with a leading blank.
inline constexpr std::string_view stick_on_bus_1 = "device 1-1\n"
                                                   "manufacturer=Acme\n"
                                                   "product=Pocket Drive\n"
                                                   "speed=480\n"
                                                   "serial=AC000001\n"
                                                   "idProduct=3c4d\n"
                                                   "idVendor=1a2b\n"
                                                   "version= 2.00\n"
                                                   "devnum=7\n"
                                                   "busnum=1\n"
                                                   "interface 1-1:1.0 08\n"
                                                   "block sda sda1 sda2\n";

inline constexpr std::string_view stick_on_bus_2 = "device 2-1\n"
                                                   "manufacturer=Umbrella\n"
                                                   "product=Fast Drive\n"
                                                   "speed=5000\n"
                                                   "serial=UM000002\n"
                                                   "idProduct=0a0b\n"
                                                   "idVendor=0c0d\n"
                                                   "version= 3.00\n"
                                                   "devnum=3\n"
                                                   "busnum=2\n"
                                                   "interface 2-1:1.0 08\n"
                                                   "block sdb sdb1\n";

inline constexpr std::string_view stick_on_bus_5 = "device 5-1\n"
                                                   "busnum=5\n"
                                                   "devnum=2\n"
                                                   "interface 5-1:1.0 08\n"
                                                   "block sdc\n";

// A stick behind a hub.
inline constexpr std::string_view stick_on_hub = "device 1-1\n"
                                                 "product=Hub\n"
                                                 "interface 1-1:1.0 09\n"
                                                 "device 1-1.4\n"
                                                 "product=Stick\n"
                                                 "interface 1-1.4:1.0 08\n"
                                                 "block sda sda1\n";

inline constexpr std::string_view stick_without_attributes = "device 1-1\n"
                                                             "interface 1-1:1.0 08\n"
                                                             "block sda\n";

inline constexpr std::string_view reader_without_disk = "device 1-1\n"
                                                        "product=Card Reader\n"
                                                        "interface 1-1:1.0 08\n";

inline constexpr std::string_view optical_drive = "device 1-2\n"
                                                  "product=Disc\n"
                                                  "interface 1-2:1.0 08\n"
                                                  "block sr0\n";

inline constexpr std::string_view printer = "device 1-3\n"
                                            "manufacturer=Inkwell\n"
                                            "product=Writer\n"
                                            "interface 1-3:1.0 07\n"
                                            "printer usbmisc lp0\n";

inline constexpr std::string_view printer_without_node = "device 1-3\n"
                                                         "product=Writer\n"
                                                         "interface 1-3:1.0 07\n";

// Prints, and has a slot for a card.
inline constexpr std::string_view printer_with_disk = "device 1-3\n"
                                                      "product=Writer\n"
                                                      "interface 1-3:1.0 07\n"
                                                      "printer usbmisc lp0\n"
                                                      "interface 1-3:1.1 08\n"
                                                      "block sda sda1\n";

inline constexpr std::string_view phone = "device 1-4\n"
                                          "product=Phone\n"
                                          "busnum=1\n"
                                          "interface 1-4:1.0 02\n"
                                          "interface 1-4:1.1 0a\n";

inline constexpr std::string_view wireless_phone = "device 1-9\n"
                                                   "product=Phone\n"
                                                   "interface 1-9:1.0 e0\n";

inline constexpr std::string_view vendor_specific = "device 1-5\n"
                                                    "product=Dongle\n"
                                                    "interface 1-5:1.0 ff\n";

// The two that are refused: a part of the router, and a controller's own hub.
inline constexpr std::string_view built_in_device = "device 1-6\n"
                                                    "idProduct=bd17\n"
                                                    "idVendor=0a5c\n"
                                                    "interface 1-6:1.0 08\n"
                                                    "block sda\n";

inline constexpr std::string_view built_in_hub = "device 1-7\n"
                                                 "manufacturer=Linux 2.6.22 ehci_hcd\n"
                                                 "idProduct=0000\n"
                                                 "idVendor=0000\n"
                                                 "interface 1-7:1.0 08\n"
                                                 "block sda\n";

} // namespace usb

} // namespace nas_test

#endif
