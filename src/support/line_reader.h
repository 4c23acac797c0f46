// The kernel's tables, line by line.
#ifndef NAS_SUPPORT_LINE_READER_H
#define NAS_SUPPORT_LINE_READER_H

#include <cstddef>
#include <cstdio>
#include <memory>

namespace nas
{

struct CloseFile {
    void operator()(FILE *file) const
    {
        fclose(file);
    }
};
using File = std::unique_ptr<FILE, CloseFile>;

// A table that is being read. Its lines are handed out where they were read: with a thousand mounts, copying each line
// once more would cost as much as taking it apart.
struct LineReader {
    File file;
    size_t max_length; // of a line; what is behind it is dropped, so an over-long line never becomes two
    size_t begin = 0;  // of what has been read and not handed out
    size_t end = 0;
    char buffer[2048];
};

// A table that cannot be opened has no lines. `max_length` is at most half the buffer.
void open_table(LineReader &reader, const char *path, size_t max_length);

// The next line, terminated, without its line feed, until the next call; null at the end.
char *next_line(LineReader &reader);

} // namespace nas

#endif
