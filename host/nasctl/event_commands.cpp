/* nasctl events: what the user is told. */
#include "commands.h"

#include "event_log.h"
#include "output.h"

#include <cstdio>
#include <memory>

namespace nasctl
{
namespace
{

Json event_json(const nashost::Event &event)
{
    return {
        {"time", event.time}, {"level", event.level}, {"id", event.id}, {"detail", event.detail}, {"text", event.text}};
}

void print_events(size_t limit)
{
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows = {{"TIME", "EVENT"}};
    nashost::LogPlace end;
    for (const nashost::Event &event : nashost::last_events(limit, end)) {
        json.push_back(event_json(event));
        rows.push_back({event.time, event.text});
    }
    if (json_wanted)
        print_json(json);
    else
        print_table(rows);
}

void print_event(const nashost::Event &event)
{
    if (json_wanted)
        print_line(event_json(event).dump(-1, ' ', false, Json::error_handler_t::replace));
    else
        print_line(event.time + "  " + event.text);
}

/* Until it is interrupted, or nobody reads any more. */
void follow_events(size_t limit)
{
    nashost::LogPlace place;
    for (const nashost::Event &event : nashost::last_events(limit, place))
        print_event(event);
    while (fflush(stdout) == 0 && nashost::wait_for_events(place)) {
        for (const nashost::Event &event : nashost::next_events(place))
            print_event(event);
    }
    throw Failure("the events cannot be followed");
}

} // namespace

void add_event_commands(CLI::App &app)
{
    auto limit = std::make_shared<size_t>(20);
    auto follow = std::make_shared<bool>(false);
    CLI::App *events = app.add_subcommand("events", "The latest events, oldest first");
    events->add_option("-n,--last", *limit, "How many")->capture_default_str();
    events->add_flag("-f,--follow", *follow,
                     "Then each new one as it comes, a line each (with --json, an object each)");
    events->callback([limit, follow] {
        if (*follow)
            follow_events(*limit);
        else
            print_events(*limit);
    });
}

} // namespace nasctl
