// Service records: comma-separated fields under one key of the configuration store.
#ifndef NAS_SUPPORT_RECORD_H
#define NAS_SUPPORT_RECORD_H

#include "platform/store.h"

#include <span>

namespace nas
{

// A record as it was stored, and how far it has been read.
struct Record {
    char text[NAS_STORE_VALUE_SIZE];
    char *next;
};

// False when the key is absent; the record then has no fields.
bool read_record(Record &record, const char *key);

// The next field. An empty one keeps its place and counts as missing, as does one behind the last.
int next_int(Record &record, int missing);
void next_text(Record &record, std::span<char> to, const char *missing);

// Copies the value of a key of its own into a field of any size; false, and the empty text, when it is absent.
bool read_config_text(const char *key, std::span<char> to);

} // namespace nas

#endif
