/* The C library's iconv behind the names of GNU libiconv, for development machines that have only the former.
   The casts are C casts because iconv_t is a pointer in some C libraries and a number in others. */
#include "platform/iconv.h"

#include <iconv.h>

#pragma GCC visibility push(hidden)

void *libiconv_open(const char *to, const char *from)
{
    return (void *)iconv_open(to, from);
}

size_t libiconv(void *converter, char **in, size_t *in_left, char **out, size_t *out_left)
{
    return iconv((iconv_t)converter, in, in_left, out, out_left);
}

int libiconv_close(void *converter)
{
    return iconv_close((iconv_t)converter);
}

#pragma GCC visibility pop
