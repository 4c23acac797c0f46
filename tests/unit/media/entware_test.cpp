// The package environment. Whole starts and stops are golden cases; its installation has a file of its own.
#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/entware.h"

#include <climits>
#include <cstring>
#include <string>

namespace
{

using nas_test::exists;
using nas_test::GuardedText;
using nas_test::LibraryTest;
using nas_test::read_file;

constexpr const char *ordinary = nullptr;

const std::string telnet_shut = "run /sbin/iptables -D INPUT -p tcp ! -i br-lan --dport 23 -j DROP -> 0\n";
const std::string telnet_open = "run /sbin/iptables -A INPUT -p tcp ! -i br-lan --dport 23 -j DROP -> 0\n"
                                "run /usr/sbin/telnetd -l /sbin/login_qox -> 0\n";
// Where no telnetd runs and nothing is linked.
const std::string torn_down = "run /usr/bin/killall telnetd -> 1\n" + telnet_shut +
                              "run /bin/umount /tmp/cur/proc -> 0\n"
                              "unlink /tmp/cur -> failed\n"
                              "set-status entware = 0\n";

EntwareConfig make_config(int run, const std::string &disk_name, const std::string &folder)
{
    EntwareConfig config = {};
    config.run = run;
    disk_name.copy(config.disk_name, sizeof config.disk_name - 1);
    folder.copy(config.folder, sizeof config.folder - 1);
    return config;
}

struct Entware : LibraryTest {
    void put_record(const std::string &run, const std::string &disk, const std::string &folder)
    {
        host.set_config("entware_run", run);
        host.set_config("entware_hddname", disk);
        host.set_config("entware_folder", folder);
    }

    // Switched on, on a mounted Disk1 whose folder Packages is there.
    void set_up_service(const std::string &run = "1")
    {
        put_record(run, "Disk1", "Packages");
        sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 ext4 rw 0 0\n");
        sandbox.put_dir("/mnt/Disk1/Packages");
    }

    // The same with the package manager there, behind a link that is made when it is asked for.
    void set_up_installed(const std::string &run = "1")
    {
        set_up_service(run);
        sandbox.put_file("/mnt/Disk1/Packages/opt/bin/opkg", "x", 0755);
        host.commands.push_back({.text = "/bin/ln -s '/tmp/mnt/Disk1/Packages' /tmp/cur",
                                 .effect = [this] { sandbox.put_link("/tmp/cur", "/tmp/mnt/Disk1/Packages"); }});
    }

    std::string link(int expected_result)
    {
        host.forget();
        EXPECT_EQ(host.call(link_dir_for_entware), expected_result);
        return host.transcript();
    }

    std::string stored_status()
    {
        return host.status.look_up("entware").value_or("absent");
    }
};

// ---- the status

TEST_F(Entware, StatusIsKept)
{
    for (const int status : {0, 1, 2, 9, 77}) {
        EXPECT_EQ(host.call(set_entware_status, status), 0);
        EXPECT_EQ(host.call(get_entware_status), status);
    }
    EXPECT_EQ(host.transcript(), "set-status entware = 0\nset-status entware = 1\nset-status entware = 2\n"
                                 "set-status entware = 9\nset-status entware = 77\n");
}

TEST_F(Entware, AbsentStatusBecomesZero)
{
    EXPECT_EQ(host.call(get_entware_status), 0);
    EXPECT_EQ(host.transcript(), "set-status entware = 0\n");
    EXPECT_EQ(host.call(get_entware_status), 0);
    EXPECT_EQ(host.count_lines("set-status"), 1);
}

// ---- the record

TEST_F(Entware, RecordIsRead)
{
    put_record("1", "Disk1", "Packages/New");
    EntwareConfig config;
    std::memset(&config, 0x5a, sizeof config);
    EXPECT_EQ(host.call(get_entware_config, &config), 1);
    const EntwareConfig expected = make_config(1, "Disk1", "Packages/New");
    EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0);
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(host.config.total_reads, 3);
    EXPECT_EQ(host.status.total_reads, 0);
}

TEST_F(Entware, AbsentKeysAreOffAndEmpty)
{
    EntwareConfig config;
    std::memset(&config, 0x5a, sizeof config);
    EXPECT_EQ(host.call(get_entware_config, &config), 0);
    const EntwareConfig expected = {};
    EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0);
}

TEST_F(Entware, EveryKeyCountsForItself)
{
    host.set_config("entware_folder", "Packages");
    EntwareConfig config;
    std::memset(&config, 0x5a, sizeof config);
    EXPECT_EQ(host.call(get_entware_config, &config), 0);
    const EntwareConfig expected = make_config(0, "", "Packages");
    EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0);
}

TEST_F(Entware, RecordMayBeNull)
{
    EXPECT_EQ(host.call(get_entware_config, static_cast<EntwareConfig *>(nullptr)), 0);
    put_record("1", "Disk1", "Packages");
    EXPECT_EQ(host.call(get_entware_config, static_cast<EntwareConfig *>(nullptr)), 1);
}

TEST_F(Entware, RunIsReadAsFarAsItGoes)
{
    const std::string longest = std::string(1022, '0') + "1";
    const std::pair<std::string, int> values[] = {{"0", 0},  {"1", 1},  {"", 0},   {"yes", 0}, {"2", 2},    {"-1", -1},
                                                  {" 1", 1}, {"1x", 1}, {"01", 1}, {"0,1", 0}, {longest, 1}};
    for (const auto &[text, run] : values) {
        put_record(text, "", "");
        EntwareConfig config;
        EXPECT_EQ(host.call(get_entware_config, &config), run) << text;
        EXPECT_EQ(config.run, run) << text;
    }
}

TEST_F(Entware, TextsAreCutAtTheirFields)
{
    for (const std::size_t length : {511U, 512U, 1023U}) {
        put_record("1", std::string(length, 'd'), std::string(length, 'f'));
        EntwareConfig config;
        std::memset(&config, 0x5a, sizeof config);
        EXPECT_EQ(host.call(get_entware_config, &config), 1);
        EXPECT_EQ(std::string(config.disk_name), std::string(15, 'd'));
        EXPECT_EQ(std::string(config.folder), std::string(511, 'f'));
    }
}

TEST_F(Entware, RecordIsStoredBetweenStopAndStart)
{
    const EntwareConfig config = make_config(1, "Disk1", "Packages/%s");
    EXPECT_EQ(host.call(set_entware_config, &config), 0);
    EXPECT_EQ(host.transcript(), torn_down + "set entware_run = 1\n"
                                             "set entware_hddname = Disk1\n"
                                             "set entware_folder = Packages/%s\n"
                                             "unlink /tmp/cur -> failed\n"
                                             "set-status entware = 0\n");
}

TEST_F(Entware, NewRecordIsTheOneThatIsStarted)
{
    set_up_service();
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 ext4 rw 0 0\n/dev/sdb1 /tmp/mnt/Disk2 ext4 rw 0 0\n");
    const EntwareConfig config = make_config(0, "Disk2", "Other");
    EXPECT_EQ(host.call(set_entware_config, &config), 0);
    EXPECT_TRUE(host.transcript().starts_with(torn_down + "set entware_run = 0\n"
                                                          "set entware_hddname = Disk2\n"
                                                          "set entware_folder = Other\n"
                                                          "unlink /tmp/cur -> failed\n"
                                                          "run /bin/mkdir -p '/tmp/mnt/Disk2/Other' -> 0\n"
                                                          "run /bin/ln -s '/tmp/mnt/Disk2/Other' /tmp/cur -> 0\n"
                                                          "run /bin/mkdir /tmp/cur/bin -> 0\n"))
        << host.transcript();
}

TEST_F(Entware, AnyRunButZeroIsStoredAsOne)
{
    for (const int run : {1, 2, -1, INT_MIN, INT_MAX}) {
        const EntwareConfig config = make_config(run, "", "");
        EXPECT_EQ(host.call(set_entware_config, &config), 0);
        EXPECT_EQ(*host.config.look_up("entware_run"), "1") << run;
    }
    const EntwareConfig config = {};
    EXPECT_EQ(host.call(set_entware_config, &config), 0);
    EXPECT_EQ(*host.config.look_up("entware_run"), "0");
    EXPECT_EQ(*host.config.look_up("entware_hddname"), "");
    EXPECT_EQ(*host.config.look_up("entware_folder"), "");
}

TEST_F(Entware, LongestRecordIsStoredWhole)
{
    const EntwareConfig config = make_config(1, std::string(15, '%'), std::string(511, '%'));
    EXPECT_EQ(host.call(set_entware_config, &config), 0);
    EntwareConfig again;
    std::memset(&again, 0x5a, sizeof again);
    EXPECT_EQ(host.call(get_entware_config, &again), 1);
    EXPECT_EQ(std::memcmp(&config, &again, sizeof config), 0);
}

TEST_F(Entware, StoreMayRefuse)
{
    host.config.refuses_writes = true;
    const EntwareConfig config = make_config(1, "Disk1", "Packages");
    EXPECT_EQ(host.call(set_entware_config, &config), 0);
    EXPECT_EQ(host.count_lines("set entware_"), 3);
}

// ---- link_dir_for_entware, unlink_dir_for_entware

TEST_F(Entware, FolderIsLinked)
{
    set_up_service();
    EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                       "run /bin/ln -s '/tmp/mnt/Disk1/Packages' /tmp/cur -> 0\n");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Entware, MissingFolderIsMadeFirst)
{
    set_up_service();
    put_record("1", "Disk1", "Packages/New");
    EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                       "run /bin/mkdir -p '/tmp/mnt/Disk1/Packages/New' -> 0\n"
                       "run /bin/ln -s '/tmp/mnt/Disk1/Packages/New' /tmp/cur -> 0\n");
}

TEST_F(Entware, OldLinkGoesAndItsFolderStays)
{
    set_up_service();
    sandbox.put_file("/mnt/Disk1/Packages/kept", "x");
    sandbox.put_link("/tmp/cur", "/tmp/mnt/Disk1/Packages");
    EXPECT_EQ(link(0), "unlink /tmp/cur\n"
                       "run /bin/ln -s '/tmp/mnt/Disk1/Packages' /tmp/cur -> 0\n");
    EXPECT_FALSE(exists("/tmp/cur"));
    EXPECT_EQ(read_file("/mnt/Disk1/Packages/kept"), "x");
}

TEST_F(Entware, FolderInPlaceOfTheLinkStays)
{
    set_up_service();
    sandbox.put_file("/tmp/cur/kept", "x");
    link(0);
    EXPECT_EQ(host.call(unlink_dir_for_entware), 0);
    EXPECT_EQ(host.lines().back(), "unlink /tmp/cur -> failed");
    EXPECT_EQ(read_file("/tmp/cur/kept"), "x");
}

TEST_F(Entware, NothingIsLinkedWithoutItsDisk)
{
    set_up_service();
    sandbox.put_link("/tmp/cur", "/tmp/mnt/Disk1/Packages");
    sandbox.set_mounts("/dev/sda1 /mnt/Disk1 vfat rw 0 0\n/dev/sdb1 /tmp/mnt/disk1 vfat rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/Disk1/Packages vfat rw 0 0\n/dev/sdd1 /tmp/mnt/Disk10 vfat rw 0 0\n");
    EXPECT_EQ(link(-1), "unlink /tmp/cur\n"
                        "set-status entware = 0\n");
    put_record("1", "", "");
    EXPECT_EQ(link(-1), "unlink /tmp/cur -> failed\n"
                        "set-status entware = 0\n");
}

TEST_F(Entware, FolderThatCannotBeMadeIsAnError)
{
    set_up_service();
    put_record("1", "Disk1", "New");
    for (const int status : {1, -1}) {
        host.commands.clear();
        host.on_command("/bin/mkdir -p '/tmp/mnt/Disk1/New'", {status});
        EXPECT_EQ(link(-1), std::string("unlink /tmp/cur -> failed\n"
                                        "run /bin/mkdir -p '/tmp/mnt/Disk1/New' -> ") +
                                (status < 0 ? "failed" : "1") + "\nset-status entware = 9\n");
    }
}

TEST_F(Entware, LinkThatCannotBeMadeIsAnError)
{
    set_up_service();
    for (const int status : {1, -1}) {
        host.commands.clear();
        host.on_command_prefix("/bin/ln", {status});
        EXPECT_EQ(link(-1), std::string("unlink /tmp/cur -> failed\n"
                                        "run /bin/ln -s '/tmp/mnt/Disk1/Packages' /tmp/cur -> ") +
                                (status < 0 ? "failed" : "1") + "\nset-status entware = 9\n");
    }
}

TEST_F(Entware, NamesAreQuotedForTheShell)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/My\\040Disk%s ext4 rw 0 0\n");
    sandbox.put_dir("/mnt/My Disk%s/$(reboot) `x`;%n");
    put_record("1", "My Disk%s", "$(reboot) `x`;%n");
    EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                       "run /bin/ln -s '/tmp/mnt/My Disk%s/$(reboot) `x`;%n' /tmp/cur -> 0\n");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/디스크 ext4 rw 0 0\n");
    sandbox.put_dir("/mnt/디스크/꾸러미");
    put_record("1", "디스크", "꾸러미");
    EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                       "run /bin/ln -s '/tmp/mnt/디스크/꾸러미' /tmp/cur -> 0\n");
}

TEST_F(Entware, ExistenceIsAskedOfTheEscapedPath)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Bob's ext4 rw 0 0\n");
    put_record("1", "Bob's", "Ann's");
    sandbox.put_dir("/mnt/Bob's/Ann's");
    EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                       "run /bin/mkdir -p '/tmp/mnt/Bob'\\''s/Ann'\\''s' -> 0\n"
                       "run /bin/ln -s '/tmp/mnt/Bob'\\''s/Ann'\\''s' /tmp/cur -> 0\n");
    sandbox.put_dir("/mnt/Bob'\\''s/Ann'\\''s");
    EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                       "run /bin/ln -s '/tmp/mnt/Bob'\\''s/Ann'\\''s' /tmp/cur -> 0\n");
}

TEST_F(Entware, PathIsCutAt255CharactersBeforeItIsEscaped)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/0123456789abcde ext4 rw 0 0\n");
    // "/tmp/mnt/0123456789abcde/" is 25 characters.
    for (const std::size_t length : {229U, 230U, 231U, 511U}) {
        put_record("1", "0123456789abcde", std::string(length, 'f'));
        const std::string path = "/tmp/mnt/0123456789abcde/" + std::string(length < 230 ? length : 230, 'f');
        EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                           "run /bin/mkdir -p '" +
                               path +
                               "' -> 0\n"
                               "run /bin/ln -s '" +
                               path + "' /tmp/cur -> 0\n");
    }
    put_record("1", "0123456789abcde", std::string(511, '\''));
    std::string escaped = "/tmp/mnt/0123456789abcde/";
    for (int i = 0; i < 230; ++i)
        escaped += "'\\''";
    EXPECT_EQ(link(0), "unlink /tmp/cur -> failed\n"
                       "run /bin/mkdir -p '" +
                           escaped +
                           "' -> 0\n"
                           "run /bin/ln -s '" +
                           escaped + "' /tmp/cur -> 0\n");
}

TEST_F(Entware, LinkIsRemoved)
{
    sandbox.put_link("/tmp/cur", "/nowhere");
    EXPECT_EQ(host.call(unlink_dir_for_entware), 0);
    EXPECT_FALSE(exists("/tmp/cur"));
    EXPECT_EQ(host.call(unlink_dir_for_entware), 0);
    EXPECT_EQ(host.transcript(), "unlink /tmp/cur\nunlink /tmp/cur -> failed\n");
}

// ---- init_entware, fini_entware

TEST_F(Entware, NothingIsBuiltWithoutItsFolder)
{
    set_up_service();
    sandbox.set_mounts("");
    EXPECT_EQ(host.call(init_entware), -1);
    EXPECT_EQ(host.transcript(), "unlink /tmp/cur -> failed\nset-status entware = 0\n");
    host.forget();
    set_up_service();
    host.on_command_prefix("/bin/ln", {1});
    EXPECT_EQ(host.call(init_entware), -1);
    EXPECT_EQ(host.lines().back(), "set-status entware = 9");
    EXPECT_EQ(host.lines().size(), 3U);
}

TEST_F(Entware, StatusStaysWhileNothingIsInstalled)
{
    set_up_service();
    host.set_status("entware", "7");
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_EQ(host.count_lines("run "), 58);
    EXPECT_EQ(host.lines().back(), "run /bin/mknod -m664 /tmp/cur/dev/urandom c 1 9 -> 0");
    EXPECT_EQ(host.count_lines("set-status"), 0);
    EXPECT_EQ(stored_status(), "7");
}

TEST_F(Entware, CommandsMayFail)
{
    set_up_service();
    for (const char *command : {"/bin/mkdir /tmp/cur", "/bin/mount", "/bin/cp", "/bin/mknod"})
        host.on_command_prefix(command, {1, -1, 127});
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_EQ(host.count_lines("run "), 58);
}

TEST_F(Entware, InstalledPackagesAreFoundBehindTheLink)
{
    set_up_installed();
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_TRUE(host.transcript().ends_with("run /bin/mknod -m664 /tmp/cur/dev/urandom c 1 9 -> 0\n"
                                            "set-status entware = 2\n"
                                            "list * -> 0\n" +
                                            telnet_open))
        << host.transcript();
    EXPECT_EQ(host.process_list_calls, 1);
}

TEST_F(Entware, TelnetThatRunsIsLeftAlone)
{
    set_up_installed();
    host.add_process({"telnetd"});
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_TRUE(host.transcript().ends_with("set-status entware = 2\nlist * -> 1\n")) << host.transcript();
}

TEST_F(Entware, OnlyTelnetdItselfCountsAsRunning)
{
    set_up_installed();
    for (const char *name : {"telnet", "utelnetd", "telnetd:", "telnetd2"})
        host.add_process({.name = name, .short_name = "telnetd"});
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_TRUE(host.transcript().ends_with("set-status entware = 2\nlist * -> 4\n" + telnet_open));
}

TEST_F(Entware, SwitchedOffTelnetIsStopped)
{
    set_up_installed("0");
    host.add_process({"telnetd"});
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_TRUE(host.transcript().ends_with("set-status entware = 2\n"
                                            "list * -> 1\n"
                                            "run /usr/bin/killall telnetd -> 0\n" +
                                            telnet_shut))
        << host.transcript();
    EXPECT_TRUE(host.processes.empty());
}

TEST_F(Entware, FactorysTestModeKeepsTelnetWhenItIsSwitchedOff)
{
    set_up_installed("0");
    host.device.factory_test_mode = true;
    host.add_process({"telnetd"});
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_TRUE(host.transcript().ends_with("set-status entware = 2\nlist * -> 1\n" + telnet_shut));
    EXPECT_EQ(host.processes.size(), 1U);
}

TEST_F(Entware, FactorysTestModeStartsTelnetAllTheSame)
{
    set_up_installed();
    host.device.factory_test_mode = true;
    EXPECT_EQ(host.call(init_entware), 0);
    EXPECT_TRUE(host.transcript().ends_with("set-status entware = 2\nlist * -> 0\n" + telnet_open));
}

TEST_F(Entware, AnyYesOfTheHostCounts)
{
    host.device.factory_test_mode = true;
    for (const int yes : {1, -1}) {
        host.yes = yes;
        set_up_installed("0");
        host.forget();
        EXPECT_EQ(host.call(init_entware), 0);
        EXPECT_EQ(host.count_lines("run /bin/mkdir -p"), 0);
        EXPECT_TRUE(host.transcript().ends_with("set-status entware = 2\nlist * -> 0\n" + telnet_shut)) << yes;
    }
}

TEST_F(Entware, EnvironmentIsTakenDown)
{
    sandbox.put_link("/tmp/cur", "/tmp/mnt/Disk1/Packages");
    host.add_process({"telnetd"});
    host.set_status("entware", "2");
    EXPECT_EQ(host.call(fini_entware), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall telnetd -> 0\n" + telnet_shut +
                                     "run /bin/umount /tmp/cur/proc -> 0\n"
                                     "unlink /tmp/cur\n"
                                     "set-status entware = 0\n");
    host.forget();
    EXPECT_EQ(host.call(fini_entware), 0);
    EXPECT_EQ(host.transcript(), torn_down);
}

TEST_F(Entware, FactorysTestModeKeepsTelnetWhenAllIsTakenDown)
{
    host.device.factory_test_mode = true;
    host.add_process({"telnetd"});
    EXPECT_EQ(host.call(fini_entware), 0);
    EXPECT_EQ(host.transcript(), telnet_shut + "run /bin/umount /tmp/cur/proc -> 0\n"
                                               "unlink /tmp/cur -> failed\n"
                                               "set-status entware = 0\n");
    EXPECT_EQ(host.processes.size(), 1U);
}

TEST_F(Entware, TakingDownMayFail)
{
    for (const char *command : {"/usr/bin/killall", "/sbin/iptables", "/bin/umount"})
        host.on_command_prefix(command, {-1, 1});
    EXPECT_EQ(host.call(fini_entware), 0);
    EXPECT_EQ(host.count_lines("run "), 3);
    EXPECT_EQ(host.lines().back(), "set-status entware = 0");
}

// ---- entware_callback

TEST_F(Entware, NomountAloneIsNotStartedAgain)
{
    for (const char *mode : {"nomount", "Nomount", "nomount ", "", "forced", "register"}) {
        set_up_service();
        host.forget();
        const GuardedText text(mode);
        EXPECT_EQ(host.call(entware_callback, static_cast<const char *>(text)), 0) << mode;
        const bool stopped = mode == std::string("nomount");
        EXPECT_EQ(host.transcript() == torn_down, stopped) << mode;
        EXPECT_EQ(host.count_lines("run /bin/mknod"), stopped ? 0 : 5) << mode;
    }
    sandbox.set_mounts("");
    EXPECT_EQ(host.call(entware_callback, "nomount"), 0);
    EXPECT_EQ(host.call(entware_callback, ordinary), -1);
}

TEST_F(Entware, EnvironmentIsBuiltAlsoWhenItIsSwitchedOff)
{
    set_up_service("0");
    EXPECT_EQ(host.call(entware_callback, ordinary), 0);
    EXPECT_EQ(host.count_lines("run /bin/mknod"), 5);
    EXPECT_EQ(host.count_lines("run /usr/sbin/telnetd"), 0);
    EXPECT_EQ(host.count_lines("log"), 0);
    EXPECT_EQ(host.statfs_calls, 0);
}

} // namespace
