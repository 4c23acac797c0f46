/* The two key-value stores of platform/store.h. */
#include "platform/store.h"

#include "key_value_file.h"
#include "text.h"

#include <cstdio>

using nashost::KeyValueFile;

namespace
{

int get_text(KeyValueFile &file, const char *key, char *value)
{
    return nashost::read_value(file, key, value, NAS_STORE_VALUE_SIZE) ? 0 : -1;
}

/* A value that no reader could take whole is refused rather than cut: half a record is a wrong record. */
int set_text(KeyValueFile &file, const char *key, const char *value)
{
    if (strnlen(value, NAS_STORE_VALUE_SIZE) == NAS_STORE_VALUE_SIZE)
        return -1;
    return nashost::write_value(file, key, value) ? 0 : -1;
}

int get_number(KeyValueFile &file, const char *key)
{
    char value[NAS_STORE_VALUE_SIZE];
    return nashost::read_value(file, key, value, sizeof value) ? nashost::decimal_value(value) : -1;
}

int set_number(KeyValueFile &file, const char *key, int value)
{
    char text[16];
    snprintf(text, sizeof text, "%d", value);
    return set_text(file, key, text);
}

int remove_key(KeyValueFile &file, const char *key)
{
    return nashost::remove_value(file, key) ? 0 : -1;
}

} // namespace

int iconfig_get_value_direct(const char *key, char *value)
{
    return get_text(nashost::config_file(), key, value);
}

int iconfig_set_value_direct(const char *key, const char *value)
{
    return set_text(nashost::config_file(), key, value);
}

int iconfig_get_intvalue_direct(const char *key)
{
    return get_number(nashost::config_file(), key);
}

int iconfig_set_intvalue_direct(const char *key, int value)
{
    return set_number(nashost::config_file(), key, value);
}

int iconfig_remove_config_tag(const char *key)
{
    return remove_key(nashost::config_file(), key);
}

int istatus_get_value_direct(const char *key, char *value)
{
    return get_text(nashost::status_file(), key, value);
}

int istatus_set_value_direct(const char *key, const char *value)
{
    return set_text(nashost::status_file(), key, value);
}

int istatus_get_intvalue_direct(const char *key)
{
    return get_number(nashost::status_file(), key);
}

int istatus_set_intvalue_direct(const char *key, int value)
{
    return set_number(nashost::status_file(), key, value);
}

int istatus_remove_status_tag(const char *key)
{
    return remove_key(nashost::status_file(), key);
}
