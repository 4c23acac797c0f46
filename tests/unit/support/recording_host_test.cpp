// The recording host is relied on by everything else, so what it promises is tested, too.
#include "support/fixture.h"
#include "support/guarded.h"

#include "platform/network.h"
#include "platform/process.h"
#include "platform/registration.h"
#include "platform/request.h"
#include "platform/store.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <syslog.h>
#include <unistd.h>

namespace
{

using nas_test::exists;
using nas_test::GuardedBuffer;
using nas_test::LibraryTest;
using nas_test::mode_of;
using nas_test::read_file;

using Recording = LibraryTest;

// Runs `body` as if it were the library.
template <class Body>
void act(nas_test::RecordingHost &host, Body body)
{
    host.call([&] {
        body();
        return 0;
    });
}

TEST_F(Recording, CommandsAnswerAsScripted)
{
    host.on_command("one", {3, 0});
    host.on_command_prefix("two ", {-1});
    act(host, [] {
        EXPECT_EQ(std::system("one"), 768);
        EXPECT_EQ(system2("%s", "one"), 0);
        EXPECT_EQ(system2("one"), 0);
        EXPECT_EQ(std::system("two and more"), -1);
        EXPECT_EQ(system2("%d%%\n", 7), 0);
    });
    EXPECT_EQ(host.transcript(), "run one -> 3\n"
                                 "run one -> 0\n"
                                 "run one -> 0\n"
                                 "run two and more -> failed\n"
                                 "run 7%␊ -> 0\n");
}

TEST_F(Recording, CommandsChangeTheWorld)
{
    host.commands.push_back({.text = "umount /mnt/A", .effect = [&] { sandbox.set_mounts("none\n"); }});
    sandbox.set_mounts("/dev/sda1 /mnt/A vfat rw 0 0\n");
    act(host, [] { EXPECT_EQ(std::system("umount /mnt/B"), 0); });
    EXPECT_EQ(read_file("/proc/mounts"), "/dev/sda1 /mnt/A vfat rw 0 0\n");
    act(host, [] { EXPECT_EQ(std::system("umount /mnt/A"), 0); });
    EXPECT_EQ(read_file("/proc/mounts"), "none\n");
    EXPECT_EQ(host.transcript(), "run umount /mnt/B -> 0\n"
                                 "run umount /mnt/A -> 0\n");
}

TEST_F(Recording, LongCommandsAreWhole)
{
    const std::string word(5000, 'w');
    act(host, [&] { system2("echo %s", word.c_str()); });
    EXPECT_EQ(host.transcript(), "run echo " + word + " -> 0\n");
}

TEST_F(Recording, OutputStandsWhereItWasWritten)
{
    act(host, [] {
        std::printf("first\n");
        std::fprintf(stderr, "second\n");
        sleep(1);
        std::printf("third\nfour");
        sleep(2);
        std::puts("th");
    });
    EXPECT_EQ(host.transcript(), "stderr: second\n"
                                 "stdout: first\n"
                                 "sleep 1\n"
                                 "stdout: third\n"
                                 "stdout: four (unfinished)\n"
                                 "sleep 2\n"
                                 "stdout: th\n");
}

TEST_F(Recording, NothingIsRecordedOutsideACall)
{
    EXPECT_EQ(mkdir("/tmp/x", 0755), 0);
    EXPECT_NE(std::time(nullptr), 42);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Recording, ProcessesEndAsScripted)
{
    host.add_process({.name = "a", .looks = 1});
    host.add_process({.name = "b", .kills = 2});
    host.add_process({.name = "c:", .only_forced = true});
    act(host, [] {
        std::system("/bin/pidof a");
        std::system("/bin/pidof a");
        std::system("/usr/bin/killall b");
        std::system("/bin/pidof b");
        std::system("killall b");
        std::system("/bin/pidof b");
        std::system("/usr/bin/killall c");
        std::system("/bin/pidof c");
        std::system("/usr/bin/killall -9 c");
        std::system("/bin/pidof c");
    });
    EXPECT_EQ(host.transcript(), "run /bin/pidof a -> 0\n"
                                 "run /bin/pidof a -> 1\n"
                                 "run /usr/bin/killall b -> 0\n"
                                 "run /bin/pidof b -> 0\n"
                                 "run killall b -> 0\n"
                                 "run /bin/pidof b -> 1\n"
                                 "run /usr/bin/killall c -> 0\n"
                                 "run /bin/pidof c -> 0\n"
                                 "run /usr/bin/killall -9 c -> 0\n"
                                 "run /bin/pidof c -> 1\n");
}

TEST_F(Recording, ProcessListHoldsBothNames)
{
    host.add_process({"proftpd:", "proftpd: (accepting connections)"});
    host.add_process({"transmission-daemon", "", "transmission-da"});
    for (const char *name : {"proftpd:", "proftpd", "transmission-daemon", "transmission-da"}) {
        ProcessList list;
        EXPECT_EQ(get_process_list(name, &list, 0), 1) << name;
        free_process_list(&list);
        EXPECT_EQ(list.first, nullptr);
    }
    ProcessList list;
    EXPECT_EQ(get_process_list(nullptr, &list, 0), 2);
    EXPECT_STREQ(list.first->name, "proftpd:");
    EXPECT_STREQ(list.first->cmdline, "proftpd: (accepting connections)");
    EXPECT_STREQ(list.first->next->cmdline, "transmission-daemon");
    EXPECT_EQ(host.open_process_lists, 1);
    free_process_list(&list);
    EXPECT_EQ(get_process_list("proft", &list, 0), 0);
    free_process_list(&list);
}

TEST_F(Recording, KillAndPidFiles)
{
    host.add_process({.name = "a", .pid = 11});
    host.add_process({.name = "b", .pid = 12});
    sandbox.put_file("/var/run/b.pid", "12\n");
    act(host, [] {
        EXPECT_EQ(kill(11, 0), 0);
        EXPECT_EQ(kill(11, SIGTERM), 0);
        EXPECT_EQ(kill(11, SIGTERM), -1);
        EXPECT_EQ(errno, ESRCH);
        EXPECT_NE(check_process2("/var/run/b.pid"), 0);
        EXPECT_EQ(kill_process2("/var/run/b.pid", SIGTERM), 0);
        EXPECT_EQ(check_process2("/var/run/b.pid"), 0);
        EXPECT_EQ(kill_process2("/var/run/c.pid", SIGTERM), -1);
    });
    EXPECT_EQ(host.transcript(), "kill 11 0\n"
                                 "kill 11 15\n"
                                 "kill 11 15 -> failed\n"
                                 "kill-file /var/run/b.pid 15\n"
                                 "kill-file /var/run/c.pid 15 -> failed\n");
}

TEST_F(Recording, StoresKeepTextsAndNumbers)
{
    host.set_config("key", "text");
    act(host, [] {
        char value[NAS_STORE_VALUE_SIZE] = "#";
        EXPECT_EQ(iconfig_get_value_direct("key", value), 0);
        EXPECT_STREQ(value, "text");
        std::strcpy(value, "#");
        EXPECT_EQ(istatus_get_value_direct("key", value), -1);
        EXPECT_STREQ(value, "#");
        EXPECT_EQ(istatus_get_intvalue_direct("number"), -1);
        EXPECT_EQ(istatus_set_intvalue_direct("number", -12), 0);
        EXPECT_EQ(istatus_get_intvalue_direct("number"), -12);
        EXPECT_EQ(iconfig_set_value_direct("key", "a\nb"), 0);
        EXPECT_EQ(iconfig_remove_config_tag("key"), 0);
        EXPECT_EQ(iconfig_remove_config_tag("key"), -1);
        EXPECT_EQ(iconfig_get_value_direct("key", value), -1);
    });
    EXPECT_EQ(host.transcript(), "set-status number = -12\n"
                                 "set key = a␊b\n"
                                 "remove key\n"
                                 "remove key -> failed\n");
    EXPECT_EQ(host.config.reads["key"], 2);
    EXPECT_EQ(host.status.total_reads, 3);
}

TEST_F(Recording, LiveStoreIsReadButNeverWritten)
{
    int asked = 0;
    host.config.live = [&](const std::string &key, std::string &value) {
        ++asked;
        value = "live " + key;
        return key == "known";
    };
    char value[NAS_STORE_VALUE_SIZE];
    EXPECT_EQ(iconfig_get_value_direct("known", value), 0);
    EXPECT_STREQ(value, "live known");
    EXPECT_EQ(iconfig_get_value_direct("unknown", value), -1);
    iconfig_set_value_direct("known", "mine");
    EXPECT_EQ(iconfig_get_value_direct("known", value), 0);
    EXPECT_STREQ(value, "mine");
    iconfig_remove_config_tag("known");
    EXPECT_EQ(iconfig_get_value_direct("known", value), -1);
    EXPECT_EQ(asked, 2);
}

TEST_F(Recording, FilesAreRecordedAndWritten)
{
    act(host, [] {
        EXPECT_EQ(mkdir("/tmp/d", 0700), 0);
        EXPECT_EQ(mkdir("/tmp/d", 0700), -1);
        EXPECT_EQ(errno, EEXIST);
        std::FILE *file = std::fopen("/tmp/d/f", "w+");
        ASSERT_NE(file, nullptr);
        std::fputs("text", file);
        std::fclose(file);
        EXPECT_EQ(std::fopen("/tmp/none/f", "a"), nullptr);
        EXPECT_EQ(std::fopen("/tmp/none", "r"), nullptr);
        EXPECT_EQ(chmod("/tmp/d/f", 0604), 0);
        EXPECT_EQ(symlink("f", "/tmp/d/l"), 0);
        EXPECT_EQ(unlink("/tmp/d/l"), 0);
        EXPECT_EQ(unlink("/tmp/d/l"), -1);
        EXPECT_EQ(std::rename("/tmp/d/f", "/tmp/d/g"), 0);
        EXPECT_EQ(rmdir("/tmp/d"), -1);
        EXPECT_EQ(write_file("/tmp/d/h", "more\n"), 0);
        EXPECT_EQ(write_file("/tmp/none/h", "more\n"), -1);
    });
    EXPECT_EQ(host.transcript(), "mkdir 0700 /tmp/d\n"
                                 "mkdir 0700 /tmp/d -> failed\n"
                                 "write /tmp/d/f\n"
                                 "write /tmp/none/f -> failed\n"
                                 "chmod 0604 /tmp/d/f\n"
                                 "symlink f /tmp/d/l\n"
                                 "unlink /tmp/d/l\n"
                                 "unlink /tmp/d/l -> failed\n"
                                 "rename /tmp/d/f /tmp/d/g\n"
                                 "rmdir /tmp/d -> failed\n"
                                 "write /tmp/d/h\n"
                                 "write /tmp/none/h -> failed\n");
    EXPECT_EQ(nas_test::list_tree(), "dir 0700 /tmp/d\n"
                                     "file 0604 /tmp/d/g\n"
                                     "file 0644 /tmp/d/h\n");
    EXPECT_EQ(read_file("/tmp/d/g"), "text");
    EXPECT_EQ(read_file("/tmp/d/h"), "more\n");
}

TEST_F(Recording, PlannedFilesAreRecordedAndNotWritten)
{
    host.passes_files_on = false;
    sandbox.put_file("/tmp/old", "old");
    act(host, [] {
        EXPECT_EQ(mkdir("/tmp/d", 0700), 0);
        std::FILE *file = std::fopen("/tmp/old", "w");
        ASSERT_NE(file, nullptr);
        std::fputs("new", file);
        std::fclose(file);
        EXPECT_EQ(chmod("/tmp/old", 0600), 0);
        EXPECT_EQ(unlink("/tmp/old"), 0);
        EXPECT_EQ(write_file("/tmp/old", "new"), 0);
    });
    EXPECT_EQ(host.transcript(), "mkdir 0700 /tmp/d\n"
                                 "write /tmp/old\n"
                                 "chmod 0600 /tmp/old\n"
                                 "unlink /tmp/old\n"
                                 "write /tmp/old\n");
    EXPECT_FALSE(exists("/tmp/d"));
    EXPECT_EQ(read_file("/tmp/old"), "old");
    EXPECT_EQ(mode_of("/tmp/old"), 0644U);
}

TEST_F(Recording, RequestsAndTheLog)
{
    act(host, [] {
        signal_nas("mount:sda");
        signal_start("upnp:service,D,tcp,21,0,null");
        signal_update();
        signal_wan();
        syslog_msg(1, "@{106}", "@{100}");
        syslog_msg(1, "@{126}", 2);
        syslog_msg(1, "@{83}");
        syslog(LOG_INFO, "%s %d", "text", 7);
        sync();
        EXPECT_EQ(sethostname("router", 6), 0);
    });
    EXPECT_EQ(host.transcript(), "request mount:sda\n"
                                 "upnp upnp:service,D,tcp,21,0,null\n"
                                 "signal-update\n"
                                 "signal-wan\n"
                                 "log 1 @{106} @{100}\n"
                                 "log 1 @{126} 2\n"
                                 "log 1 @{83}\n"
                                 "syslog 6 text 7\n"
                                 "sync\n"
                                 "sethostname router\n");
}

TEST_F(Recording, RandomNumbersCountOnFromTheSeed)
{
    act(host, [] {
        std::srand(7);
        EXPECT_EQ(std::rand(), 7);
        EXPECT_EQ(std::rand(), 8);
        std::srand(0x7fffffffU);
        EXPECT_EQ(std::rand(), 0x7fffffff);
        EXPECT_EQ(std::rand(), 0);
    });
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Recording, CipherTurnsBitsOverUnlessAnotherIsGiven)
{
    unsigned char output[4] = {1, 1, 1, 1};
    act(host, [&output] { EXPECT_EQ(encode_crypt("A\x0f", output, 3, 10, 0, 2), 2); });
    EXPECT_EQ(output[0], 0xbe);
    EXPECT_EQ(output[1], 0xf0);
    EXPECT_EQ(output[2], 1);
    host.device.cipher = [](const char *input, unsigned char *, int capacity, int option1, int option2, int length) {
        return input[0] + capacity + option1 + option2 + length;
    };
    act(host, [&output] { EXPECT_EQ(encode_crypt("\x01", output, 20, 300, 4000, 50000), 54321); });
}

TEST_F(Recording, OutputOfACommand)
{
    host.on_command("ls", {4}, "a\nb\n");
    act(host, [] {
        char line[16] = "";
        std::FILE *file = popen("ls", "r");
        ASSERT_NE(file, nullptr);
        EXPECT_STREQ(std::fgets(line, sizeof line, file), "a\n");
        EXPECT_STREQ(std::fgets(line, sizeof line, file), "b\n");
        EXPECT_EQ(std::fgets(line, sizeof line, file), nullptr);
        EXPECT_EQ(pclose(file), 1024);
    });
    EXPECT_EQ(host.transcript(), "popen ls\n");
}

TEST_F(Recording, TimeAndSizesAreTheHosts)
{
    host.now = 42;
    host.file_systems["/x"] = {512, 10, 5, 4};
    act(host, [] {
        EXPECT_EQ(std::time(nullptr), 42);
        sleep(3);
        EXPECT_EQ(std::time(nullptr), 45);
        struct statfs facts;
        EXPECT_EQ(statfs("/x", &facts), 0);
        EXPECT_EQ(facts.f_bsize, 512);
        EXPECT_EQ(facts.f_blocks, 10U);
        EXPECT_EQ(facts.f_bavail, 4U);
        EXPECT_EQ(statfs("/", &facts), -1);
    });
    EXPECT_EQ(host.statfs_calls, 2);
}

std::string quoted(const std::string &text, int capacity)
{
    const GuardedBuffer buffer(static_cast<std::size_t>(capacity));
    std::memcpy(buffer.data(), text.c_str(), text.size() + 1);
    EXPECT_EQ(quote_r(buffer.data(), capacity), buffer.data());
    return buffer.data();
}

TEST_F(Recording, QuotingNeverCutsAnEscape)
{
    EXPECT_EQ(quoted("plain $(x) \"y\" \\", 32), "plain $(x) \"y\" \\");
    EXPECT_EQ(quoted("a'b", 32), "a'\\''b");
    EXPECT_EQ(quoted("a'b", 7), "a'\\''b");
    EXPECT_EQ(quoted("a'b", 6), "a'\\''");
    EXPECT_EQ(quoted("a'b", 5), "a");
    EXPECT_EQ(quoted("abc", 4), "abc");
    EXPECT_EQ(quoted("", 1), "");
}

TEST_F(Recording, SmallFiles)
{
    sandbox.put_file("/tmp/f", "12 text\n");
    char text[16] = "#";
    EXPECT_NE(get_file_string("/tmp/f", text, sizeof text), 0);
    EXPECT_STREQ(text, "12 text");
    EXPECT_NE(get_file_string("/tmp/f", text, 4), 0);
    EXPECT_STREQ(text, "12 ");
    EXPECT_EQ(get_file_string("/tmp/none", text, sizeof text), 0);
    EXPECT_EQ(get_file_string("/tmp", text, sizeof text), 0);
    EXPECT_EQ(get_file_value("/tmp/f", 1), 12);
    EXPECT_EQ(get_file_value("/tmp/none", 1), 0);
    EXPECT_NE(file_exists("/tmp"), 0);
    EXPECT_EQ(file_exists("/tmp/none"), 0);
    char copy[4];
    EXPECT_STREQ(sf_strncpy(copy, "abcdef", 4), "abc");
}

TEST_F(Recording, OtherFlagsThanAgreedAreAnAct)
{
    act(host, [] {
        ProcessList list;
        get_process_list("a", &list, 0);
        free_process_list(&list);
        get_process_list("a", &list, 1);
        free_process_list(&list);
        get_file_value("/tmp/none", 1);
        get_file_value("/tmp/none", 0);
    });
    EXPECT_EQ(host.transcript(), "list a -> 0\n"
                                 "flags get_process_list 1\n"
                                 "list a -> 0\n"
                                 "flags get_file_value 0\n");
}

TEST_F(Recording, NetworkAnswers)
{
    host.network.address["br-lan"] = "192.168.1.1";
    host.network.mask["br-lan"] = "255.255.255.0";
    host.network.hwaddr["eth0"] = "00:11:22:33:44:ff";
    char ip[NAS_ADDRESS_SIZE] = "#";
    char mask[NAS_ADDRESS_SIZE] = "#";
    EXPECT_EQ(get_ifconfig("br-lan", ip, mask), 1);
    EXPECT_STREQ(ip, "192.168.1.1");
    EXPECT_STREQ(mask, "255.255.255.0");
    EXPECT_EQ(get_ifconfig("wan1", ip, nullptr), 0);
    EXPECT_STREQ(ip, "");
    EXPECT_EQ(get_wan_ip("wan1", mask), 0);
    EXPECT_STREQ(mask, "");
    unsigned char octets[6];
    EXPECT_EQ(get_hwaddr_flash_raw("eth0", octets), 0);
    EXPECT_EQ(octets[5], 0xff);
    act(host, [] { set_default_gateway("wan1", nullptr); });
    EXPECT_EQ(host.transcript(), "gateway wan1 (none)\n");
}

TEST_F(Recording, UnknownFactsLeaveTheTextAsItWas)
{
    char text[NAS_ADDRESS_SIZE] = "#";
    EXPECT_EQ(get_wan_type("wan1", text), -1);
    EXPECT_EQ(get_wan_hw_ifname("wan1", text), -1);
    EXPECT_EQ(get_default_gateway("br-lan", text), 0);
    EXPECT_EQ(get_hwaddr_org("eth0", text), -1);
    EXPECT_EQ(get_hwaddr_by_ip("192.168.1.9", text), -1);
    EXPECT_STREQ(text, "#");
}

TEST_F(Recording, YesIsTheSmallestNumber)
{
    host.network.interfaces.insert("lte0");
    host.network.links.insert("wan1");
    host.network.set_up.insert("wan1");
    host.network.gateway["br-lan"] = "192.168.1.9";
    host.network.gateway_is_local = true;
    host.device.factory_test_mode = true;
    host.device.diagnostics = true;
    host.device.modules.insert("usblp");
    host.device.ddns["type"] = {{"host", "credential"}};
    host.add_process({.name = "a", .pid = 4711});
    sandbox.put_file("/tmp/pid", "4711");
    char text[NAS_ADDRESS_SIZE];
    DdnsConfig account;
    for (const int answer :
         {get_ifexist("lte0"), get_wan_link("wan1"), get_wansetup_status("wan1"), get_default_gateway("br-lan", text),
          local_gateway_is_default_gateway(), is_factory_test_mode(), check_diag_flag(),
          check_module_installed("usblp"), ddnsapi_read_config_by_service_type(0, "type", &account),
          check_process2("/tmp/pid"), file_exists("/tmp/pid"), get_file_string("/tmp/pid", text, sizeof text)})
        EXPECT_EQ(answer, INT_MIN);
}

TEST_F(Recording, AllOfTheRoomForATextIsUsed)
{
    const auto expect_room = [](char *text, std::size_t room, const std::string &begins) {
        EXPECT_EQ(std::string(text, room), begins + '\0' + std::string(room - begins.size() - 1, '#'));
        EXPECT_EQ(text[room], '+');
    };
    char text[2048];
    const auto clear = [&text] { std::memset(text, '+', sizeof text); };
    host.network.wan_ip["wan1"] = "203.0.113.7";
    host.device.product = "NX100";
    host.set_config("key", "value");
    sandbox.put_file("/tmp/f", "abc");
    clear();
    get_wan_ip("wan1", text);
    expect_room(text, 64, "203.0.113.7");
    clear();
    get_si("pi", text);
    expect_room(text, 128, "NX100");
    clear();
    iconfig_get_value_direct("key", text);
    expect_room(text, 1024, "value");
    clear();
    get_file_string("/tmp/f", text, 10);
    expect_room(text, 10, "abc");
    clear();
    std::strcpy(text, "a'b");
    quote_r(text, 20);
    expect_room(text, 20, "a'\\''b");
    clear();
    sf_strncpy(text, "abc", 7);
    expect_room(text, 7, "abc");
}

TEST_F(Recording, RoutesAreAnsweredAsSetUp)
{
    int checked = 0;
    int set = 0;
    const auto route = [&] {
        checked = check_default_gateway("192.0.2.1", "192.0.2.7", "255.255.255.0");
        set = set_default_gateway("eth1", "192.0.2.1");
    };
    act(host, route);
    EXPECT_EQ(checked, 0);
    EXPECT_EQ(set, 0);
    host.network.gateway_check = 2;
    host.network.refused_routes.insert("eth1");
    act(host, route);
    EXPECT_EQ(checked, 2);
    EXPECT_EQ(set, -1);
    EXPECT_EQ(host.transcript(), "check-gateway 192.0.2.1 192.0.2.7 255.255.255.0 -> 0\n"
                                 "gateway eth1 192.0.2.1\n"
                                 "check-gateway 192.0.2.1 192.0.2.7 255.255.255.0 -> 2\n"
                                 "gateway eth1 192.0.2.1 -> failed\n");
    host.network.route_refusal = 3;
    act(host, route);
    EXPECT_EQ(set, 3);
    EXPECT_EQ(host.lines().back(), "gateway eth1 192.0.2.1 -> failed");
}

TEST_F(Recording, DnsServersAreThoseOfInterfaceAndType)
{
    host.network.dns["eth1 static"] = {"192.0.2.53", "192.0.2.54"};
    char first[NAS_ADDRESS_SIZE] = "#";
    char second[NAS_ADDRESS_SIZE] = "#";
    EXPECT_EQ(get_dns_shadow("eth1", "dynamic", first, second), -1);
    EXPECT_EQ(get_dns_shadow("eth0", "static", first, second), -1);
    EXPECT_STREQ(first, "#");
    EXPECT_EQ(get_dns_shadow("eth1", "static", first, second), 0);
    EXPECT_STREQ(first, "192.0.2.53");
    EXPECT_STREQ(second, "192.0.2.54");
}

TEST_F(Recording, Base64)
{
    char text[16];
    EXPECT_EQ(Base64encode(text, "Man", 3), 4);
    EXPECT_STREQ(text, "TWFu");
    EXPECT_EQ(Base64encode(text, "Ma", 2), 4);
    EXPECT_STREQ(text, "TWE=");
    EXPECT_EQ(Base64encode(text, "M", 1), 4);
    EXPECT_STREQ(text, "TQ==");
    EXPECT_EQ(Base64encode(text, "", 0), 0);
    EXPECT_STREQ(text, "");
}

TEST_F(Recording, TreeShowsModesAndLinks)
{
    sandbox.put_file("/etc/a\nb", "", 0600);
    sandbox.put_link("/var/l", "/etc");
    sandbox.put_dir("/mnt/Disk1", 0711);
    EXPECT_EQ(nas_test::list_tree(), "file 0600 /etc/a␊b\n"
                                     "dir 0711 /mnt/Disk1\n"
                                     "link /var/l -> /etc\n");
    EXPECT_TRUE(exists("/tmp/mnt/Disk1"));
}

} // namespace
