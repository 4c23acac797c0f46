// The host's helpers for texts.
#include "recording/recording_host.h"

#include "platform/process.h"

#include <string>

using nas_recording::copy_bounded;
using nas_recording::HostsOwnDoing;

char *quote_r(char *text, int capacity)
{
    const HostsOwnDoing mine;
    std::string quoted;
    for (const char *c = text; *c != '\0'; ++c) {
        const std::string_view next = *c == '\'' ? std::string_view("'\\''") : std::string_view(c, 1);
        if (quoted.size() + next.size() >= static_cast<std::size_t>(capacity))
            break;
        quoted += next;
    }
    if (capacity > 0)
        copy_bounded(text, static_cast<std::size_t>(capacity), quoted);
    return text;
}

char *sf_strncpy(char *dst, const char *src, int size)
{
    const HostsOwnDoing mine;
    if (size > 0)
        copy_bounded(dst, static_cast<std::size_t>(size), src);
    return dst;
}
