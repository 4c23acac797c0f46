// A router's root folder without daemons, for the library on the reference host: its own /etc, /tmp, /var and /mnt, the
// stores, and the machine's shell. Every program but a few small ones (mkdir, rm, ln ...) is a recorder that writes
// down which words it was really given. The process must be in a private world (host/hotplug/private_world.h).
#ifndef NAS_TESTS_PRIVATE_ROOT_H
#define NAS_TESTS_PRIVATE_ROOT_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace private_root
{

// Makes the root and goes there for good; ends the program when that fails. Further calls do nothing.
// The virtual router's packages (the folder that NAS_ROUTER_PACKAGES names) are its /router then.
void enter();

// Everything is as after the start: empty folders, empty stores, nothing recorded, one volume mounted as Disk1.
void clear();

void put_dir(const std::string &path);
void put_file(const std::string &path, std::string_view text);
std::string contents(const std::string &path); // empty when it is not there
void set_mounts(std::string_view text);        // /proc/mounts

// What the program says and leaves with from now on; without an answer: nothing, and 0.
void answer(const std::string &program, int status, const std::string &output = "");

// One run of a program.
struct Run {
    std::vector<std::string> words;
    std::string input; // what passwd and smbpasswd were told
};
std::vector<Run> runs();

// What lies below /etc, /tmp and /var: "0644 text", "0755/" for a folder, "-> target".
std::map<std::string, std::string> tree();

// The pairs of a store (config.db, status.db), and whether SQLite finds it whole.
using Pairs = std::map<std::string, std::string>;
Pairs stored(const std::string &store);
bool is_whole(const std::string &store);

// Calls `body` in a child process, whose output is dropped, and waits for all that it leaves running. True when it came
// to its end. The stores must be used in children only.
bool in_child(const std::function<void()> &body);

// For children of one's own: drops the output; waits for every process that is left.
void be_quiet();
void reap_all();

} // namespace private_root

#endif
