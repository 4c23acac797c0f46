// The kernel's tables, line by line.
#ifndef NAS_SUPPORT_LINE_READER_H
#define NAS_SUPPORT_LINE_READER_H

#include <cstdio>
#include <memory>
#include <span>

namespace nas
{

struct CloseFile {
    void operator()(FILE *file) const
    {
        fclose(file);
    }
};
using File = std::unique_ptr<FILE, CloseFile>;

// Reads the next line without its line feed. What does not fit is dropped: an over-long line never becomes
// two. False at the end, and for a table that could not be opened.
bool next_line(const File &table, std::span<char> line);

} // namespace nas

#endif
