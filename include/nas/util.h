/* Texts, paths and character sets. */
#ifndef NAS_UTIL_H
#define NAS_UTIL_H

#include "nas/decls.h"

#include <dirent.h>
#include <stddef.h>
#include <stdint.h>

NAS_BEGIN_DECLS

/* Copies `src` (null: the empty text) into `dst`, which must be large enough. Returns `dst`; null, and
 * nothing is copied, when `dst` is null. */
char *safe_strcpy(char *dst, const char *src);

/* Copies at most `length` bytes of `src` as strncpy does: the rest of `dst` is filled with zeros, and a
 * source of `length` or more bytes leaves no terminator. A null `src` makes `dst` the empty text (one byte
 * is written). Returns `dst`; null when `dst` is null. */
char *safe_strncpy(char *dst, const char *src, size_t length);

/* Returns 1 when the path is a directory (links are followed), else 0. */
int isdir(const char *path);

/* Creates every directory above the last "/" of `path` and gives `mode` to each one that it created, then
 * to the full path, which it does not create: "/etc/samba/smb.conf" makes "/etc" and "/etc/samba".
 * A path that ends in "/" makes the whole chain. Directories that exist keep their mode.
 * The process's umask loses the owner's write and execute bits (0300), and stays so unless a directory
 * could not be created.
 * Returns 0; -1 when a directory could not be created; -2 when a mode could not be set (also the result for a
 * file that does not exist yet). It goes on after a failure; the last one counts. */
int storlib_create_dir(const char *path, unsigned mode);

/* For scandir: which entries of a disk's folder count. Returns 0 for symbolic links and for the names
 * ".", "..", "lost+found" and "nfs"; non-zero for all others, plain files among them.
 * On 32-bit systems the caller is compiled with _FILE_OFFSET_BITS=64, as the library is. */
int dir_filter(const struct dirent *entry);

/* For scandir: ascending by the locale's collation of the names. Returns as strcoll does. */
int real_alphasort(const struct dirent **a, const struct dirent **b);

/* "1023 B", "1.0 KB", "1.5 MB", "2.0 GB", "1.0 TB": powers of 1024, one digit behind the point.
 * Returns a static text that the next call overwrites. */
char *get_readable_sizestr(uint64_t bytes);

/* Converts `src` from the character set `from` to `to`. `dstsize` must be more than three times the length
 * of `src`; the result is terminated. At the first sequence that cannot be converted the result ends in
 * "?", where there is room for it; the rest is dropped. A converter whose destination is too small stays open.
 * Returns 0. Returns -1 and leaves `dst` as it was when a charset is unknown ("FAIL 2 <from> <to>" on
 * standard output) or `dstsize` too small ("ERROR:More Buf size is needed " there). */
int iconv_string(const char *src, char *dst, int dstsize, const char *from, const char *to);

/* Names are UTF-8 throughout the system: both copy `length` bytes as strncpy does. `dst` holds at least
 * `length` bytes. Return 0. */
int iconv_to_utf8(const char *src, char *dst, int length);
int iconv_to_local(const char *src, char *dst, int length);

/* Tells the media server that its database is out of date (touch_media_db). Returns 1. */
int update_time_for_nas(void);

NAS_END_DECLS

#endif
