#include "lock_file.h"

#include "files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace nashost
{

LockFile::~LockFile()
{
    release();
}

bool LockFile::open_file(const std::string &path)
{
    release();
    make_parent_folders(path);
    fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    return fd_ >= 0;
}

bool LockFile::take(const std::string &path)
{
    if (!open_file(path))
        return false;
    while (flock(fd_, LOCK_EX) != 0) {
        if (errno != EINTR) {
            release();
            return false;
        }
    }
    return true;
}

/* The kernel knows no lock with a time limit, short of an alarm that would end other waits, too. */
bool LockFile::take_within(const std::string &path, int milliseconds)
{
    constexpr int pause_milliseconds = 20;
    if (!open_file(path))
        return false;
    for (int waited = 0; flock(fd_, LOCK_EX | LOCK_NB) != 0; waited += pause_milliseconds) {
        if (errno != EWOULDBLOCK || waited >= milliseconds) {
            release();
            return false;
        }
        usleep(pause_milliseconds * 1000);
    }
    return true;
}

bool LockFile::is_held() const
{
    return fd_ >= 0;
}

void LockFile::release()
{
    const int error = errno; // a refused lock is let go, too
    if (fd_ >= 0)
        close(fd_);
    fd_ = -1;
    errno = error;
}

std::string LockFile::note() const
{
    char text[2048];
    ssize_t length = pread(fd_, text, sizeof text, 0);
    return std::string(text, length > 0 ? static_cast<size_t>(length) : 0);
}

bool LockFile::set_note(std::string_view text) const
{
    return ftruncate(fd_, 0) == 0 && lseek(fd_, 0, SEEK_SET) == 0 && write_all(fd_, text);
}

} // namespace nashost
