// How many instructions does a run with 2 x 1,000 folders take? Run under callgrind:
//   share_instructions ftp|samba    a run of the service
//   share_instructions scandir      reading and sorting the same folders, and nothing else
// Prints the length of the file, or the number of folders, as JSON.
#include "measured.h"
#include "share_world.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string_view>

namespace
{

using nas_bench::ShareService;

constexpr int FOLDERS = 1000;

int is_folder_of_interest(const dirent *entry)
{
    if (entry->d_type == DT_LNK)
        return 0;
    for (const char *name : {".", "..", "lost+found", "nfs"})
        if (std::strcmp(entry->d_name, name) == 0)
            return 0;
    return 1;
}

int in_order(const dirent **a, const dirent **b)
{
    return std::strcoll((*a)->d_name, (*b)->d_name);
}

int measured_scandir()
{
    int total = 0;
    for (const char *disk : nas_bench::share_disks) {
        dirent **entries = nullptr;
        int count = 0;
        nas_bench::measure([&] { count = scandir(disk, &entries, is_folder_of_interest, in_order); });
        for (int i = 0; i < count; ++i)
            std::free(entries[i]);
        std::free(entries);
        total += count;
    }
    return total;
}

int measured_run(const ShareService &service)
{
    nas_test::RecordingHost host;
    nas_bench::put_users(host);
    host.call([&] { nas_bench::measure([&] { service.callback(nullptr); }); });
    return static_cast<int>(nas_bench::check_conf(service, FOLDERS).size());
}

const ShareService *wanted;

int measure_wanted()
{
    nas_test::Sandbox sandbox;
    nas_bench::put_folders(sandbox, FOLDERS);
    const int result = wanted == nullptr ? measured_scandir() : measured_run(*wanted);
    std::printf("{\"result\": %d}\n", result);
    return wanted != nullptr || result == 2 * FOLDERS ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string_view name = argc == 2 ? argv[1] : "";
    for (const ShareService &service : nas_bench::share_services())
        if (name == service.name)
            wanted = &service;
    if (wanted == nullptr && name != "scandir") {
        std::fprintf(stderr, "usage: share_instructions ftp|samba|scandir\n");
        return 2;
    }
    return nas_test::in_sandbox(measure_wanted);
}
