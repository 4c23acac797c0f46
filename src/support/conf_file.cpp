#include "support/conf_file.h"

#include <cstdio>
#include <sys/stat.h>

namespace nas
{

static void report_part(const char *path)
{
    fprintf(stderr, "Not written whole: %s\n", path);
}

bool write_text(const char *path, std::string_view text)
{
    FILE *file = fopen(path, "w+");
    if (file == nullptr)
        return false;
    // When the file system takes a part only, uClibc's fflush and fclose succeed: the stream's mark alone tells.
    const bool written =
        fwrite(text.data(), 1, text.size(), file) == text.size() && fflush(file) == 0 && ferror(file) == 0;
    if (fclose(file) != 0 || !written)
        report_part(path);
    return true;
}

bool write_conf_file(const char *path, const TextBuffer &text, mode_t mode)
{
    if (!write_text(path, as_view(text)))
        return false;
    if (text.cut)
        report_part(path);
    chmod(path, mode);
    return true;
}

} // namespace nas
