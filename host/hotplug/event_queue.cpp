#include "event_queue.h"

#include "lock_file.h"
#include "settings.h"

#include <algorithm>
#include <sstream>

namespace hotplug
{
namespace
{

std::string queue_path()
{
    return nashost::setting("run_dir") + "/events";
}

bool has_lower_number(const std::string &a, const std::string &b)
{
    const auto first = parsed(a), second = parsed(b);
    return first && second && first->number < second->number;
}

} // namespace

std::string line_of(const NumberedEvent &event)
{
    return std::to_string(event.number) + " " + event.event.action + " " + event.event.path;
}

std::optional<NumberedEvent> parsed(const std::string &line)
{
    std::istringstream text(line);
    NumberedEvent event;
    if (!(text >> event.number >> event.event.action) || text.get() != ' ' || !std::getline(text, event.event.path))
        return std::nullopt;
    return event;
}

std::optional<NumberedEvent> take_first_event(nashost::Texts &waiting)
{
    std::erase_if(waiting, [](const std::string &line) { return !parsed(line); });
    auto first = std::min_element(waiting.begin(), waiting.end(), has_lower_number);
    if (first == waiting.end())
        return std::nullopt;
    std::optional<NumberedEvent> event = parsed(*first);
    waiting.erase(first);
    return event;
}

bool add_event(const NumberedEvent &event)
{
    return nashost::edit_spool(queue_path(), [&](nashost::Texts &waiting) { waiting.push_back(line_of(event)); });
}

/* The role is given up while the queue is locked and empty: whoever adds an event later finds it free. */
void drain_events(const std::function<void(const Event &)> &handle)
{
    nashost::LockFile role;
    if (!role.take_within(queue_path() + ".drain", 0))
        return;
    for (;;) {
        std::optional<NumberedEvent> next;
        const bool stored = nashost::edit_spool(queue_path(), [&](nashost::Texts &waiting) {
            next = take_first_event(waiting);
            if (!next)
                role.release();
        });
        if (!next || !stored)
            return;
        handle(next->event);
    }
}

} // namespace hotplug
