#include "support/conf_file.h"

#include <cstdio>
#include <sys/stat.h>

namespace nas
{

bool write_conf_file(const char *path, std::string_view text, mode_t mode)
{
    FILE *file = fopen(path, "w+");
    if (file == nullptr)
        return false;
    fwrite(text.data(), 1, text.size(), file);
    fflush(file);
    fclose(file);
    chmod(path, mode);
    return true;
}

} // namespace nas
