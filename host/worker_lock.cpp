#include "worker_lock.h"

#include "settings.h"

#include <unistd.h>

#include <cerrno>

namespace nashost
{
namespace
{

/* Held by a removal that waits or works. */
std::string turn_path()
{
    return setting("run_dir") + "/worker.turn";
}

/* Gives the lock away again when a removal waits for it. */
bool keeps(LockFile &lock)
{
    LockFile turn;
    if (turn.take_within(turn_path(), 0) || errno != EWOULDBLOCK)
        return true;
    lock.release();
    return false;
}

} // namespace

std::string worker_lock_path()
{
    return setting("run_dir") + "/worker.lock";
}

bool take_worker_lock(LockFile &lock)
{
    while (lock.take(worker_lock_path())) {
        if (keeps(lock))
            return true;
        LockFile turn;
        turn.take(turn_path());
    }
    return false;
}

bool take_worker_lock_within(LockFile &lock, int milliseconds)
{
    constexpr int pause_milliseconds = 20;
    for (int waited = 0;; waited += pause_milliseconds) {
        if (lock.take_within(worker_lock_path(), 0) && keeps(lock))
            return true;
        if (errno != EWOULDBLOCK || waited >= milliseconds)
            return false;
        usleep(pause_milliseconds * 1000);
    }
}

bool take_worker_lock_first(LockFile &turn, LockFile &lock, int milliseconds)
{
    if (!turn.is_held() && !turn.take(turn_path()))
        return false;
    return lock.take_within(worker_lock_path(), milliseconds);
}

BusyNote::BusyNote(const LockFile &lock, std::string_view text) : lock_(lock), found_(lock.note())
{
    lock_.set_note(found_.empty() ? std::string(text) : found_ + "\n" + std::string(text));
}

BusyNote::~BusyNote()
{
    lock_.set_note(found_);
}

} // namespace nashost
