#include "event_queue.h"

#include "lock_file.h"
#include "settings.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <sstream>

namespace hotplug
{
namespace
{

std::string queue_path()
{
    return nashost::setting("run_dir") + "/events";
}

constexpr useconds_t pause_microseconds = 10 * 1000;

std::string drain_path()
{
    return queue_path() + ".drain";
}

Milliseconds present_time()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<Milliseconds>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void remove_line(nashost::Texts &waiting, const std::string &line)
{
    const auto found = std::find(waiting.begin(), waiting.end(), line);
    if (found != waiting.end())
        waiting.erase(found);
}

void drop_nonsense(nashost::Texts &waiting)
{
    std::erase_if(waiting, [](const std::string &line) { return !parsed(line); });
}

/* The event's line from now on. */
std::string begin_attempt(nashost::Texts &waiting, const NumberedEvent &event)
{
    NumberedEvent begun = event;
    begun.attempts++;
    *std::find(waiting.begin(), waiting.end(), line_of(event)) = line_of(begun);
    return line_of(begun);
}

Attempt attempt_of(const NumberedEvent &event)
{
    if (event.attempts == 0)
        return Attempt::first;
    return event.attempts == 1 ? Attempt::second : Attempt::none_left;
}

} // namespace

std::string line_of(const NumberedEvent &event)
{
    std::ostringstream line;
    line << event.number << ' ' << event.arrived << ' ' << event.attempts << ' ' << event.event.action << ' '
         << event.event.path;
    return line.str();
}

std::optional<NumberedEvent> parsed(const std::string &line)
{
    std::istringstream text(line);
    NumberedEvent event;
    if (!(text >> event.number >> event.arrived >> event.attempts >> event.event.action) || text.get() != ' ' ||
        !std::getline(text, event.event.path))
        return std::nullopt;
    return event;
}

std::optional<NumberedEvent> first_event(const nashost::Texts &waiting)
{
    std::optional<NumberedEvent> first;
    for (const std::string &line : waiting) {
        const std::optional<NumberedEvent> event = parsed(line);
        if (event && (!first || event->number < first->number))
            first = event;
    }
    return first;
}

Milliseconds time_to_wait(const NumberedEvent &event, uint64_t handled_last, Milliseconds now)
{
    constexpr Milliseconds moment = 100;
    if (event.number <= handled_last + 1 || event.attempts > 0 || event.arrived > now)
        return 0;
    return std::max<Milliseconds>(event.arrived + moment - now, 0);
}

bool add_event(const NumberedEvent &event)
{
    NumberedEvent arrived = event;
    arrived.arrived = present_time();
    return nashost::edit_spool(queue_path(), [&](nashost::Texts &waiting) { waiting.push_back(line_of(arrived)); });
}

/* The role is given up while the queue is locked and empty: whoever adds an event later finds it free. */
bool drain_events(const std::function<void(const Event &, Attempt)> &handle)
{
    nashost::LockFile role;
    if (!role.take_within(drain_path(), 0))
        return true;
    uint64_t handled_last = 0;
    for (std::string handled;;) {
        std::optional<NumberedEvent> next;
        Milliseconds pause = 0;
        const bool stored = nashost::edit_spool(queue_path(), [&](nashost::Texts &waiting) {
            remove_line(waiting, handled);
            drop_nonsense(waiting);
            next = first_event(waiting);
            if (!next)
                role.release();
            else if ((pause = time_to_wait(*next, handled_last, present_time())) == 0)
                handled = begin_attempt(waiting, *next);
        });
        if (!next || !stored)
            return stored;
        if (pause > 0) {
            handled.clear();
            usleep(pause_microseconds);
            continue;
        }
        handle(next->event, attempt_of(*next));
        handled_last = next->number;
    }
}

bool events_are_left()
{
    nashost::LockFile role;
    return !nashost::read_spool(queue_path()).empty() && role.take_within(drain_path(), 0);
}

} // namespace hotplug
