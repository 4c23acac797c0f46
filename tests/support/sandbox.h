// A place where the fixed paths are real files and nothing reaches the machine.
//
// in_sandbox runs the tests in private mount, process, name, IPC and network namespaces; a Sandbox then lays an empty
// file system over each of /etc, /tmp, /var, /mnt, /proc and /sys and takes them away again. As on the device,
// /mnt and /tmp/mnt are one place.
#ifndef NAS_TESTS_SANDBOX_H
#define NAS_TESTS_SANDBOX_H

#include <string>
#include <string_view>
#include <sys/types.h>

namespace nas_test
{

enum { NO_NAMESPACES = 77 }; // the exit status when there is no way to get them

// Runs `body` in a child of its own in fresh namespaces and ends the program with its exit status. Started as root it
// uses root's rights, else a user namespace. Returns only when neither works: says what is needed, NO_NAMESPACES.
int in_sandbox(int (*body)());

// What becomes of the kernel's own /proc: covered like the rest, or kept but for the two tables that the library reads
// there (a program that stays in one sandbox needs it for its leak checker).
enum class KernelProc { covered, kept };

class Sandbox
{
  public:
    explicit Sandbox(KernelProc proc = KernelProc::covered);
    ~Sandbox();
    Sandbox(const Sandbox &) = delete;
    Sandbox &operator=(const Sandbox &) = delete;

    // Makes the folders above the path, too.
    void put_dir(const std::string &path, mode_t mode = 0755);
    void put_file(const std::string &path, std::string_view text, mode_t mode = 0644);
    void put_link(const std::string &path, const std::string &target);
    void remove_file(const std::string &path);

    void set_mounts(std::string_view text);     // /proc/mounts
    void set_partitions(std::string_view text); // /proc/partitions

    // Empties it, as if it were made anew.
    void clear();

  private:
    KernelProc proc_;
};

bool exists(const std::string &path);
mode_t mode_of(const std::string &path); // permission bits; 0 when it is not there

// The whole file; ends the test program when it cannot be read.
std::string read_file(const std::string &path);

// What lies below /etc, /mnt, /tmp and /var, a line each, ordered: "dir 0755 /mnt/Disk1", "file 0644 /etc/x",
// "link /etc/y -> x". /tmp/mnt is left out, since it is /mnt.
std::string list_tree();

} // namespace nas_test

#endif
