/* The signed request by which the cloud services announce the router to their registration servers. */
#ifndef NAS_REGISTRATION_H
#define NAS_REGISTRATION_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct DdnsConfig; /* the host's record of a DDNS account */

enum { NAS_AUTH_SIZE = 341, NAS_NONCE_LENGTH = 16, NAS_REQUEST_VALUE_SIZE = 2049 };

/* Writes the Base64 form of "<label>:<credential>", the label being the host name up to its first dot, into `auth`
 * (NAS_AUTH_SIZE bytes). Returns 0; -1, with `auth` untouched, when the host name has no dot. */
int make_auth(const struct DdnsConfig *record, char *auth);

/* Writes NAS_NONCE_LENGTH letters and no terminator into `nonce`; the caller has cleared one byte more. Seeds the C
 * library's generator from the clock, so that calls within one second give the same letters. */
void get_kvcloud_rand_str(char *nonce);

/* Enciphers the request with the host's cipher and writes it as lower-case hexadecimal digits, terminated, into `value`
 * (NAS_REQUEST_VALUE_SIZE bytes). Returns the number of enciphered bytes, at most 1024; when the cipher gives none,
 * what it returned (0 or less), with `value` untouched. */
int encode_kvcloud_crypt(const char *request, char *value);

NAS_END_DECLS

#endif
