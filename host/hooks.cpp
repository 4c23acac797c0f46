#include "hooks.h"

#include "platform/process.h"

#include "lock_file.h"
#include "settings.h"
#include "text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace nashost
{
namespace
{

std::string wan_lock_path()
{
    return setting("run_dir") + "/wan.lock";
}

std::string single_quoted(const std::string &text)
{
    std::vector<char> room(4 * text.size() + 1);
    copy_cut(room.data(), room.size(), text);
    return std::string("'") + quote_r(room.data(), static_cast<int>(room.size())) + "'";
}

/* An orphan, so that nobody has to reap it. A DHCP client that the hook leaves behind does not hold the lock. */
[[noreturn]] void become_wan_setup(const std::string &program, LockFile &lock)
{
    setsid();
    if (lock.is_held() || lock.take(wan_lock_path()))
        system2("%s", single_quoted(program).c_str());
    _exit(0);
}

} // namespace

void start_update_hook()
{
    const std::string program = setting("update_hook");
    if (!program.empty())
        system2("%s &", single_quoted(program).c_str());
}

/* The lock is taken before the caller goes on: it never sees the WAN left alone in between. */
void start_wan_hook()
{
    const std::string program = setting("wan_hook");
    if (program.empty())
        return;
    LockFile lock;
    lock.take_within(wan_lock_path(), 0);
    const pid_t child = fork();
    if (child > 0)
        waitpid(child, nullptr, 0);
    if (child != 0)
        return;
    if (fork() == 0)
        become_wan_setup(program, lock);
    _exit(0);
}

bool wan_is_being_set_up()
{
    const int fd = open(wan_lock_path().c_str(), O_RDONLY | O_CLOEXEC);
    const bool held = fd >= 0 && flock(fd, LOCK_SH | LOCK_NB) != 0;
    if (fd >= 0)
        close(fd);
    return held;
}

} // namespace nashost
