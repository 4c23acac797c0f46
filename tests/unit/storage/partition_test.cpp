#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/partition.h"

#include <cstdint>
#include <string>

namespace
{

using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::LibraryTest;

struct Partition : LibraryTest {
    void set_usual_table()
    {
        sandbox.set_partitions("major minor  #blocks  name\n"
                               "\n"
                               "  31        0       1024 mtdblock0\n"
                               "   8        0   15633408 sda\n"
                               "   8        1    1048576 sda1\n"
                               "   8        5   14583808 sda5\n"
                               "   8       12          1 sda12\n"
                               "   8       16    7816704 sdb\n");
    }

    int index(const char *name)
    {
        return host.call(get_block_devidx, name);
    }
};

// ---- names

TEST_F(Partition, IndexIsTheNumberBehindTheDriveLetter)
{
    EXPECT_EQ(index("sda"), 0);
    EXPECT_EQ(index("sdb"), 0);
    EXPECT_EQ(index("sda1"), 1);
    EXPECT_EQ(index("sdc10"), 10);
    EXPECT_EQ(index("hda"), 0);
    EXPECT_EQ(index("hdd7"), 7);
    EXPECT_EQ(index("sda1x"), 1);
    EXPECT_EQ(index("sdap1"), 0);
    EXPECT_EQ(index("sd\xe9"
                    "1"),
              1); // whatever stands for the letter
}

TEST_F(Partition, IndexOfAnOpticalDriveFollowsTheFamily)
{
    EXPECT_EQ(index("sr0"), 0);
    EXPECT_EQ(index("sr1"), 1);
    EXPECT_EQ(index("sr12"), 12);
}

TEST_F(Partition, OtherFamiliesHaveNoIndex)
{
    for (const char *name : {"mmcblk0", "nvme0n1", "mtdblock0", "loop0", "SDA1", "xsda1", "s1", "h", "/dev/sda1"})
        EXPECT_EQ(index(name), -1) << name;
}

TEST_F(Partition, ShortNamesAreReadNoFurtherThanTheirEnd)
{
    EXPECT_EQ(index(GuardedText("")), -1);
    EXPECT_EQ(index(GuardedText("s")), -1);
    EXPECT_EQ(index(GuardedText("h")), -1);
    EXPECT_EQ(index(GuardedText("sd")), -1);
    EXPECT_EQ(index(GuardedText("hd")), -1);
    EXPECT_EQ(index(GuardedText("sr")), 0);
    EXPECT_EQ(index(GuardedText("sda")), 0);
    EXPECT_EQ(index(GuardedText("hda")), 0);
}

// ---- make_dev_node

TEST_F(Partition, NodesOfAScsiPartition)
{
    EXPECT_EQ(host.call(make_dev_node, "sda1"), 0);
    EXPECT_EQ(host.call(make_dev_node, "sdb2"), 0);
    EXPECT_EQ(host.call(make_dev_node, "sdc10"), 0);
    EXPECT_EQ(host.call(make_dev_node, "sdb"), 0);
    EXPECT_EQ(host.transcript(), "run /bin/mknod -m 660 /dev/sda b 8 0 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sda1 b 8 1 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sdb b 8 16 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sdb2 b 8 18 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sdc b 8 32 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sdc10 b 8 42 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sdb b 8 16 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sdb b 8 16 -> 0\n");
}

TEST_F(Partition, DiskNodeOfAnIdeDriveAlwaysHasMinorZero)
{
    EXPECT_EQ(host.call(make_dev_node, "hdd1"), 0);
    EXPECT_EQ(host.call(make_dev_node, "hdc"), 0);
    EXPECT_EQ(host.call(make_dev_node, "hdc3"), 0);
    EXPECT_EQ(host.transcript(), "run /bin/mknod -m 660 /dev/hdd b 22 0 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/hdd1 b 22 65 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/hdc b 22 0 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/hdc b 22 0 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/hdc b 22 0 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/hdc3 b 22 3 -> 0\n");
}

TEST_F(Partition, OpticalDrivesGetNoNode)
{
    EXPECT_EQ(host.call(make_dev_node, "sr0"), 0);
    EXPECT_EQ(host.call(make_dev_node, "sr"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Partition, UnknownFamiliesGetNoNode)
{
    for (const char *name : {"mmcblk0", "", "s", "sd", "hd"})
        EXPECT_EQ(host.call(make_dev_node, static_cast<const char *>(GuardedText(name))), -1) << name;
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Partition, NumbersWithoutEndDoNoHarm)
{
    EXPECT_EQ(host.call(make_dev_node, "sdb99999999999999999999"), 0);
    EXPECT_EQ(host.call(make_dev_node, "hdd99999999999999999999"), 0);
    ASSERT_EQ(host.lines().size(), 4U);
    EXPECT_EQ(host.lines()[0], "run /bin/mknod -m 660 /dev/sdb b 8 16 -> 0");
    EXPECT_EQ(host.lines()[2], "run /bin/mknod -m 660 /dev/hdd b 22 0 -> 0");
}

TEST_F(Partition, MinusOneAloneMeansThatThereIsNoIndex)
{
    EXPECT_EQ(index("sda-1"), -1);
    EXPECT_EQ(host.call(make_dev_node, "sda-1"), -1);
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(index("sdb-2"), -2);
    EXPECT_EQ(host.call(make_dev_node, "sdb-2"), 0);
    EXPECT_EQ(host.transcript(), "run /bin/mknod -m 660 /dev/sdb b 8 16 -> 0\n"
                                 "run /bin/mknod -m 660 /dev/sdb-2 b 8 14 -> 0\n");
}

TEST_F(Partition, FailuresOfMknodDoNotMatter)
{
    host.on_command_prefix("/bin/mknod", {1});
    EXPECT_EQ(host.call(make_dev_node, "sda1"), 0);
    EXPECT_EQ(host.transcript(), "run /bin/mknod -m 660 /dev/sda b 8 0 -> 1\n"
                                 "run /bin/mknod -m 660 /dev/sda1 b 8 1 -> 1\n");
}

// ---- parse_devname

void expect_split(const char *name, const char *disk, int number)
{
    char text[NAS_DEVICE_NAME_SIZE] = "#";
    int found = -7;
    EXPECT_EQ(parse_devname(name, text, &found), 1) << name;
    EXPECT_STREQ(text, disk);
    EXPECT_EQ(found, number) << name;
}

void expect_whole(const char *name)
{
    char text[NAS_DEVICE_NAME_SIZE] = "#";
    int found = -7;
    EXPECT_EQ(parse_devname(name, text, &found), 0) << name;
    EXPECT_STREQ(text, name);
    EXPECT_EQ(found, -7) << name;
}

TEST_F(Partition, NameIsSplitAtTheFirstDigitFromOneToNine)
{
    for (int number = 1; number <= 9; ++number)
        expect_split(("sda" + std::to_string(number)).c_str(), "sda", number);
    expect_split("sda12", "sda", 12);
    expect_split("sda10", "sda", 10);
    expect_split("sda01", "sda0", 1);
    expect_split("mmcblk0p1", "mmcblk0p", 1);
    expect_split("sda1p2", "sda", 1);
    expect_split("5", "", 5);
}

TEST_F(Partition, NameWithoutSuchADigitStaysWhole)
{
    for (const char *name : {"sda", "sr0", "sd0", "sda00", "", "mmcblk"})
        expect_whole(name);
}

TEST_F(Partition, NumberMayBeLeftOut)
{
    char disk[NAS_DEVICE_NAME_SIZE];
    EXPECT_EQ(parse_devname("sdb3", disk, nullptr), 1);
    EXPECT_STREQ(disk, "sdb");
    EXPECT_EQ(parse_devname("sdb", disk, nullptr), 0);
    EXPECT_STREQ(disk, "sdb");
}

TEST_F(Partition, LongNamesAreCut)
{
    const GuardedBuffer disk(NAS_DEVICE_NAME_SIZE);
    int number = -7;
    EXPECT_EQ(parse_devname(std::string(500, 'a').c_str(), disk.data(), &number), 0);
    EXPECT_EQ(std::string(disk.data()), std::string(127, 'a'));
    EXPECT_EQ(parse_devname((std::string(127, 'a') + "1").c_str(), disk.data(), &number), 0);
    EXPECT_EQ(std::string(disk.data()), std::string(127, 'a'));
    EXPECT_EQ(number, -7);
    EXPECT_EQ(parse_devname((std::string(125, 'a') + "123").c_str(), disk.data(), &number), 1);
    EXPECT_EQ(std::string(disk.data()), std::string(125, 'a'));
    EXPECT_EQ(number, 12);
}

// ---- the partition table

TEST_F(Partition, NumberOfPartitionsIsTheLinesLessOne)
{
    set_usual_table();
    EXPECT_EQ(get_partition_num("sda"), 3U);
    EXPECT_EQ(get_partition_num("sdb"), 0U);
    EXPECT_EQ(get_partition_num("sda1"), 1U);
    EXPECT_EQ(get_partition_num("sda5"), 0U);
}

TEST_F(Partition, NumberOfPartitionsOfNothingIsAllOnes)
{
    set_usual_table();
    EXPECT_EQ(get_partition_num("sdc"), 4294967295U);
    sandbox.set_partitions("");
    EXPECT_EQ(get_partition_num("sda"), 4294967295U);
}

TEST_F(Partition, LinesMatchAnywhere)
{
    sandbox.set_partitions("   8        0   15633408 sda\n"
                           "  65      160   15633408 sdaa\n"
                           "   8        1    1048576 xsda1\n");
    EXPECT_EQ(get_partition_num("sda"), 2U);
    EXPECT_EQ(get_partition_num("15633408"), 1U);
    EXPECT_EQ(get_blockdev_exist("daa"), 1);
    EXPECT_EQ(is_fdd_type("sdaa"), 1);
    EXPECT_EQ(is_fdd_type("sda"), 0);
}

TEST_F(Partition, ExistenceOfABlockDevice)
{
    set_usual_table();
    for (const char *name : {"sda", "sda1", "sda5", "sdb", "mtdblock0", "sda12"})
        EXPECT_EQ(get_blockdev_exist(name), 1) << name;
    for (const char *name : {"sdc", "sda2", "sdb1", "SDA"})
        EXPECT_EQ(get_blockdev_exist(name), 0) << name;
}

TEST_F(Partition, LastIndexIsTheHighest)
{
    set_usual_table();
    EXPECT_EQ(get_partition_lastidx("sda"), 12);
    EXPECT_EQ(get_partition_lastidx("sdb"), 0);
    EXPECT_EQ(get_partition_lastidx("sdc"), 0);
    sandbox.set_partitions("   8        7   100 sda7\n"
                           "   8        3   100 sda3\n"
                           "   8        0   100 sda\n"
                           "  65      169   100 sdaa9\n");
    EXPECT_EQ(get_partition_lastidx("sda"), 7);
}

TEST_F(Partition, LastIndexFollowsTheFirstOccurrence)
{
    sandbox.set_partitions("   8   1   100 sda2 sda9\n");
    EXPECT_EQ(get_partition_lastidx("sda"), 2);
}

TEST_F(Partition, BlocksOfTheExactName)
{
    set_usual_table();
    EXPECT_EQ(get_partition_numofblock("sda"), 15633408U);
    EXPECT_EQ(get_partition_numofblock("sda1"), 1048576U);
    EXPECT_EQ(get_partition_numofblock("sda12"), 1U);
    EXPECT_EQ(get_partition_numofblock("mtdblock0"), 1024U);
    for (const char *name : {"sd", "da1", "sda2", "sdc", "name", "#blocks", "8", "", "sda 1"})
        EXPECT_EQ(get_partition_numofblock(name), 0U) << name;
}

TEST_F(Partition, BlocksAre64BitsWide)
{
    sandbox.set_partitions("   8        0 5000000000 sda\n"
                           "   8       16 18446744073709551615 sdb\n");
    EXPECT_EQ(get_partition_numofblock("sda"), UINT64_C(5000000000));
    EXPECT_EQ(get_partition_numofblock("sdb"), UINT64_C(18446744073709551615));
}

TEST_F(Partition, BlocksAreADecimalNumber)
{
    sandbox.set_partitions("8 0 0100 sda\n8 16 0x10 sdb\n");
    EXPECT_EQ(get_partition_numofblock("sda"), 100U);
    EXPECT_EQ(get_partition_numofblock("sdb"), 0U);
}

TEST_F(Partition, ColumnsAreSplitAtBlanksAndTabs)
{
    sandbox.set_partitions("8\t0\t100\tsda\n"
                           "\t 8 \t 1  \t 200 sda1\n"
                           "8 2 300 sda2 \n"
                           "8 3 400 sda3");
    EXPECT_EQ(get_partition_numofblock("sda1"), 200U);
    EXPECT_EQ(get_partition_numofblock("sda2"), 300U);
    EXPECT_EQ(get_partition_numofblock("sda3"), 400U);
}

TEST_F(Partition, ShortLinesAreSkipped)
{
    sandbox.set_partitions("\n"
                           "sda\n"
                           "8 sda\n"
                           "8 0\n"
                           "8 0 100\n"
                           " \t \n"
                           "8 0 700 sda\n");
    EXPECT_EQ(get_partition_numofblock("sda"), 700U);
    EXPECT_EQ(get_partition_numofblock(""), 0U);
}

TEST_F(Partition, FirstLineOfANameGivesItsBlocks)
{
    sandbox.set_partitions("8 0 100 sda\n8 0 200 sda\n");
    EXPECT_EQ(get_partition_numofblock("sda"), 100U);
}

TEST_F(Partition, MediumWithoutPartitions)
{
    set_usual_table();
    EXPECT_EQ(is_fdd_type("sdb"), 1);
    EXPECT_EQ(is_fdd_type("sda"), 0);
    EXPECT_EQ(is_fdd_type("sdc"), 0);
    sandbox.set_partitions("   8        0   15633408 sda\n"
                           "   8        1    1048576 sda1\n");
    EXPECT_EQ(get_partition_num("sda"), 1U);
    EXPECT_EQ(get_partition_lastidx("sda"), 1);
    EXPECT_EQ(is_fdd_type("sda"), 0);
}

TEST_F(Partition, UnreadableTableIsZeroEverywhere)
{
    EXPECT_EQ(get_partition_num("sda"), 0U);
    EXPECT_EQ(get_blockdev_exist("sda"), 0);
    EXPECT_EQ(get_partition_lastidx("sda"), 0);
    EXPECT_EQ(get_partition_numofblock("sda"), 0U);
    EXPECT_EQ(is_fdd_type("sda"), 0);
}

TEST_F(Partition, OverlongLineCountsOnceAndUpToItsLimit)
{
    const std::string tail = std::string(300, ' ') + "sda3\n";
    sandbox.set_partitions("   8        0   15633408 sda" + tail + "   8        1    1048576 sda1\n");
    EXPECT_EQ(get_partition_num("sda"), 1U);
    EXPECT_EQ(get_blockdev_exist("sda3"), 0);
    EXPECT_EQ(get_partition_lastidx("sda"), 1);
    EXPECT_EQ(get_partition_numofblock("sda1"), 1048576U);
}

TEST_F(Partition, LineCountsUpToIts255thCharacter)
{
    sandbox.set_partitions(std::string(251, ' ') + "sda1\n");
    EXPECT_EQ(get_blockdev_exist("sda1"), 1);
    sandbox.set_partitions(std::string(252, ' ') + "sda1\n");
    EXPECT_EQ(get_blockdev_exist("sda1"), 0);
    EXPECT_EQ(get_blockdev_exist("sda"), 1);
}

TEST_F(Partition, NoPartOfAnEndlessLineCounts)
{
    std::string tail;
    for (int i = 0; i < 5000; ++i)
        tail += "sdb1";
    for (const char *end : {"\n", ""}) {
        sandbox.set_partitions(std::string(255, ' ') + tail + end);
        EXPECT_EQ(get_blockdev_exist("sdb1"), 0);
    }
    sandbox.set_partitions(std::string(255, ' ') + tail + "\n   8        0   15633408 sda\n");
    EXPECT_EQ(get_blockdev_exist("sdb1"), 0);
    EXPECT_EQ(get_partition_numofblock("sda"), 15633408U);
}

TEST_F(Partition, LinesAreWholeWhereverTheTableEnds)
{
    // Tables of about 2 and 4 KiB: lines that reach over what is read at once, with and without a last line feed.
    for (const std::size_t lines : {96U, 97U, 98U, 194U, 195U, 196U})
        for (std::size_t first = 0; first < 21; ++first) {
            std::string table = std::string(first, ' ') + "\n";
            for (std::size_t i = 1; i < lines; ++i)
                table += "   8 1  100 sda1  \n \n";
            table += "   8 2  200 sda2";
            sandbox.set_partitions(table);
            ASSERT_EQ(get_partition_num("sda"), lines - 1) << first;
            ASSERT_EQ(get_partition_numofblock("sda2"), 200U) << lines << " " << first;
            sandbox.set_partitions(table + "\n");
            ASSERT_EQ(get_partition_num("sda"), lines - 1) << first;
        }
}

TEST_F(Partition, TailOfAnOverlongLineIsNoLineOfItsOwn)
{
    // The second half would be a whole line if the first were cut off at 255 characters.
    sandbox.set_partitions(std::string(255, 'x') + "8 1 4711 sda1\n");
    EXPECT_EQ(get_partition_numofblock("sda1"), 0U);
    EXPECT_EQ(get_blockdev_exist("sda1"), 0);
    EXPECT_EQ(is_fdd_type("sda1"), 0);
    EXPECT_EQ(get_partition_num("sda1"), 4294967295U);
}

// ---- sleep

TEST_F(Partition, SleepAllMeansTheFirstDisk)
{
    host.on_command("/sbin/hdparm -y /dev/sda", {5});
    EXPECT_EQ(host.call(sleep_all_hdd), 0);
    EXPECT_EQ(host.transcript(), "run /sbin/hdparm -y /dev/sda -> 5\n");
}

TEST_F(Partition, SleepPassesTheStatusOn)
{
    EXPECT_EQ(host.call(sleep_hdd, "sdb"), 0);
    host.on_command("/sbin/hdparm -y /dev/sdb", {5, -1});
    EXPECT_EQ(host.call(sleep_hdd, "sdb"), 1280); // exit status 5, as system returns it
    EXPECT_EQ(host.call(sleep_hdd, "sdb"), -1);
    EXPECT_EQ(host.transcript(), "run /sbin/hdparm -y /dev/sdb -> 0\n"
                                 "run /sbin/hdparm -y /dev/sdb -> 5\n"
                                 "run /sbin/hdparm -y /dev/sdb -> failed\n");
}

TEST_F(Partition, SleepCutsAndEscapesTheName)
{
    host.call(sleep_hdd, "abcdefghijklmnopqrstuvwxyz0123456789");
    host.call(sleep_hdd, "a'b");
    host.call(sleep_hdd, "100%s%n");
    host.call(sleep_hdd, "''''''''''''''''''''''''''''''''''''''''");
    EXPECT_EQ(host.transcript(), "run /sbin/hdparm -y /dev/abcdefghijklmnopqrstuvwxyz01234 -> 0\n"
                                 "run /sbin/hdparm -y /dev/a'\\''b -> 0\n"
                                 "run /sbin/hdparm -y /dev/100%s%n -> 0\n"
                                 "run /sbin/hdparm -y /dev/'\\'''\\'''\\'''\\'''\\'''\\'''\\'' -> 0\n");
}

// ---- free space

TEST_F(Partition, FreeSpaceOfTheVolumeAtThePath)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/Disk2 ext4 rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/Disk3 ext4 rw 0 0\n");
    host.file_systems["/tmp/mnt/Disk1"] = {512, 1000, 500, 500};
    host.file_systems["/tmp/mnt/Disk2"] = {4096, 3'000'000'000, 2'000'000'000, 1'000'000'000};
    host.file_systems["/tmp/mnt/Disk3"] = {4096, 10, 5, 5};
    EXPECT_EQ(host.call(get_fs_available_size, "/tmp/mnt/Disk2"), UINT64_C(8192000000000));
    EXPECT_EQ(host.statfs_calls, 1);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Partition, FreeSpaceIsZeroWhereNothingIsMounted)
{
    sandbox.set_mounts("/dev/root / squashfs ro 0 0\n"
                       "/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sdb1 /media/usb vfat rw 0 0\n");
    for (const char *path : {"/", "/tmp/mnt/Disk1", "/media/usb", "/tmp/mnt/Disk"})
        host.file_systems[path] = {512, 1000, 500, 500};
    for (const char *path : {"/tmp/mnt/Disk", "/tmp/mnt/Disk11", "/tmp/mnt/Disk1/", "Disk1", "", "/", "/media/usb"})
        EXPECT_EQ(host.call(get_fs_available_size, path), 0U) << path;
}

TEST_F(Partition, FreeSpaceOfADeadVolumeIsZero)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    EXPECT_EQ(host.call(get_fs_available_size, "/tmp/mnt/Disk1"), 0U);
    EXPECT_EQ(host.statfs_calls, 1);
}

TEST_F(Partition, FreeSpaceOfAVolumeWithoutBlocksIsZero)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    host.file_systems["/tmp/mnt/Disk1"] = {4096, 0, 77, 77};
    EXPECT_EQ(host.call(get_fs_available_size, "/tmp/mnt/Disk1"), 0U);
    EXPECT_EQ(host.statfs_calls, 1);
}

TEST_F(Partition, FreeSpaceAsksTheFirstVolumeMountedThere)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/My\\040Disk vfat rw 0 0\n"
                       "/dev/sdb1 /tmp/mnt/My\\040Disk vfat rw 0 0\n");
    host.file_systems["/tmp/mnt/My Disk"] = {512, 1000, 500, 400};
    EXPECT_EQ(host.call(get_fs_available_size, "/tmp/mnt/My Disk"), 256000U);
    EXPECT_EQ(host.statfs_calls, 1);
}

TEST_F(Partition, FreeSpaceWithoutMountTableIsZero)
{
    EXPECT_EQ(host.call(get_fs_available_size, "/tmp/mnt/Disk1"), 0U);
    EXPECT_EQ(host.statfs_calls, 0);
}

} // namespace
