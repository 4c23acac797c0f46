/* One that runs the library's callbacks or events is alone: they stop and start the same daemons. Whoever waits lets a
 * removal pass: the disk is gone already, and what still uses it has to let it go. */
#ifndef NASHOST_WORKER_LOCK_H
#define NASHOST_WORKER_LOCK_H

#include "lock_file.h"

namespace nashost
{

std::string worker_lock_path();

/* Waits until nobody else runs anything and no removal waits; or `milliseconds` at most. False when it is not had, and
 * errno says why (EWOULDBLOCK: the others did not end in time). */
bool take_worker_lock(LockFile &lock);
bool take_worker_lock_within(LockFile &lock, int milliseconds);

/* For a removal: goes before all that wait, behind the one that runs. The others stay out as long as `turn` is held,
 * also when the one that runs does not end in time. */
bool take_worker_lock_first(LockFile &turn, LockFile &lock, int milliseconds);

/* Writes into the lock what its holder is busy with, as long as this lives. The note of one that ended early stays,
 * for the next worker, who cleans up after it. */
class BusyNote
{
  public:
    BusyNote(const LockFile &lock, std::string_view text);
    ~BusyNote();
    BusyNote(const BusyNote &) = delete;
    BusyNote &operator=(const BusyNote &) = delete;

  private:
    const LockFile &lock_;
    std::string found_;
};

} // namespace nashost

#endif
