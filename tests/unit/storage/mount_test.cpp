#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/mount.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using nas_test::FailingMemory;
using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::LibraryTest;

constexpr const char *no_text = nullptr;

struct Mount : LibraryTest {
    ~Mount() override
    {
        release();
    }

    // Fills `list`, which held garbage before.
    unsigned build(const char *disk = nullptr)
    {
        release();
        std::memset(&list, 0x5a, sizeof list);
        filled = true;
        const int count = host.call(get_mount_list, &list, disk);
        EXPECT_EQ(static_cast<unsigned>(count), list.count);
        return list.count;
    }

    // "device>mount point", a line each.
    std::string volumes() const
    {
        std::string text;
        for (const MountEntry *entry = list.first; entry != nullptr; entry = entry->next)
            text += std::string(entry->device) + ">" + entry->mount_point + "\n";
        return text;
    }

    int percent(std::uint64_t blocks, std::uint64_t free, std::uint64_t available)
    {
        sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
        host.file_systems["/tmp/mnt/Disk1"] = {4096, blocks, free, available};
        build();
        return list.first->used_percent;
    }

    void release()
    {
        if (filled)
            free_mount_list(&list);
        filled = false;
    }

    MountList list;
    bool filled = false;
};

// ---- get_mount_list

TEST_F(Mount, OneVolume)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    host.file_systems["/tmp/mnt/Disk1"] = {4096, 1000, 400, 300};
    ASSERT_EQ(build(), 1U);
    const MountEntry entry = *list.first; // as a caller may copy it: whole
    EXPECT_EQ(list.last, list.first);
    EXPECT_EQ(entry.next, nullptr);
    EXPECT_STREQ(entry.disk, "sda");
    EXPECT_STREQ(entry.device, "sda1");
    EXPECT_STREQ(entry.mount_point, "/tmp/mnt/Disk1");
    EXPECT_STREQ(entry.folder, "Disk1");
    EXPECT_STREQ(entry.fstype, "vfat");
    EXPECT_STREQ(entry.bus, "usb");
    EXPECT_EQ(entry.total, 4096000U);
    EXPECT_EQ(entry.used, 2457600U);
    EXPECT_EQ(entry.free, 1638400U);
    EXPECT_EQ(entry.used_percent, 67); // 600 of 900
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Mount, OrderIsTheTables)
{
    sandbox.set_mounts("/dev/sdb1 /tmp/mnt/Zebra vfat rw 0 0\n"
                       "/dev/sda2 /tmp/mnt/Apple ntfs rw 0 0\n"
                       "/dev/sda1 /mnt/usb fuseblk rw 0 0\n");
    ASSERT_EQ(build(), 3U);
    EXPECT_EQ(volumes(), "sdb1>/tmp/mnt/Zebra\nsda2>/tmp/mnt/Apple\nsda1>/mnt/usb\n");
    EXPECT_EQ(list.first->next->next, list.last);
    EXPECT_STREQ(list.last->fstype, "fuseblk");
    EXPECT_STREQ(list.last->folder, "usb");
    EXPECT_EQ(list.last->next, nullptr);
}

TEST_F(Mount, OnlyUsbVolumesAreListed)
{
    sandbox.set_mounts("rootfs / rootfs rw 0 0\n"
                       "/dev/root / squashfs ro 0 0\n"
                       "proc /proc proc rw 0 0\n"
                       "/dev/ram2 /mnt/ram tmpfs rw 0 0\n"
                       "/dev/root /tmp/mnt/root ext4 rw 0 0\n"
                       "none /tmp tmpfs rw 0 0\n"
                       "none /tmp/mnt/none tmpfs rw 0 0\n"
                       "/dev/sda1 /media/x vfat rw 0 0\n"
                       "/dev/sda2 /tmp/Disk vfat rw 0 0\n"
                       "/dev/sda3 /home/mnt/x vfat rw 0 0\n"
                       "/dev/sda4 mnt/x vfat rw 0 0\n"
                       "/dev/sdb1 /mnt/usb vfat rw 0 0\n");
    EXPECT_EQ(build(), 1U);
    EXPECT_EQ(volumes(), "sdb1>/mnt/usb\n");
}

TEST_F(Mount, PlacesAreTakenByTheirBeginning)
{
    sandbox.set_mounts("/dev/ram20 /mnt vfat rw 0 0\n"
                       "/dev/root2 /mnt2 vfat rw 0 0\n"
                       "/dev/sda1 /tmp/mntx/Disk1 vfat rw 0 0\n");
    EXPECT_EQ(build(), 3U);
    EXPECT_EQ(volumes(), "ram20>/mnt\nroot2>/mnt2\nsda1>/tmp/mntx/Disk1\n");
    EXPECT_STREQ(list.first->folder, "mnt");
    EXPECT_STREQ(list.first->disk, "ram");
    EXPECT_STREQ(list.last->folder, "Disk1");
}

TEST_F(Mount, NamesAreTheLastComponents)
{
    sandbox.set_mounts("/dev/mapper/data /tmp/mnt/a/b/c ext4 rw 0 0\n"
                       "/dev/sr0 /tmp/mnt/ iso9660 ro 0 0\n");
    ASSERT_EQ(build(), 2U);
    EXPECT_STREQ(list.first->device, "data");
    EXPECT_STREQ(list.first->disk, "data");
    EXPECT_STREQ(list.first->folder, "c");
    EXPECT_STREQ(list.last->device, "sr0");
    EXPECT_STREQ(list.last->disk, "sr0");
    EXPECT_STREQ(list.last->folder, "");
}

TEST_F(Mount, DiskFilterIsExact)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/A vfat rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/B vfat rw 0 0\n"
                       "/dev/sda12 /tmp/mnt/C vfat rw 0 0\n"
                       "/dev/sdaa1 /tmp/mnt/D vfat rw 0 0\n"
                       "/dev/sda /tmp/mnt/E vfat rw 0 0\n");
    EXPECT_EQ(build("sda"), 3U);
    EXPECT_EQ(volumes(), "sda1>/tmp/mnt/A\nsda12>/tmp/mnt/C\nsda>/tmp/mnt/E\n");
    EXPECT_EQ(build("sdb"), 1U);
    EXPECT_EQ(list.first, list.last);
    for (const char *none : {"sd", "sda1", "sdc", ""}) {
        EXPECT_EQ(build(none), 0U) << none;
        EXPECT_EQ(list.first, nullptr) << none;
        EXPECT_EQ(list.last, nullptr) << none;
    }
}

TEST_F(Mount, UnreadableOrEmptyTableGivesAnEmptyList)
{
    EXPECT_EQ(build(), 0U);
    EXPECT_EQ(list.first, nullptr);
    EXPECT_EQ(list.last, nullptr);
    for (const char *table : {"", "\n", "\n\n \n", "/dev/sda1\n", "/dev/sda1 \n", "/dev/sda1"}) {
        sandbox.set_mounts(table);
        EXPECT_EQ(build(), 0U) << table;
        EXPECT_EQ(list.first, nullptr) << table;
    }
}

TEST_F(Mount, LineWithoutTypeIsListed)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1\n"
                       "/dev/sdb1 /tmp/mnt/Disk2");
    ASSERT_EQ(build(), 2U);
    EXPECT_EQ(volumes(), "sda1>/tmp/mnt/Disk1\nsdb1>/tmp/mnt/Disk2\n");
    EXPECT_STREQ(list.first->folder, "Disk1");
    EXPECT_STREQ(list.first->fstype, "");
    EXPECT_STREQ(list.last->fstype, "");
}

TEST_F(Mount, TypeAtTheEndOfTheLineHasNoLineFeed)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat\n");
    ASSERT_EQ(build(), 1U);
    EXPECT_STREQ(list.first->fstype, "vfat");
}

TEST_F(Mount, FieldsEndAtEveryBlank)
{
    sandbox.set_mounts(" /dev/sda1 /tmp/mnt/A vfat rw 0 0\n"
                       "/dev/sdb1  /tmp/mnt/B vfat rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/C vfat rw 0 0\n");
    EXPECT_EQ(build(), 1U);
    EXPECT_EQ(volumes(), "sdc1>/tmp/mnt/C\n");
}

TEST_F(Mount, OctalEscapesAreDecoded)
{
    sandbox.set_mounts("/dev/my\\040disk1 /tmp/mnt/My\\040Disk ext4 rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/a\\011b\\012c\\134d ext4 rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/\\134040x ext4 rw 0 0\n");
    host.file_systems["/tmp/mnt/My Disk"] = {1024, 100, 50, 50};
    ASSERT_EQ(build(), 3U);
    EXPECT_STREQ(list.first->device, "my disk1");
    EXPECT_STREQ(list.first->disk, "my disk");
    EXPECT_STREQ(list.first->mount_point, "/tmp/mnt/My Disk");
    EXPECT_STREQ(list.first->folder, "My Disk");
    EXPECT_EQ(list.first->total, 102400U);
    EXPECT_STREQ(list.first->next->mount_point, "/tmp/mnt/a\tb\nc\\d");
    EXPECT_STREQ(list.last->folder, "\\040x"); // decoded once, not twice
}

TEST_F(Mount, WhatIsNoEscapeStays)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/a\\ ext4 rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/b\\04 ext4 rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/c\\048d ext4 rw 0 0\n"
                       "/dev/sdd1 /tmp/mnt/d\\x20 ext4 rw 0 0\n");
    ASSERT_EQ(build(), 4U);
    EXPECT_EQ(volumes(), "sda1>/tmp/mnt/a\\\nsdb1>/tmp/mnt/b\\04\nsdc1>/tmp/mnt/c\\048d\nsdd1>/tmp/mnt/d\\x20\n");
}

TEST_F(Mount, OctalEscapesStandAnywhereInAName)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/\\040\\040a\\040\\134\\134b\\040 ext4 rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/\uc601\\040\uc601\ud654\\011\u00fc ext4 rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/\\001\\177\\200\\376\\377\\101 ext4 rw 0 0\n");
    ASSERT_EQ(build(), 3U);
    EXPECT_STREQ(list.first->folder, "  a \\\\b ");
    EXPECT_STREQ(list.first->next->folder, "\uc601 \uc601\ud654\t\u00fc");
    EXPECT_STREQ(list.last->folder, "\x01\x7f\x80\xfe\xff"
                                    "A");
}

TEST_F(Mount, EscapesOfNoByteStay)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/a\\000b ext4 rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/\\400\\401\\777 ext4 rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/\\081\\018\\811\\0:1\\01: ext4 rw 0 0\n");
    ASSERT_EQ(build(), 3U);
    EXPECT_STREQ(list.first->folder, "a\\000b");
    EXPECT_STREQ(list.first->next->folder, "\\400\\401\\777");
    EXPECT_STREQ(list.last->folder, "\\081\\018\\811\\0:1\\01:");
}

TEST_F(Mount, DigitsBehindAnEscapeAreNoEscape)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/My\\040Photos2012 ext4 rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/A\\134B101\\040101 ext4 rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/\\1-2\\12.\\+12\\1 ext4 rw 0 0\n");
    ASSERT_EQ(build(), 3U);
    EXPECT_STREQ(list.first->folder, "My Photos2012");
    EXPECT_STREQ(list.first->next->folder, "A\\B101 101");
    EXPECT_STREQ(list.last->folder, "\\1-2\\12.\\+12\\1");
}

TEST_F(Mount, LongNameOfADiskIsAskedForAsItIsListed)
{
    sandbox.set_mounts("/dev/abcdefghijklmnopqrst1 /tmp/mnt/A ext4 rw 0 0\n"
                       "/dev/abcdefghijklmno1 /tmp/mnt/B ext4 rw 0 0\n"
                       "/dev/abcdefghijklmn1 /tmp/mnt/C ext4 rw 0 0\n");
    EXPECT_EQ(build("abcdefghijklmno"), 2U);
    EXPECT_EQ(volumes(), "abcdefghijklmno>/tmp/mnt/A\nabcdefghijklmno>/tmp/mnt/B\n");
    EXPECT_EQ(build("abcdefghijklmn"), 1U);
    for (const char *none : {"abcdefghijklmnop", "abcdefghijklmnopq", "abcdefghijklmnopqrst"})
        EXPECT_EQ(build(none), 0U) << none;
}

TEST_F(Mount, FieldsThatDoNotFitAreCut)
{
    const std::string folder(100, 'f');
    sandbox.set_mounts("/dev/abcdefghijklmnopqrstuvwxyz1 /tmp/mnt/" + folder + " " + std::string(60, 't') +
                       " rw 0 0\n");
    ASSERT_EQ(build(), 1U);
    const MountEntry &entry = *list.first;
    EXPECT_STREQ(entry.device, "abcdefghijklmno");
    EXPECT_STREQ(entry.disk, "abcdefghijklmno");
    EXPECT_EQ(std::string(entry.mount_point), "/tmp/mnt/" + std::string(54, 'f'));
    EXPECT_EQ(std::string(entry.folder), std::string(63, 'f'));
    EXPECT_EQ(std::string(entry.fstype), std::string(31, 't'));
    EXPECT_STREQ(entry.bus, "usb");
    EXPECT_EQ(entry.total, 0U);
}

TEST_F(Mount, OverlongLineIsOneLine)
{
    // What stands behind the 511th character would be a line of its own if it were read apart.
    std::string line = "/dev/sda1 /tmp/mnt/Disk1 vfat ";
    line += std::string(511 - line.size(), 'o');
    sandbox.set_mounts(line + "/dev/sdb1 /tmp/mnt/Disk2 vfat rw 0 0\n"
                              "/dev/sdc1 /tmp/mnt/Disk3 vfat rw 0 0\n");
    EXPECT_EQ(build(), 2U);
    EXPECT_EQ(volumes(), "sda1>/tmp/mnt/Disk1\nsdc1>/tmp/mnt/Disk3\n");
}

TEST_F(Mount, VeryLongLineIsOneLine)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 overlay " + std::string(20000, 'o') + "\n" +
                       "/dev/sdc1 /tmp/mnt/Disk3 vfat rw 0 0\n");
    EXPECT_EQ(build(), 2U);
    EXPECT_EQ(volumes(), "sda1>/tmp/mnt/Disk1\nsdc1>/tmp/mnt/Disk3\n");
}

TEST_F(Mount, ThousandVolumes)
{
    std::string table;
    for (int i = 1; i <= 1000; ++i)
        table += "/dev/sda" + std::to_string(i) + " /tmp/mnt/D" + std::to_string(i) + " vfat rw 0 0\n";
    sandbox.set_mounts(table);
    EXPECT_EQ(build(), 1000U);
    EXPECT_EQ(host.statfs_calls, 1000);
    EXPECT_STREQ(list.last->mount_point, "/tmp/mnt/D1000");
}

TEST_F(Mount, EachVolumeIsAskedForItsSizeOnce)
{
    sandbox.set_mounts("/dev/root / squashfs ro 0 0\n"
                       "/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/Disk2 vfat rw 0 0\n");
    build();
    EXPECT_EQ(host.statfs_calls, 2);
}

TEST_F(Mount, DeadVolumeStaysWithZeroSizes)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    ASSERT_EQ(build(), 1U);
    EXPECT_EQ(list.first->total, 0U);
    EXPECT_EQ(list.first->used, 0U);
    EXPECT_EQ(list.first->free, 0U);
    EXPECT_EQ(list.first->used_percent, 0);
}

TEST_F(Mount, VolumeWithoutBlocksHasZeroSizes)
{
    for (const std::uint64_t free : {UINT64_C(77), UINT64_C(1) << 58}) {
        EXPECT_EQ(percent(0, free, free), 0);
        EXPECT_EQ(list.first->total, 0U);
        EXPECT_EQ(list.first->used, 0U);
        EXPECT_EQ(list.first->free, 0U);
    }
}

TEST_F(Mount, PercentIsOfWhatUsersCanHaveToTheNearest)
{
    EXPECT_EQ(percent(100, 100, 100), 0);
    EXPECT_EQ(percent(100, 0, 0), 100);
    EXPECT_EQ(percent(100, 50, 50), 50);
    EXPECT_EQ(percent(100, 40, 30), 67);      // 60 of 90: 66.7
    EXPECT_EQ(percent(1000, 995, 995), 1);    // 0.5 goes up
    EXPECT_EQ(percent(10000, 9951, 9951), 0); // 0.49
    EXPECT_EQ(percent(1000, 5, 5), 100);      // 99.5
    EXPECT_EQ(percent(1000, 6, 6), 99);       // 99.4
    EXPECT_EQ(percent(100, 10, 0), 100);      // only the superuser's blocks are left
    EXPECT_EQ(percent(3, 2, 2), 33);
    EXPECT_EQ(percent(3, 1, 1), 67);
}

TEST_F(Mount, EveryPercentageIsTold)
{
    for (int used = 0; used <= 100; ++used) {
        const auto free = static_cast<std::uint64_t>(100 - used);
        EXPECT_EQ(percent(100, free, free), used);
    }
}

TEST_F(Mount, PercentIsWithinItsBoundsWhateverTheVolumeSays)
{
    // More blocks than there can be: what is computed from them does not fit into 64 bits.
    for (int bits = 54; bits <= 64; ++bits) {
        const std::uint64_t blocks = bits < 64 ? UINT64_C(1) << bits : UINT64_MAX;
        for (const unsigned part : {1U, 2U, 4U, 5U, 7U, 10U})
            for (const std::uint64_t available : {blocks / part, blocks / part / 2, UINT64_C(0)}) {
                const int used = percent(blocks, blocks / part, available);
                EXPECT_GE(used, 0) << bits << " " << part << " " << available;
                EXPECT_LE(used, 100) << bits << " " << part << " " << available;
            }
    }
}

TEST_F(Mount, LargestNumberOfBlocksIsANumber)
{
    percent(UINT64_MAX, 0, 0);
    EXPECT_NE(list.first->total, 0U);
}

TEST_F(Mount, FullVolumeIsFullHoweverLarge)
{
    for (const int bits : {0, 12, 32, 40, 56, 57, 58, 59, 60})
        EXPECT_EQ(percent(UINT64_C(1) << bits, 0, 0), 100) << bits;
}

TEST_F(Mount, VolumeOfOneBlockHasSizes)
{
    EXPECT_EQ(percent(1, 0, 0), 100);
    EXPECT_EQ(list.first->total, 4096U);
    EXPECT_EQ(list.first->used, 4096U);
    EXPECT_EQ(list.first->free, 0U);
}

TEST_F(Mount, PercentOfNothingIsZero)
{
    EXPECT_EQ(percent(100, 100, 0), 0);
    EXPECT_EQ(list.first->total, 409600U);
}

TEST_F(Mount, SizesAre64BitsWide)
{
    EXPECT_EQ(percent(4'000'000'000, 1'000'000'000, 1'000'000'000), 75);
    EXPECT_EQ(list.first->total, UINT64_C(16384000000000));
    EXPECT_EQ(list.first->used, UINT64_C(12288000000000));
    EXPECT_EQ(list.first->free, UINT64_C(4096000000000));
}

TEST_F(Mount, FreeingKeepsTheHead)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n/dev/sdb1 /tmp/mnt/Disk2 vfat rw 0 0\n");
    build();
    const MountEntry *const first = list.first;
    const MountEntry *const last = list.last;
    EXPECT_EQ(host.call(free_mount_list, &list), 0);
    filled = false;
    EXPECT_EQ(list.count, 2U);
    EXPECT_EQ(list.first, first);
    EXPECT_EQ(list.last, last);
    MountList empty = {};
    EXPECT_EQ(host.call(free_mount_list, &empty), 0);
}

TEST_F(Mount, ListEndsWhereMemoryEnds)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/Disk2 vfat rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/Disk3 vfat rw 0 0\n");
    // With more and more memory the list becomes longer, and what there is of it is whole.
    std::vector<unsigned> counts;
    for (int allocations = 0; counts.empty() || counts.back() < 3; ++allocations) {
        ASSERT_LT(allocations, 100);
        const FailingMemory memory(allocations, 1);
        const unsigned count = build();
        unsigned nodes = 0;
        for (const MountEntry *entry = list.first; entry != nullptr; entry = entry->next) {
            ++nodes;
            EXPECT_EQ(entry->next == nullptr, entry == list.last);
        }
        EXPECT_EQ(nodes, count);
        if (counts.empty() || counts.back() != count)
            counts.push_back(count);
    }
    EXPECT_EQ(counts, (std::vector<unsigned>{0, 1, 2, 3}));
}

// ---- get_num_of_mountdev

TEST_F(Mount, CountingAsksNoVolumeForItsSize)
{
    sandbox.set_mounts("/dev/root / squashfs ro 0 0\n"
                       "/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sda2 /tmp/mnt/Disk2 vfat rw 0 0\n"
                       "/dev/sdb1 /mnt/Disk3 vfat rw 0 0\n"
                       "none /tmp/mnt/x tmpfs rw 0 0\n");
    EXPECT_EQ(host.call(get_num_of_mountdev, no_text), 3);
    EXPECT_EQ(host.call(get_num_of_mountdev, "sda"), 2);
    EXPECT_EQ(host.call(get_num_of_mountdev, "sdb"), 1);
    EXPECT_EQ(host.call(get_num_of_mountdev, "sdc"), 0);
    EXPECT_EQ(host.call(get_num_of_mountdev, "sda1"), 0);
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Mount, CountingWithoutTableIsZero)
{
    EXPECT_EQ(host.call(get_num_of_mountdev, no_text), 0);
}

// ---- get_mtab_info

struct MtabInfo {
    int result;
    std::string fstype, mount_point;
};

MtabInfo mtab_info(nas_test::RecordingHost &host, const char *device)
{
    char fstype[NAS_FSTYPE_SIZE] = "#";
    char mount_point[NAS_MOUNT_POINT_SIZE] = "#";
    const int result = host.call(get_mtab_info, device, &fstype[0], &mount_point[0]);
    return {result, fstype, mount_point};
}

void expect_info(const MtabInfo &info, int result, const std::string &fstype, const std::string &mount_point)
{
    EXPECT_EQ(info.result, result);
    EXPECT_EQ(info.fstype, fstype);
    EXPECT_EQ(info.mount_point, mount_point);
}

TEST_F(Mount, DeviceIsFoundBehindItsPrefix)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sda12 /media/x ntfs rw 0 0\n"
                       "/dev/mapper/data /tmp/mnt/Data ext4 rw 0 0\n");
    expect_info(mtab_info(host, "sda1"), 1, "vfat", "/tmp/mnt/Disk1");
    expect_info(mtab_info(host, "sda12"), 1, "ntfs", "/media/x");
    expect_info(mtab_info(host, "data"), 1, "ext4", "/tmp/mnt/Data");
    EXPECT_EQ(host.statfs_calls, 0);
    for (const char *name : {"sda", "sda2", "da1", "mapper/data", "/dev/sda1", "vfat", "Disk1", "at"})
        expect_info(mtab_info(host, name), 0, "#", "#");
}

TEST_F(Mount, LastLineOfADeviceWins)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sda1 /tmp/mnt/Other ntfs rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/sda1 ext4 rw 0 0\n");
    expect_info(mtab_info(host, "sda1"), 1, "ntfs", "/tmp/mnt/Other");
}

TEST_F(Mount, DeviceWithoutTypeIsNoSuccess)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1\n");
    expect_info(mtab_info(host, "sda1"), 0, "#", "/tmp/mnt/Disk1");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n/dev/sda1 /tmp/mnt/Later\n");
    expect_info(mtab_info(host, "sda1"), 1, "vfat", "/tmp/mnt/Later");
}

TEST_F(Mount, InfoMayBeLeftOut)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    EXPECT_EQ(host.call([] { return get_mtab_info("sda1", nullptr, nullptr); }), 1);
    EXPECT_EQ(host.call([] { return get_mtab_info("sdb1", nullptr, nullptr); }), 0);
    char text[NAS_MOUNT_POINT_SIZE] = "#";
    EXPECT_EQ(host.call([&] { return get_mtab_info("sda1", nullptr, text); }), 1);
    EXPECT_STREQ(text, "/tmp/mnt/Disk1");
    EXPECT_EQ(host.call([&] { return get_mtab_info("sda1", text, nullptr); }), 1);
    EXPECT_STREQ(text, "vfat");
}

TEST_F(Mount, FieldsShorterThanTheirPrefixNeverMatch)
{
    sandbox.set_mounts("sda1 /tmp/mnt/A vfat rw 0 0\n"
                       "a1 /tmp/mnt/B vfat rw 0 0\n"
                       "tmpfs /tmp tmpfs rw 0 0\n"
                       "/dev /tmp/mnt/C vfat rw 0 0\n"
                       "/ /tmp/mnt/D vfat rw 0 0\n");
    // Behind such a field stands the mount point: five characters on from its start lies in there.
    for (const char *name : {"", "a1", "sda1", "1", "/tmp/mnt/A", "mp/mnt/B", "/tmp/mnt/C", "p/mnt/D"})
        expect_info(mtab_info(host, name), 0, "#", "#");
}

TEST_F(Mount, InfoIsDecodedAndCut)
{
    sandbox.set_mounts("/dev/my\\040disk /tmp/mnt/My\\040Disk vfat rw 0 0\n"
                       "/dev/sda1 /tmp/mnt/" +
                       std::string(100, 'f') + " " + std::string(60, 't') + " rw 0 0\n");
    expect_info(mtab_info(host, "my disk"), 1, "vfat", "/tmp/mnt/My Disk");
    const GuardedBuffer fstype(NAS_FSTYPE_SIZE);
    const GuardedBuffer mount_point(NAS_MOUNT_POINT_SIZE);
    EXPECT_EQ(host.call(get_mtab_info, "sda1", fstype.data(), mount_point.data()), 1);
    EXPECT_EQ(std::string(fstype.data()), std::string(31, 't'));
    EXPECT_EQ(std::string(mount_point.data()), "/tmp/mnt/" + std::string(54, 'f'));
}

TEST_F(Mount, InfoWithoutTableIsZero)
{
    expect_info(mtab_info(host, "sda1"), 0, "#", "#");
}

TEST_F(Mount, InfoOfAnOverlongLineComesFromItsBeginning)
{
    std::string line = "/dev/sda1 /tmp/mnt/Disk1 vfat ";
    line += std::string(511 - line.size(), 'o');
    sandbox.set_mounts(line + "/dev/sda1 /tmp/mnt/Wrong ext4 rw 0 0\n");
    expect_info(mtab_info(host, "sda1"), 1, "vfat", "/tmp/mnt/Disk1");
}

// ---- get_mount_devpath

struct Found {
    int result;
    std::string device;
};

Found devpath(nas_test::RecordingHost &host, const char *mount_point)
{
    char device[NAS_MOUNT_POINT_SIZE] = "#";
    const int result = host.call(get_mount_devpath, mount_point, &device[0]);
    return {result, device};
}

void expect_found(const Found &found, int result, const std::string &device)
{
    EXPECT_EQ(found.result, result);
    EXPECT_EQ(found.device, device);
}

TEST_F(Mount, FirstDeviceAtAPathIsFound)
{
    sandbox.set_mounts("/dev/root / squashfs ro 0 0\n"
                       "none /tmp tmpfs rw 0 0\n"
                       "/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/Disk10\n");
    expect_found(devpath(host, "/tmp/mnt/Disk1"), 1, "/dev/sda1");
    expect_found(devpath(host, "/tmp/mnt/Disk10"), 1, "/dev/sdc1");
    expect_found(devpath(host, "/"), 1, "/dev/root");
    expect_found(devpath(host, "/tmp"), 1, "none");
    EXPECT_EQ(host.statfs_calls, 0);
    for (const char *path : {"/tmp/mnt/Disk", "/tmp/mnt/Disk1/", "/tmp/mnt/disk1", "Disk1", "vfat", ""})
        expect_found(devpath(host, path), 0, "");
}

TEST_F(Mount, DevicePathMayBeLeftOut)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    EXPECT_EQ(host.call([] { return get_mount_devpath("/tmp/mnt/Disk1", nullptr); }), 1);
    EXPECT_EQ(host.call([] { return get_mount_devpath("/tmp/mnt/Disk2", nullptr); }), 0);
}

TEST_F(Mount, DevicePathOfAnEmptyOrUnreadableTable)
{
    EXPECT_EQ(devpath(host, "/tmp/mnt/Disk1").result, 0);
    for (const char *table : {"", "\n", "/dev/sda1\n", "/dev/sda1 \n"}) {
        sandbox.set_mounts(table);
        expect_found(devpath(host, "/tmp/mnt/Disk1"), 0, "");
    }
}

TEST_F(Mount, LineWithoutMountPointMatchesNoPath)
{
    sandbox.set_mounts("/dev/sda1\n\n");
    expect_found(devpath(host, ""), 0, "");
}

TEST_F(Mount, DevicePathIsDecodedAndCut)
{
    const std::string path = "/tmp/mnt/" + std::string(100, 'f');
    sandbox.set_mounts("//server/my\\040share /tmp/mnt/My\\040Disk cifs rw 0 0\n"
                       "/dev/" +
                       std::string(100, 'd') + " " + path + " vfat rw 0 0\n");
    expect_found(devpath(host, "/tmp/mnt/My Disk"), 1, "//server/my share");
    expect_found(devpath(host, "/tmp/mnt/My\\040Disk"), 0, "");
    const GuardedBuffer device(NAS_MOUNT_POINT_SIZE);
    EXPECT_EQ(host.call(get_mount_devpath, path.c_str(), device.data()), 1);
    EXPECT_EQ(std::string(device.data()), "/dev/" + std::string(58, 'd'));
}

TEST_F(Mount, LongPathsAreComparedWhole)
{
    const std::string path = "/tmp/mnt/" + std::string(100, 'f');
    sandbox.set_mounts("/dev/sda1 " + path + " vfat rw 0 0\n");
    EXPECT_EQ(devpath(host, path.c_str()).result, 1);
    EXPECT_EQ(devpath(host, path.substr(0, 63).c_str()).result, 0);
    EXPECT_EQ(devpath(host, (path + "f").c_str()).result, 0);
}

TEST_F(Mount, LineCountsUpToIts511thCharacter)
{
    const std::string path = "/tmp/mnt/" + std::string(492, 'f'); // 501, and ten of the device
    sandbox.set_mounts("/dev/sda1 " + path + "\n");
    EXPECT_EQ(devpath(host, path.c_str()).result, 1);
    sandbox.set_mounts("/dev/sda1 " + path + "f\n");
    EXPECT_EQ(devpath(host, path.c_str()).result, 1);
    EXPECT_EQ(devpath(host, (path + "f").c_str()).result, 0);
}

// ---- processes that serve a mount

TEST_F(Mount, ProcessIsFoundByNameAndText)
{
    host.add_process({"sh", "sh /dev/sda1"});
    host.add_process({"ntfs-3g", "ntfs-3g /dev/sdb1 /tmp/mnt/B"});
    host.add_process({"ntfs-3g", "ntfs-3g /dev/sda1 /tmp/mnt/A"});
    EXPECT_EQ(host.call(check_process_mount, "ntfs-3g", "/dev/sda1"), 1);
    EXPECT_EQ(host.call(check_process_mount, "ntfs-3g", "/tmp/mnt/B"), 1);
    EXPECT_EQ(host.call(check_process_mount, "ntfs-3g", "/dev/sdc1"), 0);
    EXPECT_EQ(host.call(check_process_mount, "ntfs", "/dev/sda1"), 0);
    EXPECT_EQ(host.call(check_process_mount, "mount.exfat-fuse", "/dev/sda1"), 0);
    EXPECT_EQ(host.transcript(), "list ntfs-3g -> 2\n"
                                 "list ntfs-3g -> 2\n"
                                 "list ntfs-3g -> 2\n"
                                 "list ntfs -> 0\n"
                                 "list mount.exfat-fuse -> 0\n");
    EXPECT_EQ(host.open_process_lists, 0);
}

void expect_fuse(nas_test::RecordingHost &host, const char *text, int result, const char *label)
{
    const GuardedBuffer buffer(NAS_FUSE_LABEL_SIZE);
    EXPECT_EQ(host.call(get_fuse_fsname, text, buffer.data()), result);
    EXPECT_STREQ(buffer.data(), label);
}

TEST_F(Mount, FuseDriverIsNamed)
{
    host.add_process({"ntfs-3g", "ntfs-3g /dev/sda1 /tmp/mnt/A"});
    host.add_process({"mount.exfat-fuse", "mount.exfat-fuse /dev/sdb1 /tmp/mnt/B", "mount.exfat-fus"});
    expect_fuse(host, "/dev/sda1", 1, "NTFS");
    EXPECT_EQ(host.transcript(), "list ntfs-3g -> 1\n");
    host.forget();
    expect_fuse(host, "/tmp/mnt/B", 1, "ExFAT");
    EXPECT_EQ(host.transcript(), "list ntfs-3g -> 1\nlist mount.exfat-fuse -> 1\n");
    host.forget();
    expect_fuse(host, "/dev/sdc1", 0, "UNKNOWN");
    EXPECT_EQ(host.transcript(), "list ntfs-3g -> 1\nlist mount.exfat-fuse -> 1\n");
}

TEST_F(Mount, NtfsIsAskedFirst)
{
    host.add_process({"mount.exfat-fuse", "mount.exfat-fuse /dev/sda1"});
    host.add_process({"ntfs-3g", "ntfs-3g /dev/sda1"});
    expect_fuse(host, "/dev/sda1", 1, "NTFS");
}

} // namespace
