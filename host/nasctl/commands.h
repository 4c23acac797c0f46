/* One function per group of commands: it adds them to the command line. A command that fails throws. */
#ifndef NASCTL_COMMANDS_H
#define NASCTL_COMMANDS_H

#include <CLI/CLI.hpp>

namespace nasctl
{

void add_service_commands(CLI::App &app);
void add_config_commands(CLI::App &app);
void add_storage_commands(CLI::App &app);
void add_user_commands(CLI::App &app);
void add_kelsto_commands(CLI::App &app);
void add_doctor_command(CLI::App &app);
void add_plan_command(CLI::App &app);
void add_status_command(CLI::App &app);
void add_plug_commands(CLI::App &app);
void add_upnp_command(CLI::App &app);
void add_printer_commands(CLI::App &app);
void add_tethering_commands(CLI::App &app);
void add_event_commands(CLI::App &app);
void add_reference_command(CLI::App &app);

} // namespace nasctl

#endif
