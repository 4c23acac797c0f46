#include "nas/partition.h"

#include "platform/process.h"
#include "storage/device_name.h"
#include "storage/mount_table.h"
#include "storage/volume_list.h"
#include "support/line_reader.h"
#include "support/text.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

using namespace nas;

static void open_partition_table(LineReader &table)
{
    open_table(table, "/proc/partitions", 255);
}

static bool is_of_family(const char *name, const char *family)
{
    return strncmp(name, family, 2) == 0;
}

// A drive has a letter behind its family.
static bool is_drive(const char *name, const char *family)
{
    return is_of_family(name, family) && name[2] != '\0';
}

int get_block_devidx(const char *name)
{
    if (is_drive(name, "hd") || is_drive(name, "sd"))
        return parse_int(name + 3);
    if (is_of_family(name, "sr"))
        return parse_int(name + 2);
    return -1;
}

int make_dev_node(const char *name)
{
    const int index = get_block_devidx(name);
    if (index == -1)
        return -1;
    char disk[4];
    copy_text(disk, name);
    if (is_drive(name, "hd")) {
        // The disk's node is always made with minor 0, the partition's with its own.
        system2("/bin/mknod -m 660 /dev/%s b 22 0", disk);
        system2("/bin/mknod -m 660 /dev/%s b 22 %lld", name, (name[2] - 'c') * 64LL + index);
    } else if (is_drive(name, "sd")) {
        const long long first_minor = (name[2] - 'a') * 16LL;
        system2("/bin/mknod -m 660 /dev/%s b 8 %lld", disk, first_minor);
        system2("/bin/mknod -m 660 /dev/%s b 8 %lld", name, first_minor + index);
    }
    return 0;
}

int parse_devname(const char *name, char *disk, int *num)
{
    char work[NAS_DEVICE_NAME_SIZE];
    copy_text(work, name);
    const std::string_view head = disk_of_device(work);
    copy_text({disk, NAS_DEVICE_NAME_SIZE}, head);
    const char *number = work + head.size();
    if (*number == '\0')
        return 0;
    if (num != nullptr)
        *num = parse_int(number);
    return 1;
}

// How many lines contain the name; -1 when the table cannot be read.
static int count_lines(const char *name)
{
    LineReader table;
    open_partition_table(table);
    if (!table.file)
        return -1;
    int count = 0;
    while (char *line = next_line(table))
        if (strstr(line, name) != nullptr)
            count++;
    return count;
}

unsigned get_partition_num(const char *name)
{
    const int lines = count_lines(name);
    return lines == -1 ? 0 : static_cast<unsigned>(lines) - 1;
}

int get_blockdev_exist(const char *name)
{
    return count_lines(name) > 0;
}

int get_partition_lastidx(const char *disk)
{
    LineReader table;
    open_partition_table(table);
    int last = 0;
    while (char *line = next_line(table))
        if (const char *found = strstr(line, disk)) {
            const int index = parse_int(found + strlen(disk));
            if (index > last)
                last = index;
        }
    return last;
}

uint64_t get_partition_numofblock(const char *name)
{
    LineReader table;
    open_partition_table(table);
    while (char *line = next_line(table)) {
        char *rest = line;
        const char *major = strtok_r(rest, " \t", &rest);
        const char *minor = strtok_r(nullptr, " \t", &rest);
        const char *blocks = strtok_r(nullptr, " \t", &rest);
        if (major == nullptr || minor == nullptr || blocks == nullptr)
            continue;
        const char *device = strtok_r(nullptr, " ", &rest);
        if (device != nullptr && strcmp(device, name) == 0)
            return strtoull(blocks, nullptr, 10);
    }
    return 0;
}

int is_fdd_type(const char *disk)
{
    return count_lines(disk) == 1;
}

int sleep_all_hdd(void)
{
    system2("/sbin/hdparm -y /dev/sda");
    return 0;
}

int sleep_hdd(const char *disk)
{
    char quoted_disk[32];
    sf_strncpy(quoted_disk, disk, sizeof quoted_disk);
    quote_r(quoted_disk, sizeof quoted_disk);
    return system2("/sbin/hdparm -y /dev/%s", quoted_disk);
}

uint64_t get_fs_available_size(const char *mount_point)
{
    LineReader table;
    open_mount_table(table);
    for (Volume volume; next_volume(table, volume, nullptr);)
        if (volume.mount.mount_point == mount_point)
            return ask_for_sizes(mount_point).free;
    return 0;
}
