/* nasctl status: the services and the volumes at one look. */
#include "commands.h"

#include "services.h"
#include "volumes.h"

namespace nasctl
{
namespace
{

void print_status()
{
    std::vector<ServiceState> states = all_service_states();
    std::vector<MountEntry> volumes = mounted_volumes();
    if (json_wanted) {
        Json services = Json::array();
        for (const ServiceState &state : states)
            services.push_back(service_json(state));
        return print_json({{"services", services}, {"volumes", volume_json(volumes)}});
    }
    print_table(service_rows(states));
    print_line("");
    if (volumes.empty())
        print_line("No USB volume is mounted.");
    else
        print_table(volume_rows(volumes));
}

} // namespace

void add_status_command(CLI::App &app)
{
    app.add_subcommand("status", "The services and the mounted volumes")->callback(print_status);
}

} // namespace nasctl
