/* nasctl printer show|set|status */
#include "commands.h"

#include "nas/printer.h"
#include "platform/request.h"

#include "services.h"

#include <memory>

namespace nasctl
{
namespace
{

struct Arguments {
    std::vector<std::string> assignments;
};

CupsdConfig stored_config()
{
    CupsdConfig config;
    get_cupsd_config(&config);
    return config;
}

void print_settings(const CupsdConfig &config)
{
    if (json_wanted)
        return print_json({{"sharing", config.enable != 0}, {"remote", config.remote != 0}});
    print_table(
        {{"SETTING", "VALUE"}, {"sharing", yes_or_no(config.enable != 0)}, {"remote", yes_or_no(config.remote != 0)}});
}

/* serviced starts or ends the print server. */
void change(const std::vector<std::string> &texts)
{
    CupsdConfig config = stored_config();
    for (const auto &[key, value] : parse_assignments(texts)) {
        if (key == "sharing")
            config.enable = on_or_off("printer", key, value);
        else if (key == "remote")
            config.remote = on_or_off("printer", key, value);
        else
            throw UsageError("printer: there is no setting \"" + key + "\" (settings: sharing, remote)");
    }
    set_cupsd_config(&config);
    const CupsdConfig stored = stored_config();
    if (stored.enable != config.enable || stored.remote != config.remote)
        throw Failure("printer: the settings could not be stored");
    if (signal_nas("cupsd") != 0)
        throw Failure("printer: stored, but the request to serviced could not be kept");
    print_settings(config);
}

const char *queue_word(int status)
{
    constexpr const char *words[] = {"ready", "none", "unknown"};
    return words[status];
}

void print_status()
{
    const bool runs = get_cupsd_status() != 0;
    char name[NAS_PRINTER_NAME_SIZE] = "";
    const int queue = runs ? get_cupsd_printer_status(name) : 1;
    if (queue == 1)
        name[0] = '\0'; // what stands there is a message
    if (json_wanted)
        return print_json({{"server", runs}, {"queue", queue_word(queue)}, {"name", name}});
    print_line(std::string("print server: ") + (runs ? "runs" : "does not run"));
    print_line(std::string("queue: ") + queue_word(queue) + (name[0] != '\0' ? std::string(", ") + name : ""));
}

} // namespace

void add_printer_commands(CLI::App &app)
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *printer = app.add_subcommand("printer", "The sharing of a USB printer");
    printer->require_subcommand(1);
    printer->add_subcommand("show", "The settings")->callback([] { print_settings(stored_config()); });
    printer->add_subcommand("status", "Whether a printer can be used")->callback(print_status);
    CLI::App *set = printer->add_subcommand("set", "Change the settings");
    set->add_option("KEY=VALUE", arguments->assignments,
                    "sharing=on or off; remote=on lets the internet print, too, remote=off does not")
        ->required();
    set->callback([arguments] { change(arguments->assignments); });
}

} // namespace nasctl
