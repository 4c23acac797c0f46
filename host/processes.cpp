#include "processes.h"

#include "files.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace nashost
{
namespace
{

/* Longer than any name or command line that a ProcessEntry can hold. */
constexpr size_t command_line_limit = 4096;
constexpr unsigned kernel_thread_flag = 0x00200000; // PF_KTHREAD of the kernel

std::string proc_path(int pid, const char *file)
{
    return "/proc/" + std::to_string(pid) + "/" + file;
}

} // namespace

std::vector<int> process_ids()
{
    std::vector<int> ids;
    std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir("/proc"), closedir);
    if (!folder)
        return ids;
    while (const dirent *entry = readdir(folder.get())) {
        int pid = atoi(entry->d_name);
        if (pid > 0)
            ids.push_back(pid);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::optional<ProcessState> process_state(int pid)
{
    std::optional<std::string> text = read_text(proc_path(pid, "stat"), 1024);
    if (!text)
        return std::nullopt;
    // "12 (name) S 1 ...": the name itself may hold blanks and parentheses.
    size_t open = text->find('('), close = text->rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open)
        return std::nullopt;
    char letter = '\0';
    unsigned flags = 0;
    if (sscanf(text->c_str() + close + 1, " %c %*d %*d %*d %*d %*d %u", &letter, &flags) != 2)
        return std::nullopt;
    ProcessState state;
    state.short_name = text->substr(open + 1, close - open - 1);
    state.zombie = letter == 'Z' || letter == 'X';
    state.kernel_thread = (flags & kernel_thread_flag) != 0;
    return state;
}

/* The kernel counts in ticks since it was booted itself. */
std::optional<time_t> process_start(int pid)
{
    const std::string stat = read_text(proc_path(pid, "stat"), 1024).value_or("");
    const size_t close = stat.rfind(')');
    unsigned long long ticks = 0;
    if (close == std::string::npos ||
        sscanf(stat.c_str() + close + 1,
               " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu", &ticks) != 1)
        return std::nullopt;
    timespec now = {}, up = {};
    clock_gettime(CLOCK_REALTIME, &now);
    clock_gettime(CLOCK_BOOTTIME, &up);
    const auto seconds = static_cast<time_t>(ticks / static_cast<unsigned long long>(sysconf(_SC_CLK_TCK)));
    return now.tv_sec - up.tv_sec + seconds;
}

/* The words end in null bytes; a process that rewrote its title may leave many at the end. */
std::string process_command_line(int pid)
{
    std::string raw = read_text(proc_path(pid, "cmdline"), command_line_limit).value_or("");
    std::string line;
    for (char c : raw) {
        if (c != '\0')
            line += c;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    return line;
}

std::string title_name(const std::string &command_line)
{
    std::string word = command_line.substr(0, command_line.find(' '));
    return word.substr(word.rfind('/') + 1);
}

} // namespace nashost
