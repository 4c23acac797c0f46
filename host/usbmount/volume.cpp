#include "volume.h"

#include "device_name.h"
#include "files.h"
#include "text.h"

#include <blkid/blkid.h>

#include <algorithm>
#include <memory>
#include <sstream>

namespace usbmount
{
namespace
{

int number_of(const std::string &partition)
{
    return nashost::decimal_value(partition.c_str() + nashost::disk_name_length);
}

std::string value(blkid_probe probe, const char *name)
{
    const char *data = nullptr;
    size_t size = 0;
    if (blkid_probe_lookup_value(probe, name, &data, &size) != 0 || size == 0)
        return {};
    return std::string(data, size - 1); // its terminator counts
}

} // namespace

std::vector<std::string> volumes_in(std::string_view partitions, const std::string &disk)
{
    bool found = false;
    std::vector<std::string> volumes;
    for (const std::string &text : nashost::split(partitions, '\n')) {
        std::istringstream line(text);
        unsigned major = 0, minor = 0;
        unsigned long long kilobytes = 0;
        std::string name;
        if (!(line >> major >> minor >> kilobytes >> name) || name.compare(0, disk.size(), disk) != 0)
            continue;
        found = found || name == disk;
        const bool is_frame = kilobytes <= 1; // so the kernel shows an extended partition
        if (nashost::is_partition_name(name) && !is_frame)
            volumes.push_back(name);
    }
    std::sort(volumes.begin(), volumes.end(),
              [](const std::string &a, const std::string &b) { return number_of(a) < number_of(b); });
    if (volumes.empty() && found)
        volumes.push_back(disk);
    return volumes;
}

std::vector<std::string> volumes_of(const std::string &disk)
{
    constexpr size_t table_limit = 256UL * 1024;
    return volumes_in(nashost::read_text("/proc/partitions", table_limit).value_or(""), disk);
}

/* The safe search finds nothing where two file systems seem to be: the wrong one would be mounted, and destroyed. */
FileSystem file_system_on(const std::string &device)
{
    FileSystem found;
    std::unique_ptr<blkid_struct_probe, void (*)(blkid_probe)> probe(blkid_new_probe_from_filename(device.c_str()),
                                                                     blkid_free_probe);
    if (!probe)
        return found;
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_LABEL | BLKID_SUBLKS_UUID);
    if (blkid_do_safeprobe(probe.get()) != 0)
        return found;
    found.type = value(probe.get(), "TYPE");
    found.label = value(probe.get(), "LABEL");
    found.uuid = value(probe.get(), "UUID");
    return found;
}

} // namespace usbmount
