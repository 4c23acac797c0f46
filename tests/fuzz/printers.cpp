// What CUPS tells of printers and queues, a printer's own texts among it.
#include "fuzz/fuzz.h"

#include "nas/printer.h"
#include "platform/device.h"

#include <algorithm>

namespace nas_fuzz
{
namespace
{

// The address stands between double quotes, where these mean something to the shell. A command that is too long loses
// its end, the closing quote perhaps: the shell refuses it then.
void require_safe(const std::string &line)
{
    constexpr std::string_view add = "run /bin/lpadmin -p \"nalVEX_Printer\" -v \"";
    if (!line.starts_with(add))
        return;
    const std::string rest = line.substr(add.size());
    require(rest.find_first_of("$`\\") == std::string::npos, "nothing is expanded");
    require(std::count(rest.begin(), rest.end(), '"') <= 1, "the address is one word");
}

} // namespace

void try_input(Input input, World &world)
{
    const std::string address = input.text();
    const std::string queues = input.text();
    const int registered = static_cast<int>(input.choice(3)) - 1;
    world.host.config.values["cupsd_conf"] = input.text();
    world.host.add_process({.name = "cupsd"});
    world.host.on_command_prefix("/bin/lpinfo ", {0});
    world.host.commands.back().effect = [&] { world.sandbox.put_file("/tmp/cups_printer", address); };
    world.host.on_command("/bin/lpstat -v > /dev/null 2>&1", {registered});
    world.host.on_command_prefix("/bin/lpstat ", {0});
    world.host.commands.back().effect = [&] { world.sandbox.put_file("/tmp/cups_ret", queues); };

    char name[NAS_PRINTER_NAME_SIZE];
    world.host.call(get_cupsd_printer_status, static_cast<char *>(name));
    require_end(name, "a queue's name ends");
    PeriodicCallbackRecord record = {};
    for (record.run_count = 0; record.run_count < 7; record.run_count += 3)
        world.host.call(lp_callback, &record);
    for (const std::string &line : world.host.lines())
        require_safe(line);
}

} // namespace nas_fuzz
