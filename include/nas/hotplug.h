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

/* Performs an event. The text is cut at 1023 characters, a command to mount or unmount at 127.
 * "add,<disk>": runs "insmod /lib/modules/tntfs.ko" unless it is loaded, loads the file systems' modules when nothing
 * is mounted, clears the disk's removal flag, runs "/sbin/usbmount <disk>", start_serviced, sets the LED, and logs
 * "@{127}". Whoever performs it must not be named serviced.
 * "remove,<volume>,<x>,<y>": stop_nas_service, runs "/sbin/usbumount <volume>"; when the disk's last volume is gone
 * switches the LED off and logs "@{129}"; when the last of all is gone unloads the modules and sends "all" to
 * `serviced`. Returns 1 when the disk's last volume went away; else 0, also for an event that is malformed and for any
 * other. */
int hotplug_callback(const char *event);

/* Sends "cupsd" to `serviced`. Returns 0. */
int hotplug_printer(const char *path, const char *action);

/* Returns 1 when `path` is "/class/usb_device/<name>" and that is a phone's network interface; else 0. */
int check_usb_tethering_class(const char *path);

/* Mounts FUSE volumes anew whose driver has died: runs "umount /mnt/<folder>" and "mount.exfat-fuse -o
 * dmask=0000,fmask=0000 /dev/<device> /mnt/<folder>", and sends an empty request to `serviced` when that fails. Sets
 * `active` 1 and `interval` 10 while there are FUSE volumes, else both 0. Says on standard output what it does.
 * Returns 0. */
int fuse_callback(struct PeriodicCallbackRecord *record);

/* Returns 1 when no USB volume is mounted, else 0. */
int check_all_unmounted(void);

/* Load ("insmod": ext2, jbd, ext3, fat, fuse, msdos, vfat, jbd2, ext4dev) and unload ("rmmod": ext2, ext3, jbd, vfat,
 * msdos, fat, fuse, ext4dev, jbd2) the modules of the file systems. Return 0. */
int install_fs_modules(void);
int uninstall_fs_modules(void);

/* Switches the LED of the device's port on, or off while the LEDs are to be dark (hours are UTC; a period that starts
 * and ends with the same hour never ends). Returns 0. */
int turnon_usbled_by_silent_control(const char *devname);

NAS_END_DECLS

#endif
