// Service records: comma-separated fields under one key of the configuration store.
#ifndef NAS_SUPPORT_RECORD_H
#define NAS_SUPPORT_RECORD_H

#include "platform/store.h"

#include <cstddef>
#include <span>

namespace nas
{

// What counts of most records.
inline constexpr size_t short_record = 512;

// A record's text, and how far it has been read.
struct Record {
    char text[NAS_STORE_VALUE_SIZE];
    char *next;
};

// Reads a record, cut at `size` - 1 characters. False when the key is absent; the record then has no fields.
bool read_record(Record &record, const char *key, size_t size = NAS_STORE_VALUE_SIZE);

// Takes a text that is no stored record as one.
void split_text(Record &record, const char *text);

// The next field, up to one of the delimiters; null when it is missing. An empty field keeps its place and
// counts as missing, as does one behind the last.
const char *next_field(Record &record, const char *delimiters = ",");
int next_int(Record &record, int missing, const char *delimiters = ",");
void next_text(Record &record, std::span<char> to, const char *missing);

// Copies the value of a key of its own into a field of any size; false, and the empty text, when it is absent.
bool read_config_text(const char *key, std::span<char> to);

} // namespace nas

#endif
