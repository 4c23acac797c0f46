#include "startup.h"

#include "files.h"
#include "settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace nashost
{
namespace
{

constexpr off_t log_limit = 256L * 1024;

void make_room(const std::string &path)
{
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > log_limit)
        rename(path.c_str(), (path + ".1").c_str());
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

bool send_output_to_log()
{
    const std::string path = setting("serviced_log");
    make_parent_folders(path);
    make_room(path);
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
