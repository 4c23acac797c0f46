/* nasctl service list|show|set|enable|disable|start|stop */
#include "commands.h"

#include "nas/service.h"

#include "alone.h"
#include "services.h"

#include <unistd.h>

#include <memory>

namespace nasctl
{
namespace
{

struct Arguments {
    std::string name;
    std::vector<std::string> assignments;
    bool force = false;
    bool forced = false;
    bool no_apply = false;
};

/* Says, once, what the service is busy with; false when it is with nothing. */
bool is_busy(const ServiceControl &control, std::string &said)
{
    const std::string now = control.under_way != nullptr ? control.under_way() : "";
    if (!now.empty() && now != said)
        print_progress(std::string(control.name) + ": " + now);
    said = now;
    return !now.empty();
}

/* A daemon that was just started needs a moment until it is in the process list. */
ServiceState settled_state(const ServiceControl &control, bool wanted)
{
    constexpr int passes = 20;
    ServiceState state;
    std::string said;
    for (int pass = 0; pass < passes; pass = wanted && is_busy(control, said) ? 0 : pass + 1) {
        state = service_state(service_info(control.name));
        if ((state.running >= state.needed) == wanted)
            break;
        usleep(100 * 1000);
    }
    return state;
}

void print_state(const ServiceState &state)
{
    if (json_wanted)
        return print_json(service_json(state));
    print_line(state.name + (state.enabled ? ": switched on, " : ": switched off, ") + running_text(state) +
               " running");
}

/* Runs the service as its record says, or as `mode` says; how it stands then. */
ServiceState run_service(const ServiceControl &control, const char *mode, bool should_run)
{
    if (should_run && control.check != nullptr)
        control.check();
    // The FTP service's web server is started anew together with the web file service's own.
    run_alone(control.name, {control.name, "url"}, [&] { control.run(mode); });
    return settled_state(control, should_run);
}

void check_state(const ServiceState &state, bool should_run)
{
    if (should_run && state.running < state.needed)
        throw Failure(state.name + ": it does not run" + (state.obstacle.empty() ? "" : ": " + state.obstacle));
    if (!should_run && state.running > 0)
        throw Failure(state.name + ": it still runs");
}

void apply(const ServiceControl &control, const char *mode, bool should_run)
{
    ServiceState state = run_service(control, mode, should_run);
    print_state(state);
    check_state(state, should_run);
}

void apply_record(const ServiceControl &control, bool no_apply)
{
    if (no_apply)
        print_state(service_state(service_info(control.name)));
    else
        apply(control, nullptr, is_enabled(control));
}

void list_services()
{
    std::vector<ServiceState> states = all_service_states();
    if (!json_wanted)
        return print_table(service_rows(states));
    Json json = Json::array();
    for (const ServiceState &state : states)
        json.push_back(service_json(state));
    print_json(json);
}

std::string setting_text(const Json &value)
{
    if (value.is_boolean())
        return yes_or_no(value.get<bool>());
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void show_service(const std::string &name)
{
    Json record = service_control(name).show();
    if (json_wanted)
        return print_json(record);
    std::vector<std::vector<std::string>> rows = {{"SETTING", "VALUE"}};
    for (const auto &[key, value] : record.items())
        rows.push_back({key, setting_text(value)});
    print_table(rows);
}

void start_service(const std::string &name, bool forced)
{
    const ServiceControl &control = service_control(name);
    if (!forced && !is_enabled(control))
        throw Failure(name + ": it is switched off (nasctl service enable " + name +
                      " switches it on, --forced starts it once)");
    apply(control, forced ? "forced" : nullptr, true);
}

void add_name(CLI::App *command, const std::shared_ptr<Arguments> &arguments)
{
    command->add_option("NAME", arguments->name, "One of: " + service_names())->required();
}

void add_set(CLI::App &service, const std::shared_ptr<Arguments> &arguments)
{
    CLI::App *set = service.add_subcommand("set", "Change a service's settings and run it as they say");
    add_name(set, arguments);
    set->add_option("KEY=VALUE", arguments->assignments, "A setting, as \"service show\" names it")->required();
    set->add_flag("--force", arguments->force, "Take a disk that is not mounted");
    set->add_flag("--no-apply", arguments->no_apply, "Only store the settings");
    set->callback([arguments] {
        const ServiceControl &control = service_control(arguments->name);
        control.set(parse_assignments(arguments->assignments), arguments->force);
        apply_record(control, arguments->no_apply);
    });
}

void add_switch(CLI::App &service, const std::shared_ptr<Arguments> &arguments, bool on)
{
    CLI::App *command = on ? service.add_subcommand("enable", "Switch a service on and start it")
                           : service.add_subcommand("disable", "Switch a service off and stop it");
    add_name(command, arguments);
    command->add_flag("--no-apply", arguments->no_apply, "Only store the setting");
    command->callback([arguments, on] {
        const ServiceControl &control = service_control(arguments->name);
        control.enable(on);
        apply_record(control, arguments->no_apply);
    });
}

} // namespace

bool restart_if_enabled(const std::string &name)
{
    const ServiceControl &control = service_control(name);
    if (!is_enabled(control))
        return false;
    check_state(run_service(control, nullptr, true), true);
    return true;
}

void add_service_commands(CLI::App &app)
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *service = app.add_subcommand("service", "The services: list, change, switch, run");
    service->require_subcommand(1);

    service->add_subcommand("list", "All services and how they stand")->callback(list_services);
    CLI::App *show = service->add_subcommand("show", "A service's settings");
    add_name(show, arguments);
    show->callback([arguments] { show_service(arguments->name); });
    add_set(*service, arguments);
    add_switch(*service, arguments, true);
    add_switch(*service, arguments, false);

    CLI::App *start = service->add_subcommand("start", "Start a service anew");
    add_name(start, arguments);
    start->add_flag("--forced", arguments->forced, "Start it even when it is switched off");
    start->callback([arguments] { start_service(arguments->name, arguments->forced); });
    CLI::App *stop = service->add_subcommand("stop", "Stop a service; its settings stay");
    add_name(stop, arguments);
    stop->callback([arguments] { apply(service_control(arguments->name), "nomount", false); });
}

} // namespace nasctl
