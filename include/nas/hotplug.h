/* Disks, printers and phones that come and go.
 *
 * The host's hotplug handler passes on the kernel's "add" and "remove" events, one at a time and in order. */
#ifndef NAS_HOTPLUG_H
#define NAS_HOTPLUG_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct PeriodicCallbackRecord; /* the host's record of a periodic callback */

/* Handles a kernel event: with `argc` 3 the action argv[1] on the block device argv[2], else what the environment's
 * ACTION and DEVPATH say. A disk that is added is handed to `serviced` ("mount:<disk>"); a volume that is removed is
 * unmounted at once. Printers ("cupsd") and phones (a log line) are reported. Returns 0. */
int hotplug_usb2(int argc, char **argv);

/* Performs "add,<disk>" or "remove,<volume>,<x>,<y>": loads the file systems' modules, mounts and starts the services
 * anew; or stops the services and unmounts. Whoever performs an "add" must not be named serviced. The text is cut at
 * 1023 characters, each command at the device's 127th.
 * Returns 1 when the disk's last volume went away; else 0, also for an event that is malformed and for any other. */
int hotplug_callback(const char *event);

/* Sends "cupsd" to `serviced`. Returns 0. */
int hotplug_printer(const char *path, const char *action);

/* Returns 1 when `path` is "/class/usb_device/<name>" and that is a phone's network interface; else 0. */
int check_usb_tethering_class(const char *path);

/* Mounts FUSE volumes anew whose driver has died. Asks to be called again in 10 seconds while there are any. Says on
 * standard output what it does. Returns 0. */
int fuse_callback(struct PeriodicCallbackRecord *record);

/* Returns 1 when no USB volume is mounted, else 0. */
int check_all_unmounted(void);

/* Load and unload the modules of the file systems with insmod and rmmod. Return 0. */
int install_fs_modules(void);
int uninstall_fs_modules(void);

/* Switches the LED of the device's port on, or off while the LEDs are to be dark (hours are UTC). Returns 0. */
int turnon_usbled_by_silent_control(const char *devname);

NAS_END_DECLS

#endif
