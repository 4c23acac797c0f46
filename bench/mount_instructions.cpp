// How many instructions does a question to the mount table take? Run under callgrind:
//   mount_instructions volumes|one_in_ten getmntent|get_mount_list|get_num_of_mountdev|get_mtab_info|get_mount_devpath
// Prints the answer as JSON; fails when it is wrong.
#include "measured.h"
#include "mount_world.h"

#include "nas/mount.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <mntent.h>

namespace
{

using nas_bench::Mix;
using nas_bench::MountWorld;

struct Question {
    std::function<int(const MountWorld &)> ask;
    std::function<int(const MountWorld &)> expected;
};

int count_volumes(const MountWorld &world)
{
    return static_cast<int>(world.mount_points.size());
}

int read_with_getmntent(const MountWorld &)
{
    std::FILE *const table = setmntent("/proc/mounts", "r");
    int lines = 0;
    while (table != nullptr && getmntent(table) != nullptr)
        ++lines;
    endmntent(table);
    return lines;
}

// Counts the entries that are filled in: each with its name and the size of its file system.
int list_volumes(const MountWorld &world)
{
    MountList list;
    nas_bench::measure([&] { get_mount_list(&list, nullptr); });
    int good = 0;
    std::size_t at = 0;
    for (const MountEntry *entry = list.first; entry != nullptr; entry = entry->next, ++at)
        good += at < world.mount_points.size() && entry->mount_point == world.mount_points[at] && entry->total > 0;
    free_mount_list(&list);
    return good;
}

int measured_getmntent(const MountWorld &world)
{
    int lines = 0;
    nas_bench::measure([&] { lines = read_with_getmntent(world); });
    return lines;
}

int measured_count(const MountWorld &)
{
    int count = 0;
    nas_bench::measure([&] { count = get_num_of_mountdev(nullptr); });
    return count;
}

int measured_find_device(const MountWorld &world)
{
    char fstype[NAS_FSTYPE_SIZE] = "", mount_point[NAS_MOUNT_POINT_SIZE] = "";
    nas_bench::measure([&] { get_mtab_info(world.last_device.c_str(), fstype, mount_point); });
    return std::strcmp(fstype, "vfat") == 0 && mount_point == world.mount_points.back();
}

int measured_find_mount_point(const MountWorld &world)
{
    char device[NAS_MOUNT_POINT_SIZE] = "";
    nas_bench::measure([&] { get_mount_devpath(world.mount_points.back().c_str(), device); });
    return device == "/dev/" + world.last_device;
}

const std::map<std::string, Question> &questions()
{
    const auto all_lines = [](const MountWorld &) { return nas_bench::MOUNT_LINES; };
    const auto yes = [](const MountWorld &) { return 1; };
    static const std::map<std::string, Question> all = {
        {"getmntent", {measured_getmntent, all_lines}},           {"get_mount_list", {list_volumes, count_volumes}},
        {"get_num_of_mountdev", {measured_count, count_volumes}}, {"get_mtab_info", {measured_find_device, yes}},
        {"get_mount_devpath", {measured_find_mount_point, yes}},
    };
    return all;
}

Mix mix;
Question question;

int ask()
{
    nas_test::Sandbox sandbox;
    const MountWorld world = nas_bench::make_mount_world(mix);
    nas_bench::put_mount_world(sandbox, world);
    const int answer = question.ask(world);
    std::printf("{\"answer\": %d}\n", answer);
    if (answer == question.expected(world))
        return EXIT_SUCCESS;
    std::fprintf(stderr, "mount_instructions: %d was expected\n", question.expected(world));
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    const std::map<std::string, Mix> mixes = {{"volumes", Mix::volumes}, {"one_in_ten", Mix::one_in_ten}};
    if (argc != 3 || !mixes.contains(argv[1]) || !questions().contains(argv[2])) {
        std::fprintf(stderr, "usage: mount_instructions volumes|one_in_ten QUESTION\n");
        return 2;
    }
    mix = mixes.at(argv[1]);
    question = questions().at(argv[2]);
    return nas_test::in_sandbox(ask);
}
