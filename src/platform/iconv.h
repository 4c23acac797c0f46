/* The three entry points of GNU libiconv that the library uses; declared here so that no iconv.h,
 * which differs between C libraries, is needed. */
#ifndef NAS_PLATFORM_ICONV_H
#define NAS_PLATFORM_ICONV_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opens a converter. Returns (void *)-1 when a charset is unknown. */
void *libiconv_open(const char *to, const char *from);

/* Converts; advances both positions and lowers both counts. Returns (size_t)-1 at the first sequence
 * that cannot be converted. All-null arguments reset the shift state. */
size_t libiconv(void *converter, char **in, size_t *in_left, char **out, size_t *out_left);

/* Closes the converter. Returns 0. */
int libiconv_close(void *converter);

#ifdef __cplusplus
}
#endif
#endif
