// How many instructions does a question to the mount table take? Run under callgrind:
//   mount_instructions volumes|one_in_ten list|count|find_device|find_mount_point library|getmntent|libmount
//   mount_instructions volumes|one_in_ten lines getmntent      reading the table, and nothing else
// Prints the answer as JSON; fails when it is wrong.
#include "measured.h"
#include "mount_peers.h"
#include "mount_world.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>

namespace
{

using nas_bench::Mix;
using nas_bench::MountReader;
using nas_bench::MountWorld;

struct Question {
    std::function<int(const MountReader &, const MountWorld &)> ask;
    std::function<int(const MountWorld &)> expected;
};

int count_volumes(const MountWorld &world)
{
    return static_cast<int>(world.mount_points.size());
}

bool same_entry(const MountEntry &one, const MountEntry &other)
{
    // Both come cleared from calloc: what is not filled in is zero.
    constexpr std::size_t begin = offsetof(MountEntry, disk);
    const auto *const bytes = reinterpret_cast<const char *>(&one),
                      *other_bytes = reinterpret_cast<const char *>(&other);
    return std::memcmp(bytes + begin, other_bytes + begin, sizeof one - begin) == 0;
}

// Counts the entries that are right: each as the library has it, with its name and the size of its file system.
int count_good(const MountList &list, const MountWorld &world)
{
    MountList library;
    get_mount_list(&library, nullptr);
    int good = 0;
    std::size_t at = 0;
    const MountEntry *other = library.first;
    for (const MountEntry *entry = list.first; entry != nullptr && other != nullptr; entry = entry->next, ++at) {
        good += at < world.mount_points.size() && entry->mount_point == world.mount_points[at] && entry->total > 0 &&
                same_entry(*entry, *other);
        other = other->next;
    }
    free_mount_list(&library);
    return good;
}

int measured_list(const MountReader &reader, const MountWorld &world)
{
    MountList list;
    int count = 0;
    nas_bench::measure([&] { count = reader.list(&list); });
    const int good = count_good(list, world);
    free_mount_list(&list);
    return good == count ? good : -1;
}

int measured_lines(const MountReader &, const MountWorld &)
{
    int lines = 0;
    nas_bench::measure([&] { lines = nas_bench::read_with_getmntent(); });
    return lines;
}

int measured_count(const MountReader &reader, const MountWorld &)
{
    int count = 0;
    nas_bench::measure([&] { count = reader.count(); });
    return count;
}

int measured_find_device(const MountReader &reader, const MountWorld &world)
{
    char fstype[NAS_FSTYPE_SIZE] = "", mount_point[NAS_MOUNT_POINT_SIZE] = "";
    nas_bench::measure([&] { reader.find_device(world.last_device.c_str(), fstype, mount_point); });
    return std::strcmp(fstype, "vfat") == 0 && mount_point == world.mount_points.back();
}

int measured_find_mount_point(const MountReader &reader, const MountWorld &world)
{
    char device[NAS_DEVICE_PATH_SIZE] = "";
    nas_bench::measure([&] { reader.find_mount_point(world.mount_points.back().c_str(), device); });
    return device == "/dev/" + world.last_device;
}

const std::map<std::string, Question> &questions()
{
    const auto all_lines = [](const MountWorld &) { return nas_bench::MOUNT_LINES; };
    const auto yes = [](const MountWorld &) { return 1; };
    static const std::map<std::string, Question> all = {
        {"lines", {measured_lines, all_lines}},
        {"list", {measured_list, count_volumes}},
        {"count", {measured_count, count_volumes}},
        {"find_device", {measured_find_device, yes}},
        {"find_mount_point", {measured_find_mount_point, yes}},
    };
    return all;
}

const MountReader *reader_named(const char *name)
{
    for (const MountReader &reader : nas_bench::mount_readers())
        if (std::strcmp(reader.name, name) == 0)
            return &reader;
    return nullptr;
}

Mix mix;
Question question;
const MountReader *reader;

int ask()
{
    nas_test::Sandbox sandbox;
    const MountWorld world = nas_bench::make_mount_world(mix);
    nas_bench::put_mount_world(sandbox, world);
    const int answer = question.ask(*reader, world);
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
    reader = argc == 4 ? reader_named(argv[3]) : nullptr;
    if (reader == nullptr || !mixes.contains(argv[1]) || !questions().contains(argv[2])) {
        std::fprintf(stderr, "usage: mount_instructions volumes|one_in_ten QUESTION READER\n");
        return 2;
    }
    mix = mixes.at(argv[1]);
    question = questions().at(argv[2]);
    return nas_test::in_sandbox(ask);
}
