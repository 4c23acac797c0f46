/* Requests to other processes of the host, and events: platform/request.h. */
#include "platform/request.h"

#include "event_log.h"
#include "hooks.h"
#include "request_queue.h"
#include "settings.h"
#include "text.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{

constexpr size_t message_limit = 1023;

/* One datagram is one message, its text without the terminator.
 * Whoever listens must take them at once: the kernel queues only a few (net.unix.max_dgram_qlen) and refuses the
 * next. A message that cannot be handed over whole is not handed over at all. */
int send_message(const std::string &socket_path, const char *text)
{
    size_t length = strnlen(text, message_limit + 1);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (length > message_limit || socket_path.size() >= sizeof address.sun_path)
        return -1;
    nashost::copy_cut(address.sun_path, sizeof address.sun_path, socket_path);

    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    ssize_t sent = sendto(fd, text, length, MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    close(fd);
    return sent == static_cast<ssize_t>(length) ? 0 : -1;
}

enum class Detail { none, source, port };

struct EventKind {
    const char *id;
    Detail detail;
};

/* What follows the id in the caller's argument list. An id that is not here is taken to have nothing behind it:
 * to look for an argument that is not there would read garbage. */
constexpr EventKind event_kinds[] = {
    {"@{83}", Detail::none},  {"@{105}", Detail::source}, {"@{106}", Detail::source}, {"@{107}", Detail::source},
    {"@{124}", Detail::none}, {"@{125}", Detail::none},   {"@{126}", Detail::port},   {"@{127}", Detail::port},
    {"@{128}", Detail::port}, {"@{129}", Detail::port},
};

Detail detail_of(const char *id)
{
    for (const EventKind &kind : event_kinds) {
        if (strcmp(kind.id, id) == 0)
            return kind.detail;
    }
    return Detail::none;
}

} // namespace

/* The queue keeps the request; the empty datagram only wakes serviced. When it is not there, or has more to read than
 * the kernel holds for it, nothing is lost: it looks into the queue when it starts and after each datagram. */
int signal_nas(const char *request)
{
    if (!nashost::add_request(request))
        return -1;
    send_message(nashost::setting("serviced_socket"), "");
    return 0;
}

int signal_start(const char *message)
{
    return send_message(nashost::setting("upnp_socket"), message);
}

int signal_update(void)
{
    nashost::start_update_hook();
    return 0;
}

int signal_wan(void)
{
    nashost::start_wan_hook();
    return 0;
}

int syslog_msg(int level, const char *id, ...)
{
    nashost::Event event;
    event.level = level;
    event.id = id;
    event.text = nashost::message_text(id);

    va_list arguments;
    va_start(arguments, id);
    Detail detail = detail_of(id);
    if (detail == Detail::source) {
        event.detail = va_arg(arguments, const char *);
        event.text = nashost::filled_in(event.text, nashost::message_text(event.detail));
    } else if (detail == Detail::port) {
        event.detail = std::to_string(va_arg(arguments, int));
        event.text = nashost::filled_in(event.text, event.detail);
    }
    va_end(arguments);

    syslog(LOG_NOTICE, "%s", event.text.c_str());
    if (!nashost::append_event(event))
        syslog(LOG_ERR, "%s: the event could not be written", nashost::setting("event_log").c_str());
    return 0;
}
