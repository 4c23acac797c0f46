#include "folder_name.h"
#include "folders.h"
#include "users.h"
#include "volume.h"

#include <gtest/gtest.h>

#include <set>

namespace
{

using std::string_literals::operator""s;

struct LabelCase {
    std::string label;
    const char *name;
};

const LabelCase labels[] = {
    {"", ""},
    {"Data", "Data"},
    {"My Disk", "MyDisk"},
    {"a.b_c-d", "a.b_c-d"},
    {"exactly15charac", "exactly15charac"},
    {"exactly16charact", "exactly16charac"},
    {std::string(255, 'x'), "xxxxxxxxxxxxxxx"},
    {"Musik für Zuhause", "MusikfrZuhause"},
    {"\xec\x99\xb8\xec\x9e\xa5 HDD", "HDD"},
    {"\xff\xfe\x80", ""},
    // out of the folder
    {"..", ""},
    {"../etc", "etc"},
    {"../../etc/passwd", "etcpasswd"},
    {".hidden", "hidden"},
    {"/", ""},
    {"/tmp/x", "tmpx"},
    {" .-. a", "a"},
    // options and shells
    {"-rf", "rf"},
    {"--help", "help"},
    {"$(reboot)", "reboot"},
    {"`id`", "id"},
    {"a;b|c&d>e<f", "abcdef"},
    {"'\"\\*?[]{}~#!", ""},
    {"%s%n", "sn"},
    // control bytes, also a NUL within
    {"a\nb\tc\rd", "abcd"},
    {"a\x1b[31mb\x7f", "a31mb"},
    {"a\0b"s, "ab"},
};

std::string free_name(const std::string &wanted, const std::set<std::string> &taken)
{
    return usbmount::free_folder_name(wanted, [&](const std::string &name) { return taken.count(name) != 0; });
}

} // namespace

TEST(FolderName, IsWhatIsHarmlessInTheLabel)
{
    for (const LabelCase &each : labels)
        EXPECT_EQ(each.name, usbmount::reduced_label(each.label)) << testing::PrintToString(each.label);
}

TEST(FolderName, OfEveryByteIsHarmless)
{
    for (int byte = 0; byte < 256; byte++) {
        const std::string name = usbmount::reduced_label(std::string(3, static_cast<char>(byte)));
        EXPECT_EQ(std::string::npos, name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                                            "0123456789._-"))
            << byte;
    }
}

TEST(FolderName, IsUnique)
{
    EXPECT_EQ("Data", free_name("Data", {}));
    EXPECT_EQ("Data_2", free_name("Data", {"Data"}));
    EXPECT_EQ("Data_3", free_name("Data", {"Data", "Data_2"}));
    EXPECT_EQ("Data_2", free_name("Data", {"Data", "Data_3"}));
    EXPECT_EQ("Disk1_2", free_name("Disk1", {"Disk1"}));
}

TEST(FolderName, OfADiskWithoutLabelIsANumber)
{
    EXPECT_EQ("Disk1", free_name("", {}));
    EXPECT_EQ("Disk2", free_name("", {"Disk1"}));
    EXPECT_EQ("Disk1", free_name("", {"Disk2"}));
    EXPECT_EQ("Disk3", free_name("", {"Disk1", "Disk2"}));
}

TEST(FolderName, StaysWithinItsLengthWhenItIsMadeUnique)
{
    EXPECT_EQ("abcdefghijklm_2", free_name("abcdefghijklmno", {"abcdefghijklmno"}));
    std::set<std::string> taken = {"abcdefghijklmno"};
    for (int number = 2; number < 10; number++)
        taken.insert("abcdefghijklm_" + std::to_string(number));
    EXPECT_EQ("abcdefghijkl_10", free_name("abcdefghijklmno", taken));
}

TEST(FolderName, IsOneWhateverItsCase)
{
    EXPECT_TRUE(usbmount::is_same_name("Disk1", "dISK1"));
    EXPECT_FALSE(usbmount::is_same_name("Disk1", "Disk2"));
    EXPECT_FALSE(usbmount::is_same_name("Disk1", "Disk11"));
    EXPECT_FALSE(usbmount::is_same_name("Disk[", "Disk{"));
}

TEST(KnownFolders, AreFoundByTheVolume)
{
    const std::string text = "1234-ABCD Music Music\n5bde7d1c-3f5c Disk2 -\n77 Named\n";
    EXPECT_EQ("Music", usbmount::known_folder(text, {"vfat", "Music", "1234-ABCD"}));
    EXPECT_EQ("Disk2", usbmount::known_folder(text, {"ext4", "", "5bde7d1c-3f5c"}));
    EXPECT_EQ("Disk2", usbmount::known_folder(text, {"ext4", "../", "5bde7d1c-3f5c"}));
    EXPECT_EQ("Named", usbmount::known_folder(text, {"ext4", "anything", "77"}));
    EXPECT_EQ("", usbmount::known_folder(text, {"vfat", "Music", "1234"}));
    EXPECT_EQ("", usbmount::known_folder(text, {"vfat", "Music", ""}));
    EXPECT_EQ("", usbmount::known_folder("", {"vfat", "Music", "1234-ABCD"}));
}

TEST(KnownFolders, AreForgottenWithTheLabel)
{
    const std::string text = "1234-ABCD Music Music\n";
    EXPECT_EQ("", usbmount::known_folder(text, {"vfat", "Films", "1234-ABCD"}));
    EXPECT_EQ("1234-ABCD Films Films\n", usbmount::with_folder(text, {"vfat", "Films", "1234-ABCD"}, "Films"));
}

TEST(KnownFolders, NeverLeadElsewhere)
{
    EXPECT_EQ("", usbmount::known_folder("1234-ABCD ../../etc\n", {"", "", "1234-ABCD"}));
    EXPECT_EQ("", usbmount::known_folder("1234-ABCD aVeryLongFolderName\n", {"", "", "1234-ABCD"}));
    EXPECT_EQ("", usbmount::known_folder("1234-ABCD\n", {"", "", "1234-ABCD"}));
    EXPECT_EQ("12 Disk1\n", usbmount::with_folder("12 Disk1\n", {"ext4", "", "\n;/ "}, "Disk2"));
    EXPECT_EQ("ab Disk1 -\n", usbmount::with_folder("", {"ext4", "\n", "a\nb"}, "Disk1"));
    EXPECT_EQ(std::string(64, 'f') + " Disk1 ab\n",
              usbmount::with_folder("", {"ext4", "a b", std::string(1000, 'f')}, "Disk1"));
}

TEST(KnownFolders, KeepTheNewest)
{
    EXPECT_EQ("b Y\na Z -\n", usbmount::with_folder("a X\nb Y\n", {"ext4", "", "a"}, "Z"));
    std::string text;
    for (int i = 0; i < 100; i++)
        text = usbmount::with_folder(text, {"ext4", "", "id-" + std::to_string(i)}, "Disk" + std::to_string(i));
    EXPECT_EQ(64, std::count(text.begin(), text.end(), '\n'));
    EXPECT_EQ("Disk99", usbmount::known_folder(text, {"ext4", "", "id-99"}));
    EXPECT_EQ("Disk36", usbmount::known_folder(text, {"ext4", "", "id-36"}));
    EXPECT_EQ("", usbmount::known_folder(text, {"ext4", "", "id-35"}));
}

TEST(Volumes, ArePartitionsOrTheDiskItself)
{
    using Names = std::vector<std::string>;
    const std::string text = "major minor  #blocks  name\n\n"
                             " 254        0  264241152 vda\n"
                             "   8        0   15638528 sda\n"
                             "   8       10    1000000 sda10\n"
                             "   8        1    1000000 sda1\n"
                             "   8        2          1 sda2\n"
                             "   8        5    1000000 sda5\n"
                             "   8       16      65536 sdb\n"
                             "  65      160      65536 sdaa\n"
                             "  65      161      65536 sdaa1\n";
    EXPECT_EQ((Names{"sda1", "sda5", "sda10"}), usbmount::volumes_in(text, "sda"));
    EXPECT_EQ((Names{"sdb"}), usbmount::volumes_in(text, "sdb"));
    EXPECT_EQ((Names{}), usbmount::volumes_in(text, "sdc"));
    EXPECT_EQ((Names{}), usbmount::volumes_in("", "sda"));
    EXPECT_EQ((Names{}), usbmount::volumes_in("8 0 nonsense sda\n\xff\xff", "sda"));
}

TEST(Users, AreThoseInTheFolder)
{
    EXPECT_TRUE(usbmount::is_inside("/tmp/mnt/Data", "/tmp/mnt/Data"));
    EXPECT_TRUE(usbmount::is_inside("/tmp/mnt/Data/a/b", "/tmp/mnt/Data"));
    EXPECT_FALSE(usbmount::is_inside("/tmp/mnt/Data_2/a", "/tmp/mnt/Data"));
    EXPECT_FALSE(usbmount::is_inside("/tmp/mnt", "/tmp/mnt/Data"));
    EXPECT_FALSE(usbmount::is_inside("", "/tmp/mnt/Data"));
}
