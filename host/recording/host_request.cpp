// Requests, signals and the user's log.
#include "recording/recording_host.h"

#include "platform/request.h"

#include <cstdarg>
#include <cstring>

using nas_recording::host;
using nas_recording::HostsOwnDoing;

int signal_nas(const char *request)
{
    const HostsOwnDoing mine;
    host().record(std::string("request ") + request);
    return host().request_result;
}

int signal_start(const char *message)
{
    const HostsOwnDoing mine;
    host().record(std::string("upnp ") + message);
    return 0;
}

int signal_update(void)
{
    const HostsOwnDoing mine;
    host().record("signal-update");
    return 0;
}

int signal_wan(void)
{
    const HostsOwnDoing mine;
    host().record("signal-wan");
    return 0;
}

int syslog_msg(int level, const char *id, ...)
{
    const HostsOwnDoing mine;
    std::string line = "log " + std::to_string(level) + " " + id;
    const std::string_view name = id;
    std::va_list arguments;
    va_start(arguments, id);
    if (name == "@{105}" || name == "@{106}" || name == "@{107}")
        line += std::string(" ") + va_arg(arguments, const char *);
    else if (name == "@{126}" || name == "@{127}" || name == "@{128}" || name == "@{129}")
        line += " " + std::to_string(va_arg(arguments, int));
    va_end(arguments);
    host().record(line);
    return 0;
}
