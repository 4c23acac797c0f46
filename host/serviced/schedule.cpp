#include "schedule.h"

#include "settings.h"
#include "spool.h"

#include <algorithm>
#include <ctime>
#include <sstream>

namespace serviced
{
namespace
{

constexpr Milliseconds second = 1000;
constexpr int fallback_interval = 10;

std::string schedule_path()
{
    return nashost::setting("run_dir") + "/schedule";
}

Appointment *find(Schedule &schedule, const std::string &name)
{
    for (Appointment &appointment : schedule) {
        if (appointment.name == name)
            return &appointment;
    }
    return nullptr;
}

Appointment &find_or_add(Schedule &schedule, const std::string &name)
{
    if (Appointment *found = find(schedule, name))
        return *found;
    schedule.emplace_back();
    schedule.back().name = name;
    return schedule.back();
}

std::string line_of(const Appointment &appointment)
{
    std::ostringstream line;
    line << appointment.name << ' ' << appointment.run_count << ' ' << appointment.interval << ' ' << appointment.due
         << ' ' << appointment.last_call;
    return line.str();
}

Schedule parsed(const nashost::Texts &lines)
{
    Schedule schedule;
    for (const std::string &text : lines) {
        std::istringstream line(text);
        Appointment appointment;
        if (line >> appointment.name >> appointment.run_count >> appointment.interval >> appointment.due >>
            appointment.last_call)
            schedule.push_back(appointment);
    }
    return schedule;
}

} // namespace

Milliseconds present_time()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<Milliseconds>(now.tv_sec) * second + now.tv_nsec / 1000000;
}

void schedule_now(Schedule &schedule, const std::string &name, Milliseconds now)
{
    Appointment &appointment = find_or_add(schedule, name);
    appointment.run_count = 0;
    appointment.due = appointment.last_call == 0 ? now : std::max(now, appointment.last_call + second);
}

PeriodicCallbackRecord begin_call(Schedule &schedule, const std::string &name, Milliseconds now)
{
    Appointment &appointment = find_or_add(schedule, name);
    appointment.run_count++;
    appointment.last_call = now;
    appointment.due = now + (appointment.interval > 0 ? appointment.interval : fallback_interval) * second;

    PeriodicCallbackRecord record = {};
    record.active = 1;
    record.run_count = appointment.run_count;
    record.interval = appointment.interval;
    return record;
}

/* An interval below one second would be no pause at all. */
void end_call(Schedule &schedule, const std::string &name, const PeriodicCallbackRecord &record, Milliseconds now)
{
    if (record.active == 0) {
        std::erase_if(schedule, [&](const Appointment &appointment) { return appointment.name == name; });
        return;
    }
    Appointment &appointment = find_or_add(schedule, name);
    appointment.interval = std::max(record.interval, 1);
    appointment.due = now + appointment.interval * second;
}

bool is_scheduled(const Schedule &schedule, const std::string &name)
{
    return std::any_of(schedule.begin(), schedule.end(),
                       [&](const Appointment &appointment) { return appointment.name == name; });
}

std::optional<Milliseconds> first_due(const Schedule &schedule)
{
    auto first = std::min_element(schedule.begin(), schedule.end(),
                                  [](const Appointment &a, const Appointment &b) { return a.due < b.due; });
    if (first == schedule.end())
        return std::nullopt;
    return first->due;
}

Schedule read_schedule()
{
    return parsed(nashost::read_spool(schedule_path()));
}

bool edit_schedule(const std::function<void(Schedule &)> &edit)
{
    return nashost::edit_spool(schedule_path(), [&](nashost::Texts &lines) {
        Schedule schedule = parsed(lines);
        edit(schedule);
        lines.clear();
        for (const Appointment &appointment : schedule)
            lines.push_back(line_of(appointment));
    });
}

} // namespace serviced
