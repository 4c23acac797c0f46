/* Processes, the shell and small files: platform/process.h. */
#include "platform/process.h"

#include "files.h"
#include "processes.h"
#include "text.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace
{

/* Does a named query find this process? The kernel cuts its own name to 15 characters. A longer query can
 * therefore only be met by the title: to compare its first 15 characters would take "transmission-daemon"
 * for "transmission-daXYZ". A query of 15 characters finds the cut name itself. */
bool is_named(const char *query, const std::string &name, const std::string &short_name)
{
    return name == query || short_name == query;
}

ProcessEntry *new_entry(int pid, const std::string &name, const std::string &command_line)
{
    auto *entry = new (std::nothrow) ProcessEntry{};
    if (entry == nullptr)
        return nullptr;
    entry->pid = pid;
    nashost::copy_cut(entry->name, sizeof entry->name, name);
    nashost::copy_cut(entry->cmdline, sizeof entry->cmdline, command_line);
    return entry;
}

/* A zombie does not run. A kernel thread has no title: it stands in the full list as "[name]", so that it is
 * never taken for a daemon. A program that wiped its title is known by the kernel's name of it. */
ProcessEntry *matching_entry(int pid, const char *query)
{
    std::optional<nashost::ProcessState> state = nashost::process_state(pid);
    if (!state || state->zombie)
        return nullptr;
    if (state->kernel_thread)
        return query == nullptr ? new_entry(pid, "[" + state->short_name + "]", "") : nullptr;
    std::string command_line = nashost::process_command_line(pid);
    std::string name = nashost::title_name(command_line);
    if (name.empty())
        name = state->short_name;
    if (query != nullptr && !is_named(query, name, state->short_name))
        return nullptr;
    return new_entry(pid, name, command_line);
}

/* 0 and negative numbers would reach whole groups of processes, and pid 1 is never a daemon. */
int daemon_pid(const char *pid_file)
{
    int pid = get_file_value(pid_file, 1);
    return pid > 1 ? pid : 0;
}

constexpr char quote_escape[] = "'\\''";
constexpr size_t quote_escape_length = sizeof quote_escape - 1;

size_t quoted_length(char c)
{
    return c == '\'' ? quote_escape_length : 1;
}

} // namespace

/* Returns what `system` returned: 0 for success, otherwise a wait status (see WEXITSTATUS), -1 for no shell. */
int system2(const char *format, ...)
{
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    int length = vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    int status = -1;
    if (length >= 0) {
        std::vector<char> line(static_cast<size_t>(length) + 1);
        vsnprintf(line.data(), line.size(), format, again);
        status = system(line.data());
    }
    va_end(again);
    return status;
}

int get_process_list(const char *name, struct ProcessList *list, int)
{
    *list = {};
    ProcessEntry **tail = &list->first;
    for (int pid : nashost::process_ids()) {
        ProcessEntry *entry = matching_entry(pid, name);
        if (entry == nullptr)
            continue;
        *tail = entry;
        tail = &entry->next;
        list->count++;
    }
    return list->count;
}

int free_process_list(struct ProcessList *list)
{
    while (list->first != nullptr) {
        ProcessEntry *entry = list->first;
        list->first = entry->next;
        delete entry;
    }
    list->count = 0;
    return 0;
}

/* A zombie still answers to signal 0, so /proc is asked. */
int check_process2(const char *pid_file)
{
    int pid = daemon_pid(pid_file);
    if (pid == 0)
        return 0;
    std::optional<nashost::ProcessState> state = nashost::process_state(pid);
    return state && !state->zombie;
}

int kill_process2(const char *pid_file, int signal)
{
    int pid = daemon_pid(pid_file);
    return pid != 0 && kill(pid, signal) == 0 ? 0 : -1;
}

/* The text is laid out from its end, so that nothing is overwritten before it is read. */
char *quote_r(char *text, int capacity)
{
    if (capacity <= 0)
        return text;
    size_t room = static_cast<size_t>(capacity) - 1;
    size_t kept = 0, length = 0;
    while (kept < room && text[kept] != '\0' && length + quoted_length(text[kept]) <= room)
        length += quoted_length(text[kept++]);

    text[length] = '\0';
    for (size_t to = length; kept > 0;) {
        char c = text[--kept];
        to -= quoted_length(c);
        if (c == '\'')
            memcpy(text + to, quote_escape, quote_escape_length);
        else
            text[to] = c;
    }
    return text;
}

char *sf_strncpy(char *dst, const char *src, int size)
{
    if (size <= 0)
        return dst;
    size_t length = strnlen(src, static_cast<size_t>(size) - 1);
    memmove(dst, src, length);
    dst[length] = '\0';
    return dst;
}

int write_file(const char *path, const char *text)
{
    return nashost::replace_file(path, text) ? 0 : -1;
}

/* A file that cannot be read leaves `buffer` as it was. */
int get_file_string(const char *path, char *buffer, int size)
{
    if (size <= 0)
        return 0;
    std::optional<std::string> text = nashost::read_text(path, static_cast<size_t>(size) - 1);
    if (!text)
        return 0;
    if (!text->empty() && text->back() == '\n')
        text->pop_back();
    nashost::copy_cut(buffer, static_cast<size_t>(size), *text);
    return 1;
}

int get_file_value(const char *path, int)
{
    char text[64];
    return get_file_string(path, text, sizeof text) ? nashost::decimal_value(text) : 0;
}

int file_exists(const char *path)
{
    return access(path, F_OK) == 0;
}
