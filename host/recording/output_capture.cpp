#include "recording/output_capture.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/types.h>
#include <unistd.h>

namespace nas_recording
{
namespace
{

struct Channel {
    int number; // 1 or 2
    int saved;  // the real one
    int file;   // takes the output; written and read at its own position, hence emptied after every look
};

Channel channels[] = {{STDOUT_FILENO, -1, -1}, {STDERR_FILENO, -1, -1}};

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::abort();
}

void open_channel(Channel &channel)
{
    char name[] = "/tmp/nas_output.XXXXXX";
    channel.file = mkstemp(name);
    if (channel.file < 0)
        fail(name);
    unlink(name);
}

std::string take(Channel &channel)
{
    const off_t end = lseek(channel.file, 0, SEEK_END);
    if (end <= 0)
        return {};
    std::string text(static_cast<std::size_t>(end), '\0');
    const ssize_t got = pread(channel.file, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    if (ftruncate(channel.file, 0) != 0 || lseek(channel.file, 0, SEEK_SET) != 0)
        fail("captured output");
    return text;
}

} // namespace

void open_output_capture()
{
    for (Channel &channel : channels) {
        if (channel.file < 0)
            open_channel(channel);
    }
}

void report_lost_output()
{
    for (Channel &channel : channels) {
        const std::string text = take(channel);
        if (!text.empty())
            std::fprintf(stderr, "--- lost on channel %d:\n%s\n", channel.number, text.c_str());
    }
}

void begin_output_capture()
{
    open_output_capture();
    std::fflush(stdout);
    std::fflush(stderr);
    for (Channel &channel : channels) {
        channel.saved = dup(channel.number);
        if (channel.saved < 0 || dup2(channel.file, channel.number) < 0)
            fail("dup2");
    }
}

void end_output_capture()
{
    std::fflush(stdout);
    std::fflush(stderr);
    for (Channel &channel : channels) {
        take(channel);
        dup2(channel.saved, channel.number);
        close(channel.saved);
    }
}

std::string take_captured_stdout()
{
    std::fflush(stdout);
    return take(channels[0]);
}

std::string take_captured_stderr()
{
    std::fflush(stderr);
    return take(channels[1]);
}

} // namespace nas_recording
