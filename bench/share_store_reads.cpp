// How often does a run of FTP or Samba read the stores? However many folders there are, the users are read once.
// Prints the counts as JSON.
#include "share_world.h"

#include <cstdio>
#include <cstdlib>

namespace
{

using nas_bench::ShareService;

int reads_of_run(const ShareService &service, int folders)
{
    nas_test::Sandbox sandbox;
    nas_test::RecordingHost host;
    nas_bench::put_users(host);
    nas_bench::put_folders(sandbox, folders);
    host.call(service.callback, static_cast<const char *>(nullptr));
    nas_bench::check_conf(service, folders);
    return host.config.total_reads + host.status.total_reads;
}

int count_reads()
{
    const char *comma = "";
    std::printf("{");
    for (const ShareService &service : nas_bench::share_services()) {
        std::printf("%s\n  \"%s\": {", comma, service.name);
        comma = "";
        for (int folders : nas_bench::folder_counts) {
            std::printf("%s\"%d\": %d", comma, folders, reads_of_run(service, folders));
            comma = ", ";
        }
        std::printf("}");
    }
    std::printf("\n}\n");
    return EXIT_SUCCESS;
}

} // namespace

int main()
{
    return nas_test::in_sandbox(count_reads);
}
