/* nasctl disks, nasctl mounts */
#include "commands.h"

#include "nas/partition.h"

#include "volumes.h"

#include <algorithm>

namespace nasctl
{
namespace
{

struct Disk {
    std::string name;
    uint64_t size = 0;
    std::vector<std::string> volumes;
};

/* The disks that have a mounted volume. */
std::vector<Disk> mounted_disks()
{
    std::vector<Disk> disks;
    for (const MountEntry &volume : mounted_volumes()) {
        auto same = [&](const Disk &disk) { return disk.name == volume.disk; };
        auto disk = std::find_if(disks.begin(), disks.end(), same);
        if (disk == disks.end())
            disk = disks.insert(disks.end(), {volume.disk, get_partition_numofblock(volume.disk) * 1024, {}});
        disk->volumes.push_back(volume.folder);
    }
    return disks;
}

std::string joined(const std::vector<std::string> &texts)
{
    std::string all;
    for (const std::string &text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all;
}

void print_disks()
{
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows = {{"DISK", "SIZE", "VOLUMES"}};
    for (const Disk &disk : mounted_disks()) {
        json.push_back({{"disk", disk.name}, {"size", disk.size}, {"volumes", disk.volumes}});
        rows.push_back({disk.name, size_text(disk.size), joined(disk.volumes)});
    }
    if (json_wanted)
        print_json(json);
    else
        print_table(rows);
}

void print_mounts()
{
    std::vector<MountEntry> volumes = mounted_volumes();
    if (json_wanted)
        print_json(volume_json(volumes));
    else
        print_table(volume_rows(volumes));
}

} // namespace

void add_storage_commands(CLI::App &app)
{
    app.add_subcommand("disks", "The USB disks with mounted volumes")->callback(print_disks);
    app.add_subcommand("mounts", "The mounted USB volumes and their sizes")->callback(print_mounts);
}

} // namespace nasctl
