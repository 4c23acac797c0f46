// /proc/partitions and the names of block devices.
#include "fuzz/fuzz.h"

#include "nas/partition.h"

#include <vector>

namespace nas_fuzz
{

void try_input(Input input, World &world)
{
    const std::string name = input.text();
    world.sandbox.set_partitions(input.rest());

    const char *const text = name.c_str();
    world.host.call(get_block_devidx, text);
    world.host.call(get_partition_num, text);
    world.host.call(get_blockdev_exist, text);
    world.host.call(get_partition_lastidx, text);
    world.host.call(get_partition_numofblock, text);
    world.host.call(is_fdd_type, text);
    world.host.call(make_dev_node, text);
    world.host.call(sleep_hdd, text);
    world.host.call(sleep_all_hdd);
    std::vector<char> disk(name.size() + 1); // as long as the name, no longer
    int number = 0;
    world.host.call(parse_devname, text, disk.data(), &number);
}

} // namespace nas_fuzz
