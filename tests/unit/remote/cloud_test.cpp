// Cloud backup and cloud sync are one thing under two names: every case runs for both. Whole runs are golden cases.
#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/cloud.h"
#include "nas/service.h"

#include <climits>
#include <cstring>
#include <ostream>
#include <string>
#include <sys/stat.h>

namespace
{

using nas_test::exists;
using nas_test::FailingMemory;
using nas_test::GuardedText;
using nas_test::LibraryTest;
using nas_test::mode_of;
using nas_test::read_file;

constexpr const char *ordinary = nullptr;
constexpr const char *no_address = nullptr;

// All that differs.
struct Service {
    const char *name;
    int (*get)(CloudShareConfig *config);
    int (*set)(const CloudShareConfig *config);
    int (*configure)(const CloudShareConfig *config, const char *wan, const char *lan);
    int (*announce)(const CloudShareConfig *config, int background);
    int (*callback)(const char *mode);
    const char *record, *folder, *user; // keys
    int port;
    const char *flush, *forward, *upnp;
    const char *conf, *secrets, *response;
    const char *pidof, *killall, *waiting, *start;
    const char *request_port; // the service's field of the request
    const char *request_end;  // what follows the gateway's address for Disk1 and Backup
    const char *url;
    const char *stopped, *no_disk, *started;
    const char *said; // before the request of a start
};

constexpr Service backup = {
    "rsync",
    get_rsync_config,
    set_rsync_config,
    configure_iptables_for_rsync,
    cloudbackup_server_register,
    rsync_callback,
    "rsync_conf",
    "rsync_folder",
    "nas_user_rsync",
    1873,
    "run /sbin/iptables -t nat -F router_rsync",
    "run /sbin/iptables -t nat -A router_rsync -d 203.0.113.7 -p tcp --dport 7777 -j DNAT --to-destination 192.168.1.1",
    "upnp upnp:service,A,tcp,7777,7777,ns_rsync_7777",
    "/etc/cloudbackup.conf",
    "/etc/cloudbackup.secrets",
    "/tmp/cloud_backup_response",
    "run /bin/pidof rsync",
    "run /usr/bin/killall rsync",
    "stdout: Waiting for Rsync to be dead",
    "run /sbin/rsync --daemon --config=/etc/cloudbackup.conf --port=7777 --original",
    "&cloudbackup=",
    "",
    "http://backup.nalvex.example:33798/cloudbackup/server_register3.php?value=",
    "log 1 @{107} @{97}",
    "log 1 @{105} @{97}",
    "log 1 @{106} @{97}",
    "",
};

constexpr Service sync_service = {
    "nalvexcloud",
    get_nalvexcloud_config,
    set_nalvexcloud_config,
    configure_iptables_for_nalvexcloud,
    nalvexcloud_server_register,
    nalvexcloud_callback,
    "nalvexcloud_conf",
    "nalvexcloud_folder",
    "nas_user_nalvexcloud",
    2873,
    "run /sbin/iptables -t nat -F router_nalvexcloud",
    "run /sbin/iptables -t nat -A router_nalvexcloud -d 203.0.113.7 -p tcp --dport 7777 -j DNAT "
    "--to-destination 192.168.1.1",
    "upnp upnp:service,A,tcp,7777,7777,ns_nalvexcloud_7777",
    "/etc/nalvexcloud.conf",
    "/etc/nalvexcloud.secrets",
    "/tmp/nalvexcloud_response",
    "run /bin/pidof nalvexcloud",
    "run /usr/bin/killall nalvexcloud",
    "stdout: Waiting for nalvexcloud to be dead",
    "run /sbin/nalvexcloud --daemon --config=/etc/nalvexcloud.conf --port=7777 --original",
    "&nalvexcloud=",
    "&nalvexcloudinfo={hddname,Disk1},{folder,Backup}",
    "http://sync.nalvex.example:33798/nalvexcloud/server_register3.php?value=",
    "log 1 @{107} @{138}",
    "log 1 @{105} @{138}",
    "log 1 @{106} @{138}",
    "stderr: call nalvexcloud_server_register()\n",
};

void PrintTo(const Service &service, std::ostream *out)
{
    *out << service.name;
}

CloudShareConfig make_config(int enable, int port, const std::string &disk_name, const std::string &folder)
{
    CloudShareConfig config = {};
    config.enable = enable;
    config.port = port;
    disk_name.copy(config.disk_name, sizeof config.disk_name - 1);
    folder.copy(config.folder, sizeof config.folder - 1);
    return config;
}

// What the host's cipher and the hexadecimal digits stand for.
std::string decipher(const std::string &digits)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        text += static_cast<char>(~std::stoi(digits.substr(i, 2), nullptr, 16));
    return text;
}

struct Cloud : testing::WithParamInterface<Service>, LibraryTest {
    const Service &service = GetParam();

    void SetUp() override
    {
        usual_umask = umask(022);
    }

    void TearDown() override
    {
        umask(usual_umask);
        LibraryTest::TearDown();
    }

    // The record, read over garbage.
    CloudShareConfig get(int expected_result)
    {
        CloudShareConfig config;
        std::memset(&config, 0x5a, sizeof config);
        EXPECT_EQ(host.call(service.get, &config), expected_result);
        return config;
    }

    void expect_record(const std::string &stored, const CloudShareConfig &expected)
    {
        SCOPED_TRACE(stored);
        host.set_config(service.record, stored);
        const CloudShareConfig config = get(1);
        EXPECT_EQ(config.enable, expected.enable);
        EXPECT_EQ(config.port, expected.port);
        EXPECT_STREQ(config.disk_name, expected.disk_name);
        EXPECT_STREQ(config.folder, expected.folder);
        EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0) << "the rest of the record is not zero";
    }

    int set(const CloudShareConfig &config)
    {
        return host.call(service.set, &config);
    }

    int configure(const CloudShareConfig &config, const char *wan)
    {
        return host.call(service.configure, &config, wan, "192.168.1.1");
    }

    int announce(const CloudShareConfig &config, int background = 0)
    {
        host.forget();
        return host.call(service.announce, &config, background);
    }

    void put_account(const std::string &host_name, const std::string &credential)
    {
        DdnsConfig account = {};
        host_name.copy(account.host_name, sizeof account.host_name - 1);
        credential.copy(account.credential, sizeof account.credential - 1);
        host.device.ddns["kelsto_router"] = {account};
    }

    void set_up_network()
    {
        put_account("abc.nalvex.example", "k");
        host.network.wan_ip["wan1"] = "203.0.113.7";
        host.network.address["br-lan"] = "192.168.1.1";
    }

    // Port 7777, Disk1 mounted, its folder Backup there.
    void set_up_service(const std::string &enable = "1")
    {
        set_up_network();
        host.set_config(service.record, enable + ",7777,Disk1");
        host.set_config(service.folder, "Backup");
        host.set_config(service.user, "bob,pw,1");
        sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
        sandbox.put_dir("/mnt/Disk1/Backup");
    }

    std::string run(const char *mode = ordinary)
    {
        host.forget();
        EXPECT_EQ(host.call(service.callback, mode), 0);
        return host.transcript();
    }

    std::string command_start() const
    {
        return std::string("run /usr/bin/wget \"") + service.url;
    }

    // The request that was sent last, deciphered; checks what surrounds it.
    std::string sent_request(const std::string &ampersand = "")
    {
        EXPECT_EQ(host.count_lines("run /usr/bin/wget"), 1);
        const std::string start = command_start();
        const std::string end = std::string("\" -q -O ") + service.response + " " + ampersand + " -> 0";
        for (const std::string &line : host.lines()) {
            if (!line.starts_with("run /usr/bin/wget"))
                continue;
            EXPECT_TRUE(line.starts_with(start)) << line;
            EXPECT_TRUE(line.ends_with(end)) << line;
            return decipher(line.substr(start.size(), line.size() - start.size() - end.size()));
        }
        return "none";
    }

    // The request for port 7777, Disk1 and Backup with the system's address and the gateway's hardware address.
    std::string request(const std::string &system_ip, const std::string &gateway_mac)
    {
        return std::string("rv=mnopqtstuvwxyzAB&auth=YWJjOms=") + service.request_port + "7777&system_ip=" + system_ip +
               "&gw_mac=" + gateway_mac + service.request_end;
    }

    // The request as it is handed to the cipher.
    std::string plain_request(const CloudShareConfig &config)
    {
        std::string seen;
        host.device.cipher = [&seen](const char *input, unsigned char *, int, int, int, int length) {
            seen = input;
            EXPECT_EQ(length, static_cast<int>(seen.size()));
            return 0;
        };
        EXPECT_EQ(announce(config), 0);
        host.device.cipher = nullptr;
        return seen;
    }

    std::string conf_with(const std::string &module, const std::string &path, const std::string &user)
    {
        return "uid = root\n"
               "gid = root\n"
               "strict modes = no\n"
               "read only = no\n"
               "use chroot = no\n"
               "port = 7777\n"
               "transfer logging = yes\n"
               "log file = /dev/null\n"
               "log format = %t|%m|%u\n"
               "[" +
               module + "]\npath = " + path + "\nauth users = " + user + "\nsecrets file = " + service.secrets +
               "\nread only = no\n";
    }

    const CloudShareConfig usual = make_config(1, 7777, "Disk1", "Backup");
    mode_t usual_umask = 0;
};

INSTANTIATE_TEST_SUITE_P(Services, Cloud, testing::Values(backup, sync_service),
                         [](const testing::TestParamInfo<Service> &which) { return which.param.name; });

// ---- the record

TEST_P(Cloud, RecordIsRead)
{
    host.set_config(service.folder, "Backup");
    expect_record("1,7777,Disk1", make_config(1, 7777, "Disk1", "Backup"));
    expect_record("0,0,D", make_config(0, 0, "D", "Backup"));
    expect_record("-3,-1,My Disk %s", make_config(-3, -1, "My Disk %s", "Backup"));
    EXPECT_EQ(host.transcript(), "");
}

TEST_P(Cloud, WithoutRecordItIsOffOnItsPortWithoutDiskAndFolder)
{
    host.set_config(service.folder, "Backup");
    const CloudShareConfig config = get(0);
    EXPECT_EQ(config.enable, 0);
    EXPECT_EQ(config.port, service.port);
    EXPECT_STREQ(config.disk_name, "");
    EXPECT_STREQ(config.folder, "");
    EXPECT_EQ(host.transcript(), "");
}

TEST_P(Cloud, RecordMayNotBeNull)
{
    EXPECT_EQ(host.call(service.get, static_cast<CloudShareConfig *>(nullptr)), -1);
    host.set_config(service.record, "1,7777,Disk1");
    EXPECT_EQ(host.call(service.get, static_cast<CloudShareConfig *>(nullptr)), -1);
}

TEST_P(Cloud, MissingFieldsHaveTheirDefaults)
{
    expect_record("", make_config(0, service.port, "", ""));
    expect_record("1", make_config(1, service.port, "", ""));
    expect_record("1,7777", make_config(1, 7777, "", ""));
    expect_record("1,7777,", make_config(1, 7777, "", ""));
}

TEST_P(Cloud, EmptyFieldsKeepTheirPlaceAndCountAsMissing)
{
    expect_record(",,", make_config(0, service.port, "", ""));
    expect_record(",,Disk1", make_config(0, service.port, "Disk1", ""));
    expect_record("1,,Disk1", make_config(1, service.port, "Disk1", ""));
    expect_record(",7777,Disk1", make_config(0, 7777, "Disk1", ""));
}

TEST_P(Cloud, NumbersAreReadAsFarAsTheyGo)
{
    expect_record("1x, 7777y,Disk1", make_config(1, 7777, "Disk1", ""));
    expect_record("on,port,Disk1", make_config(0, 0, "Disk1", ""));
    expect_record("99999999999,-99999999999,Disk1", make_config(INT_MAX, INT_MIN, "Disk1", ""));
}

TEST_P(Cloud, MoreFieldsAreNotRead)
{
    host.set_config(service.folder, "Backup");
    expect_record("1,7777,Disk1,Other,1", make_config(1, 7777, "Disk1", "Backup"));
}

TEST_P(Cloud, TextsAreCutAtTheirFields)
{
    const std::string disk = "123456789012345";
    expect_record("1,7777," + disk, make_config(1, 7777, disk, ""));
    expect_record("1,7777," + disk + "6", make_config(1, 7777, disk, ""));
    expect_record("1,7777," + disk + std::string(990, 'x'), make_config(1, 7777, disk, ""));
    for (const std::size_t length : {511U, 512U, 1023U}) {
        host.set_config(service.folder, std::string(length, 'f'));
        expect_record("1,7777,Disk1", make_config(1, 7777, "Disk1", std::string(511, 'f')));
    }
}

TEST_P(Cloud, FolderIsOneText)
{
    host.set_config(service.folder, "a,b},{c/ d\n%s");
    expect_record("1,7777,Disk1", make_config(1, 7777, "Disk1", "a,b},{c/ d\n%s"));
}

TEST_P(Cloud, OtherServicesKeysDoNotMatter)
{
    const std::string other = service.name == std::string("rsync") ? "nalvexcloud" : "rsync";
    host.set_config(other + "_conf", "1,9999,Other");
    host.set_config(other + "_folder", "Other");
    get(0);
    expect_record("1,7777,Disk1", make_config(1, 7777, "Disk1", ""));
}

TEST_P(Cloud, RecordIsStored)
{
    EXPECT_EQ(set(make_config(1, 7777, "Disk1", "Backup")), 0);
    EXPECT_EQ(set(make_config(0, 0, "", "")), 0);
    const std::string record = std::string("set ") + service.record + " = ";
    const std::string folder = std::string("set ") + service.folder + " = ";
    EXPECT_EQ(host.transcript(), record + "1,7777,Disk1\n" + folder + "Backup\n" + record + "0,0,\n" + folder + "\n");
}

TEST_P(Cloud, LongestRecordIsStoredWhole)
{
    EXPECT_EQ(set(make_config(INT_MIN, INT_MIN, std::string(15, '%'), std::string(511, '%'))), 0);
    EXPECT_EQ(*host.config.look_up(service.record), "-2147483648,-2147483648,%%%%%%%%%%%%%%%");
    EXPECT_EQ(*host.config.look_up(service.folder), std::string(511, '%'));
}

TEST_P(Cloud, StoreMayRefuse)
{
    host.config.refuses_writes = true;
    EXPECT_EQ(set(usual), 0);
    EXPECT_EQ(host.count_lines("set "), 2);
}

TEST_P(Cloud, ServiceTableKnowsTheRecord)
{
    ServicePort ports[2] = {};
    EXPECT_EQ(host.call(get_service_ports, service.name, &ports[0], 2), 0);
    host.set_config(service.record, "1,7777,Disk1");
    EXPECT_EQ(host.call(get_service_enable, service.name), 0);
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    EXPECT_EQ(host.call(get_service_enable, service.name), 1);
    EXPECT_EQ(host.call(get_service_ports, service.name, &ports[0], 2), 1);
    EXPECT_STREQ(ports[0].protocol, "tcp");
    EXPECT_EQ(ports[0].port, 7777);
    EXPECT_EQ(ports[1].port, 0);
    host.set_config(service.record, "0,7777,Disk1");
    EXPECT_EQ(host.call(get_service_enable, service.name), 0);
}

// ---- the NAT chain

TEST_P(Cloud, PortIsForwarded)
{
    EXPECT_EQ(configure(usual, "203.0.113.7"), 1);
    EXPECT_EQ(host.transcript(), std::string(service.flush) + " -> 0\n" + service.forward + " -> 0\n");
}

TEST_P(Cloud, ChainIsLeftEmptyWhenOffOrWithoutAddress)
{
    EXPECT_EQ(configure(make_config(0, 7777, "Disk1", ""), "203.0.113.7"), 0);
    EXPECT_EQ(configure(usual, ""), 0);
    EXPECT_EQ(configure(usual, no_address), 0);
    const std::string flush = std::string(service.flush) + " -> 0\n";
    EXPECT_EQ(host.transcript(), flush + flush + flush);
}

TEST_P(Cloud, Port0IsNotForwarded)
{
    EXPECT_EQ(configure(make_config(1, 0, "Disk1", ""), "203.0.113.7"), 1);
    EXPECT_EQ(host.transcript(), std::string(service.flush) + " -> 0\n");
}

TEST_P(Cloud, ChainsCommandsMayFail)
{
    host.on_command_prefix("/sbin/iptables", {-1, 2});
    EXPECT_EQ(configure(usual, "203.0.113.7"), 1);
    EXPECT_EQ(host.transcript(), std::string(service.flush) + " -> failed\n" + service.forward + " -> 2\n");
}

// ---- the registration

TEST_P(Cloud, RouterIsAnnounced)
{
    set_up_network();
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", ""));
    ASSERT_EQ(host.lines().size(), 2U);
    EXPECT_EQ(host.lines()[0], std::string("unlink ") + service.response + " -> failed");
}

TEST_P(Cloud, RequestMayRunInTheBackground)
{
    set_up_network();
    for (const int background : {1, -1, 256}) {
        EXPECT_EQ(announce(usual, background), 0);
        EXPECT_EQ(sent_request("&"), request("192.168.1.1", "")) << background;
    }
}

TEST_P(Cloud, OldAnswerIsRemovedFirst)
{
    set_up_network();
    sandbox.put_file(service.response, "old");
    EXPECT_EQ(announce(usual), 0);
    EXPECT_FALSE(exists(service.response));
    EXPECT_EQ(host.lines()[0], std::string("unlink ") + service.response);
}

TEST_P(Cloud, NothingIsSentWithoutAccount)
{
    set_up_network();
    host.device.ddns.clear();
    host.device.ddns["nalvex"] = {{"abc.nalvex.example", "k"}};
    sandbox.put_file(service.response, "old");
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(read_file(service.response), "old");
}

TEST_P(Cloud, NothingIsSentForAHostNameWithoutDot)
{
    set_up_network();
    put_account("localhost", "k");
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_P(Cloud, FirstAccountCounts)
{
    set_up_network();
    host.device.ddns["kelsto_router"].push_back({"other.nalvex.example", "x"});
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", ""));
}

TEST_P(Cloud, NothingIsSentWithoutConnection)
{
    set_up_network();
    host.network.wan_ip.clear();
    host.network.wan_ip["wan2"] = "203.0.113.8";
    host.network.gateway["eth1"] = "192.168.1.254";
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_P(Cloud, GatewayCountsAsConnection)
{
    set_up_network();
    host.network.wan_ip.clear();
    host.network.gateway["br-lan"] = "192.168.1.254";
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", ""));
}

TEST_P(Cloud, LocalGatewaysHardwareAddressIsSent)
{
    set_up_network();
    host.network.gateway["br-lan"] = "192.168.1.254";
    host.network.neighbour["192.168.1.254"] = "aa:bb:cc:dd:ee:ff";
    host.network.neighbour["192.168.1.1"] = "11:11:11:11:11:11";
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", ""));
    host.network.gateway_is_local = true;
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", "aa:bb:cc:dd:ee:ff"));
    host.network.neighbour.erase("192.168.1.254");
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", ""));
}

TEST_P(Cloud, GatewayWithoutAddressHasNoHardwareAddress)
{
    set_up_network();
    host.network.gateway_is_local = true;
    host.network.neighbour[""] = "aa:bb:cc:dd:ee:ff";
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", ""));
    host.network.gateway["br-lan"] = "";
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("192.168.1.1", ""));
}

TEST_P(Cloud, AddressOfTheGatewayIsNeverTheSystems)
{
    set_up_network();
    host.network.address.clear();
    host.network.gateway_is_local = true;
    host.network.gateway["br-lan"] = "192.168.1.254";
    host.network.neighbour["192.168.1.254"] = "aa:bb:cc:dd:ee:ff";
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request(), request("", "aa:bb:cc:dd:ee:ff"));
}

TEST_P(Cloud, HostMaySayYesByAnyNumber)
{
    set_up_service();
    host.network.wan_ip.clear();
    host.network.gateway_is_local = true;
    host.network.gateway["br-lan"] = "192.168.1.254";
    host.network.neighbour["192.168.1.254"] = "aa:bb:cc:dd:ee:ff";
    for (const int yes : {1, 2, -1, INT_MIN}) {
        SCOPED_TRACE(yes);
        host.yes = yes;
        run("register");
        EXPECT_TRUE(sent_request("&").ends_with("&gw_mac=aa:bb:cc:dd:ee:ff" + std::string(service.request_end)));
        run();
        EXPECT_EQ(host.count_lines("run mkdir"), 0);
    }
}

TEST_P(Cloud, PortIsSentAsItIs)
{
    set_up_network();
    for (const int port : {0, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(announce(make_config(0, port, "Disk1", "Backup")), 0);
        EXPECT_EQ(sent_request(), std::string("rv=mnopqtstuvwxyzAB&auth=YWJjOms=") + service.request_port +
                                      std::to_string(port) + "&system_ip=192.168.1.1&gw_mac=" + service.request_end);
    }
}

TEST_P(Cloud, NonceFollowsTheClock)
{
    set_up_network();
    host.now = 26;
    EXPECT_EQ(announce(usual), 0);
    EXPECT_EQ(sent_request().substr(0, 25), "rv=ABCDEFGHIJKLMNOP&auth=");
}

TEST_P(Cloud, CipherThatGivesNothingLeavesTheValueEmpty)
{
    set_up_network();
    for (const int result : {0, -1}) {
        host.device.cipher = [result](const char *, unsigned char *output, int, int, int, int) {
            output[0] = 0x11;
            return result;
        };
        EXPECT_EQ(announce(usual), 0);
        EXPECT_EQ(host.count_lines(command_start() + "\" -q -O "), 1);
    }
}

TEST_P(Cloud, LongestCommandIsCutAt1023Characters)
{
    set_up_network();
    host.device.cipher = [](const char *, unsigned char *output, int capacity, int, int, int) {
        std::memset(output, 0xab, static_cast<std::size_t>(capacity));
        return capacity;
    };
    EXPECT_EQ(announce(usual, 1), 0);
    const std::string start = command_start();
    std::string expected = start;
    while (expected.size() < 1023 + 4) // "run " is none of it
        expected += "ab";
    EXPECT_EQ(host.lines()[1], expected.substr(0, 1023 + 4) + " -> 0");
}

TEST_P(Cloud, CommandsEndMayBeCut)
{
    set_up_network();
    // "/usr/bin/wget \"", the address, the value, "\" -q -O ", the response, " &": exactly 1023, then two more.
    const std::size_t around = 15 + std::strlen(service.url) + 8 + std::strlen(service.response) + 2;
    const int fitting = static_cast<int>((1023 - around) / 2);
    for (const int bytes : {fitting, fitting + 1}) {
        host.device.cipher = [bytes](const char *, unsigned char *output, int, int, int, int) {
            std::memset(output, 0x77, static_cast<std::size_t>(bytes));
            return bytes;
        };
        EXPECT_EQ(announce(usual, 1), 0);
        const std::string whole = command_start() + std::string(2 * static_cast<std::size_t>(bytes), '7') +
                                  "\" -q -O " + service.response + " &";
        EXPECT_EQ(whole.size() <= 1027, bytes == fitting);
        EXPECT_EQ(host.lines()[1], whole.substr(0, 1027) + " -> 0");
    }
}

TEST_P(Cloud, LongRequestIsCutAt1023Characters)
{
    set_up_network();
    put_account(std::string(126, 'h') + ".", std::string(127, 'c'));
    host.network.address["br-lan"] = std::string(63, '1');
    std::string auth;
    for (int i = 0; i < 42; ++i)
        auth += "aGho";
    auth += "OmNj";
    for (int i = 0; i < 41; ++i)
        auth += "Y2Nj";
    auth += "Y2M=";
    std::string expected = "rv=mnopqtstuvwxyzAB&auth=" + auth + service.request_port +
                           "-2147483648&system_ip=" + std::string(63, '1') + "&gw_mac=";
    if (service.name == std::string("nalvexcloud"))
        expected += "&nalvexcloudinfo={hddname,%%%%%%%%%%%%%%%},{folder," + std::string(511, 'f') + "}";
    const std::string seen = plain_request(make_config(1, INT_MIN, std::string(15, '%'), std::string(511, 'f')));
    EXPECT_EQ(seen, expected.substr(0, 1023));
    EXPECT_EQ(seen.size() == 1023, service.name == std::string("nalvexcloud"));
}

TEST_P(Cloud, DiskAndFolderAreSentAsTheyAreToCloudSyncAlone)
{
    set_up_network();
    const std::string seen = plain_request(make_config(1, 7777, "%s},{\n&", "a,b}&=\"'$(x)\n%n \xc3\xbc"));
    EXPECT_EQ(seen, std::string("rv=mnopqtstuvwxyzAB&auth=YWJjOms=") + service.request_port +
                        "7777&system_ip=192.168.1.1&gw_mac=" +
                        (service.name == std::string("rsync")
                             ? ""
                             : "&nalvexcloudinfo={hddname,%s},{\n&},{folder,a,b}&=\"'$(x)\n%n \xc3\xbc}"));
}

// ---- the callback (whole runs are golden cases)

TEST_P(Cloud, DaemonIsStarted)
{
    set_up_service();
    const std::string lines = run();
    EXPECT_TRUE(lines.starts_with(std::string(service.pidof) + " -> 1\n" + service.killall + " -> 1\n" + service.pidof +
                                  " -> 1\n" + service.flush + " -> 0\nupnp upnp:service,D,tcp,7777,0,null\nwrite " +
                                  service.conf + "\nchmod 0666 " + service.conf + "\nwrite " + service.secrets +
                                  "\nchmod 0666 " + service.conf + "\nsleep 1\n" + service.flush + " -> 0\n" +
                                  service.forward + " -> 0\n" + service.upnp + "\n" + service.said + "unlink " +
                                  service.response + " -> failed\n" + command_start()))
        << lines;
    EXPECT_TRUE(lines.ends_with(std::string(" & -> 0\n") + service.start + " -> 0\n" + service.started + "\n"))
        << lines;
    EXPECT_EQ(read_file(service.conf), conf_with("Backup", "/mnt/Disk1/Backup", "bob"));
    EXPECT_EQ(read_file(service.secrets), "bob:pw");
    EXPECT_EQ(mode_of(service.conf), 0666U);
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_P(Cloud, ModesAreExactWords)
{
    for (const char *mode : {"", "Forced", "forced ", "force", "NOMOUNT", "nomount,", "registers", "regis", "all"}) {
        SCOPED_TRACE(mode);
        set_up_service();
        const GuardedText text(mode);
        run(text);
        EXPECT_EQ(host.count_lines(service.start), 1);
        EXPECT_EQ(host.count_lines(service.started), 1);
        set_up_service("0");
        run(text);
        EXPECT_EQ(host.count_lines(service.start), 0);
        EXPECT_EQ(host.lines().back(), "upnp upnp:service,D,tcp,7777,0,null");
    }
}

TEST_P(Cloud, AnyFlagButZeroSwitchesItOn)
{
    for (const char *flag : {"1", "2", "-1"}) {
        set_up_service(flag);
        run();
        EXPECT_EQ(host.count_lines(service.start), 1) << flag;
        EXPECT_EQ(host.count_lines(service.forward), 1) << flag;
    }
}

TEST_P(Cloud, ForcedRunStartsAndLogsWhatIsOff)
{
    set_up_service("0");
    run("forced");
    EXPECT_EQ(host.count_lines(service.start), 1);
    EXPECT_EQ(host.count_lines(service.forward), 0);
    EXPECT_EQ(host.count_lines(service.upnp), 1);
    EXPECT_EQ(host.lines().back(), service.started);
    EXPECT_EQ(host.count_lines("log "), 1);
}

TEST_P(Cloud, RunningDaemonThatIsStartedAgainLogsNoStop)
{
    for (const char *mode : {ordinary, "forced"}) {
        set_up_service();
        host.add_process({service.name});
        run(mode);
        EXPECT_EQ(host.count_lines("log "), 1);
        EXPECT_EQ(host.lines().back(), service.started);
        EXPECT_TRUE(host.processes.empty());
    }
}

TEST_P(Cloud, StoppedDaemonIsLoggedOnlyWhenItRan)
{
    set_up_service();
    host.add_process({service.name});
    run("nomount");
    EXPECT_EQ(host.lines().back(), service.stopped);
    run("nomount");
    EXPECT_EQ(host.count_lines("log "), 0);
    set_up_service("0");
    host.add_process({service.name});
    run();
    EXPECT_EQ(host.lines().back(), service.stopped);
    run();
    EXPECT_EQ(host.count_lines("log "), 0);
    EXPECT_FALSE(exists(service.conf));
    EXPECT_FALSE(exists(service.secrets));
}

TEST_P(Cloud, MissingDiskIsLoggedInsteadOfAStop)
{
    set_up_service();
    host.add_process({service.name});
    sandbox.set_mounts("/dev/sda1 /mnt/Disk1 vfat rw 0 0\n/dev/sdb1 /tmp/mnt/disk1 vfat rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/Disk1/Backup vfat rw 0 0\n/dev/sdd1 /tmp/mnt vfat rw 0 0\n");
    run();
    EXPECT_EQ(host.lines().back(), service.no_disk);
    EXPECT_EQ(host.count_lines("log "), 1);
    EXPECT_EQ(host.count_lines("sleep"), 0);
    EXPECT_FALSE(exists(service.conf));
    run("forced");
    EXPECT_EQ(host.lines().back(), service.no_disk);
}

TEST_P(Cloud, DaemonThatDoesNotEndIsWaitedForOnce)
{
    set_up_service();
    host.add_process({.name = service.name, .kills = -1});
    const std::string lines = run("nomount");
    EXPECT_EQ(lines, std::string(service.pidof) + " -> 0\n" + service.killall + " -> 0\n" + service.pidof + " -> 0\n" +
                         service.waiting + "\nsleep 1\n" + service.flush +
                         " -> 0\nupnp upnp:service,D,tcp,7777,0,null\n" + service.stopped + "\n");
}

TEST_P(Cloud, OtherDaemonsAreNotTakenForIt)
{
    set_up_service("0");
    for (const char *name : {"rsyncd", "nalvexcloudd", "proftpd:", "lighttpd"})
        host.add_process({name});
    run();
    EXPECT_EQ(host.lines()[0], std::string(service.pidof) + " -> 1");
    EXPECT_EQ(host.count_lines("log "), 0);
    EXPECT_EQ(host.processes.size(), 4U);
}

TEST_P(Cloud, RegisterDoesNothingElse)
{
    for (const char *enable : {"1", "0"}) {
        set_up_service(enable);
        host.add_process({service.name});
        run("register");
        EXPECT_EQ(host.lines().size(), 2U) << enable;
        EXPECT_EQ(sent_request("&"), request("192.168.1.1", "")) << enable;
        EXPECT_FALSE(exists(service.conf));
    }
}

TEST_P(Cloud, NeitherDiskNorUserMattersToRegister)
{
    set_up_service();
    sandbox.set_mounts("");
    host.config.values.erase(service.user);
    run("register");
    EXPECT_EQ(sent_request("&"), request("192.168.1.1", ""));
    host.device.ddns.clear();
    EXPECT_EQ(run("register"), "");
}

TEST_P(Cloud, DaemonIsStartedWithoutRegistration)
{
    set_up_service();
    host.device.ddns.clear();
    const std::string lines = run();
    EXPECT_TRUE(lines.ends_with(std::string(service.upnp) + "\n" + service.said + service.start + " -> 0\n" +
                                service.started + "\n"))
        << lines;
}

TEST_P(Cloud, SecretsKeepTheModeTheyAreCreatedWith)
{
    for (const auto &[mask, mode] : {std::pair<mode_t, mode_t>(0, 0666), {022, 0644}, {077, 0600}}) {
        SCOPED_TRACE(mask);
        set_up_service();
        umask(mask);
        run();
        EXPECT_EQ(mode_of(service.secrets), mode);
        EXPECT_EQ(mode_of(service.conf), 0666U);
        sandbox.remove_file(service.secrets);
        sandbox.remove_file(service.conf);
    }
}

TEST_P(Cloud, OldFilesAreReplaced)
{
    set_up_service();
    sandbox.put_file(service.conf, std::string(5000, 'x'), 0600);
    sandbox.put_file(service.secrets, std::string(5000, 'x'), 0600);
    run();
    EXPECT_EQ(read_file(service.conf), conf_with("Backup", "/mnt/Disk1/Backup", "bob"));
    EXPECT_EQ(read_file(service.secrets), "bob:pw");
    EXPECT_EQ(mode_of(service.conf), 0666U);
    EXPECT_EQ(mode_of(service.secrets), 0600U);
}

TEST_P(Cloud, UnwritableConfigurationLeavesTheSecretsAlone)
{
    set_up_service();
    sandbox.put_file(service.secrets, "old", 0600);
    sandbox.put_dir(service.conf);
    run();
    EXPECT_EQ(host.count_lines(std::string("write ") + service.conf + " -> failed"), 1);
    EXPECT_EQ(host.count_lines("chmod"), 0);
    EXPECT_EQ(read_file(service.secrets), "old");
    EXPECT_EQ(host.count_lines(service.start), 1);
    EXPECT_EQ(host.count_lines(service.forward), 1);
    EXPECT_EQ(host.lines().back(), service.started);
}

TEST_P(Cloud, UnwritableSecretsKeepTheConfiguration)
{
    set_up_service();
    sandbox.put_dir(service.secrets);
    run();
    EXPECT_EQ(host.count_lines("chmod"), 1);
    EXPECT_EQ(read_file(service.conf), conf_with("Backup", "/mnt/Disk1/Backup", "bob"));
    EXPECT_EQ(host.lines().back(), service.started);
}

TEST_P(Cloud, DaemonIsStartedWithoutMemoryForItsFile)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail here";
    set_up_service();
    int started_without_file = 0;
    for (int allocations = 0; allocations < 8; ++allocations) { // the first are the mount table's
        SCOPED_TRACE(allocations);
        for (const char *path : {service.conf, service.secrets}) {
            if (exists(path))
                sandbox.remove_file(path);
        }
        const FailingMemory memory(allocations, 1);
        run();
        const bool started = host.lines().back() == service.started;
        EXPECT_TRUE(started || host.lines().back() == service.no_disk);
        EXPECT_EQ(host.count_lines(service.start), started ? 1 : 0);
        if (!exists(service.conf)) {
            EXPECT_FALSE(exists(service.secrets));
            started_without_file += started ? 1 : 0;
        }
    }
    EXPECT_GE(started_without_file, 1);
}

TEST_P(Cloud, OldFilesStayWhenThereIsNoMemoryForNewOnes)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail here";
    set_up_service();
    sandbox.put_file(service.conf, "old");
    sandbox.put_file(service.secrets, "old");
    const FailingMemory memory(0, 1024); // a stream is smaller, and does without its buffer
    run();
    EXPECT_GE(memory.failures(), 1);
    EXPECT_EQ(read_file(service.conf), "old");
    EXPECT_EQ(read_file(service.secrets), "old");
    EXPECT_EQ(host.count_lines("write "), 0);
    EXPECT_EQ(host.lines().back(), service.started);
}

TEST_P(Cloud, UserIsTheOneInTheFirstSlotOfTheService)
{
    set_up_service();
    host.config.values.erase(service.user);
    host.set_config(std::string(service.user) + "_0", "slot0,pw,1");
    host.set_config(std::string(service.user) + "_1", "slot1,pw,1");
    host.set_config("nas_user_system_0", "system,pw");
    run();
    EXPECT_EQ(read_file(service.conf), conf_with("Backup", "/mnt/Disk1/Backup", ""));
    EXPECT_EQ(read_file(service.secrets), ":");
}

TEST_P(Cloud, UsersPermissionDoesNotMatter)
{
    set_up_service();
    host.set_config(service.user, "bob,pw,0");
    run();
    EXPECT_EQ(read_file(service.conf), conf_with("Backup", "/mnt/Disk1/Backup", "bob"));
    EXPECT_EQ(read_file(service.secrets), "bob:pw");
}

TEST_P(Cloud, LongestUserIsWrittenWhole)
{
    set_up_service();
    const std::string name(127, 'n');
    const std::string password(383, 'p'); // with the comma: all that a stored user counts
    host.set_config(service.user, name + "," + password);
    run();
    EXPECT_EQ(read_file(service.conf), conf_with("Backup", "/mnt/Disk1/Backup", name));
    EXPECT_EQ(read_file(service.secrets), name + ":" + password);
}

TEST_P(Cloud, PercentSignsArePlain)
{
    set_up_service();
    host.set_config(service.record, "1,7777,%s%n");
    host.set_config(service.folder, "100%d%%");
    host.set_config(service.user, "%u%s,%n%%s,1");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/%s%n vfat rw 0 0\n");
    run();
    EXPECT_EQ(read_file(service.conf), conf_with("100%d%%", "/mnt/%s%n/100%d%%", "%u%s"));
    EXPECT_EQ(read_file(service.secrets), "%u%s:%n%%s");
    EXPECT_EQ(host.count_lines("run mkdir -p '/mnt/%s%n/100%d%%' -> 0"), 1);
}

TEST_P(Cloud, LineFeedsEndNamesInFiles)
{
    set_up_service();
    host.set_config(service.folder, "Backup\npath = /");
    host.set_config(service.user, "bob\nroot,pw\nroot:,1");
    run();
    EXPECT_EQ(read_file(service.conf), conf_with("Backup", "/mnt/Disk1/Backup", "bob"));
    EXPECT_EQ(read_file(service.secrets), "bob:pw");
    host.set_config(service.folder, "\nBackup");
    host.set_config(service.user, "\nroot,pw,1");
    run();
    EXPECT_EQ(read_file(service.conf), conf_with("", "/mnt/Disk1/", ""));
    EXPECT_EQ(read_file(service.secrets), ":pw");
}

TEST_P(Cloud, FolderThatIsThereIsNotMade)
{
    set_up_service();
    run();
    EXPECT_EQ(host.count_lines("run mkdir"), 0);
    host.set_config(service.folder, "Backup/Deep er");
    run();
    EXPECT_EQ(host.count_lines("run mkdir -p '/mnt/Disk1/Backup/Deep er' -> 0"), 1);
    host.set_config(service.folder, "");
    run();
    EXPECT_EQ(host.count_lines("run mkdir"), 0);
}

TEST_P(Cloud, LongFolderIsWrittenWholeAndItsCommandHoldsWhatFits)
{
    set_up_service();
    const std::string folder(511, '\'');
    host.set_config(service.folder, folder);
    run();
    EXPECT_EQ(read_file(service.conf), conf_with(folder, "/mnt/Disk1/" + folder, "bob"));
    // 1023 characters between the quotes: 11 and 253 escaped apostrophes
    std::string quoted = "/mnt/Disk1/";
    for (int i = 0; i < 253; ++i)
        quoted += "'\\''";
    EXPECT_EQ(host.count_lines("run mkdir -p '" + quoted + "' -> 0"), 1);
    // 12 and 252 escaped ones: another would be one character too many
    host.set_config(service.folder, "f" + std::string(510, '\''));
    run();
    quoted = "/mnt/Disk1/f" + quoted.substr(11, 4 * 252);
    EXPECT_EQ(host.count_lines("run mkdir -p '" + quoted + "' -> 0"), 1);
}

TEST_P(Cloud, Port0OpensNothing)
{
    set_up_service();
    host.set_config(service.record, "1,0,Disk1");
    run();
    EXPECT_EQ(host.count_lines("upnp"), 0);
    EXPECT_EQ(host.count_lines("run /sbin/iptables -t nat -A"), 0);
    EXPECT_EQ(host.count_lines(service.flush), 2);
    EXPECT_EQ(host.count_lines("run /sbin/"), 3); // two flushes and the daemon
}

TEST_P(Cloud, StartCommandHoldsTheLongestPort)
{
    set_up_service();
    host.set_config(service.record, "1,-2147483648,Disk1");
    run();
    std::string start = service.start;
    start.replace(start.find("7777"), 4, "-2147483648");
    EXPECT_EQ(host.count_lines(start + " -> 0"), 1);
    EXPECT_EQ(host.count_lines("upnp upnp:service,D,tcp,-2147483648,0,null"), 1);
    EXPECT_EQ(host.count_lines("upnp upnp:service,A,tcp,-2147483648,-2147483648,ns_"), 1);
}

TEST_P(Cloud, OtherServiceIsLeftAlone)
{
    set_up_service();
    const std::string other = service.name == std::string("rsync") ? "nalvexcloud" : "rsync";
    host.add_process({other});
    const std::string lines = run();
    EXPECT_EQ(host.processes.size(), 1U);
    EXPECT_EQ(lines.find("killall " + other), std::string::npos);
    EXPECT_EQ(lines.find("router_" + other), std::string::npos);
    for (const char *path : {"/etc/cloudbackup.conf", "/etc/nalvexcloud.conf"})
        EXPECT_EQ(exists(path), path == std::string(service.conf)) << path;
}

} // namespace
