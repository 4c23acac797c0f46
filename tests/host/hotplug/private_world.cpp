#include "private_world.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace private_world
{
namespace
{

constexpr int no_namespaces = 77;
bool has_own_users; // root here is an ordinary user of the machine

bool write_line(const char *path, const std::string &text)
{
    std::ofstream file(path);
    file << text;
    return static_cast<bool>(file.flush());
}

bool enter_namespaces()
{
    constexpr int wanted = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWNET;
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(wanted) == 0)
        return true;
    if (unshare(CLONE_NEWUSER | wanted) != 0)
        return false;
    has_own_users = true;
    return write_line("/proc/self/setgroups", "deny") &&
           write_line("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n") &&
           write_line("/proc/self/gid_map", "0 " + std::to_string(group) + " 1\n");
}

int status_of(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/* The first process of a namespace is the parent of all orphans; when it ends, everything does. */
int run_as_first_process(int (*body)())
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0 ||
        mount("run", "/mnt", "tmpfs", 0, "mode=0755") != 0) {
        fprintf(stderr, "no mounts of its own: %s\n", strerror(errno));
        return no_namespaces;
    }
    const pid_t child = fork();
    if (child == 0) {
        setenv("NAS_HOST_CONF", (folder() + "/conf").c_str(), 1);
        use_settings();
        std::exit(body());
    }
    for (int status = 0;;) {
        const pid_t ended = waitpid(-1, &status, 0);
        if (ended == child)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
}

} // namespace

int run(int (*body)())
{
    if (!enter_namespaces()) {
        fprintf(stderr, "namespaces are needed (%s): run the tests as root\n", strerror(errno));
        return no_namespaces;
    }
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
        _exit(run_as_first_process(body));
    return status_of(child);
}

bool can_mount(std::string &reason)
{
    if (has_own_users || geteuid() != 0)
        reason = "block devices can be mounted by root alone";
    else if (access("/dev/loop-control", R_OK | W_OK) != 0)
        reason = "this machine has no loop devices";
    return reason.empty();
}

const std::string &folder()
{
    static const std::string path = "/mnt";
    return path;
}

void use_settings(const std::string &lines)
{
    const std::string &f = folder();
    put_contents(f + "/conf.new", "run_dir = " + f + "/run\nserviced_socket = " + f +
                                      "/run/serviced.sock\nserviced_log = " + f + "/log\nconfig_store = " + f +
                                      "/config.db\nstatus_store = " + f + "/status.db\nvolume_folders = " + f +
                                      "/volumes\n" + lines);
    std::filesystem::rename(f + "/conf.new", f + "/conf");
}

std::string output_of(const std::string &command, int *status)
{
    return host_test::output_of("(" + command + ") 2>&1", status);
}

} // namespace private_world
