/* The events that the user sees: their texts, and the file they are listed from. */
#ifndef NASHOST_EVENT_LOG_H
#define NASHOST_EVENT_LOG_H

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace nashost
{

struct Event {
    std::string time; /* "2024-05-01T12:00:00Z" */
    int level = 0;
    std::string id;     /* "@{106}" */
    std::string detail; /* the source's id or the port's index; empty when the event has none */
    std::string text;
};

/* The text of a message id in the language file; the id itself when it has none. */
std::string message_text(std::string_view id);

/* Puts `value` in the place of the text's first "%s" or "%d". A text is never used as a format: a wrong one in
 * the language file must not be able to do harm. */
std::string filled_in(const std::string &text, std::string_view value);

/* Appends the event; the time is the present. A log at its bounded size begins anew, the old one is kept once. */
bool append_event(const Event &event);

/* How far a reader of the log has come. */
struct LogPlace {
    ino_t file = 0; /* the log that it reads: it may have become the old one since */
    off_t position = 0;
};

LogPlace end_of_log();

/* The last `limit` events, oldest first; `place` is behind them. */
std::vector<Event> last_events(size_t limit, LogPlace &place);

/* The events behind the place, which moves behind them. */
std::vector<Event> next_events(LogPlace &place);

/* Waits until something is written to the log, or may have been; false when that cannot be waited for. */
bool wait_for_events(const LogPlace &place);

} // namespace nashost

#endif
