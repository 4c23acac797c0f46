/* Events that wait to be handled, in the kernel's order. The kernel starts a handler for every event without waiting for
 * the one before: each puts its event here, and one of them, the drain, handles what comes, one after the other. */
#ifndef HOTPLUG_EVENT_QUEUE_H
#define HOTPLUG_EVENT_QUEUE_H

#include "filter.h"
#include "spool.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace hotplug
{

/* An event with the kernel's number of it, which rises from event to event; 0 when it has none. */
struct NumberedEvent {
    uint64_t number = 0;
    Event event;
};

/* ---- the rules ---- */

std::string line_of(const NumberedEvent &event);
std::optional<NumberedEvent> parsed(const std::string &line);

/* Takes the event with the lowest number out; of those without a number, or with the same, the one that came first. */
std::optional<NumberedEvent> take_first_event(nashost::Texts &waiting);

/* ---- the queue ---- */

/* False when it cannot be stored. */
bool add_event(const NumberedEvent &event);

/* Handles events until none waits; leaves at once while another process does so, which then handles ours, too. */
void drain_events(const std::function<void(const Event &)> &handle);

} // namespace hotplug

#endif
