/* USB tethering: a phone or modem at the USB port, the network interface "lte0", carries the WAN while the WAN port has
 * no link. The setting is the integer "usb_tethering".
 */
#ifndef NAS_TETHERING_H
#define NAS_TETHERING_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct PeriodicCallbackRecord; /* the host's, see platform/device.h */

/* Stores the setting, 1 on or 0 off. Returns the store's result. */
int set_usb_tethering_op(int on);

/* Returns the setting: 0 when there is none, and any other number for on. */
int get_usb_tethering_op(void);

/* Returns 1 when the setting is on, "lte0" exists and "wan1" has no link; else 0. */
int get_usb_tethering_status(void);

/* Does the phone's DHCP client, "usbdhclient", run? Returns 1 or 0. */
int tethering_is_running(void);

/* Gives the WAN back to its port: ends the DHCP client, clears the address of "lte0", sets a static WAN's address,
 * default route and DNS servers again, and signals the host to bring the WAN up. Failures are not looked at. Returns
 * 0. */
int restore_tethering(void);

/* Switches the USB LED off unless the port is in use otherwise (turnoff_usbled). Returns 0. */
int turnoff_tethering_led(void);

/* To be called every three seconds. While the setting is on, "wan1" has no link and "lte0" exists, the phone carries
 * the WAN: unless its DHCP client runs already, and as soon as the host's WAN set-up allows it, runs "killall
 * dhclient" and "killall pppd", clears the address of "eth1" and starts "/sbin/usbdhclient -i lte0 -p lte0.pid &"; the
 * automatic-DNS setting is kept as the status "auto_dns". Otherwise restores the WAN when the DHCP client runs. Drives
 * the LED of "usb0". Sets `active` and `interval` to 1 and 3, or to 0 when the setting is off. Returns 0. */
int tethering_callback(struct PeriodicCallbackRecord *record);

NAS_END_DECLS

#endif
