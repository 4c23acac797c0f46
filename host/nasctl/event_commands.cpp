/* nasctl events: what the user is told. */
#include "commands.h"

#include "event_log.h"
#include "output.h"

#include <memory>

namespace nasctl
{
namespace
{

void print_events(size_t limit)
{
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows = {{"TIME", "EVENT"}};
    for (const nashost::Event &event : nashost::last_events(limit)) {
        json.push_back({{"time", event.time},
                        {"level", event.level},
                        {"id", event.id},
                        {"detail", event.detail},
                        {"text", event.text}});
        rows.push_back({event.time, event.text});
    }
    if (json_wanted)
        print_json(json);
    else
        print_table(rows);
}

} // namespace

void add_event_commands(CLI::App &app)
{
    auto limit = std::make_shared<size_t>(20);
    CLI::App *events = app.add_subcommand("events", "The latest events, oldest first");
    events->add_option("-n,--last", *limit, "How many")->capture_default_str();
    events->callback([limit] { print_events(*limit); });
}

} // namespace nasctl
