#include "support/record.h"

#include "support/text.h"

#include <cstring>

namespace nas
{

bool read_record(Record &record, const char *key, size_t size)
{
    record.text[0] = '\0';
    record.next = record.text;
    const bool found = iconfig_get_value_direct(key, record.text) != -1;
    record.text[size - 1] = '\0';
    return found;
}

void split_text(Record &record, const char *text)
{
    copy_text(record.text, text);
    record.next = record.text;
}

const char *next_field(Record &record, const char *delimiters)
{
    char *field = record.next;
    const size_t length = strcspn(field, delimiters);
    record.next += length;
    if (*record.next != '\0')
        *record.next++ = '\0';
    return length > 0 ? field : nullptr;
}

int next_int(Record &record, int missing, const char *delimiters)
{
    const char *field = next_field(record, delimiters);
    return field != nullptr ? parse_int(field) : missing;
}

void next_text(Record &record, std::span<char> to, const char *missing)
{
    const char *field = next_field(record);
    copy_text(to, field != nullptr ? field : missing);
}

bool read_config_text(const char *key, std::span<char> to)
{
    char value[NAS_STORE_VALUE_SIZE] = "";
    const bool found = iconfig_get_value_direct(key, value) != -1;
    value[sizeof value - 1] = '\0';
    copy_text(to, found ? value : "");
    return found;
}

} // namespace nas
