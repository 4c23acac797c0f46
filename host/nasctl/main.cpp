/* nasctl: the router's storage services from the command line. */
#include "commands.h"
#include "output.h"

int main(int argc, char **argv)
{
    CLI::App app("Controls the router's storage services.", "nasctl");
    app.fallthrough(); // "--json" may stand behind the command, too
    app.require_subcommand(1);
    app.add_flag("--json", nasctl::json_wanted, "Print JSON instead of tables");
    app.footer("Exit status: 0 done, 1 failed, 2 wrong usage.");

    nasctl::add_service_commands(app);
    nasctl::add_user_commands(app);
    nasctl::add_kelsto_commands(app);
    nasctl::add_config_commands(app);
    nasctl::add_status_command(app);
    nasctl::add_plan_command(app);
    nasctl::add_storage_commands(app);
    nasctl::add_plug_commands(app);
    nasctl::add_upnp_command(app);
    nasctl::add_printer_commands(app);
    nasctl::add_tethering_commands(app);
    nasctl::add_event_commands(app);
    nasctl::add_doctor_command(app);
    nasctl::add_reference_command(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const nasctl::UsageError &error) {
        nasctl::print_error(error.what());
        return 2;
    } catch (const std::exception &error) {
        nasctl::print_error(error.what());
        return 1;
    }
    return 0;
}
