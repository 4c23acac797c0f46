/* What every header of the library puts around its declarations: C linkage, and visible outside the library. */
#ifndef NAS_DECLS_H
#define NAS_DECLS_H

/* clang-format off */
#ifdef __cplusplus
#define NAS_BEGIN_DECLS _Pragma("GCC visibility push(default)") extern "C" {
#define NAS_END_DECLS } _Pragma("GCC visibility pop")
#else
#define NAS_BEGIN_DECLS _Pragma("GCC visibility push(default)")
#define NAS_END_DECLS _Pragma("GCC visibility pop")
#endif
/* clang-format on */

#endif
