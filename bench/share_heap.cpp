// How much memory does a run of FTP or Samba take at its peak? Prints it as JSON, with the length of the file that it
// wrote; fails when a run does not give all of it back.
#include "counting_memory.h"
#include "share_world.h"

#include <cstdio>
#include <cstdlib>

namespace
{

using nas_bench::ShareService;

void print_run(const ShareService &service, int folders)
{
    nas_test::Sandbox sandbox;
    nas_test::RecordingHost host;
    nas_bench::put_users(host);
    nas_bench::put_folders(sandbox, folders);
    const nas_bench::CountingMemory memory;
    host.call(service.callback, static_cast<const char *>(nullptr));
    const std::size_t peak = memory.peak(), left = memory.left();
    const std::size_t text = nas_bench::check_conf(service, folders).size();
    std::printf("\"%d\": {\"peak\": %zu, \"text\": %zu}", folders, peak, text);
    if (left == 0)
        return;
    std::fprintf(stderr, "share_heap: %s keeps %zu bytes\n", service.name, left);
    std::exit(EXIT_FAILURE);
}

int measure_runs()
{
    const char *comma = "";
    std::printf("{");
    for (const ShareService &service : nas_bench::share_services()) {
        std::printf("%s\n  \"%s\": {", comma, service.name);
        comma = "";
        for (int folders : nas_bench::folder_counts) {
            std::printf("%s", comma);
            print_run(service, folders);
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
    return nas_test::in_sandbox(measure_runs);
}
