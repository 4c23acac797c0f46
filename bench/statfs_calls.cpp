// How often is the size of a volume asked for? A volume that hangs blocks whoever asks. Prints the counts as JSON.
#include "mount_world.h"

#include "nas/mount.h"
#include "nas/partition.h"
#include "support/recording_host.h"

#include <cstdio>
#include <cstdlib>

namespace
{

using nas_bench::MountWorld;

template <class Call>
void print_count(nas_test::RecordingHost &host, const char *name, Call call)
{
    host.forget();
    host.call(call);
    std::printf(",\n  \"%s\": %d", name, host.statfs_calls);
}

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "statfs_calls: %s\n", what);
    std::exit(EXIT_FAILURE);
}

void list_volumes(const MountWorld &world)
{
    MountList list;
    get_mount_list(&list, nullptr);
    std::size_t sized = 0;
    for (const MountEntry *entry = list.first; entry != nullptr; entry = entry->next)
        sized += entry->total == 4096 * 1000;
    free_mount_list(&list);
    if (sized != world.mount_points.size())
        fail("the list lacks the sizes of volumes");
}

void count_volumes(const MountWorld &world)
{
    if (get_num_of_mountdev(nullptr) != static_cast<int>(world.mount_points.size()))
        fail("not all volumes are counted");
}

void find_device(const MountWorld &world)
{
    if (get_mtab_info(world.last_device.c_str(), nullptr, nullptr) != 1)
        fail("a device is not found");
}

void find_mount_point(const MountWorld &world)
{
    if (get_mount_devpath(world.mount_points.back().c_str(), nullptr) != 1)
        fail("a mount point is not found");
}

void ask_free_size(const MountWorld &world)
{
    if (get_fs_available_size(world.mount_points.back().c_str()) != 4096 * 600)
        fail("the free size is wrong");
}

int count_calls()
{
    nas_test::Sandbox sandbox;
    nas_test::RecordingHost host;
    const MountWorld world = nas_bench::make_mount_world(nas_bench::Mix::volumes);
    nas_bench::put_mount_world(sandbox, world);
    for (const std::string &mount_point : world.mount_points)
        host.file_systems[mount_point] = {4096, 1000, 600, 500};

    std::printf("{\n  \"volumes\": %zu", world.mount_points.size());
    print_count(host, "get_num_of_mountdev", [&] { count_volumes(world); });
    print_count(host, "get_mtab_info", [&] { find_device(world); });
    print_count(host, "get_mount_devpath", [&] { find_mount_point(world); });
    print_count(host, "get_fs_available_size", [&] { ask_free_size(world); });
    print_count(host, "get_mount_list", [&] { list_volumes(world); });
    std::printf("\n}\n");
    return EXIT_SUCCESS;
}

} // namespace

int main()
{
    return nas_test::in_sandbox(count_calls);
}
