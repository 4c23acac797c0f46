// Processes, the shell and small files.
#include "recording/recording_host.h"

#include "platform/process.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/stat.h>
#include <utility>

using nas_recording::copy_bounded;
using nas_recording::host;
using nas_recording::HostsOwnDoing;
using nas_recording::Process;

namespace
{

[[gnu::format(printf, 1, 0)]] std::string format(const char *text, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, text, again);
    va_end(again);
    std::string result(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(result.data(), result.size(), text, arguments);
    result.pop_back();
    return result;
}

// False for a folder, too: it can be opened, not read.
bool read_whole(const char *path, std::string &text)
{
    std::FILE *const file = std::fopen(path, "rb");
    if (file == nullptr)
        return false;
    char part[4096];
    text.clear();
    for (std::size_t got = 0; (got = std::fread(part, 1, sizeof part, file)) > 0;)
        text.append(part, got);
    const bool read = std::ferror(file) == 0;
    std::fclose(file);
    return read;
}

int pid_in(const char *pid_file)
{
    std::string text;
    return read_whole(pid_file, text) ? std::atoi(text.c_str()) : 0;
}

void check_flags(const char *operation, int flags, int agreed)
{
    if (flags != agreed)
        host().record(std::string("flags ") + operation + " " + std::to_string(flags));
}

} // namespace

int system2(const char *text, ...)
{
    const HostsOwnDoing mine;
    std::va_list arguments;
    va_start(arguments, text);
    const std::string command = format(text, arguments);
    va_end(arguments);
    return host().run(command);
}

int get_process_list(const char *name, ProcessList *list, int flags)
{
    const HostsOwnDoing mine;
    check_flags("get_process_list", flags, 0);
    const std::vector<Process> found = host().look_for(name);
    list->count = static_cast<int>(found.size());
    list->first = nullptr;
    ProcessEntry **end = &list->first;
    for (const Process &process : found) {
        *end = new ProcessEntry{};
        (*end)->pid = process.pid;
        copy_bounded((*end)->name, sizeof(*end)->name, process.name);
        copy_bounded((*end)->cmdline, sizeof(*end)->cmdline, process.cmdline);
        end = &(*end)->next;
    }
    ++host().open_process_lists;
    ++host().process_list_calls;
    host().record(std::string("list ") + (name == nullptr ? "*" : name) + " -> " + std::to_string(list->count));
    return list->count;
}

int free_process_list(ProcessList *list)
{
    const HostsOwnDoing mine;
    while (list->first != nullptr)
        delete std::exchange(list->first, list->first->next);
    list->count = 0;
    --host().open_process_lists;
    return 0;
}

int check_process2(const char *pid_file)
{
    const HostsOwnDoing mine;
    const int pid = pid_in(pid_file);
    for (const Process &process : host().look_for(nullptr)) {
        if (process.pid == pid)
            return host().yes;
    }
    return 0;
}

int kill_process2(const char *pid_file, int signal)
{
    const HostsOwnDoing mine;
    const int pid = pid_in(pid_file);
    host().record_act("kill-file " + std::string(pid_file) + " " + std::to_string(signal), pid > 0);
    if (pid <= 0)
        return -1;
    host().signal({}, pid, signal);
    return 0;
}

int write_file(const char *path, const char *text)
{
    const HostsOwnDoing mine;
    bool done = !(host().fails && host().fails(path));
    if (done && host().passes_files_on) {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file << text;
        file.close();
        done = file.good();
    }
    host().record_act(std::string("write ") + path, done);
    return done ? 0 : -1;
}

int get_file_string(const char *path, char *buffer, int size)
{
    const HostsOwnDoing mine;
    std::string text;
    if (!read_whole(path, text))
        return 0;
    text.resize(std::min(text.size(), static_cast<std::size_t>(size) - 1));
    if (text.ends_with('\n'))
        text.pop_back();
    copy_bounded(buffer, static_cast<std::size_t>(size), text);
    return host().yes;
}

int get_file_value(const char *path, int flags)
{
    const HostsOwnDoing mine;
    check_flags("get_file_value", flags, 1);
    std::string text;
    return read_whole(path, text) ? std::atoi(text.c_str()) : 0;
}

int file_exists(const char *path)
{
    const HostsOwnDoing mine;
    struct stat facts;
    return stat(path, &facts) == 0 ? host().yes : 0;
}
