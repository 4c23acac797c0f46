#include "files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace nashost
{
namespace
{

constexpr mode_t file_mode = 0644;

/* A symbolic link stays one: what it leads to is replaced. */
std::string followed(const std::string &path)
{
    std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), free);
    return real ? std::string(real.get()) : path;
}

bool overwrite_file(const std::string &path, std::string_view text)
{
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, file_mode);
    if (fd < 0)
        return false;
    bool written = write_all(fd, text);
    return close(fd) == 0 && written;
}

bool is_still_at(int fd, const std::string &path)
{
    struct stat opened, found;
    return fstat(fd, &opened) == 0 && lstat(path.c_str(), &found) == 0 && opened.st_dev == found.st_dev &&
           opened.st_ino == found.st_ino;
}

/* One name, so that what a killed writer leaves is the next one's draft, not rubbish for ever; one writer at a time has
 * it. Whoever waited for the lock may hold a file that was renamed meanwhile, and tries again. */
int open_draft(const std::string &path)
{
    for (;;) {
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0)
            return -1;
        int locked = flock(fd, LOCK_EX);
        bool is_ours = locked == 0 && is_still_at(fd, path);
        if (is_ours && ftruncate(fd, 0) == 0 && fchmod(fd, 0600) == 0)
            return fd;
        bool failed = is_ours || (locked != 0 && errno != EINTR);
        close(fd);
        if (failed)
            return -1;
    }
}

} // namespace

void make_parent_folders(const std::string &path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0755);
}

bool write_all(int fd, std::string_view text)
{
    while (!text.empty()) {
        ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

std::optional<std::string> read_text(const std::string &path, size_t limit)
{
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    std::string text(limit, '\0');
    size_t length = 0;
    ssize_t got = 1;
    while (length < limit && got != 0) {
        got = read(fd, text.data() + length, limit - length);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            break;
        length += static_cast<size_t>(got);
    }
    close(fd);
    if (got < 0)
        return std::nullopt;
    text.resize(length);
    return text;
}

bool replace_file(const std::string &path, std::string_view text)
{
    std::string target = followed(path);
    struct stat status;
    if (stat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return overwrite_file(target, text); // a device or a kernel file cannot be replaced

    size_t name = target.rfind('/') + 1;
    std::string draft = target.substr(0, name) + "." + target.substr(name) + ".draft";
    int fd = open_draft(draft);
    if (fd < 0)
        return false;
    // The lock is held over the renaming: closing the file would let the next writer into it.
    bool written = write_all(fd, text) && fchmod(fd, file_mode) == 0;
    bool renamed = written && rename(draft.c_str(), target.c_str()) == 0;
    bool mounted_over = written && !renamed && errno == EBUSY; // a file that is itself a mount point has to stay
    if (!renamed)
        unlink(draft.c_str());
    close(fd);
    return renamed || (mounted_over && overwrite_file(target, text));
}

} // namespace nashost
