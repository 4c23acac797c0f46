/* nasctl kelsto prepare|sweep */
#include "commands.h"

#include "nas/exposure.h"

#include "alone.h"
#include "output.h"

namespace nasctl
{
namespace
{

void call(int (*function)())
{
    run_alone("kelsto", {"ftp", "url"}, [function] { function(); });
}

} // namespace

void add_kelsto_commands(CLI::App &app)
{
    CLI::App *kelsto = app.add_subcommand("kelsto", "The file servers that remote access needs");
    kelsto->require_subcommand(1);
    kelsto->add_subcommand("prepare", "Start the FTP daemon and its web server where they do not run")->callback([] {
        call(prepare_kelsto_server);
    });
    kelsto->add_subcommand("sweep", "End them and close their ports, unless FTP is on and a disk is mounted")
        ->callback([] { call(sweep_kelsto_server); });
}

} // namespace nasctl
