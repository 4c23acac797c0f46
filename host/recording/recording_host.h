// A host that acts on nothing: it defines every operation that the library expects of its host, stands in front of
// the C library's functions that leave the process, answers from what it was told, and writes every outside
// act as one line of one ordered transcript. It knows no test framework.
//
// Lines (a control character inside a line is shown as its picture, "␊" for a line feed):
//   run COMMAND -> STATUS           system and system2; STATUS is the exit status
//   popen COMMAND                   list NAME -> COUNT            a look at the process list
//   sleep SECONDS                   kill PID SIGNAL
//   set KEY = VALUE                 remove KEY                    the persistent store
//   set-status KEY = VALUE          remove-status KEY             the volatile store
//   request TEXT                    upnp TEXT                     log LEVEL ID [ARGUMENT]
//   write PATH                      chmod MODE PATH               mkdir MODE PATH
//   unlink PATH                     symlink TARGET PATH           rename FROM TO      rmdir PATH
//   stdout: LINE                    stderr: LINE
//   check-gateway GATEWAY ADDRESS MASK -> RESULT
//   flags OPERATION FLAGS           other flags than the host and the library agreed on
// and one for each setting of network and device. An act that failed ends in " -> failed".
// Between two acts the library's lines on standard error stand before those on standard output.
#ifndef NAS_RECORDING_HOST_H
#define NAS_RECORDING_HOST_H

#include "platform/device.h"
#include "platform/registration.h"

#include <climits>
#include <cstdint>
#include <ctime>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace nas_recording
{

// One of the two key-value stores. Reads are counted, not written to the transcript.
struct Store {
    std::map<std::string, std::optional<std::string>> values; // without a value: removed
    std::map<std::string, int> reads;                         // per key, absent ones too
    int total_reads = 0;
    bool refuses_writes = false;
    std::set<std::string> refused;                                        // keys that are neither written nor removed
    std::function<bool(const std::string &key, std::string &value)> live; // asked for keys that `values` lacks

    std::optional<std::string> look_up(const std::string &key) const;
    std::optional<std::string> read(const std::string &key);
};

// A running process: in the process list, seen by "/bin/pidof", ended by "killall" and kill.
struct Process {
    std::string name;            // its title up to the first blank: "proftpd:"
    std::string cmdline = {};    // default: the name
    std::string short_name = {}; // the kernel's; default: the name without a trailing colon
    int pid = 0;                 // default: the next free one
    int looks = -1;              // it is seen that often, then it has ended by itself; -1: no limit
    int kills = 1;               // that many kills end it; -1: nothing does
    bool only_forced = false;    // only signal 9 counts as a kill
};

// What a command answers: the exit statuses of its runs in order (the last one stays), and its output for popen.
// -1 stands for a command that could not be run at all. `effect` is what a run does to the world.
struct Command {
    std::string text;
    bool is_prefix = false;
    std::vector<int> exit_statuses = {0};
    std::string output = {};
    std::size_t runs = 0;
    std::function<void()> effect = {};
};

struct FileSystem {
    std::uint64_t block_size, blocks, free_blocks, available_blocks;
};

struct NetworkFacts {
    std::map<std::string, std::string> wan_ip;           // per WAN
    std::map<std::string, std::string> address;          // per interface
    std::map<std::string, std::string> mask;             // per interface
    std::map<std::string, std::string> gateway;          // per interface
    std::map<std::string, std::string> hwaddr;           // per interface
    std::map<std::string, std::string> neighbour;        // hardware address per IP address
    std::set<std::string> interfaces;                    // that exist
    std::set<std::string> links;                         // WANs with link
    std::set<std::string> set_up;                        // WANs that are set up
    std::map<std::string, std::string> wan_type;         // per WAN
    std::map<std::string, std::string> hw_ifname;        // per WAN
    std::vector<std::string> static_wan;                 // interface, address, mask, gateway
    std::map<std::string, std::vector<std::string>> dns; // two per interface and type: "eth1 static"
    std::vector<int> ftp_private_ports;
    int next_ftp_private_port = 0;
    bool gateway_is_local = false;
    int gateway_check = 0;                // of check_default_gateway
    std::set<std::string> refused_routes; // interfaces that no default gateway can be set for
    int route_refusal = -1;               // what is said then: any number but 0
    bool dns_is_automatic = true;
};

struct DeviceFacts {
    std::string product;
    HardwareInfo hardware = {};
    bool factory_test_mode = false;
    bool diagnostics = false;
    std::set<std::string> modules;
    std::optional<LedSilentControl> silent_leds;
    std::map<std::string, std::vector<DdnsConfig>> ddns; // per service type
    std::function<int(const char *input, unsigned char *output, int capacity, int option1, int option2, int length)>
        cipher; // without one: every bit is turned over
};

class RecordingHost
{
  public:
    RecordingHost();
    ~RecordingHost();
    RecordingHost(const RecordingHost &) = delete;
    RecordingHost &operator=(const RecordingHost &) = delete;

    // Calls the library. Only what happens in here is recorded; outside, the C library's functions act as ever.
    template <class Function, class... Arguments>
    auto call(Function function, Arguments... arguments)
    {
        const Recording recording(*this);
        return function(arguments...);
    }

    // Every line so far, each ended by a line feed.
    std::string transcript() const;
    const std::vector<std::string> &lines() const
    {
        return lines_;
    }
    int count_lines(std::string_view beginning) const;
    void forget(); // the lines and the counts; what is set up stays

    void set_config(const std::string &key, const std::string &value);
    void set_status(const std::string &key, const std::string &value);
    void add_process(Process process);
    void on_command(const std::string &text, std::vector<int> exit_statuses, std::string output = {});
    void on_command_prefix(const std::string &text, std::vector<int> exit_statuses, std::string output = {});

    Store config;
    Store status;
    std::vector<Process> processes;
    std::vector<Command> commands;                           // the first that fits answers; without one: status 0
    std::map<std::string, FileSystem> file_systems;          // per path for statfs; other paths fail
    std::function<bool(const std::string &path)> fails = {}; // acts on which paths fail, without being done
    // Asked before `commands` and `file_systems`. The exit status of a command, and what it says.
    std::function<std::optional<int>(const std::string &command, std::string &output)> live_command = {};
    std::function<bool(const std::string &path, FileSystem &facts)> live_file_system = {};
    NetworkFacts network;
    DeviceFacts device;
    std::time_t now = 1'000'000'000;
    unsigned random = 0;         // the library's srand sets it, its rand counts on from it
    int request_result = 0;      // of signal_nas
    int yes = INT_MIN;           // of operations that say yes by any number but 0: nobody may take more for granted
    bool passes_files_on = true; // false: writes to the file system are recorded, not done

    int statfs_calls = 0;
    int open_process_lists = 0; // got and not yet released
    int process_list_calls = 0;

    // For the operations.
    void record(const std::string &line);
    void record_act(std::string line, bool done); // with " -> failed" when it was not
    int run(const std::string &command);          // records; returns a status as system does
    std::string open_output(const std::string &command, int &result);
    std::vector<Process> look_for(const char *name);
    void signal(const std::string &name, int pid, int signal); // by name or pid

  private:
    struct Recording {
        explicit Recording(RecordingHost &host);
        ~Recording();
        Recording(const Recording &) = delete;
        Recording &operator=(const Recording &) = delete;
        RecordingHost &host;
    };
    void drain_output();
    Command *find_command(const std::string &command);
    int exit_status_of(const std::string &command, std::string &output);

    std::vector<std::string> lines_;
    int next_pid_ = 1000;
};

// The host that answers now; ends the program when there is none.
RecordingHost &host();

// The host that records now: null outside RecordingHost::call.
RecordingHost *recording();

// While it lives, what happens is the host's own doing, not the library's.
struct HostsOwnDoing {
    HostsOwnDoing();
    ~HostsOwnDoing();
    HostsOwnDoing(const HostsOwnDoing &) = delete;
    HostsOwnDoing &operator=(const HostsOwnDoing &) = delete;
};

// True while the library itself runs: inside a call, outside of every operation of the host.
bool in_library();

// Refuse (with a message and the program's end) to run a command, or to rename the machine, outside a call.
void refuse_unrecorded_acts();

// Copies a text, cut at the room that the caller says it has, and uses all of it: a caller that has less is found out.
void copy_bounded(char *to, std::size_t room, std::string_view from);

// A line's text with control characters shown as their pictures.
std::string visible(std::string_view text);

// The words with a blank between two; "(none)" for null.
std::string words(std::initializer_list<const char *> all);

} // namespace nas_recording

#endif
