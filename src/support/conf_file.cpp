#include "support/conf_file.h"

#include <cstdio>
#include <sys/stat.h>

namespace nas
{

bool write_conf_file(const char *path, const TextBuffer &text, mode_t mode)
{
    FILE *file = fopen(path, "w+");
    if (file == nullptr)
        return false;
    const bool written = fwrite(text.data, 1, text.length, file) == text.length && fflush(file) == 0;
    if (fclose(file) != 0 || !written || text.cut)
        fprintf(stderr, "Not written whole: %s\n", path);
    chmod(path, mode);
    return true;
}

} // namespace nas
