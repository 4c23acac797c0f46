/* What is plugged into the USB port.
 *
 * Everything is read afresh from /sys/bus/usb/devices. Listed are the interfaces that the router can use: mass storage
 * (class "08"), printers ("07") and the two communication classes of a phone or modem ("02", "0a"). Finding the name of
 * a storage or printer device runs "/usr/bin/find <device> | grep <name>" once for each existing node until one fits,
 * so these queries are for human or event pace. Two flags of a device live in the status store. */
#ifndef NAS_USBDEV_H
#define NAS_USBDEV_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

/* One interface; a device with several has as many records. Texts that do not fit are cut; those that the device
 * does not tell are empty. */
struct UsbDevInfo {
    struct UsbDevInfo *next;
    int index;          /* of the port, always 1: ports are not told apart */
    char id_product[8]; /* four hexadecimal digits */
    char id_vendor[8];
    char manufacturer[128];
    char product[128];
    char speed[16]; /* Mbit/s */
    char version[8];
    char serial[64];
    char interface_class[4]; /* "08", "07", "02" or "0a" */
    char devname[16];        /* "sda", "sr0", "lp0" or "usb0"; empty for storage whose disk was not found */
    int connected_mode;      /* 1: on a USB 2.0 bus, 2: on a USB 3.0 bus, 0: not known */
    int busnum;
    int devnum;
};

struct UsbDevList {
    int count;
    struct UsbDevInfo *first, *last;
};

/* Reads the interface whose sysfs link is `path` into `info`, which the caller has cleared. `filter` is a class, or
 * null for all. Returns 1; 0 when the interface is not one of those listed (fields read so far stay filled in). */
int get_usbdev_info(const char *path, const char *filter, struct UsbDevInfo *info);

/* Fills `list` (whatever it held before) in the order of the entries' names; `filter` as above. The caller releases it
 * with free_usbdev_list. Returns the count. An interface that memory does not suffice for is left out. */
int get_usbdev_list(struct UsbDevList *list, const char *filter);

/* Releases the records; the head keeps its values and must not be used again before it is filled. Returns 0. */
int free_usbdev_list(struct UsbDevList *list);

/* Returns how many entries of the folder can be read as a link from the working directory and are accepted. It passes
 * bare names on, so it counts right only from within /sys/bus/usb/devices. */
int get_number_of_usbdevice(void);

/* Returns 1 when a storage device is there, with that name when it is not null; else 0. */
int check_usb_device_exist(const char *devname);

/* Runs "/sbin/usbumount hdddev:<disk> 1 10 auto" for every storage device. Returns 0. */
int remove_all_usb_device(void);

/* The status integer "usbremove.<name>" (key cut at 127 characters): 1 while a device has been taken out safely.
 * The first returns it, 0 when absent; the second writes it and returns the store's result. */
int is_usb_removed(const char *devname);
int set_device_removed(const char *devname, int value);

/* Returns the port index of the device; -1 when it is not listed. */
int get_usbidx_by_devname(const char *devname);

/* Writes the first mount point of the port's storage device into `dir` (NAS_MOUNT_POINT_SIZE bytes, longer text is
 * cut). Returns 1; 0 when there is none. Asks no volume for its size. */
int get_first_mount_dir_by_usbidx(int index, char *dir);

/* Is the port's device in use? Storage: a volume is mounted; printer: printing is switched on; communication: the
 * interface "lte0" exists. Returns non-zero when it is, else 0. */
int check_usbdev_is_active(int index);

/* Returns 1 when a device is listed for the port, else 0. */
int check_usbdev_exist_by_idx(int index);

/* Returns connected_mode of the port's first record; 0 when there is none. */
int get_usbdev_conneted_mode(int index);

/* Switches the LED of port 1 off unless its device is in use. Returns 0. */
int turnoff_usbled(void);

/* The status integer "usbdevidx_<disk>" (key cut at 63 characters): the port of a disk that has left. It is written for
 * the whole name and read for its first three characters, so that a partition finds its disk's. The first returns 0,
 * the second the value, -1 when absent. */
int set_usbdev_idx_cache(const char *devname, int index);
int get_usbdev_idx_cache(const char *devname);

NAS_END_DECLS

#endif
