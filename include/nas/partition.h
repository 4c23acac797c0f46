/* Partitions and block devices.
 *
 * Device names are the kernel's: "sda", "sda1", "hdc", "sr0". The partition table is /proc/partitions, read
 * afresh at each call; a line counts up to its 255th character. "Contains" below means anywhere in the line,
 * so "sda" is contained in the line of "sdaa", too.
 */
#ifndef NAS_PARTITION_H
#define NAS_PARTITION_H

#include "nas/decls.h"

#include <stdint.h>

NAS_BEGIN_DECLS

enum { NAS_DEVICE_NAME_SIZE = 128 };

/* The number in the name: "sda1" 1, "sdb" 0, "sr0" 0. Returns -1 for any family but "sd", "hd", "sr", and
 * for an "sd" or "hd" without a drive letter. */
int get_block_devidx(const char *name);

/* Makes the nodes of a disk and of its partition below /dev: runs "/bin/mknod -m 660 /dev/<disk> b <major>
 * <minor>", then the same for `name`; "sd" is major 8 (16 minors a drive), "hd" major 22. "sr" makes none.
 * Returns 0, whatever the commands did; -1 for an unknown family, without running anything. */
int make_dev_node(const char *name);

/* Splits a partition's name at its first digit from 1 to 9: "sda12" gives "sda" and 12. `disk` holds
 * NAS_DEVICE_NAME_SIZE bytes; `name` is cut at 127 characters. `num` may be null.
 * Returns 1 when there was a number; 0 otherwise, with the whole name in `disk` and `num` untouched. */
int parse_devname(const char *name, char *disk, int *num);

/* Returns the number of lines that contain `name`, less one: the number of a disk's partitions. When no
 * line does this is all ones (4294967295); 0 when the table cannot be read. */
unsigned get_partition_num(const char *name);

/* Returns 1 when a line contains `name`, else 0. */
int get_blockdev_exist(const char *name);

/* Returns the highest number that follows the first `disk` of a line, as strtol reads it; 0 when there is none. */
int get_partition_lastidx(const char *disk);

/* Returns the size in blocks of 1 KiB of the device named exactly `name`; 0 when it is not there. */
uint64_t get_partition_numofblock(const char *name);

/* Returns 1 when exactly one line contains `disk`: a medium without partitions. Else 0. */
int is_fdd_type(const char *disk);

/* Puts the first disk to standby: runs "/sbin/hdparm -y /dev/sda". Returns 0. */
int sleep_all_hdd(void);

/* Puts a disk to standby: runs "/sbin/hdparm -y /dev/<disk>"; the name is cut at 31 characters and
 * escaped. Returns the command's status. */
int sleep_hdd(const char *disk);

/* Returns the free bytes of the USB volume mounted exactly at `mount_point`, blocks reserved for the
 * superuser included; 0 when none is. */
uint64_t get_fs_available_size(const char *mount_point);

NAS_END_DECLS

#endif
