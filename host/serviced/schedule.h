/* When the periodic callbacks are due. The schedule is a spool: it outlives serviced and the workers, which both change
 * it. Times are milliseconds of the monotonic clock. */
#ifndef SERVICED_SCHEDULE_H
#define SERVICED_SCHEDULE_H

#include "platform/device.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace serviced
{

using Milliseconds = int64_t;

/* A periodic callback that is to be called again. */
struct Appointment {
    std::string name;
    int run_count = 0; /* how often it was called since it was scheduled */
    int interval = 0;  /* seconds, as the callback wished */
    Milliseconds due = 0;
    Milliseconds last_call = 0; /* 0 when there was none */
};

using Schedule = std::vector<Appointment>;

Milliseconds present_time();

/* ---- the rules ---- */

/* The callback is to be called at once, yet not twice within a second: one that fails and asks for itself would keep
 * the router busy. */
void schedule_now(Schedule &schedule, const std::string &name, Milliseconds now);

/* The callback is called now. Until it says otherwise it stays scheduled as it was, so that one that ends its worker is
 * called again, but no sooner. Returns what the callback is handed. */
PeriodicCallbackRecord begin_call(Schedule &schedule, const std::string &name, Milliseconds now);

/* What the callback made of its record. */
void end_call(Schedule &schedule, const std::string &name, const PeriodicCallbackRecord &record, Milliseconds now);

bool is_scheduled(const Schedule &schedule, const std::string &name);
std::optional<Milliseconds> first_due(const Schedule &schedule);

/* ---- the stored schedule ---- */

Schedule read_schedule();
bool edit_schedule(const std::function<void(Schedule &)> &edit);

} // namespace serviced

#endif
