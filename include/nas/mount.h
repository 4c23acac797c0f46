/* Mounted USB volumes.
 *
 * Everything is read afresh from /proc/mounts: lines count up to their 511th character, octal escapes
 * ("\040" for a blank) are decoded in device and mount point. USB volumes are what is mounted at a path
 * that begins with "/mnt" or "/tmp/mnt", other than /dev/root and /dev/ram2.
 */
#ifndef NAS_MOUNT_H
#define NAS_MOUNT_H

#include "nas/decls.h"

#include <stdint.h>

NAS_BEGIN_DECLS

/* One mounted volume. Texts that do not fit are cut. */
struct MountEntry {
    struct MountEntry *next;
    char disk[16];        /* "sda" */
    char device[16];      /* "sda1" */
    char mount_point[64]; /* "/tmp/mnt/Disk1" */
    char folder[64];      /* "Disk1" */
    char fstype[32];      /* "vfat", "fuseblk"; empty when the line has none */
    char bus[16];         /* "usb" */
    uint64_t total;       /* bytes; all sizes are 0 when the volume cannot be asked or has no blocks */
    uint64_t used;        /* bytes */
    uint64_t free;        /* bytes, those reserved for the superuser included */
    int used_percent;     /* 0 to 100, of what users can have, to the nearest whole percent */
};

struct MountList {
    unsigned count;
    struct MountEntry *first, *last;
};

enum { NAS_FSTYPE_SIZE = 32, NAS_MOUNT_POINT_SIZE = 64, NAS_DEVICE_PATH_SIZE = 64, NAS_FUSE_LABEL_SIZE = 8 };

/* Fills `list` (whatever it held before) with the mounted USB volumes in the table's order, those whose
 * entry has that `disk` alone when it is not null. The caller releases it with free_mount_list.
 * Returns the count; 0 when the table cannot be read. When memory ends the list ends there. */
int get_mount_list(struct MountList *list, const char *disk);

/* Releases the entries; the head keeps its values and must not be used again before it is filled. Returns 0. */
int free_mount_list(struct MountList *list);

/* Returns the number of mounted USB volumes, of `disk` alone when it is not null. Asks no volume for its size. */
int get_num_of_mountdev(const char *disk);

/* Where is a device mounted? `dev` is the device's path without "/dev/mapper/" or its first five
 * characters ("/dev/"): "sda1". The last line that fits wins. `fstype` (NAS_FSTYPE_SIZE bytes) and
 * `mount_point` (NAS_MOUNT_POINT_SIZE bytes) may be null; longer text is cut.
 * Returns 1 when it is mounted, else 0. */
int get_mtab_info(const char *dev, char *fstype, char *mount_point);

/* What is mounted at a path? Writes the first such device's path into `dev` (NAS_DEVICE_PATH_SIZE bytes,
 * longer text is cut; may be null); the empty text when nothing is.
 * Returns 1 when something is mounted there, else 0. */
int get_mount_devpath(const char *mount_point, char *dev);

/* Returns 1 when a running process named `process` has `text` anywhere in its command line, else 0. */
int check_process_mount(const char *process, const char *text);

/* Which FUSE driver serves the device or mount point `text`? Writes "NTFS" or "ExFAT" into `label`
 * (NAS_FUSE_LABEL_SIZE bytes) and returns 1; "UNKNOWN" and 0 when none does. */
int get_fuse_fsname(const char *text, char *label);

NAS_END_DECLS

#endif
