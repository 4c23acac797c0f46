#include "volumes.h"

#include "nas/util.h"

namespace nasctl
{

std::vector<MountEntry> mounted_volumes()
{
    MountList list;
    get_mount_list(&list, nullptr);
    std::vector<MountEntry> volumes;
    for (const MountEntry *entry = list.first; entry != nullptr; entry = entry->next)
        volumes.push_back(*entry);
    free_mount_list(&list);
    return volumes;
}

std::string size_text(uint64_t bytes)
{
    return get_readable_sizestr(bytes);
}

std::vector<std::vector<std::string>> volume_rows(const std::vector<MountEntry> &volumes)
{
    std::vector<std::vector<std::string>> rows = {
        {"VOLUME", "DEVICE", "TYPE", "SIZE", "USED", "FREE", "USE", "MOUNTED AT"}};
    for (const MountEntry &volume : volumes)
        rows.push_back({volume.folder, volume.device, volume.fstype, size_text(volume.total), size_text(volume.used),
                        size_text(volume.free), std::to_string(volume.used_percent) + "%", volume.mount_point});
    return rows;
}

Json volume_json(const std::vector<MountEntry> &volumes)
{
    Json json = Json::array();
    for (const MountEntry &volume : volumes)
        json.push_back({{"volume", volume.folder},
                        {"disk", volume.disk},
                        {"device", volume.device},
                        {"type", volume.fstype},
                        {"mount_point", volume.mount_point},
                        {"total", volume.total},
                        {"used", volume.used},
                        {"free", volume.free},
                        {"used_percent", volume.used_percent}});
    return json;
}

} // namespace nasctl
