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
    // fgets writes the last byte only when the line fills all others.
    char &last = line.back();
    last = '\n';
    if (!table || fgets(line.data(), static_cast<int>(line.size()), table.get()) == nullptr)
        return false;
    if (last == '\0' && line[line.size() - 2] != '\n')
        skip_rest_of_line(table.get());
    line[strcspn(line.data(), "\n")] = '\0';
    return true;
}

} // namespace nas
