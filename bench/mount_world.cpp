#include "mount_world.h"

#include <array>

namespace nas_bench
{
namespace
{

constexpr int PARTITIONS_PER_DISK = 39;
constexpr int ESCAPED_NAME_EVERY = 20;

// What a system mounts besides disks.
constexpr std::array other_lines = {
    "proc /proc proc rw,nosuid,nodev,noexec,relatime 0 0\n",
    "tmpfs /var tmpfs rw,nosuid,nodev,relatime,size=65536k,mode=755 0 0\n",
    "/dev/root / squashfs ro,relatime 0 0\n",
    "cgroup /sys/fs/cgroup/memory cgroup rw,nosuid,nodev,noexec,relatime,memory 0 0\n",
    "/dev/mtdblock4 /overlay jffs2 rw,relatime 0 0\n",
};

std::string device_name(int index)
{
    const char drive = static_cast<char>('a' + index / PARTITIONS_PER_DISK);
    return std::string("sd") + drive + std::to_string(index % PARTITIONS_PER_DISK + 1);
}

void add_volume(MountWorld &world, int index)
{
    const bool escaped = index % ESCAPED_NAME_EVERY == 0;
    const std::string number = std::to_string(index);
    world.last_device = device_name(index);
    world.mount_points.push_back((escaped ? "/tmp/mnt/My Disk" : "/tmp/mnt/Disk") + number);
    world.text += "/dev/" + world.last_device + (escaped ? " /tmp/mnt/My\\040Disk" : " /tmp/mnt/Disk") + number +
                  " vfat rw,relatime,fmask=0000,dmask=0000,allow_utime=0022,codepage=437,iocharset=utf8,"
                  "shortname=mixed,errors=remount-ro 0 0\n";
}

} // namespace

MountWorld make_mount_world(Mix mix)
{
    MountWorld world;
    for (int i = 0; i < MOUNT_LINES; ++i) {
        if (mix == Mix::volumes || i % 10 == 9)
            add_volume(world, i);
        else
            world.text += other_lines[static_cast<std::size_t>(i) % other_lines.size()];
    }
    return world;
}

void put_mount_world(nas_test::Sandbox &sandbox, const MountWorld &world)
{
    sandbox.set_mounts(world.text);
    for (const std::string &mount_point : world.mount_points)
        sandbox.put_dir(mount_point);
    sandbox.put_file(world.mount_points.front() + "/file", std::string(100'000, 'x')); // some space is used
}

} // namespace nas_bench
