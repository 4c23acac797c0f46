#include "recording/recording_host.h"

#include "recording/output_capture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace nas_recording
{
namespace
{

RecordingHost *current_host;
RecordingHost *recording_now;
int host_depth; // of HostsOwnDoing
bool refusing;

constexpr int KILL_SIGNAL = 9;
constexpr int TERMINATE_SIGNAL = 15;

// "/usr/bin/killall -9 NAME", "killall NAME": the signal and the name.
std::optional<std::pair<int, std::string>> parse_killall(std::string_view command)
{
    for (std::string_view path : {"/usr/bin/killall ", "killall "}) {
        if (!command.starts_with(path))
            continue;
        command.remove_prefix(path.size());
        const bool forced = command.starts_with("-9 ");
        if (forced)
            command.remove_prefix(3);
        return std::pair(forced ? KILL_SIGNAL : TERMINATE_SIGNAL, std::string(command));
    }
    return std::nullopt;
}

bool is_named(const Process &process, const std::string &name)
{
    return process.name == name || process.short_name == name;
}

void append_lines(std::vector<std::string> &lines, const std::string &channel, const std::string &text)
{
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            lines.push_back(channel + ": " + visible(text.substr(begin)) + " (unfinished)");
            return;
        }
        lines.push_back(channel + ": " + visible(text.substr(begin, end - begin)));
        begin = end + 1;
    }
}

} // namespace

void copy_bounded(char *to, std::size_t room, std::string_view from)
{
    const std::size_t length = from.copy(to, room - 1);
    std::memset(to + length, '#', room - length);
    to[length] = '\0';
}

std::string visible(std::string_view text)
{
    std::string shown;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20) {
            shown += "\xe2\x90";
            shown += static_cast<char>(0x80 + code);
        } else if (code == 0x7f) {
            shown += "\xe2\x90\xa1";
        } else {
            shown += c;
        }
    }
    return shown;
}

std::string words(std::initializer_list<const char *> all)
{
    std::string line;
    for (const char *word : all) {
        if (!line.empty())
            line += ' ';
        line += word == nullptr ? "(none)" : word;
    }
    return line;
}

RecordingHost &host()
{
    if (current_host == nullptr) {
        std::fprintf(stderr, "an operation of the host was called, but there is no recording host\n");
        std::abort();
    }
    return *current_host;
}

RecordingHost *recording()
{
    if (recording_now == nullptr && refusing) {
        std::fprintf(stderr, "an outside act was tried outside of RecordingHost::call\n");
        std::abort();
    }
    return recording_now;
}

void refuse_unrecorded_acts()
{
    refusing = true;
}

HostsOwnDoing::HostsOwnDoing()
{
    ++host_depth;
}

HostsOwnDoing::~HostsOwnDoing()
{
    --host_depth;
}

bool in_library()
{
    return recording_now != nullptr && host_depth == 0;
}

RecordingHost::RecordingHost()
{
    current_host = this;
}

RecordingHost::~RecordingHost()
{
    current_host = nullptr;
}

RecordingHost::Recording::Recording(RecordingHost &owner) : host(owner)
{
    begin_output_capture();
    recording_now = &owner;
}

RecordingHost::Recording::~Recording()
{
    const HostsOwnDoing mine;
    host.drain_output();
    recording_now = nullptr;
    end_output_capture();
}

std::string RecordingHost::transcript() const
{
    std::string text;
    for (const std::string &line : lines_)
        text += line + "\n";
    return text;
}

int RecordingHost::count_lines(std::string_view beginning) const
{
    return static_cast<int>(std::count_if(lines_.begin(), lines_.end(),
                                          [&](const std::string &line) { return line.starts_with(beginning); }));
}

void RecordingHost::forget()
{
    lines_.clear();
    for (Store *store : {&config, &status}) {
        store->reads.clear();
        store->total_reads = 0;
    }
    statfs_calls = 0;
    process_list_calls = 0;
}

void RecordingHost::set_config(const std::string &key, const std::string &value)
{
    config.values[key] = value;
}

void RecordingHost::set_status(const std::string &key, const std::string &value)
{
    status.values[key] = value;
}

void RecordingHost::add_process(Process process)
{
    if (process.cmdline.empty())
        process.cmdline = process.name;
    if (process.short_name.empty()) {
        process.short_name = process.name;
        if (process.short_name.ends_with(':'))
            process.short_name.pop_back();
    }
    if (process.pid == 0)
        process.pid = next_pid_++;
    processes.push_back(std::move(process));
}

void RecordingHost::on_command(const std::string &text, std::vector<int> exit_statuses, std::string output)
{
    commands.push_back({text, false, std::move(exit_statuses), std::move(output)});
}

void RecordingHost::on_command_prefix(const std::string &text, std::vector<int> exit_statuses, std::string output)
{
    commands.push_back({text, true, std::move(exit_statuses), std::move(output)});
}

void RecordingHost::drain_output()
{
    if (recording_now == nullptr)
        return;
    append_lines(lines_, "stderr", take_captured_stderr());
    append_lines(lines_, "stdout", take_captured_stdout());
}

void RecordingHost::record(const std::string &line)
{
    drain_output();
    lines_.push_back(visible(line));
}

void RecordingHost::record_act(std::string line, bool done)
{
    if (!done)
        line += " -> failed";
    record(line);
}

Command *RecordingHost::find_command(const std::string &command)
{
    for (Command &candidate : commands) {
        if (candidate.is_prefix ? command.starts_with(candidate.text) : command == candidate.text)
            return &candidate;
    }
    return nullptr;
}

int RecordingHost::exit_status_of(const std::string &command, std::string &output)
{
    if (live_command) {
        if (const std::optional<int> answer = live_command(command, output))
            return *answer;
    }
    if (Command *scripted = find_command(command)) {
        if (scripted->effect)
            scripted->effect();
        output = scripted->output;
        const std::size_t last = scripted->exit_statuses.size() - 1;
        return scripted->exit_statuses[std::min(scripted->runs++, last)];
    }
    constexpr std::string_view pidof = "/bin/pidof ";
    if (command.starts_with(pidof))
        return look_for(command.substr(pidof.size()).c_str()).empty() ? 1 : 0;
    if (const auto kill = parse_killall(command)) {
        const bool there = std::any_of(processes.begin(), processes.end(),
                                       [&](const Process &process) { return is_named(process, kill->second); });
        signal(kill->second, 0, kill->first);
        return there ? 0 : 1;
    }
    return 0;
}

int RecordingHost::run(const std::string &command)
{
    std::string output;
    const int exit_status = exit_status_of(command, output);
    if (exit_status < 0) {
        record("run " + command + " -> failed");
        return -1;
    }
    record("run " + command + " -> " + std::to_string(exit_status));
    return exit_status << 8;
}

std::string RecordingHost::open_output(const std::string &command, int &result)
{
    record("popen " + command);
    std::string output;
    result = exit_status_of(command, output) << 8;
    return output;
}

std::vector<Process> RecordingHost::look_for(const char *name)
{
    std::vector<Process> found;
    for (Process &process : processes) {
        if (process.looks == 0 || (name != nullptr && !is_named(process, name)))
            continue;
        if (process.looks > 0)
            --process.looks;
        found.push_back(process);
    }
    return found;
}

void RecordingHost::signal(const std::string &name, int pid, int signal)
{
    for (Process &process : processes) {
        const bool meant = pid != 0 ? process.pid == pid : is_named(process, name);
        if (meant && process.kills > 0 && (signal == KILL_SIGNAL || !process.only_forced))
            --process.kills;
    }
    std::erase_if(processes, [](const Process &process) { return process.kills == 0; });
}

} // namespace nas_recording
