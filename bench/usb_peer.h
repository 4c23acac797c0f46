// The USB disks as libudev finds them.
#ifndef NAS_BENCH_USB_PEER_H
#define NAS_BENCH_USB_PEER_H

#include "nas/usbdev.h"

namespace nas_bench
{

// Lists what get_usbdev_list does with the filter "08" where each storage device has one disk; released alike.
int list_usb_disks_with_libudev(UsbDevList *list);

} // namespace nas_bench

#endif
