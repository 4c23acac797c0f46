/* What /proc tells about one process. */
#ifndef NASHOST_PROCESSES_H
#define NASHOST_PROCESSES_H

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace nashost
{

struct ProcessState {
    std::string short_name; /* the kernel's name of it, at most 15 characters */
    bool zombie = false;
    bool kernel_thread = false;
};

/* The pids of all processes, ascending. */
std::vector<int> process_ids();

/* Empty when there is no such process (any more). */
std::optional<ProcessState> process_state(int pid);

/* When it was started. */
std::optional<time_t> process_start(int pid);

/* The command line with one blank between the words, cut; empty for kernel threads and zombies. */
std::string process_command_line(int pid);

/* The title's name: its text up to the first blank, without directories. */
std::string title_name(const std::string &command_line);

} // namespace nashost

#endif
