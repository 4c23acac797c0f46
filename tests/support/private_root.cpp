#include "support/private_root.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace private_root
{
namespace
{

namespace fs = std::filesystem;

const std::string root = "/mnt/root"; // below the private world's own tmpfs

// All that the library's commands name.
constexpr const char *recorded[] = {"bin/adduser",
                                    "bin/cp",
                                    "bin/deluser",
                                    "bin/lpadmin",
                                    "bin/lpinfo",
                                    "bin/lpstat",
                                    "bin/mknod",
                                    "bin/mount",
                                    "bin/mount.exfat-fuse",
                                    "bin/pidof",
                                    "bin/umount",
                                    "bin/kill",
                                    "sbin/hdparm",
                                    "sbin/htdigest",
                                    "sbin/insmod",
                                    "sbin/iptables",
                                    "sbin/lighttpd",
                                    "sbin/lighttpd_kelsto",
                                    "sbin/minidlna",
                                    "sbin/nalvexcloud",
                                    "sbin/nmbd",
                                    "sbin/proftpd",
                                    "sbin/rmmod",
                                    "sbin/rsync",
                                    "sbin/serviced",
                                    "sbin/smbd",
                                    "sbin/smbpasswd",
                                    "sbin/transmission-daemon",
                                    "sbin/usbmount",
                                    "sbin/usbumount",
                                    "usr/bin/find",
                                    "usr/bin/killall",
                                    "usr/bin/passwd",
                                    "usr/bin/wget",
                                    "usr/sbin/chroot",
                                    "usr/sbin/telnetd"};

// Recorded, then done.
constexpr const char *real_programs[] = {"chmod", "cut", "echo", "grep", "ln", "mkdir", "rm", "touch"};

constexpr const char *own_folders[] = {"/etc", "/tmp", "/var", "/proc", "/nas"};

[[noreturn]] void fail(const std::string &what)
{
    std::fprintf(stderr, "private root: %s: %s\n", what.c_str(), std::strerror(errno));
    std::exit(EXIT_FAILURE);
}

void must(bool done, const std::string &what)
{
    if (!done)
        fail(what);
}

void bind_mount(const std::string &from, const std::string &to)
{
    must(mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0, to);
}

void make_folders()
{
    for (const char *folder :
         {"bin", "sbin", "dev", "usr/bin", "usr/sbin", "usr/lib", "usr/lib64", "nas-programs/real"})
        fs::create_directories(root + "/" + folder);
    for (const char *folder : own_folders)
        fs::create_directory(root + folder);
    fs::create_directory_symlink("tmp/mnt", root + "/mnt");
    fs::create_directory_symlink("usr/lib", root + "/lib");
    fs::create_directory_symlink("usr/lib64", root + "/lib64");
    bind_mount("/usr/lib", root + "/usr/lib");
    bind_mount(fs::is_directory("/usr/lib64") ? "/usr/lib64" : "/lib64", root + "/usr/lib64");
    std::ofstream(root + "/dev/null").close();
    bind_mount("/dev/null", root + "/dev/null");
}

// Read-only but for what its programs write to: folders of its own.
void make_router(const char *packages)
{
    const std::string router = root + "/router";
    fs::create_directory(router);
    bind_mount(packages, router);
    must(mount(nullptr, router.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0, router);
    for (const char *folder : {"/dev", "/etc", "/tmp", "/var", "/run"})
        must(mount("router", (router + folder).c_str(), "tmpfs", MS_NOSUID, "mode=0755") == 0, folder);
    std::ofstream(router + "/dev/null").close();
    bind_mount("/dev/null", router + "/dev/null");
}

void make_programs()
{
    const std::string recorder = "/nas-programs/recorder";
    fs::copy_file(NAS_RECORDER, root + recorder);
    for (const char *program : recorded)
        fs::create_symlink(recorder, root + "/" + program);
    for (const char *program : real_programs) {
        fs::copy_file(std::string("/bin/") + program, root + "/nas-programs/real/" + program);
        fs::create_symlink(recorder, root + "/bin/" + program);
    }
    fs::copy_file("/bin/sh", root + "/bin/sh");
}

// All paths in one folder, so that one mount empties them.
constexpr char settings[] = "config_store = /nas/config.db\n"
                            "status_store = /nas/status.db\n"
                            "event_log = /nas/events\n"
                            "led_dir = /nas/led\n"
                            "run_dir = /nas/run\n"
                            "modules_file = /nas/modules\n"
                            "serviced_socket = /nas/serviced.sock\n"
                            "upnp_socket = /nas/upnp.sock\n"
                            "registration_key = kept between two\n";

std::string next_text(std::ifstream &file)
{
    size_t length = 0;
    file >> length;
    file.get(); // the colon
    std::string text(length, '\0');
    file.read(text.data(), static_cast<std::streamsize>(length));
    return text;
}

std::string described(const fs::directory_entry &entry)
{
    struct stat facts;
    must(lstat(entry.path().c_str(), &facts) == 0, entry.path());
    char mode[16];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(facts.st_mode & 07777));
    if (S_ISLNK(facts.st_mode))
        return "-> " + fs::read_symlink(entry.path()).string();
    return S_ISDIR(facts.st_mode) ? std::string(mode) + "/" : std::string(mode) + " " + contents(entry.path());
}

// Calls `row` with the columns of each row of the answer; false when the store cannot be asked.
bool ask(const std::string &store, const char *statement, const std::function<void(sqlite3_stmt *)> &row)
{
    sqlite3 *database = nullptr;
    sqlite3_stmt *question = nullptr;
    int result = sqlite3_open_v2(("/nas/" + store).c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
    if (result == SQLITE_OK)
        result = sqlite3_prepare_v2(database, statement, -1, &question, nullptr);
    while (result == SQLITE_OK || result == SQLITE_ROW) {
        result = sqlite3_step(question);
        if (result == SQLITE_ROW)
            row(question);
    }
    sqlite3_finalize(question);
    sqlite3_close(database);
    return result == SQLITE_DONE;
}

std::string column(sqlite3_stmt *row, int index)
{
    const char *text = reinterpret_cast<const char *>(sqlite3_column_text(row, index));
    return text == nullptr ? "" : text;
}

} // namespace

void enter()
{
    static bool inside = false;
    if (inside)
        return;
    inside = true;
    fs::create_directory(root);
    make_folders();
    make_programs();
    if (const char *packages = std::getenv("NAS_ROUTER_PACKAGES"))
        make_router(packages);
    must(chroot(root.c_str()) == 0 && chdir("/") == 0, root);
    must(prctl(PR_SET_CHILD_SUBREAPER, 1) == 0, "orphans");
    setenv("PATH", "/bin:/sbin:/usr/bin:/usr/sbin", 1);
    setenv("NAS_HOST_CONF", "/nas/conf", 1);
    for (const char *folder : own_folders)
        must(mount("private-root", folder, "tmpfs", MS_NOSUID, "mode=0755") == 0, folder);
    clear();
}

void clear()
{
    for (const char *folder : own_folders) {
        must(umount2(folder, MNT_DETACH) == 0, folder);
        must(mount("private-root", folder, "tmpfs", MS_NOSUID, "mode=0755") == 0, folder);
    }
    for (const char *folder :
         {"/nas/answers", "/nas/led", "/nas/run", "/tmp/mnt/Disk1", "/tmp/webroot", "/var/run", "/etc/samba"})
        put_dir(folder);
    put_file("/nas/conf", settings);
    put_file("/nas/modules", "");
    set_mounts("/dev/sda1 /tmp/mnt/Disk1 ext4 rw 0 0\n");
    answer("pidof", 1);
}

void put_dir(const std::string &path)
{
    fs::create_directories(path);
}

void put_file(const std::string &path, std::string_view text)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream file(path, std::ios::trunc);
    must(static_cast<bool>(file << text << std::flush), path);
}

std::string contents(const std::string &path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

void set_mounts(std::string_view text)
{
    put_file("/proc/mounts", text);
}

void answer(const std::string &program, int status, const std::string &output)
{
    put_file("/nas/answers/" + program, std::to_string(status) + "\n" + output);
}

std::vector<Run> runs()
{
    std::vector<Run> all;
    std::ifstream file("/nas/runs");
    for (size_t words = 0; file >> words;) {
        Run run;
        file.get(); // the blank behind the number
        while (words-- > 0)
            run.words.push_back(next_text(file));
        run.input = next_text(file);
        all.push_back(run);
    }
    return all;
}

std::map<std::string, std::string> tree()
{
    std::map<std::string, std::string> all;
    for (const char *folder : {"/etc", "/tmp", "/var"})
        for (const auto &entry : fs::recursive_directory_iterator(folder))
            all[entry.path()] = described(entry);
    return all;
}

Pairs stored(const std::string &store)
{
    Pairs pairs;
    ask(store, "SELECT key, value FROM pair", [&](sqlite3_stmt *row) { pairs[column(row, 0)] = column(row, 1); });
    return pairs;
}

bool is_whole(const std::string &store)
{
    std::string verdict;
    return ask(store, "PRAGMA integrity_check", [&](sqlite3_stmt *row) { verdict += column(row, 0); }) &&
           verdict == "ok";
}

bool in_child(const std::function<void()> &body)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        be_quiet();
        body();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    reap_all();
    return status == 0;
}

void be_quiet()
{
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int fd = 0; fd <= 2; fd++)
        dup2(nothing, fd);
}

void reap_all()
{
    while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR)
        continue;
}

} // namespace private_root
