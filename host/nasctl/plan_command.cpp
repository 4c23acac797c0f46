/* nasctl plan: what a run of a service would do. */
#include "commands.h"

#include "event_log.h"
#include "platform/process.h"
#include "services.h"
#include "settings.h"
#include "text.h"

#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <sstream>

namespace nasctl
{
namespace
{

struct Arguments {
    std::string service, mode, host;
    bool secrets = false;
};

std::string quoted(const std::string &word)
{
    std::string text = word;
    text.resize(4 * word.size() + 1);
    return "'" + std::string(quote_r(text.data(), static_cast<int>(text.size()))) + "'";
}

std::string command_line(const Arguments &arguments)
{
    std::string line = quoted(nashost::setting("plan_program")) + " " + quoted(arguments.service);
    if (!arguments.mode.empty())
        line += " --mode " + quoted(arguments.mode);
    if (!arguments.host.empty())
        line += " --host " + quoted(arguments.host);
    return line + (arguments.secrets ? " --secrets" : "");
}

/* What is wrong stands on standard error already. */
Json make_plan(const Arguments &arguments)
{
    FILE *output = popen(command_line(arguments).c_str(), "r");
    std::string text;
    char part[4096];
    for (size_t got; output != nullptr && (got = fread(part, 1, sizeof part, output)) > 0;)
        text.append(part, got);
    const int status = output != nullptr ? pclose(output) : -1;
    if (status != 0)
        throw Failure(arguments.service + ": no plan could be made");
    return Json::parse(text);
}

/* "1 @{106} @{98}": as the user would read it. */
std::string event_text(const std::string &act)
{
    std::istringstream words(act);
    std::string level, id, detail;
    words >> level >> id >> detail;
    const std::string text = nashost::message_text(id);
    return detail.empty() ? text : nashost::filled_in(text, nashost::message_text(detail));
}

std::string act_text(const Json &act)
{
    const std::string kind = act.at("act"), text = act.at("text");
    std::string shown = text;
    if (act.at("topic") == "log")
        shown = event_text(text);
    else if (kind == "sleep")
        shown = text + " s";
    else if (kind != "run" && kind != "upnp" && kind != "popen")
        shown = kind + " " + text;
    const int status = act.value("status", 0);
    if (act.value("failed", false))
        return shown + "  (fails)";
    if (act.at("topic") == "question")
        return shown + "  -> " + std::to_string(status);
    if (status != 0)
        shown += "  -> " + std::to_string(status);
    return shown;
}

void print_lines(const std::string &text)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        print_line("  " + line);
}

void print_file(const Json &file)
{
    std::string line = file.at("path").get<std::string>() + "  " + file.at("kind").get<std::string>() + " " +
                       file.at("change").get<std::string>();
    if (file.contains("target"))
        line += " -> " + file.at("target").get<std::string>();
    if (file.contains("mode"))
        line += ", mode " + file.at("mode").get<std::string>();
    if (file.contains("mode_before"))
        line += " instead of " + file.at("mode_before").get<std::string>();
    if (file.contains("hidden"))
        line += ", its content is not shown (" + file.at("hidden").get<std::string>() + ")";
    print_line(line);
    print_lines(file.value("diff", ""));
}

void print_plan(const Json &plan)
{
    const Json &mode = plan.at("mode");
    print_line(plan.at("service").get<std::string>() + ": " +
               (mode.is_null() ? "as its record says" : "mode " + mode.get<std::string>()) +
               ". Nothing of this is done.");
    print_line("");
    print_line("FILES");
    for (const Json &file : plan.at("files"))
        print_file(file);
    print_line("");
    std::vector<std::vector<std::string>> rows = {{"TOPIC", "IN THIS ORDER"}};
    for (const Json &act : plan.at("acts"))
        rows.push_back({act.at("topic"), act_text(act)});
    print_table(rows);
    print_line("");
    print_line("The answer is " + plan.at("result").dump() + ".");
    for (const Json &place : plan.at("unchangeable"))
        print_line("Below " + place.get<std::string>() + " changes could not be tried: they are shown as failed.");
}

void plan(const Arguments &arguments)
{
    service_info(arguments.service);
    if (geteuid() != 0)
        throw Failure("a plan needs root: it is made in private namespaces, with a view of the files of its own");
    const Json made = make_plan(arguments);
    if (json_wanted)
        print_json(made);
    else
        print_plan(made);
}

} // namespace

void add_plan_command(CLI::App &app)
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *command = app.add_subcommand("plan", "What a run of a service would do, without doing it");
    command->add_option("SERVICE", arguments->service, "One of: " + service_names())->required();
    command->add_option("--mode", arguments->mode, "The run's mode, instead of an ordinary run")
        ->check(CLI::IsMember({"forced", "nomount", "register"}));
    command->add_option("--host", arguments->host, "Ask this host library for facts, instead of the reference host's");
    command->add_flag("--secrets", arguments->secrets, "Show passwords, too");
    command->callback([arguments] { plan(*arguments); });
}

} // namespace nasctl
