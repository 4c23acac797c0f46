#include "support/sandbox.h"

#include "support/output_capture.h"
#include "support/recording_host.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <span>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace nas_test
{
namespace
{

struct Place {
    const char *path;
    const char *options;
};

// /proc is the first.
constexpr Place places[] = {{"/proc", "mode=0755"}, {"/etc", "mode=0755"}, {"/tmp", "mode=1777"},
                            {"/var", "mode=0755"},  {"/mnt", "mode=0755"}, {"/sys", "mode=0755"}};
constexpr const char *tables[] = {"/proc/mounts", "/proc/partitions"};

std::span<const Place> covered_places(KernelProc proc)
{
    return std::span(places).subspan(proc == KernelProc::covered ? 0 : 1);
}

bool inside; // of the private namespaces

[[noreturn]] void fail(const std::string &what)
{
    std::fprintf(stderr, "sandbox: %s: %s\n", what.c_str(), std::strerror(errno));
    std::abort();
}

int write_text(const char *path, const std::string &text)
{
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return -1;
    const bool done = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return done ? 0 : -1;
}

// Root inside, the user outside.
int map_user(uid_t user, gid_t group)
{
    if (write_text("/proc/self/setgroups", "deny") != 0 && errno != ENOENT)
        return -1;
    if (write_text("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n") != 0)
        return -1;
    return write_text("/proc/self/gid_map", "0 " + std::to_string(group) + " 1\n");
}

int enter_namespaces()
{
    constexpr int wanted = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWNET;
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(wanted) == 0)
        return 0;
    if (unshare(CLONE_NEWUSER | wanted) != 0)
        return -1;
    return map_user(user, group);
}

int say_what_is_needed()
{
    std::fprintf(stderr,
                 "The tests need private mount, process, UTS, IPC and network namespaces (%s).\n"
                 "Run them as root, or allow user namespaces (sysctl user.max_user_namespaces, "
                 "kernel.unprivileged_userns_clone).\n",
                 std::strerror(errno));
    return NO_NAMESPACES;
}

int exit_status_of(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return EXIT_FAILURE;
    }
    if (WIFSIGNALED(status)) {
        std::fprintf(stderr, "the tests were ended by signal %d\n", WTERMSIG(status));
        return 128 + WTERMSIG(status);
    }
    return WEXITSTATUS(status);
}

// The first process of the namespace: a signal's default does not end it, so the tests run in a child of its own.
int run_as_first_process(int (*body)())
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return say_what_is_needed();
    // The leak checker looks its own threads up there. Where it may not be mounted, the outer one stays.
    mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
    const pid_t child = fork();
    if (child < 0)
        return say_what_is_needed();
    if (child == 0) {
        inside = true;
        std::exit(body());
    }
    return exit_status_of(child);
}

void make_parents(const std::string &path)
{
    for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
        if (mkdirat(AT_FDCWD, path.substr(0, at).c_str(), 0755) != 0 && errno != EEXIST)
            fail(path);
    }
}

std::string tree_line(const std::string &path, const struct stat &facts)
{
    char mode[16];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(facts.st_mode & 07777));
    if (S_ISDIR(facts.st_mode))
        return std::string("dir ") + mode + " " + path;
    if (S_ISREG(facts.st_mode))
        return std::string("file ") + mode + " " + path;
    if (!S_ISLNK(facts.st_mode))
        return std::string("other ") + mode + " " + path;
    std::string target(4096, '\0');
    const ssize_t length = readlink(path.c_str(), target.data(), target.size());
    target.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    return "link " + path + " -> " + target;
}

void list_below(const std::string &folder, std::string &text)
{
    DIR *const directory = opendir(folder.c_str());
    if (directory == nullptr)
        return;
    std::vector<std::string> names;
    while (const dirent *entry = readdir(directory)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    for (const std::string &name : names) {
        const std::string path = folder + "/" + name;
        struct stat facts;
        if (path == "/tmp/mnt" || lstat(path.c_str(), &facts) != 0)
            continue;
        text += visible(tree_line(path, facts)) + "\n";
        if (S_ISDIR(facts.st_mode))
            list_below(path, text);
    }
}

// A file without a name over each of them.
void cover_tables()
{
    constexpr const char *file = "/tmp/table";
    for (const char *table : tables) {
        close(open(file, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        if (mount(file, table, nullptr, MS_BIND, nullptr) != 0)
            fail(table);
        unlinkat(AT_FDCWD, file, 0);
    }
}

void remove_below(const std::string &folder)
{
    DIR *const directory = opendir(folder.c_str());
    if (directory == nullptr)
        fail(folder);
    while (const dirent *entry = readdir(directory)) {
        const std::string path = folder + "/" + entry->d_name;
        if (path == "/tmp/mnt" || path.ends_with("/.") || path.ends_with("/.."))
            continue;
        if (unlinkat(AT_FDCWD, path.c_str(), 0) == 0)
            continue;
        remove_below(path);
        if (unlinkat(AT_FDCWD, path.c_str(), AT_REMOVEDIR) != 0)
            fail(path);
    }
    closedir(directory);
}

} // namespace

int in_sandbox(int (*body)())
{
    open_output_capture();
    std::fflush(nullptr);
    if (enter_namespaces() != 0)
        return say_what_is_needed();
    const pid_t child = fork();
    if (child < 0)
        return say_what_is_needed();
    if (child == 0)
        _exit(run_as_first_process(body));
    const int status = exit_status_of(child);
    report_lost_output();
    // Not exit: the leak checker's own thread would be a process of the new namespace, and could not see this one.
    std::fflush(nullptr);
    _exit(status);
}

Sandbox::Sandbox(KernelProc proc) : proc_(proc)
{
    if (!inside) {
        errno = EPERM;
        fail("not inside private namespaces");
    }
    for (const Place &place : covered_places(proc)) {
        if (mount("sandbox", place.path, "tmpfs", MS_NOSUID, place.options) != 0)
            fail(place.path);
    }
    mkdirat(AT_FDCWD, "/tmp/mnt", 0755);
    if (mount("/mnt", "/tmp/mnt", nullptr, MS_BIND, nullptr) != 0)
        fail("/tmp/mnt");
    if (proc == KernelProc::kept)
        cover_tables();
}

Sandbox::~Sandbox()
{
    umount2("/tmp/mnt", MNT_DETACH);
    for (const Place &place : covered_places(proc_))
        umount2(place.path, MNT_DETACH);
    for (const char *table : tables) {
        if (proc_ == KernelProc::kept)
            umount2(table, MNT_DETACH);
    }
}

void Sandbox::clear()
{
    for (const Place &place : covered_places(proc_))
        remove_below(place.path);
    for (const char *table : tables) {
        if (proc_ == KernelProc::kept)
            put_file(table, "");
    }
}

void Sandbox::put_dir(const std::string &path, mode_t mode)
{
    make_parents(path);
    if ((mkdirat(AT_FDCWD, path.c_str(), 0700) != 0 && errno != EEXIST) || fchmodat(AT_FDCWD, path.c_str(), mode, 0))
        fail(path);
}

void Sandbox::put_file(const std::string &path, std::string_view text, mode_t mode)
{
    make_parents(path);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        fchmod(file, mode) != 0)
        fail(path);
    close(file);
}

void Sandbox::put_link(const std::string &path, const std::string &target)
{
    make_parents(path);
    if (symlinkat(target.c_str(), AT_FDCWD, path.c_str()) != 0)
        fail(path);
}

void Sandbox::remove_file(const std::string &path)
{
    if (unlinkat(AT_FDCWD, path.c_str(), 0) != 0)
        fail(path);
}

void Sandbox::set_mounts(std::string_view text)
{
    put_file("/proc/mounts", text);
}

void Sandbox::set_partitions(std::string_view text)
{
    put_file("/proc/partitions", text);
}

bool exists(const std::string &path)
{
    struct stat facts;
    return lstat(path.c_str(), &facts) == 0;
}

mode_t mode_of(const std::string &path)
{
    struct stat facts;
    return stat(path.c_str(), &facts) == 0 ? facts.st_mode & 07777 : 0;
}

std::string read_file(const std::string &path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        fail(path);
    std::string text;
    char part[4096];
    ssize_t got = 0;
    while ((got = read(file, part, sizeof part)) > 0)
        text.append(part, static_cast<std::size_t>(got));
    close(file);
    return text;
}

std::string list_tree()
{
    std::string text;
    for (const char *folder : {"/etc", "/mnt", "/tmp", "/var"})
        list_below(folder, text);
    return text;
}

} // namespace nas_test
