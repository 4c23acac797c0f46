/* The host's two key-value stores.
 *
 * `iconfig` is persistent and survives a reboot; `istatus` is volatile and starts empty.
 * Keys are texts such as "media_conf"; a stored value is at most 1023 characters, so every
 * `value` handed to a reader must have room for NAS_STORE_VALUE_SIZE bytes.
 * One operation is atomic by itself; nothing is locked across two of them.
 */
#ifndef NAS_PLATFORM_STORE_H
#define NAS_PLATFORM_STORE_H

#ifdef __cplusplus
extern "C" {
#endif

enum { NAS_STORE_VALUE_SIZE = 1024 };

/* Reads a text. Returns 0; -1 when the key is absent (`value` stays as it was). */
int iconfig_get_value_direct(const char *key, char *value);
int istatus_get_value_direct(const char *key, char *value);

/* Writes a text. Returns 0, -1 on failure. */
int iconfig_set_value_direct(const char *key, const char *value);
int istatus_set_value_direct(const char *key, const char *value);

/* Reads a decimal integer. Returns it; -1 when the key is absent. */
int iconfig_get_intvalue_direct(const char *key);
int istatus_get_intvalue_direct(const char *key);

/* Writes an integer as decimal text. Returns 0, -1 on failure. */
int iconfig_set_intvalue_direct(const char *key, int value);
int istatus_set_intvalue_direct(const char *key, int value);

/* Removes a key. Returns 0, -1 when it was absent. */
int iconfig_remove_config_tag(const char *key);
int istatus_remove_status_tag(const char *key);

#ifdef __cplusplus
}
#endif
#endif
