#include "plan/commands.h"

#include "nas/service.h"
#include "plan/command_line.h"
#include "plan/live_host.h"
#include "platform/process.h"
#include "processes.h"
#include "recording/recording_host.h"
#include "text.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <set>
#include <sstream>

namespace nasplan
{
namespace
{

using nas_recording::Process;
using nas_recording::RecordingHost;

constexpr int not_found = 127; /* a shell's exit status */
constexpr int beyond_the_kernels_pids = 1 << 30;

/* The shell is spawned, not forked: the live host's library would take a fork for its own. */
pid_t spawn_shell(const std::string &command, int output)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string name = "sh", option = "-c", line = command;
    char *const words[] = {name.data(), option.data(), line.data(), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/bin/sh", &actions, nullptr, words, environ) != 0)
        child = -1;
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

/* Runs the command in the private world. */
int run_for_real(const std::string &command, std::string &output)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return not_found;
    const pid_t child = spawn_shell(command, ends[1]);
    close(ends[1]);
    char part[4096];
    for (ssize_t got; (got = read(ends[0], part, sizeof part)) > 0;)
        output.append(part, static_cast<size_t>(got));
    close(ends[0]);
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : not_found;
}

bool is_builtin(const std::string &program)
{
    static const std::set<std::string> builtins = {"cd", "echo", "exit", "export", "set", "test", "true", "ulimit"};
    return builtins.contains(program);
}

bool is_there(const std::string &program)
{
    if (program.find('/') != std::string::npos || is_builtin(program))
        return is_builtin(program) || access(program.c_str(), X_OK) == 0;
    const char *const path = getenv("PATH");
    for (std::string candidate : nashost::split(path != nullptr ? path : "/bin:/usr/bin", ':')) {
        candidate += "/" + program;
        if (access(candidate.c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

std::set<int> numbers_in(const std::string &text)
{
    std::set<int> numbers;
    std::istringstream words(text);
    for (int number = 0; words >> number;)
        numbers.insert(number);
    return numbers;
}

/* The machine's processes of that name, as its own pidof tells them, and those that the plan has started. */
std::set<int> find_processes(const RecordingHost &host, const std::string &name)
{
    std::string output;
    run_for_real("pidof '" + name + "'", output);
    std::set<int> found, present = numbers_in(output);
    for (const Process &process : host.processes) {
        if (present.contains(process.pid) || process.name == name || process.short_name == name)
            found.insert(process.pid);
    }
    return found;
}

int answer_pidof(const RecordingHost &host, const std::vector<std::string> &words, std::string &output)
{
    for (size_t i = 1; i < words.size(); i++) {
        for (const int pid : find_processes(host, words[i]))
            output += (output.empty() ? "" : " ") + std::to_string(pid);
    }
    output += output.empty() ? "" : "\n";
    return output.empty() ? 1 : 0;
}

/* "killall [-9] NAME...", "kill [-9] PID..." */
int answer_kill(RecordingHost &host, const std::vector<std::string> &words)
{
    std::set<int> victims;
    int signal = SIGTERM;
    for (size_t i = 1; i < words.size(); i++) {
        if (words[i].starts_with("-"))
            signal = nashost::decimal_value(words[i].c_str() + 1);
        else if (program_name(words.front()) == "kill")
            victims.merge(numbers_in(words[i]));
        else
            victims.merge(find_processes(host, words[i]));
    }
    auto is_victim = [&](const Process &process) { return victims.contains(process.pid); };
    const auto there = std::count_if(host.processes.begin(), host.processes.end(), is_victim);
    if (signal != 0)
        std::erase_if(host.processes, is_victim);
    return there > 0 ? 0 : 1;
}

/* A daemon is known by the name that the service table has for it. */
Process started_process(const std::string &program, const std::string &line)
{
    static int next_pid = beyond_the_kernels_pids;
    Process process = {.name = program, .cmdline = line, .short_name = program, .pid = next_pid++};
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; row++) {
        if (program == row->kill_name)
            process.name = row->process_name;
    }
    return process;
}

int assume(RecordingHost &host, const std::string &line)
{
    for (const std::vector<std::string> &words : simple_commands(line)) {
        const std::string &program = words.front();
        if (!is_there(program))
            return not_found;
        if (!is_builtin(program_name(program)))
            host.add_process(started_process(program_name(program), line));
    }
    return 0;
}

int answer(RecordingHost &host, const std::string &line, std::string &output)
{
    const std::vector<std::vector<std::string>> commands = simple_commands(line);
    switch (kind_of(line)) {
    case CommandKind::kill:
        return is_there(commands.front().front()) ? answer_kill(host, commands.front()) : not_found;
    case CommandKind::performed:
        if (commands.size() == 1 && program_name(commands.front().front()) == "pidof")
            return is_there(commands.front().front()) ? answer_pidof(host, commands.front(), output) : not_found;
        return run_for_real(line, output);
    case CommandKind::assumed:
        break;
    }
    return assume(host, line);
}

void take_over_processes(RecordingHost &host)
{
    ProcessList list = {};
    ask_live_host(get_process_list, "get_process_list", nullptr, &list, 0);
    for (const ProcessEntry *entry = list.first; entry != nullptr; entry = entry->next) {
        const std::optional<nashost::ProcessState> state = nashost::process_state(entry->pid);
        host.add_process({.name = entry->name,
                          .cmdline = entry->cmdline,
                          .short_name = state && !state->kernel_thread ? state->short_name : entry->name,
                          .pid = entry->pid});
    }
    ask_live_host(free_process_list, "free_process_list", &list);
}

} // namespace

void answer_commands(RecordingHost &host)
{
    take_over_processes(host);
    host.live_command = [&host](const std::string &command, std::string &output) {
        return answer(host, command, output);
    };
}

} // namespace nasplan
