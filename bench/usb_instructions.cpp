// How many instructions does it take to list two USB disks? Run under callgrind:
//   usb_instructions library|libudev
// Prints the number of disks as JSON; fails when the two do not list the same.
//
// The library looks for a disk's name with commands. They are real here, to be counted, too: in the library's turn
// nothing else runs a command.
#include "measured.h"
#include "usb_peer.h"

#include "support/recording_host.h"
#include "support/sandbox.h"
#include "support/sysfs.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <vector>

namespace
{

using List = int (*)(UsbDevList *list);

constexpr int DISKS = 2;

int list_with_library(UsbDevList *list)
{
    return get_usbdev_list(list, "08");
}

bool same_info(const UsbDevInfo &one, const UsbDevInfo &other)
{
    const auto texts = [](const UsbDevInfo &info) {
        // What stands behind the end of a text is nobody's.
        return std::vector<std::string>{info.id_product, info.id_vendor, info.manufacturer,    info.product, info.speed,
                                        info.version,    info.serial,    info.interface_class, info.devname};
    };
    const auto numbers = [](const UsbDevInfo &info) {
        return std::vector<int>{info.index, info.connected_mode, info.busnum, info.devnum};
    };
    return texts(one) == texts(other) && numbers(one) == numbers(other);
}

bool same_list(const UsbDevList &one, const UsbDevList &other)
{
    const UsbDevInfo *info = one.first, *twin = other.first;
    for (; info != nullptr && twin != nullptr && same_info(*info, *twin); info = info->next)
        twin = twin->next;
    return info == nullptr && twin == nullptr;
}

List measured, reference;

int list_disks()
{
    // The commands are counted, too, and valgrind needs the kernel's /proc to begin with them.
    nas_test::Sandbox sandbox(nas_test::KernelProc::kept);
    nas_test::RecordingHost host;
    // No device manager runs on a router: it has left no notes for libudev.
    if (mount("bench", "/run", "tmpfs", 0, "mode=0755") != 0)
        return EXIT_FAILURE;
    for (const std::string_view devices :
         {nas_test::usb::root_hubs, nas_test::usb::stick_on_bus_1, nas_test::usb::stick_on_bus_2})
        nas_test::plug(sandbox, host, devices);

    UsbDevList list, expected;
    nas_bench::measure([&] { measured(&list); });
    reference(&expected);
    std::printf("{\"disks\": %d}\n", list.count);
    const bool good = list.count == DISKS && same_list(list, expected);
    free_usbdev_list(&list);
    free_usbdev_list(&expected);
    if (!good)
        std::fprintf(stderr, "usb_instructions: the library and libudev do not list the same two disks\n");
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string_view name = argc == 2 ? argv[1] : "";
    if (name != "library" && name != "libudev") {
        std::fprintf(stderr, "usage: usb_instructions library|libudev\n");
        return 2;
    }
    const bool library = name == "library";
    measured = library ? list_with_library : nas_bench::list_usb_disks_with_libudev;
    reference = library ? nas_bench::list_usb_disks_with_libudev : list_with_library;
    // libudev takes nothing but the kernel's own file system for /sys, unless it is told to.
    setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
    return nas_test::in_sandbox(list_disks);
}
