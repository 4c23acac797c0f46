/* The check of the USB ports. */
#ifndef NAS_USBCHECK_H
#define NAS_USBCHECK_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

/* Writes a verdict for each port of the router on standard output, as a piece of an HTML page:
 * "USB1:PASS(USB3.0)<br>USB2:FAIL(Not Connected)". At most 23 ports. Returns 0. */
int print_usb_check(void);

NAS_END_DECLS

#endif
