#include "support/line_reader.h"

#include <cstring>

namespace nas
{

void open_table(LineReader &reader, const char *path, size_t max_length)
{
    reader.file.reset(fopen(path, "r"));
    reader.max_length = max_length;
    reader.begin = reader.end = 0;
}

// Reads on behind what is there; false at the end of the file.
static bool fill(LineReader &reader)
{
    const size_t kept = reader.end - reader.begin;
    memmove(reader.buffer, reader.buffer + reader.begin, kept);
    reader.begin = 0;
    // The end of an over-long line is still to come: its head is all that counts.
    const size_t room = sizeof reader.buffer - 1;
    reader.end = kept < room ? kept : reader.max_length;
    const size_t read = fread(reader.buffer + reader.end, 1, room - reader.end, reader.file.get());
    reader.end += read;
    return read > 0;
}

char *next_line(LineReader &reader)
{
    if (!reader.file)
        return nullptr;
    char *line_end;
    while (true) {
        char *const unread = reader.buffer + reader.begin;
        line_end = static_cast<char *>(memchr(unread, '\n', reader.end - reader.begin));
        if (line_end != nullptr)
            break;
        if (!fill(reader)) {
            if (reader.begin == reader.end)
                return nullptr;
            line_end = reader.buffer + reader.end; // the last line has no line feed
            break;
        }
    }
    char *const line = reader.buffer + reader.begin;
    const size_t length = static_cast<size_t>(line_end - line);
    reader.begin += length < reader.end - reader.begin ? length + 1 : length;
    line[length < reader.max_length ? length : reader.max_length] = '\0';
    return line;
}

} // namespace nas
