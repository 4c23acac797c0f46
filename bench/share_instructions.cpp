// How many instructions does a run with 2 x 1,000 folders take? Run under callgrind:
//   share_instructions ftp|samba    a run of the service
//   share_instructions scandir      reading and sorting the same folders, and nothing else
//   share_instructions ctemplate    making the FTP daemon's file with a template engine
// Prints the length of the file, or the number of folders, as JSON.
#include "ftp_template.h"
#include "measured.h"
#include "share_world.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace
{

using nas_bench::ShareService;

constexpr int FOLDERS = 1000;

int measured_scandir()
{
    int total = 0;
    for (const char *disk : nas_bench::share_disks) {
        std::unique_ptr<nas_bench::ScannedFolder> folder;
        nas_bench::measure([&] { folder = std::make_unique<nas_bench::ScannedFolder>(disk); });
        total += static_cast<int>(folder->entries().size());
    }
    if (total == 2 * FOLDERS)
        return total;
    std::fprintf(stderr, "share_instructions: %d folders\n", total);
    std::exit(EXIT_FAILURE);
}

int measured_run(const ShareService &service)
{
    nas_test::RecordingHost host;
    nas_bench::put_users(host);
    host.call([&] { nas_bench::measure([&] { service.callback(nullptr); }); });
    return static_cast<int>(nas_bench::check_conf(service, FOLDERS).size());
}

// The template's file has to be the library's, byte for byte.
int measured_template(const ShareService &ftp)
{
    nas_test::RecordingHost host;
    nas_bench::put_users(host);
    host.call([&] { ftp.callback(nullptr); });
    const std::string expected = nas_bench::check_conf(ftp, FOLDERS);
    constexpr const char *path = "/tmp/proftpd.conf";
    nas_bench::measure([] { nas_bench::write_ftp_conf_with_template(path); });
    if (nas_test::read_file(path) == expected)
        return static_cast<int>(expected.size());
    std::fprintf(stderr, "share_instructions: the template's file differs\n");
    std::exit(EXIT_FAILURE);
}

const std::map<std::string, std::function<int()>> &subjects()
{
    static const ShareService &ftp = nas_bench::share_services()[0], &samba = nas_bench::share_services()[1];
    static const std::map<std::string, std::function<int()>> all = {
        {"scandir", measured_scandir},
        {"ftp", [] { return measured_run(ftp); }},
        {"samba", [] { return measured_run(samba); }},
        {"ctemplate", [] { return measured_template(ftp); }},
    };
    return all;
}

std::function<int()> wanted;

int measure_wanted()
{
    nas_test::Sandbox sandbox;
    nas_bench::put_folders(sandbox, FOLDERS);
    std::printf("{\"result\": %d}\n", wanted());
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv)
{
    const auto subject = argc == 2 ? subjects().find(argv[1]) : subjects().end();
    if (subject == subjects().end()) {
        std::fprintf(stderr, "usage: share_instructions ftp|samba|scandir|ctemplate\n");
        return 2;
    }
    wanted = subject->second;
    return nas_test::in_sandbox(measure_wanted);
}
