/* Events that wait to be handled, in the kernel's order. The kernel starts a handler for every event without waiting
 * for the one before: each puts its event here, and one of them, the drain, handles what comes, one after the other. An
 * event stays here until it is handled: what a drain leaves that dies in the middle is done by the next one. */
#ifndef HOTPLUG_EVENT_QUEUE_H
#define HOTPLUG_EVENT_QUEUE_H

#include "filter.h"
#include "spool.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace hotplug
{

using Milliseconds = int64_t;

/* An event with the kernel's number of it, which rises from event to event; 0 when it has none. */
struct NumberedEvent {
    uint64_t number = 0;
    Event event;
    Milliseconds arrived = 0; /* of the monotonic clock */
    int attempts = 0;         /* how often its handling was begun */
};

/* An event whose handling ended in the middle is handled once more, and then given up: it may be what ends its
 * drain. */
enum class Attempt { first, second, none_left };

/* ---- the rules ---- */

std::string line_of(const NumberedEvent &event);
std::optional<NumberedEvent> parsed(const std::string &line);

/* The event with the lowest number; of those without a number, or with the same, the one that came first. */
std::optional<NumberedEvent> first_event(const nashost::Texts &waiting);

/* How long to wait with this event, since the one before it may still be on its way: a handler takes a moment to put
 * its event here. Numbers that never come are usual, for the kernel counts events of every kind; so nobody waits longer
 * than a moment, and a handler that is slower than that is overtaken. */
Milliseconds time_to_wait(const NumberedEvent &event, uint64_t handled_last, Milliseconds now);

/* ---- the queue ---- */

/* False when it cannot be stored. */
bool add_event(const NumberedEvent &event);

/* Handles events until none waits; leaves at once while another process does so, which then handles ours, too. False
 * when the queue cannot be stored: events still wait. */
bool drain_events(const std::function<void(const Event &, Attempt)> &handle);

/* Do events wait that nobody handles? To be followed by a drain: a handler that looks at the same moment takes us for
 * one. */
bool events_are_left();

} // namespace hotplug

#endif
