#include "support/line_reader.h"

#include <cstring>

namespace nas
{

static void skip_rest_of_line(FILE *file)
{
    int c = getc(file);
    while (c != '\n' && c != EOF)
        c = getc(file);
}

bool next_line(const File &table, std::span<char> line)
{
    if (!table || fgets(line.data(), static_cast<int>(line.size()), table.get()) == nullptr)
        return false;
    if (char *end = strchr(line.data(), '\n'))
        *end = '\0';
    else
        skip_rest_of_line(table.get());
    return true;
}

} // namespace nas
