// Mount tables of 1,000 lines.
#ifndef NAS_BENCH_MOUNT_WORLD_H
#define NAS_BENCH_MOUNT_WORLD_H

#include "support/sandbox.h"

#include <string>
#include <vector>

namespace nas_bench
{

enum class Mix { volumes, one_in_ten };

struct MountWorld {
    std::string text;                      // of /proc/mounts
    std::vector<std::string> mount_points; // of the USB volumes, as the library names them
    std::string last_device;               // the last volume's, without "/dev/"
};

constexpr int MOUNT_LINES = 1000;

MountWorld make_mount_world(Mix mix);

// Lays the table and a folder for each volume into the sandbox.
void put_mount_world(nas_test::Sandbox &sandbox, const MountWorld &world);

} // namespace nas_bench

#endif
