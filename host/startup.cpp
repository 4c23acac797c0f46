#include "startup.h"

#include "files.h"
#include "lock_file.h"
#include "settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace nashost
{
namespace
{

off_t log_limit()
{
    return setting_number("serviced_log_size");
}

bool is_too_large(const std::string &path)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > log_limit();
}

/* The last part of it, as large as it may be. */
std::string end_of(const std::string &path)
{
    const off_t limit = log_limit();
    std::string text(static_cast<size_t>(std::max<off_t>(limit, 0)), '\0');
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const off_t size = fd < 0 ? 0 : lseek(fd, 0, SEEK_END);
    const ssize_t length = size > limit ? pread(fd, text.data(), text.size(), size - limit) : 0;
    if (fd >= 0)
        close(fd);
    text.resize(static_cast<size_t>(std::max<ssize_t>(length, 0)));
    return text;
}

} // namespace

void fill_standard_descriptors()
{
    int fd;
    do
        fd = open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open): children need them, too
    while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO)
        close(fd);
}

/* Everybody who writes goes on in the same file, daemons included, and always at its end: a renamed one would go on
 * growing. Where there is no room for the copy, the bound still holds. */
void bound_log()
{
    const std::string path = setting("serviced_log");
    if (!is_too_large(path))
        return;
    LockFile alone;
    if (!alone.take_within(setting("run_dir") + "/log.lock", 0) || !is_too_large(path))
        return;
    replace_file(path + ".1", end_of(path));
    if (truncate(path.c_str(), 0) != 0)
        perror(path.c_str());
}

bool send_output_to_log()
{
    const std::string path = setting("serviced_log");
    make_parent_folders(path);
    bound_log();
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    if (fd < 0)
        return false;
    fflush(nullptr);
    bool done = dup2(fd, STDOUT_FILENO) >= 0 && dup2(fd, STDERR_FILENO) >= 0;
    close(fd);
    return done;
}

void make_sure_of_path()
{
    setenv("PATH", "/sbin:/bin:/usr/sbin:/usr/bin", 0);
}

} // namespace nashost
