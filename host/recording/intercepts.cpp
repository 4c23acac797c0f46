// Stands in front of the functions of the C library that leave the process. The program is linked with its symbols
// exported, so the library finds these first. Inside RecordingHost::call they record; outside they pass everything on.
//
// Each is defined under a name of its own with the symbol given apart: a header's declaration may be a macro, a
// redirection to a 64-bit twin, or carry attributes, and both twins are needed.
#include "recording/recording_host.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/vfs.h>
#include <unistd.h>

#define SYMBOL(name) __asm__(name)

namespace
{

using nas_recording::HostsOwnDoing;
using nas_recording::RecordingHost;

template <class Function>
Function *real(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

std::string octal(mode_t mode)
{
    char text[16];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode));
    return text;
}

// The host, when the library itself is acting; what the host does on its way is no act.
RecordingHost *acting()
{
    return nas_recording::in_library() ? nas_recording::recording() : nullptr;
}

// The same for acts that must not happen by accident: outside a call they are refused where that was asked for.
RecordingHost *acting_or_refused()
{
    return nas_recording::recording();
}

bool is_to_fail(RecordingHost &host, const char *path)
{
    const HostsOwnDoing mine;
    return host.fails && host.fails(path);
}

// Does one change of the file system, unless it is to fail or nothing is to be done, and records it. The change
// itself is the library's doing.
template <class Act, class Line>
int change_file(const char *path, Act act, Line line)
{
    RecordingHost *host = acting();
    if (host == nullptr)
        return act();
    int result = 0;
    if (is_to_fail(*host, path)) {
        result = -1;
        errno = EACCES;
    } else if (host->passes_files_on) {
        result = act();
    }
    const int error = errno;
    const HostsOwnDoing mine;
    host->record_act(line(), result == 0);
    errno = error;
    return result;
}

std::FILE *open_file(const char *path, const char *mode, std::FILE *(*real_open)(const char *, const char *))
{
    RecordingHost *host = acting();
    const bool writes = std::strpbrk(mode, "wa+") != nullptr;
    if (host == nullptr || !writes)
        return real_open(path, mode);
    std::FILE *file = nullptr;
    if (is_to_fail(*host, path))
        errno = EACCES;
    else
        file = real_open(host->passes_files_on ? path : "/dev/null", mode);
    const int error = errno;
    const HostsOwnDoing mine;
    host->record_act(std::string("write ") + path, file != nullptr);
    errno = error;
    return file;
}

std::optional<nas_recording::FileSystem> file_system(const RecordingHost &host, const char *path)
{
    nas_recording::FileSystem facts = {};
    if (host.live_file_system && host.live_file_system(path, facts))
        return facts;
    const auto found = host.file_systems.find(path);
    if (found == host.file_systems.end())
        return std::nullopt;
    return found->second;
}

// Paths of which nothing is known do not exist.
int answer_statfs(RecordingHost &host, const char *path, struct statfs *facts)
{
    const HostsOwnDoing mine;
    ++host.statfs_calls;
    const std::optional<nas_recording::FileSystem> found = file_system(host, path);
    if (!found) {
        errno = ENOENT;
        return -1;
    }
    std::memset(facts, 0, sizeof *facts);
    facts->f_bsize = static_cast<decltype(facts->f_bsize)>(found->block_size);
    facts->f_frsize = static_cast<decltype(facts->f_frsize)>(found->block_size);
    facts->f_blocks = found->blocks;
    facts->f_bfree = found->free_blocks;
    facts->f_bavail = found->available_blocks;
    return 0;
}

std::map<std::FILE *, int> &open_commands()
{
    static std::map<std::FILE *, int> all;
    return all;
}

} // namespace

extern "C" {

int recorded_system(const char *command) SYMBOL("system");
std::FILE *recorded_popen(const char *command, const char *mode) SYMBOL("popen");
int recorded_pclose(std::FILE *file) SYMBOL("pclose");
unsigned recorded_sleep(unsigned seconds) SYMBOL("sleep");
int recorded_kill(pid_t pid, int signal) SYMBOL("kill");
int recorded_sethostname(const char *name, std::size_t length) SYMBOL("sethostname");
std::time_t recorded_time(std::time_t *result) SYMBOL("time");
int recorded_rand(void) SYMBOL("rand");
void recorded_srand(unsigned seed) SYMBOL("srand");
void recorded_syslog(int priority, const char *format, ...) SYMBOL("syslog") __attribute__((format(printf, 2, 3)));
void recorded_sync(void) SYMBOL("sync");
std::FILE *recorded_fopen(const char *path, const char *mode) SYMBOL("fopen");
std::FILE *recorded_fopen64(const char *path, const char *mode) SYMBOL("fopen64");
int recorded_chmod(const char *path, mode_t mode) SYMBOL("chmod");
int recorded_mkdir(const char *path, mode_t mode) SYMBOL("mkdir");
int recorded_unlink(const char *path) SYMBOL("unlink");
int recorded_symlink(const char *target, const char *path) SYMBOL("symlink");
int recorded_rename(const char *from, const char *to) SYMBOL("rename");
int recorded_rmdir(const char *path) SYMBOL("rmdir");
// This file is compiled with 64-bit file sizes; only where they are native are both twins the same.
int recorded_statfs64(const char *path, struct statfs *facts) SYMBOL("statfs64");
#if __SIZEOF_POINTER__ == 8
int recorded_statfs(const char *path, struct statfs *facts) SYMBOL("statfs");
#endif

int recorded_system(const char *command)
{
    RecordingHost *host = acting_or_refused();
    if (host == nullptr)
        return real(recorded_system, "system")(command);
    const HostsOwnDoing mine;
    return host->run(command);
}

std::FILE *recorded_popen(const char *command, const char *mode)
{
    RecordingHost *host = acting_or_refused();
    if (host == nullptr)
        return real(recorded_popen, "popen")(command, mode);
    const HostsOwnDoing mine;
    if (std::strcmp(mode, "r") != 0) { // the library writes to no command
        errno = EINVAL;
        return nullptr;
    }
    int status = 0;
    const std::string output = host->open_output(command, status);
    std::FILE *file = std::tmpfile();
    if (file == nullptr || status < 0)
        return nullptr;
    std::fwrite(output.data(), 1, output.size(), file);
    std::rewind(file);
    open_commands()[file] = status;
    return file;
}

int recorded_pclose(std::FILE *file)
{
    const auto found = open_commands().find(file);
    if (found == open_commands().end())
        return real(recorded_pclose, "pclose")(file);
    const HostsOwnDoing mine;
    const int status = found->second;
    open_commands().erase(found);
    std::fclose(file);
    return status;
}

unsigned recorded_sleep(unsigned seconds)
{
    RecordingHost *host = acting();
    if (host == nullptr)
        return real(recorded_sleep, "sleep")(seconds);
    const HostsOwnDoing mine;
    host->record("sleep " + std::to_string(seconds));
    host->now += seconds;
    return 0;
}

int recorded_kill(pid_t pid, int signal)
{
    RecordingHost *host = acting();
    if (host == nullptr)
        return real(recorded_kill, "kill")(pid, signal);
    const HostsOwnDoing mine;
    bool there = false;
    for (const nas_recording::Process &process : host->processes)
        there = there || process.pid == pid;
    host->record_act("kill " + std::to_string(pid) + " " + std::to_string(signal), there);
    if (!there) {
        errno = ESRCH;
        return -1;
    }
    if (signal != 0)
        host->signal({}, pid, signal);
    return 0;
}

int recorded_sethostname(const char *name, std::size_t length)
{
    RecordingHost *host = acting_or_refused();
    if (host == nullptr)
        return real(recorded_sethostname, "sethostname")(name, length);
    const HostsOwnDoing mine;
    host->record("sethostname " + std::string(name, length));
    return 0;
}

std::time_t recorded_time(std::time_t *result)
{
    RecordingHost *host = acting();
    const std::time_t now = host == nullptr ? real(recorded_time, "time")(nullptr) : host->now;
    if (result != nullptr)
        *result = now;
    return now;
}

// The same numbers with every C library: the seed, the seed and one, ...
int recorded_rand(void)
{
    RecordingHost *host = acting();
    return host == nullptr ? real(recorded_rand, "rand")() : static_cast<int>(host->random++ & 0x7fffffffU);
}

void recorded_srand(unsigned seed)
{
    RecordingHost *host = acting();
    if (host == nullptr)
        return real(recorded_srand, "srand")(seed);
    host->random = seed;
}

void recorded_syslog(int priority, const char *format, ...)
{
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    RecordingHost *host = acting();
    if (host == nullptr) {
        real(recorded_syslog, "syslog")(priority, "%s", text);
        return;
    }
    const HostsOwnDoing mine;
    host->record("syslog " + std::to_string(priority) + " " + text);
}

void recorded_sync(void)
{
    RecordingHost *host = acting();
    if (host == nullptr)
        return real(recorded_sync, "sync")();
    const HostsOwnDoing mine;
    host->record("sync");
}

std::FILE *recorded_fopen(const char *path, const char *mode)
{
    return open_file(path, mode, real(recorded_fopen, "fopen"));
}

std::FILE *recorded_fopen64(const char *path, const char *mode)
{
    return open_file(path, mode, real(recorded_fopen64, "fopen64"));
}

int recorded_chmod(const char *path, mode_t mode)
{
    return change_file(
        path, [&] { return real(recorded_chmod, "chmod")(path, mode); },
        [&] { return "chmod " + octal(mode) + " " + path; });
}

int recorded_mkdir(const char *path, mode_t mode)
{
    return change_file(
        path, [&] { return real(recorded_mkdir, "mkdir")(path, mode); },
        [&] { return "mkdir " + octal(mode) + " " + path; });
}

int recorded_unlink(const char *path)
{
    return change_file(
        path, [&] { return real(recorded_unlink, "unlink")(path); }, [&] { return std::string("unlink ") + path; });
}

int recorded_symlink(const char *target, const char *path)
{
    return change_file(
        path, [&] { return real(recorded_symlink, "symlink")(target, path); },
        [&] { return std::string("symlink ") + target + " " + path; });
}

int recorded_rename(const char *from, const char *to)
{
    return change_file(
        to, [&] { return real(recorded_rename, "rename")(from, to); },
        [&] { return std::string("rename ") + from + " " + to; });
}

int recorded_rmdir(const char *path)
{
    return change_file(
        path, [&] { return real(recorded_rmdir, "rmdir")(path); }, [&] { return std::string("rmdir ") + path; });
}

int recorded_statfs64(const char *path, struct statfs *facts)
{
    RecordingHost *host = acting();
    return host == nullptr ? real(recorded_statfs64, "statfs64")(path, facts) : answer_statfs(*host, path, facts);
}

#if __SIZEOF_POINTER__ == 8
int recorded_statfs(const char *path, struct statfs *facts)
{
    RecordingHost *host = acting();
    return host == nullptr ? real(recorded_statfs, "statfs")(path, facts) : answer_statfs(*host, path, facts);
}
#endif

} // extern "C"
