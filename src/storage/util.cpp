#include "nas/util.h"

#include "nas/media.h"
#include "platform/iconv.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <sys/stat.h>

char *safe_strcpy(char *dst, const char *src)
{
    if (dst == nullptr)
        return nullptr;
    return strcpy(dst, src != nullptr ? src : "");
}

char *safe_strncpy(char *dst, const char *src, size_t length)
{
    if (dst == nullptr)
        return nullptr;
    if (src == nullptr) {
        dst[0] = '\0';
        return dst;
    }
    return strncpy(dst, src, length);
}

int isdir(const char *path)
{
    struct stat info;
    return stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

struct FreeMemory {
    void operator()(void *memory) const
    {
        free(memory);
    }
};

// Creates a directory of the chain when it is missing. Returns 0, -1 or -2 as storlib_create_dir does.
static int create_missing_dir(const char *path, mode_t mode, mode_t saved_umask)
{
    if (isdir(path) == 1)
        return 0;
    if (mkdir(path, 0777) != 0) {
        umask(saved_umask);
        return -1;
    }
    return chmod(path, mode) == 0 ? 0 : -2;
}

int storlib_create_dir(const char *path, unsigned mode)
{
    const std::unique_ptr<char, FreeMemory> copy(strdup(path));
    if (!copy)
        return -1;
    // The owner must be able to enter and fill what is made here; the caller keeps this umask for the files that
    // follow.
    const mode_t saved_umask = umask(0);
    umask(saved_umask & ~static_cast<mode_t>(S_IWUSR | S_IXUSR));

    int result = 0;
    char *const second = copy.get() + (path[0] != '\0' ? 1 : 0);
    for (char *slash = strchr(second, '/'); slash != nullptr; slash = strchr(slash + 1, '/')) {
        *slash = '\0';
        const int created = create_missing_dir(copy.get(), mode, saved_umask);
        if (created != 0)
            result = created;
        *slash = '/';
    }
    return chmod(path, mode) == 0 ? result : -2;
}

int dir_filter(const dirent *entry)
{
    const std::string_view name = entry->d_name;
    if (entry->d_type == DT_LNK)
        return 0;
    return name != "." && name != ".." && name != "lost+found" && name != "nfs";
}

int real_alphasort(const dirent **a, const dirent **b)
{
    return strcoll((*a)->d_name, (*b)->d_name);
}

char *get_readable_sizestr(uint64_t bytes)
{
    static char text[32];
    static constexpr uint64_t kilo = 1024, mega = kilo * 1024, giga = mega * 1024, tera = giga * 1024;
    const auto in = [bytes](uint64_t unit) { return static_cast<double>(bytes) * (1.0 / static_cast<double>(unit)); };
    if (bytes < kilo)
        snprintf(text, sizeof text, "%d B", static_cast<int>(bytes));
    else if (bytes < mega)
        snprintf(text, sizeof text, "%1.1f KB", in(kilo));
    else if (bytes < giga)
        snprintf(text, sizeof text, "%1.1f MB", in(mega));
    else if (bytes < tera)
        snprintf(text, sizeof text, "%1.1f GB", in(giga));
    else
        snprintf(text, sizeof text, "%1.1f TB", in(tera));
    return text;
}

int iconv_string(const char *src, char *dst, int dstsize, const char *from, const char *to)
{
    void *const converter = libiconv_open(to, from);
    if (reinterpret_cast<intptr_t>(converter) == -1) {
        printf("FAIL 2 %s %s\n", from, to);
        return -1;
    }
    libiconv(converter, nullptr, nullptr, nullptr, nullptr);

    size_t in_left = strlen(src);
    size_t out_left = in_left * 3;
    if (static_cast<int64_t>(out_left) >= dstsize) {
        puts("ERROR:More Buf size is needed ");
        return -1; // deliberately without libiconv_close: only a conversion ends in one
    }
    char *in = const_cast<char *>(src);
    char *out = dst;
    if (in_left > 0 && libiconv(converter, &in, &in_left, &out, &out_left) == static_cast<size_t>(-1)) {
        // One "?" says that the rest is missing. The room of three bytes a character is always one less than
        // the destination, which keeps the last byte for the terminator.
        if (out < dst + dstsize - 1)
            *out++ = '?';
    }
    *out = '\0';
    libiconv_close(converter);
    return 0;
}

int iconv_to_utf8(const char *src, char *dst, int length)
{
    strncpy(dst, src, static_cast<size_t>(length));
    return 0;
}

int iconv_to_local(const char *src, char *dst, int length)
{
    return iconv_to_utf8(src, dst, length);
}

int update_time_for_nas(void)
{
    touch_media_db();
    return 1;
}
