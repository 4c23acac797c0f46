#include "plan/private_world.h"

#include "files.h"
#include "plan/mount_points.h"

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
#include <optional>
#include <stdexcept>

namespace nasplan
{
namespace
{

constexpr char scratch[] = "/tmp"; /* in the private world, before its root is entered */
constexpr char new_root[] = "/tmp/root";
constexpr size_t mount_table_limit = 1 << 20;

/* A world to be in: its mounts, its network and its root. */
struct World {
    int mounts, network, root;
};

World real_world, private_world;
Sees world_sees;
std::vector<Layer> all_layers;
std::vector<std::string> all_unchangeable;

[[noreturn]] void fail(const std::string &what)
{
    throw std::runtime_error(what + ": " + strerror(errno));
}

int open_or_fail(const std::string &path, int flags)
{
    const int fd = open(path.c_str(), flags | O_CLOEXEC);
    if (fd < 0)
        fail(path);
    return fd;
}

std::string through(int fd)
{
    return "/proc/self/fd/" + std::to_string(fd);
}

World present_world()
{
    return {open_or_fail("/proc/self/ns/mnt", O_RDONLY), open_or_fail("/proc/self/ns/net", O_RDONLY),
            open_or_fail("/", O_PATH | O_DIRECTORY)};
}

/* There is no way on in the wrong world. */
void enter(const World &world)
{
    if (setns(world.mounts, CLONE_NEWNS) != 0 || setns(world.network, CLONE_NEWNET) != 0 || fchdir(world.root) != 0 ||
        chroot(".") != 0) {
        perror("a world cannot be entered");
        abort();
    }
}

/* What is seen at a mount point: a mount may lie under a later one. */
struct VisibleMount {
    MountPoint mount;
    int fd;
    struct stat facts;
};

std::optional<VisibleMount> look_at(const MountPoint &mount)
{
    VisibleMount visible = {mount, open(mount.path.c_str(), O_PATH | O_CLOEXEC), {}};
    struct statx extended = {};
    if (visible.fd < 0)
        return std::nullopt;
    if (statx(visible.fd, "", AT_EMPTY_PATH, STATX_MNT_ID, &extended) != 0 ||
        ((extended.stx_mask & STATX_MNT_ID) != 0 && extended.stx_mnt_id != mount.id) ||
        fstat(visible.fd, &visible.facts) != 0) {
        close(visible.fd);
        return std::nullopt;
    }
    return visible;
}

std::string place_of(const VisibleMount &visible)
{
    return visible.mount.path == "/" ? new_root : new_root + visible.mount.path;
}

/* Shows what is there, but lets nobody change it. */
void bind_unchangeable(const VisibleMount &visible)
{
    const std::string place = place_of(visible);
    const unsigned long flags = MS_BIND | MS_REMOUNT | MS_RDONLY | MS_NOSUID | MS_NODEV;
    if (mount(through(visible.fd).c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0)
        return; // its folder is not there: then it cannot be reached either
    if (mount(nullptr, place.c_str(), nullptr, flags, nullptr) != 0)
        fail(visible.mount.path);
}

/* The layer's own folder stands for the one below: it has that one's rights. */
void make_like(const std::string &path, const struct stat &facts)
{
    if (mkdir(path.c_str(), 0700) != 0 || chown(path.c_str(), facts.st_uid, facts.st_gid) != 0 ||
        chmod(path.c_str(), facts.st_mode & 07777) != 0)
        fail(path);
}

bool lay_over(const VisibleMount &visible)
{
    const std::string own = std::string(scratch) + "/" + std::to_string(visible.fd);
    if (mkdir(own.c_str(), 0700) != 0 || mkdir((own + "/work").c_str(), 0700) != 0)
        fail(own);
    make_like(own + "/changes", visible.facts);
    const std::string options = "redirect_dir=off,metacopy=off,index=off,lowerdir=" + through(visible.fd) +
                                ",upperdir=" + own + "/changes,workdir=" + own + "/work";
    if (mount("plan", place_of(visible).c_str(), "overlay", MS_NOSUID | MS_NODEV, options.c_str()) != 0)
        return false;
    all_layers.push_back({visible.mount.path, open_or_fail(own + "/changes", O_RDONLY | O_DIRECTORY)});
    return true;
}

bool is_left_out(const MountPoint &mount)
{
    return world_sees == Sees::itself &&
           (mount.type == "proc" || mount.path == "/dev" || mount.path.starts_with("/dev/"));
}

void show(const VisibleMount &visible)
{
    if (is_left_out(visible.mount))
        return;
    if (belongs_to_the_kernel(visible.mount))
        return bind_unchangeable(visible);
    if (S_ISDIR(visible.facts.st_mode) && lay_over(visible))
        return;
    if (visible.mount.path == "/")
        fail("no layer can be laid over the root");
    if (S_ISDIR(visible.facts.st_mode))
        all_unchangeable.push_back(visible.mount.path);
    bind_unchangeable(visible);
}

/* Processes and devices of its own. */
void show_itself()
{
    const std::string root = new_root;
    if (mount("plan", (root + "/dev").c_str(), "tmpfs", MS_NOSUID, "mode=0755") != 0 ||
        mount("proc", (root + "/proc").c_str(), "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
        fail("the private processes and devices");
    for (const char *device : {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom"})
        close(open((root + device).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

/* No device of the machine can be opened but those that are nobody's. */
void show_harmless_devices()
{
    for (const char *device : {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom"})
        mount(device, (std::string(new_root) + device).c_str(), nullptr, MS_BIND, nullptr);
}

/* The table of the real mounts: the library looks there for the volumes. */
void show_mount_table(const std::string &table)
{
    const std::string file = std::string(scratch) + "/mounts";
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0444);
    if (fd < 0 || !nashost::write_all(fd, table))
        fail(file);
    close(fd);
    if (mount(file.c_str(), (std::string(new_root) + "/proc/mounts").c_str(), nullptr, MS_BIND, nullptr) != 0)
        fail("/proc/mounts");
}

void build_private_world()
{
    const std::string table = nashost::read_text("/proc/mounts", mount_table_limit).value_or("");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        fail("private mounts");
    std::vector<VisibleMount> visible;
    for (const MountPoint &mount : mount_points()) {
        if (std::optional<VisibleMount> seen = look_at(mount))
            visible.push_back(*seen);
    }
    if (mount("plan", scratch, "tmpfs", MS_NOSUID, "mode=0700") != 0 || mkdir(new_root, 0755) != 0)
        fail(scratch);
    for (const VisibleMount &each : visible)
        show(each);
    if (world_sees == Sees::itself)
        show_itself();
    show_harmless_devices();
    if (world_sees == Sees::the_machine)
        show_mount_table(table);
    if (chdir(new_root) != 0 || chroot(".") != 0)
        fail("the private root");
    private_world = present_world();
}

int status_of(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return EXIT_FAILURE;
    }
    if (WIFSIGNALED(status))
        throw std::runtime_error("the run was ended by signal " + std::to_string(WTERMSIG(status)));
    return WEXITSTATUS(status);
}

int run_inside(int (*body)())
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        build_private_world();
        return body();
    } catch (const std::exception &error) {
        fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}

} // namespace

int in_private_world(Sees sees, int (*body)())
{
    world_sees = sees;
    real_world = present_world();
    if (unshare(CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWNET) != 0)
        fail("private namespaces");
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        fail("fork");
    if (child == 0) {
        const int status = run_inside(body);
        fflush(nullptr);
        _exit(status);
    }
    return status_of(child);
}

const std::vector<Layer> &layers()
{
    return all_layers;
}

const std::vector<std::string> &unchangeable_places()
{
    return all_unchangeable;
}

RealWorld::RealWorld()
{
    enter(real_world);
}

RealWorld::~RealWorld()
{
    enter(private_world);
}

} // namespace nasplan
