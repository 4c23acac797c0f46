/* Which of the kernel's events the library handles. */
#ifndef HOTPLUG_FILTER_H
#define HOTPLUG_FILTER_H

#include <optional>
#include <string>
#include <string_view>

namespace hotplug
{

struct Event {
    std::string action; /* "add" or "remove" */
    std::string path;   /* a device's path as the library knows it */
};

/* The event that the library is handed; nothing for any but "add" and "remove" of a USB disk, its partitions, a printer
 * and a phone's network interface. The library takes every other action for a removal. */
std::optional<Event> accepted_event(std::string_view action, std::string_view device_path);

/* Does the event end in the library stopping and starting services itself? */
bool removes_volume(const Event &event);

} // namespace hotplug

#endif
