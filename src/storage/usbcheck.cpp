#include "nas/usbcheck.h"

#include "nas/usbdev.h"
#include "platform/device.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

static constexpr int usb2_bus = 1, usb3_bus = 2;
static constexpr int usb3_port = 3;

static void print_verdict(int bus, int port_kind)
{
    if (bus == 0)
        printf("FAIL(Not Connected)");
    else if (port_kind == usb3_port && bus == usb2_bus)
        printf("FAIL(USB2.0)");
    else
        printf("PASS(USB%s)", bus == usb3_bus ? "3.0" : "2.0");
}

int print_usb_check(void)
{
    HardwareInfo hardware = {};
    get_si("hw", &hardware);
    const int count = std::min(hardware.usb_port_count, static_cast<int>(std::size(hardware.usb_port_kind)));
    for (int port = 1; port <= count; port++) {
        printf("USB%d:", port);
        print_verdict(get_usbdev_conneted_mode(port), hardware.usb_port_kind[port - 1]);
        if (port != count)
            printf("<br>");
    }
    return 0;
}
