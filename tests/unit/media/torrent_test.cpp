#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/service.h"
#include "nas/torrent.h"

#include <climits>
#include <cstring>
#include <string>

namespace
{

using nas_test::GuardedText;
using nas_test::LibraryTest;
using nas_test::mode_of;

constexpr const char *ordinary = nullptr;
constexpr const char *no_address = nullptr;

const std::string flush = "run /sbin/iptables -t nat -F router_torrent -> 0\n";
const std::string not_there = "run /bin/pidof transmission-daemon -> 1\n";

TorrentConfig make_config(int enabled, int port, const std::string &disk_name, const std::string &folder)
{
    TorrentConfig config = {};
    config.enabled = enabled;
    config.port = port;
    disk_name.copy(config.disk_name, sizeof config.disk_name - 1);
    folder.copy(config.folder, sizeof config.folder - 1);
    return config;
}

struct Torrent : LibraryTest {
    // The record, read over garbage.
    TorrentConfig get(int expected_result)
    {
        TorrentConfig config;
        std::memset(&config, 0x5a, sizeof config);
        EXPECT_EQ(host.call(get_torrent_config, &config), expected_result);
        return config;
    }

    void expect_record(const std::string &stored, const TorrentConfig &expected)
    {
        SCOPED_TRACE(stored);
        host.set_config("torrent_conf", stored);
        const TorrentConfig config = get(1);
        EXPECT_EQ(config.enabled, expected.enabled);
        EXPECT_EQ(config.option2, expected.option2);
        EXPECT_EQ(config.option3, expected.option3);
        EXPECT_EQ(config.option4, expected.option4);
        EXPECT_EQ(config.port, expected.port);
        EXPECT_STREQ(config.disk_name, expected.disk_name);
        EXPECT_STREQ(config.folder, expected.folder);
        EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0) << "the rest of the record is not zero";
    }

    int configure(const TorrentConfig &config, const char *wan)
    {
        return host.call(configure_iptables_for_torrent, &config, wan, "192.168.1.1");
    }

    // A folder on a mounted disk, the network and a user; the folder is there.
    void set_up_service(const std::string &disk, const std::string &folder, const std::string &record = "1,0,0,0,9091")
    {
        host.set_config("torrent_conf", record);
        host.set_config("torrent_hddname", disk);
        host.set_config("torrent_folder", folder);
        host.set_config("nas_user_torrent", "bob,pw,1");
        host.network.wan_ip["wan1"] = "203.0.113.7";
        host.network.address["br-lan"] = "192.168.1.1";
        std::string escaped;
        for (const char c : disk)
            escaped += c == ' ' ? std::string("\\040") : std::string(1, c);
        sandbox.set_mounts("/dev/sda1 /tmp/mnt/" + escaped + " vfat rw 0 0\n");
        sandbox.put_dir("/mnt/" + disk + "/" + folder);
    }

    // The start adds a daemon, so that nothing has to be repaired.
    void let_daemon_start()
    {
        host.commands.push_back({.text = "/sbin/transmission-daemon", .is_prefix = true, .effect = [this] {
                                     host.add_process({"transmission-daemon"});
                                 }});
    }

    std::string run(const char *mode = ordinary)
    {
        host.forget();
        EXPECT_EQ(host.call(torrent_callback, mode), 0);
        return host.transcript();
    }

    std::string run_with_folder(const std::string &folder, const std::string &quoted_folder);

    // The only line that begins so, without that beginning.
    std::string line_after(const std::string &beginning)
    {
        EXPECT_EQ(host.count_lines(beginning), 1) << beginning;
        for (const std::string &line : host.lines()) {
            if (line.starts_with(beginning))
                return line.substr(beginning.size());
        }
        return "none";
    }
};

// ---- the record

TEST_F(Torrent, RecordIsRead)
{
    host.set_config("torrent_hddname", "Disk1");
    host.set_config("torrent_folder", "Downloads/New");
    host.set_config("torrent_conf", "1,2,3,4,51413");
    const TorrentConfig config = get(1);
    EXPECT_EQ(config.enabled, 1);
    EXPECT_EQ(config.option2, 2);
    EXPECT_EQ(config.option3, 3);
    EXPECT_EQ(config.option4, 4);
    EXPECT_EQ(config.port, 51413);
    EXPECT_STREQ(config.disk_name, "Disk1");
    EXPECT_STREQ(config.folder, "Downloads/New");
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(host.config.total_reads, 3);
}

TEST_F(Torrent, AbsentRecordIsClearButForThePort)
{
    host.set_config("torrent_hddname", "Disk1");
    host.set_config("torrent_folder", "Downloads");
    const TorrentConfig config = get(0);
    const TorrentConfig expected = make_config(0, 9091, "", "");
    EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0);
}

TEST_F(Torrent, RecordMayBeNull)
{
    EXPECT_EQ(host.call(get_torrent_config, static_cast<TorrentConfig *>(nullptr)), 0);
    host.set_config("torrent_conf", "1,0,0,0,9091");
    EXPECT_EQ(host.call(get_torrent_config, static_cast<TorrentConfig *>(nullptr)), 1);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Torrent, MissingFieldsHaveTheirDefaults)
{
    expect_record("", make_config(0, 9091, "", ""));
    expect_record("1", make_config(1, 9091, "", ""));
    expect_record("1,0,0,0", make_config(1, 9091, "", ""));
    expect_record("1,0,0,0,", make_config(1, 9091, "", ""));
    TorrentConfig expected = make_config(1, 9091, "", "");
    expected.option2 = 2;
    expected.option3 = 3;
    expect_record("1,2,3", expected);
}

TEST_F(Torrent, EmptyFieldsKeepTheirPlaceAndCountAsMissing)
{
    expect_record(",,,,", make_config(0, 9091, "", ""));
    expect_record(",,,,7777", make_config(0, 7777, "", ""));
    expect_record("1,,,,7777", make_config(1, 7777, "", ""));
    TorrentConfig expected = make_config(0, 9091, "", "");
    expected.option3 = 3;
    expect_record(",,3,,", expected);
}

TEST_F(Torrent, NumbersAreReadAsFarAsTheyGo)
{
    expect_record("1x,0,0,0, 7777y", make_config(1, 7777, "", ""));
    expect_record("on,0,0,0,port", make_config(0, 0, "", ""));
    expect_record("-3,0,0,0,-1", make_config(-3, -1, "", ""));
    expect_record("99999999999,0,0,0,-99999999999", make_config(INT_MAX, INT_MIN, "", ""));
}

TEST_F(Torrent, PortMayBeZero)
{
    expect_record("1,0,0,0,0", make_config(1, 0, "", ""));
}

TEST_F(Torrent, MoreFieldsAreNotRead)
{
    host.set_config("torrent_hddname", "Disk1");
    host.set_config("torrent_folder", "Downloads");
    expect_record("1,0,0,0,7777,Other,8888", make_config(1, 7777, "Disk1", "Downloads"));
}

TEST_F(Torrent, TextsAreCutAtTheirFields)
{
    for (const std::size_t length : {15U, 16U, 1023U}) {
        host.set_config("torrent_hddname", std::string(length, 'd'));
        expect_record("1,0,0,0,1", make_config(1, 1, std::string(15, 'd'), ""));
    }
    host.set_config("torrent_hddname", "Disk1");
    for (const std::size_t length : {511U, 512U, 1023U}) {
        host.set_config("torrent_folder", std::string(length, 'f'));
        expect_record("1,0,0,0,1", make_config(1, 1, "Disk1", std::string(511, 'f')));
    }
}

TEST_F(Torrent, DiskAndFolderAreWholeTexts)
{
    host.set_config("torrent_hddname", "a,b %s'\"");
    host.set_config("torrent_folder", "c,d/ e%n`");
    expect_record("1,0,0,0,1", make_config(1, 1, "a,b %s'\"", "c,d/ e%n`"));
}

TEST_F(Torrent, LongestRecordIsReadWhole)
{
    TorrentConfig expected = make_config(1, 1, "", "");
    expect_record("1," + std::string(1016, '0') + ",,,1", expected);
}

TEST_F(Torrent, RecordIsStored)
{
    TorrentConfig config = make_config(1, 51413, "Disk1", "Downloads/New");
    config.option2 = 2;
    config.option3 = -3;
    config.option4 = 4;
    EXPECT_EQ(host.call(set_torrent_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set torrent_conf = 1,2,-3,4,51413\n"
                                 "set torrent_folder = Downloads/New\n"
                                 "set torrent_hddname = Disk1\n");
    EXPECT_EQ(host.config.total_reads, 0);
}

TEST_F(Torrent, LongestRecordIsStoredWhole)
{
    TorrentConfig config = make_config(INT_MIN, INT_MIN, std::string(15, '%'), std::string(511, '%'));
    config.option2 = config.option3 = config.option4 = INT_MIN;
    EXPECT_EQ(host.call(set_torrent_config, &config), 0);
    EXPECT_EQ(*host.config.look_up("torrent_conf"), "-2147483648,-2147483648,-2147483648,-2147483648,-2147483648");
    const TorrentConfig again = get(1);
    EXPECT_EQ(std::memcmp(&config, &again, sizeof config), 0);
}

TEST_F(Torrent, StoreMayRefuse)
{
    host.config.refuses_writes = true;
    const TorrentConfig config = {};
    EXPECT_EQ(host.call(set_torrent_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set torrent_conf = 0,0,0,0,0 -> failed\n"
                                 "set torrent_folder =  -> failed\n"
                                 "set torrent_hddname =  -> failed\n");
}

// ---- the NAT chain

TEST_F(Torrent, PortIsForwarded)
{
    EXPECT_EQ(configure(make_config(1, 7777, "Disk1", ""), "203.0.113.7"), 1);
    EXPECT_EQ(host.transcript(), flush + "run /sbin/iptables -t nat -A router_torrent -d 203.0.113.7 -p tcp "
                                         "--dport 7777 -j DNAT --to-destination 192.168.1.1 -> 0\n");
}

TEST_F(Torrent, ChainIsLeftEmptyWhenOffOrWithoutAddress)
{
    EXPECT_EQ(configure(make_config(0, 7777, "Disk1", ""), "203.0.113.7"), 0);
    EXPECT_EQ(configure(make_config(1, 7777, "Disk1", ""), ""), 0);
    EXPECT_EQ(configure(make_config(1, 7777, "Disk1", ""), no_address), 0);
    EXPECT_EQ(host.transcript(), flush + flush + flush);
}

TEST_F(Torrent, Port0IsNotForwarded)
{
    EXPECT_EQ(configure(make_config(1, 0, "Disk1", ""), "203.0.113.7"), 1);
    EXPECT_EQ(host.transcript(), flush);
}

TEST_F(Torrent, ChainsCommandsMayFail)
{
    host.on_command_prefix("/sbin/iptables", {-1, 2});
    EXPECT_EQ(configure(make_config(1, 7777, "Disk1", ""), "203.0.113.7"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/iptables"), 2);
}

// ---- kill_and_wait_torrent

const std::string killed = "run /usr/bin/killall transmission-daemon -> 0\n";
const std::string waiting = "run /bin/pidof transmission-daemon -> 0\n"
                            "stdout: Waiting for Torrent to be dead\n"
                            "sleep 1\n";
const std::string forced_kill = "stdout: Sigkill transmission-daemon\n"
                                "run /usr/bin/killall -9 transmission-daemon -> 0\n";

std::string times(int count, const std::string &text)
{
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

TEST_F(Torrent, GoneDaemonIsLookedForOnce)
{
    for (const int bounded : {0, 1}) {
        host.forget();
        EXPECT_EQ(host.call(kill_and_wait_torrent, bounded, 200U), 0);
        EXPECT_EQ(host.transcript(), "run /usr/bin/killall transmission-daemon -> 1\n" + not_there);
    }
}

TEST_F(Torrent, DaemonIsWaitedFor)
{
    host.add_process({.name = "transmission-daemon", .looks = 3, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_torrent, 1, 200U), 0);
    EXPECT_EQ(host.transcript(), killed + times(3, waiting) + not_there);
}

TEST_F(Torrent, DaemonThatSurvivesIsForcedAtTheTenthPass)
{
    for (const int bounded : {0, 1}) {
        host.forget();
        host.add_process({.name = "transmission-daemon", .only_forced = true});
        EXPECT_EQ(host.call(kill_and_wait_torrent, bounded, 200U), 0);
        EXPECT_EQ(host.transcript(), killed + times(10, waiting) + forced_kill + not_there);
    }
}

TEST_F(Torrent, EveryTenthPassForcesAgain)
{
    host.add_process({.name = "transmission-daemon", .looks = 25, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_torrent, 1, 200U), 0);
    EXPECT_EQ(host.transcript(), killed + times(2, times(10, waiting) + forced_kill) + times(5, waiting) + not_there);
}

TEST_F(Torrent, BoundIsOnePassMoreThanItsCount)
{
    const struct {
        unsigned max_waits;
        std::string passes;
    } bounds[] = {
        {0, waiting},
        {1, times(2, waiting)},
        {8, times(9, waiting)},
        {9, times(10, waiting)}, // the bound is looked at before the tenth pass's kill
        {10, times(10, waiting) + forced_kill + waiting},
        {200, times(20, times(10, waiting) + forced_kill) + waiting},
    };
    host.add_process({.name = "transmission-daemon", .kills = -1});
    for (const auto &bound : bounds) {
        host.forget();
        EXPECT_EQ(host.call(kill_and_wait_torrent, 1, bound.max_waits), 0);
        EXPECT_EQ(host.transcript(), killed + bound.passes) << bound.max_waits;
    }
}

TEST_F(Torrent, AnyFlagButZeroBoundsTheWait)
{
    for (const int bounded : {2, -1}) {
        host.processes.clear();
        host.forget();
        host.add_process({.name = "transmission-daemon", .looks = 6, .kills = -1});
        EXPECT_EQ(host.call(kill_and_wait_torrent, bounded, 1U), 0);
        EXPECT_EQ(host.transcript(), killed + times(2, waiting)) << bounded;
    }
}

TEST_F(Torrent, WithoutBoundItWaitsAsLongAsItTakes)
{
    host.add_process({.name = "transmission-daemon", .looks = 305, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_torrent, 0, 0U), 0);
    EXPECT_EQ(host.transcript(), killed + times(30, times(10, waiting) + forced_kill) + times(5, waiting) + not_there);
}

TEST_F(Torrent, OtherProcessesAreNotWaitedFor)
{
    for (const char *name : {"transmission", "transmission-daemons", "minidlna"})
        host.add_process({.name = name, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_torrent, 1, 200U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall transmission-daemon -> 1\n" + not_there);
}

// ---- torrent_callback: what the golden cases do not show

TEST_F(Torrent, StoresAreReadOncePerKey)
{
    set_up_service("Disk1", "Downloads");
    run();
    for (const char *key :
         {"torrent_conf", "torrent_hddname", "torrent_folder", "nas_user_torrent", "nas_user_torrent.folder"})
        EXPECT_EQ(host.config.reads[key], 1) << key;
    EXPECT_EQ(host.config.total_reads, 5);
    EXPECT_EQ(host.status.total_reads, 0);
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Torrent, ModesAreExactWords)
{
    for (const char *mode : {"", "Forced", "forced ", "force", "NOMOUNT", "nomount,", "register", "all"}) {
        SCOPED_TRACE(mode);
        const GuardedText text(mode);
        set_up_service("Disk1", "Downloads");
        run(text);
        EXPECT_EQ(host.lines().back(), "log 1 @{106} @{103}");
        set_up_service("Disk1", "Downloads", "0,0,0,0,9091");
        EXPECT_EQ(run(text), not_there + "run /usr/bin/killall transmission-daemon -> 1\n" + not_there + flush +
                                 "upnp upnp:service,D,tcp,9091,0,null\n");
    }
}

TEST_F(Torrent, AnyFlagButZeroSwitchesItOn)
{
    for (const char *flag : {"1", "2", "-1"}) {
        set_up_service("Disk1", "Downloads", std::string(flag) + ",0,0,0,9091");
        run();
        EXPECT_EQ(host.lines().back(), "log 1 @{106} @{103}") << flag;
        EXPECT_EQ(host.count_lines("run /sbin/iptables -t nat -A router_torrent"), 1) << flag;
    }
}

TEST_F(Torrent, UnusedFieldsDoNotMatter)
{
    set_up_service("Disk1", "Downloads");
    const std::string usual = run();
    host.set_config("torrent_conf", "1,7,-8,9,9091");
    EXPECT_EQ(run(), usual);
}

TEST_F(Torrent, StopOfADaemonThatNeverEndsTakes201Seconds)
{
    set_up_service("Disk1", "Downloads");
    host.add_process({.name = "transmission-daemon", .kills = -1});
    run("nomount");
    EXPECT_EQ(host.count_lines("sleep 1"), 201);
    EXPECT_EQ(host.count_lines("run /usr/bin/killall -9 transmission-daemon"), 20);
    EXPECT_EQ(host.lines().back(), "log 1 @{107} @{103}");
}

TEST_F(Torrent, DaemonThatOutlivesItsStopIsStartedAllTheSame)
{
    set_up_service("Disk1", "Downloads");
    host.add_process({.name = "transmission-daemon", .kills = -1});
    run();
    EXPECT_EQ(host.count_lines("run /sbin/transmission-daemon"), 1);
    EXPECT_EQ(host.count_lines("run rm"), 0);
    EXPECT_EQ(host.lines().back(), "log 1 @{106} @{103}");
}

TEST_F(Torrent, DiskIsLookedForBelowTmpMntAlone)
{
    set_up_service("Disk1", "Downloads");
    sandbox.set_mounts("/dev/sda1 /mnt/Disk1 vfat rw 0 0\n/dev/sdb1 /tmp/mnt/disk1 vfat rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/Disk1/Downloads vfat rw 0 0\n/dev/sdd1 /tmp/mnt/Disk10 vfat rw 0 0\n");
    for (const char *mode : {ordinary, "forced"}) {
        run(mode);
        EXPECT_EQ(host.lines().back(), "log 1 @{105} @{103}");
        EXPECT_EQ(host.count_lines("log "), 1);
        EXPECT_EQ(host.count_lines("sleep"), 0);
        EXPECT_EQ(host.count_lines("run /sbin/transmission-daemon"), 0);
    }
}

TEST_F(Torrent, AddressesAreThoseOfTheFirstWanAndTheBridge)
{
    set_up_service("Disk1", "Downloads");
    host.network.wan_ip["wan2"] = "203.0.113.8";
    host.network.address["eth1"] = "192.168.1.2";
    run();
    EXPECT_EQ(line_after("run /sbin/iptables -t nat -A router_torrent "),
              "-d 203.0.113.7 -p tcp --dport 9091 -j DNAT --to-destination 192.168.1.1 -> 0");
    host.network.wan_ip["wan1"] = "";
    run();
    EXPECT_EQ(host.count_lines("run /sbin/iptables -t nat -A"), 0);
    EXPECT_EQ(host.count_lines("upnp upnp:service,A,tcp,9091,9091,ns_torrent_9091"), 1);
}

TEST_F(Torrent, LargestPortIsNamedWhole)
{
    set_up_service("Disk1", "Downloads", "1,0,0,0,2147483647");
    run();
    EXPECT_EQ(host.count_lines("upnp upnp:service,D,tcp,2147483647,0,null"), 1);
    EXPECT_EQ(host.count_lines("upnp upnp:service,A,tcp,2147483647,2147483647,ns_torrent_2147483647"), 1);
    EXPECT_EQ(line_after("upnp upnp:service,A,"), "tcp,2147483647,2147483647,ns_torrent_2147483647");
}

TEST_F(Torrent, AnyPortButZeroIsOpened)
{
    let_daemon_start();
    set_up_service("Disk1", "Downloads", "1,0,0,0,-1");
    run();
    EXPECT_EQ(host.count_lines("upnp upnp:service,D,tcp,-1,0,null"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/iptables -t nat -A router_torrent -d 203.0.113.7 -p tcp --dport -1 "), 1);
    EXPECT_EQ(line_after("upnp upnp:service,A,"), "tcp,-1,-1,ns_torrent_-1");
}

TEST_F(Torrent, PlainPathIsGivenToChmodAsItIs)
{
    let_daemon_start();
    for (const char *folder : {"Downloads", "a/b_c-d.e", "X09"}) {
        set_up_service("Disk1", folder);
        run();
        EXPECT_EQ(line_after("run chmod -R 777 "), std::string("/mnt/Disk1/") + folder + " -> 0");
    }
}

TEST_F(Torrent, PathThatTheShellWouldReadOtherwiseIsQuotedForChmod)
{
    let_daemon_start();
    for (const char *folder : {"My Files", "a;b",  "a&b", "a|b", "a$b", "$(reboot)", "`reboot`", "a\"b", "a\\b", "a*",
                               "a?b",      "[ab]", "a>b", "a<b", "(a)", "a\tb",      "a\nb",     "a!b",  "a#b",  "a(b",
                               "a)b",      "a[b",  "a]b", "a^b", "a{b", "a}b",       "~a",       "a`b"}) {
        set_up_service("Disk1", folder);
        run();
        const std::string quoted = std::string("'/mnt/Disk1/") + folder + "' -> 0";
        EXPECT_EQ(line_after("run chmod -R 777 "), nas_test::visible(quoted));
    }
    set_up_service("Disk1", "Ann's 'best'");
    run();
    EXPECT_EQ(line_after("run chmod -R 777 "), "'/mnt/Disk1/Ann'\\''s '\\''best'\\''' -> 0");
    set_up_service("My Disk", "Downloads");
    run();
    EXPECT_EQ(line_after("run chmod -R 777 "), "'/mnt/My Disk/Downloads' -> 0");
}

TEST_F(Torrent, FolderThatIsThereIsNotMade)
{
    let_daemon_start();
    set_up_service("Disk1", "Downloads");
    for (const int yes : {1, -1}) {
        host.yes = yes; // of the host, asked whether it is there
        run();
        EXPECT_EQ(host.count_lines("run mkdir"), 0) << yes;
        EXPECT_EQ(line_after("run chmod -R 777 "), "/mnt/Disk1/Downloads -> 0") << yes;
    }
}

TEST_F(Torrent, PercentSignsAreNoFormat)
{
    let_daemon_start();
    set_up_service("100%s", "%n%d");
    host.set_config("nas_user_torrent", "%s%n,%d%s,1");
    run();
    EXPECT_EQ(line_after("run /sbin/transmission-daemon "),
              "-a *.*.*.* -c '/mnt/100%s/%n%d' -w '/mnt/100%s/%n%d' -g '/mnt/100%s/%n%d/.session' -p 9091 -t "
              "-u %s%n -v '%d%s' -> 0");
}

TEST_F(Torrent, NamesInUtf8AreWrittenAsTheyAre)
{
    let_daemon_start();
    set_up_service("디스크", "영화/새것");
    run();
    EXPECT_EQ(host.count_lines("run mkdir"), 0);
    EXPECT_EQ(line_after("run /sbin/transmission-daemon "),
              "-a *.*.*.* -c '/mnt/디스크/영화/새것' -w '/mnt/디스크/영화/새것' "
              "-g '/mnt/디스크/영화/새것/.session' -p 9091 -t -u bob -v 'pw' -> 0");
}

TEST_F(Torrent, FolderThatIsNamedAsTheEscapedPathIsNotTakenForIt)
{
    let_daemon_start();
    set_up_service("Disk1", "Bob'\\''s");
    host.set_config("torrent_folder", "Bob's");
    run();
    EXPECT_EQ(line_after("run mkdir -p "), "'/mnt/Disk1/Bob'\\''s' -> 0");
    EXPECT_EQ(mode_of("/mnt/Disk1/Bob'\\''s"), 0755U);
}

TEST_F(Torrent, ModeIsThatOfTheFolderAsItIsNamed)
{
    let_daemon_start();
    set_up_service("Disk1", "Bob's");
    run();
    EXPECT_EQ(host.count_lines("run mkdir"), 0);
    EXPECT_EQ(host.count_lines("chmod 0777 /mnt/Disk1/Bob's"), 1);
    EXPECT_EQ(mode_of("/mnt/Disk1/Bob's"), 0777U);
}

TEST_F(Torrent, FolderThatCannotBeMadeEndsTheRun)
{
    host.on_command_prefix("mkdir", {1, -1, 127});
    for (int i = 0; i < 3; ++i) {
        set_up_service("Disk1", "Downloads");
        host.set_config("torrent_folder", "Bob's");
        const std::string lines = run();
        EXPECT_TRUE(lines.ends_with("\nstdout: Torrent:Can't make folder: /mnt/Disk1/Bob's\n")) << lines;
        for (const char *beginning : {"chmod", "run chmod", "run /sbin/transmission", "sleep 2", "run rm", "log"})
            EXPECT_EQ(host.count_lines(beginning), 0) << beginning;
    }
}

TEST_F(Torrent, PathIsCutAt511CharactersAndTheCommandAt1023)
{
    const std::string disk = "0123456789abcde";
    set_up_service(disk, "x");
    host.set_config("torrent_folder", std::string(511, 'f'));
    run();
    const std::string path = "/mnt/" + disk + "/" + std::string(490, 'f');
    EXPECT_EQ(line_after("run mkdir -p "), "'" + path + "' -> 0");
    EXPECT_EQ(line_after("run chmod -R 777 "), path + " -> 0");
    const std::string whole = "/sbin/transmission-daemon -a *.*.*.* -c '" + path + "' -w '" + path + "'";
    ASSERT_GT(whole.size(), 1023U);
    EXPECT_EQ(host.count_lines("run /sbin/transmission-daemon"), 2);
    EXPECT_EQ(host.count_lines("run " + whole.substr(0, 1023) + " -> 0"), 2);
    // The file's path is made of the names themselves.
    EXPECT_EQ(line_after("run rm -rf "),
              "'/mnt/" + disk + "/" + std::string(511, 'f') + "/.session/settings.json' -> 0");
}

TEST_F(Torrent, CommandOf1023CharactersIsWhole)
{
    let_daemon_start();
    for (const std::size_t more : {0U, 1U}) {
        const std::string id(127, 'u');
        const std::string password(383, 'p');
        const std::string folder(136 + more, 'F'); // three times in the command
        set_up_service("D", folder);
        host.set_config("nas_user_torrent", id + "," + password);
        run();
        const std::string path = "'/mnt/D/" + folder;
        const std::string whole = "/sbin/transmission-daemon -a *.*.*.* -c " + path + "' -w " + path + "' -g " + path +
                                  "/.session' -p 9091 -t -u " + id + " -v '" + password + "'";
        EXPECT_EQ(whole.size() == 1023, more == 0);
        EXPECT_EQ(host.count_lines("run " + whole.substr(0, 1023) + " -> 0"), 1);
    }
}

// Does the shell see a quotation that does not end?
bool leaves_quote_open(const std::string &command)
{
    bool open = false;
    for (std::size_t i = 0; i < command.size(); i++) {
        if (!open && command[i] == '\\')
            i++;
        else if (command[i] == '\'')
            open = !open;
    }
    return open;
}

// Runs the service with a folder, and compares the daemon's command: it is whole, or ends inside a quotation. Returns
// what the command would be.
std::string Torrent::run_with_folder(const std::string &folder, const std::string &quoted_folder)
{
    set_up_service("D", "x");
    host.set_config("torrent_folder", folder);
    run();
    const std::string path = "'/mnt/D/" + quoted_folder;
    const std::string whole = "/sbin/transmission-daemon -a *.*.*.* -c " + path + "' -w " + path + "' -g " + path +
                              "/.session' -p 9091 -t -u bob -v 'pw'";
    const std::string ran = "/sbin/transmission-daemon " + line_after("run /sbin/transmission-daemon ");
    const std::string command = ran.substr(0, ran.size() - std::string(" -> 0").size());
    if (whole.size() < 1024) {
        EXPECT_EQ(command, whole);
    } else {
        EXPECT_TRUE(leaves_quote_open(command)) << command;
        EXPECT_EQ(command, whole.substr(0, command.size()));
    }
    return whole;
}

TEST_F(Torrent, PartOfTheCommandIsNeverRun)
{
    let_daemon_start();
    for (int length = 250; length < 505; length++) {
        const std::string folder = times(length, "F");
        run_with_folder(folder, folder);
    }
}

TEST_F(Torrent, PartOfTheCommandWithApostrophesIsNeverRun)
{
    let_daemon_start();
    bool cut_behind_backslash = false;
    // Five characters a time in the command: with every beginning the cut falls behind another one of them.
    for (const char *beginning : {"", "x", "xx", "xxx", "xxxx"}) {
        for (int count = 63; count < 250; count += 3) {
            const std::string whole =
                run_with_folder(beginning + times(count, "F'"), beginning + times(count, "F'\\''"));
            cut_behind_backslash |= whole.size() > 1023 && whole[1022] == '\\';
        }
    }
    EXPECT_TRUE(cut_behind_backslash);
}

TEST_F(Torrent, CommandThatIsCutInsideAQuotationIsRunUpToThere)
{
    let_daemon_start();
    for (const std::string &folder : {std::string(489, 'F') + "\\", times(163, "영")}) { // the second path is cut
        const std::string whole = run_with_folder(folder, folder);
        EXPECT_EQ(host.count_lines("run " + whole.substr(0, 1023) + " -> 0"), 1) << folder;
    }
}

TEST_F(Torrent, LongestEscapedPathIsWhole)
{
    set_up_service("D", "x");
    host.set_config("torrent_folder", std::string(511, '\''));
    run();
    const std::string path = "/mnt/D/" + times(504, "'\\''");
    EXPECT_EQ(line_after("run mkdir -p "), "'" + path + "' -> 0");
    EXPECT_EQ(line_after("run chmod -R 777 "), "'" + path + "' -> 0");
    // Behind character 1020 the shell would see no quotation that is open.
    const std::string whole = "/sbin/transmission-daemon -a *.*.*.* -c '" + path;
    EXPECT_EQ(host.count_lines("run " + whole.substr(0, 1020) + " -> 0"), 2);
}

TEST_F(Torrent, RepairQuotesTheFolderAlone)
{
    set_up_service("Disk's", "Ann's 'best'");
    run();
    EXPECT_EQ(line_after("run rm -rf "), "'/mnt/Disk's/Ann'\\''s '\\''best'\\''/.session/settings.json' -> 0");
}

TEST_F(Torrent, RepairIsTriedOnce)
{
    set_up_service("Disk1", "Downloads");
    run();
    EXPECT_EQ(host.count_lines("run /sbin/transmission-daemon"), 2);
    EXPECT_EQ(host.count_lines("sleep 2"), 1);
    EXPECT_EQ(host.count_lines("run rm"), 1);
    EXPECT_EQ(host.count_lines("run /bin/pidof"), 3);
    EXPECT_EQ(host.lines().back(), "log 1 @{106} @{103}");
}

TEST_F(Torrent, UserIsTheFirstSlots)
{
    let_daemon_start();
    set_up_service("Disk1", "Downloads");
    host.set_config("nas_user_torrent_1", "eve,other,1");
    host.set_config("nas_user_system_0", "ann,secret");
    run();
    EXPECT_TRUE(line_after("run /sbin/transmission-daemon ").ends_with(" -u bob -v 'pw' -> 0"));
    host.set_config("nas_user_torrent", "bob,pw,0"); // whatever he may do
    run();
    EXPECT_TRUE(line_after("run /sbin/transmission-daemon ").ends_with(" -u bob -v 'pw' -> 0"));
    host.config.values.erase("nas_user_torrent");
    run();
    EXPECT_TRUE(line_after("run /sbin/transmission-daemon ").ends_with(" -p 9091 -t -u  -v '' -> 0"));
}

TEST_F(Torrent, NameAndPasswordAreWrittenAsTheyAre)
{
    let_daemon_start();
    set_up_service("Disk1", "Downloads");
    host.set_config("nas_user_torrent", "b'o b,p'w\"$x,1");
    run();
    EXPECT_TRUE(line_after("run /sbin/transmission-daemon ").ends_with(" -u b'o b -v 'p'w\"$x' -> 0"));
}

} // namespace
