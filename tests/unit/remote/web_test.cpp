#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/service.h"
#include "nas/user.h"
#include "nas/web.h"

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using nas_test::exists;
using nas_test::FailingMemory;
using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::LibraryTest;
using nas_test::mode_of;
using nas_test::read_file;

constexpr const char *ordinary = nullptr;
constexpr const char *no_origin = nullptr;

NasUser make_user(const std::string &id, const std::string &password)
{
    NasUser user = {};
    id.copy(user.id, sizeof user.id - 1);
    password.copy(user.password, sizeof user.password - 1);
    return user;
}

HttpdConfig make_httpd(const std::string &realm, const std::string &pid_path = "/var/run/web.pid")
{
    HttpdConfig config = {};
    realm.copy(config.realm, sizeof config.realm - 1);
    pid_path.copy(config.pid_path, sizeof config.pid_path - 1);
    return config;
}

struct Web : LibraryTest {
    // The record, read over garbage.
    void expect_record(const std::string &stored, int enable, int port, int auth)
    {
        SCOPED_TRACE(stored);
        host.set_config("url_conf", stored);
        const GuardedBuffer memory(sizeof(UrlServiceConfig));
        UrlServiceConfig *const config = reinterpret_cast<UrlServiceConfig *>(memory.data());
        EXPECT_EQ(host.call(get_urlsvc_config, config), 1);
        EXPECT_EQ(config->enable, enable);
        EXPECT_EQ(config->port, port);
        EXPECT_EQ(config->auth, auth);
    }

    HttpdConfig get_httpd()
    {
        HttpdConfig config;
        std::memset(&config, 0x5a, sizeof config);
        EXPECT_EQ(host.call(get_httpd_config, &config), 1);
        return config;
    }

    std::string add_user(const std::string &id, const std::string &password, const std::string &realm = "nalVEX")
    {
        const NasUser user = make_user(id, password);
        const HttpdConfig config = make_httpd(realm);
        host.forget();
        EXPECT_EQ(host.call(add_httpd_digest_user, &user, &config), 0);
        return host.transcript();
    }

    int check_process(int port)
    {
        const HttpdConfig config = make_httpd("", "/var/run/web.pid");
        return host.call(check_httpd_process, &config, port);
    }

    void set_up_service(const std::string &ftp = "1,21,9000,UTF-8,0", const std::string &url = "1,8000,0")
    {
        host.set_config("ftp_conf", ftp);
        host.set_config("url_conf", url);
        host.set_config("nas_user_url", "alice,secret,1");
        host.network.wan_ip["wan1"] = "203.0.113.7";
        host.network.address["br-lan"] = "192.168.1.1";
        host.network.hwaddr["eth1"] = "00:11:22:aB:3c:4D";
        sandbox.put_dir("/tmp/webroot");
    }

    void put_ftp_user(int slot, const std::string &id, const std::string &permission = "rw")
    {
        const std::string key = "nas_user_system_" + std::to_string(slot);
        host.set_config(key, id + ",pw");
        host.set_config(key + ".ftp", permission);
    }

    std::string run(const char *mode = ordinary, const char *origin = "url")
    {
        host.forget();
        EXPECT_EQ(host.call(lighttpd_callback, mode, origin), 0);
        return host.transcript();
    }

    // The names below httpstream, as the commands hold them.
    std::vector<std::string> links()
    {
        run();
        const std::string start = "run ln -s /tmp/mnt '/tmp/webroot/httpstream/";
        const std::string end = "' -> 0";
        std::vector<std::string> names;
        for (const std::string &line : host.lines()) {
            if (!line.starts_with("run ln"))
                continue;
            EXPECT_TRUE(line.starts_with(start) && line.ends_with(end)) << line;
            names.push_back(line.substr(start.size(), line.size() - start.size() - end.size()));
        }
        return names;
    }
};

// ---- the record

TEST_F(Web, RecordIsRead)
{
    expect_record("1,8080,1", 1, 8080, 1);
    expect_record("0,8000,0", 0, 8000, 0);
    expect_record("7,0,-1", 7, 0, -1);
    expect_record("-1,-1,2", -1, -1, 2);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Web, WithoutRecordItIsOffOnItsPort)
{
    UrlServiceConfig config = {5, 5, 5};
    EXPECT_EQ(host.call(get_urlsvc_config, &config), 0);
    EXPECT_EQ(config.enable, 0);
    EXPECT_EQ(config.port, 8000);
    EXPECT_EQ(config.auth, 0);
}

TEST_F(Web, RecordMayBeNull)
{
    EXPECT_EQ(host.call(get_urlsvc_config, static_cast<UrlServiceConfig *>(nullptr)), 0);
    host.set_config("url_conf", "1,8080,1");
    EXPECT_EQ(host.call(get_urlsvc_config, static_cast<UrlServiceConfig *>(nullptr)), 1);
}

TEST_F(Web, MissingFieldsHaveTheirDefaults)
{
    expect_record("", 0, 8000, 0);
    expect_record("1", 1, 8000, 0);
    expect_record("1,8080", 1, 8080, 0);
    expect_record("1,8080,", 1, 8080, 0);
}

TEST_F(Web, NeighbouringCommasAreOne)
{
    expect_record(",,,", 0, 8000, 0);
    expect_record(",8080", 8080, 8000, 0);
    expect_record("1,,8080,,1", 1, 8080, 1);
    expect_record(",1,8080,1", 1, 8080, 1);
    expect_record("1,8080,,,1", 1, 8080, 1);
}

TEST_F(Web, LineFeedEndsOrPrecedesTheThirdFieldOnly)
{
    expect_record("1,8080,1\n9", 1, 8080, 1);
    expect_record("1,8080,1\n,9", 1, 8080, 1);
    expect_record("1,8080,\n1", 1, 8080, 1);
    expect_record("1,8080,\n,\n1", 1, 8080, 1);
    expect_record("1,8080,\n", 1, 8080, 0);
    expect_record("1,8080\n1", 1, 8080, 0);
    expect_record("1\n,8080,1", 1, 8080, 1);
    expect_record("\n,8080,1", 0, 8080, 1); // a field of its own
}

TEST_F(Web, NumbersAreReadAsFarAsTheyGo)
{
    expect_record(" 1x, 8080y,+1z", 1, 8080, 1);
    expect_record("on,port,yes", 0, 0, 0);
    expect_record("99999999999,-99999999999,99999999999", INT_MAX, INT_MIN, INT_MAX);
    expect_record("1," + std::string(1021, '9'), 1, INT_MAX, 0);
}

TEST_F(Web, MoreFieldsAreNotRead)
{
    expect_record("1,8080,0,1,1", 1, 8080, 0);
}

TEST_F(Web, RecordIsStored)
{
    const UrlServiceConfig on = {1, 8000, 0};
    const UrlServiceConfig longest = {INT_MIN, INT_MIN, INT_MIN};
    EXPECT_EQ(host.call(set_urlsvc_config, &on), 0);
    EXPECT_EQ(host.call(set_urlsvc_config, &longest), 0);
    EXPECT_EQ(host.transcript(), "set url_conf = 1,8000,0\n"
                                 "set url_conf = -2147483648,-2147483648,-2147483648\n");
    host.config.refuses_writes = true;
    EXPECT_EQ(host.call(set_urlsvc_config, &on), 0);
}

TEST_F(Web, ServiceTableKnowsTheRecord)
{
    ServicePort ports[2] = {};
    EXPECT_EQ(host.call(get_service_enable, "url"), 0);
    EXPECT_EQ(host.call(get_service_ports, "url", &ports[0], 2), 0);
    host.set_config("url_conf", "3,8080,0");
    EXPECT_EQ(host.call(get_service_enable, "url"), 3);
    EXPECT_EQ(host.call(get_service_ports, "url", &ports[0], 2), 1);
    EXPECT_STREQ(ports[0].protocol, "tcp");
    EXPECT_EQ(ports[0].port, 8080);
    EXPECT_EQ(ports[1].port, 0);
}

// ---- the servers' record

TEST_F(Web, ServersRecordIsFilled)
{
    host.set_config("ftp_conf", "7,21,9090,UTF-8,0");
    host.set_config("url_conf", "3,8080,5");
    const HttpdConfig config = get_httpd();
    EXPECT_EQ(config.enable, 7);
    EXPECT_EQ(config.port, 9090);
    EXPECT_STREQ(config.config_path, "/etc/lighttpd.conf");
    EXPECT_STREQ(config.pid_path, "/var/run/lighttpd.pid");
    EXPECT_STREQ(config.upload_dir, "/mnt/HDD1/.httpupload");
    EXPECT_EQ(config.spare, 0);
    EXPECT_EQ(config.url_enable, 3);
    EXPECT_EQ(config.url_auth, 5);
    EXPECT_EQ(config.url_port, 8080);
    EXPECT_STREQ(config.realm, "nalVEX");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Web, ServersRecordWithoutRecords)
{
    const HttpdConfig config = get_httpd();
    EXPECT_EQ(config.enable, 0);
    EXPECT_EQ(config.port, 9000);
    EXPECT_EQ(config.url_enable, 0);
    EXPECT_EQ(config.url_auth, 0);
    EXPECT_EQ(config.url_port, 8000);
    EXPECT_EQ(config.spare, 0);
    EXPECT_STREQ(config.realm, "nalVEX");
}

TEST_F(Web, PortMinus1AloneSwitchesTheRemoteServerOff)
{
    host.set_config("ftp_conf", "1,21,-1,UTF-8,0");
    EXPECT_EQ(get_httpd().enable, 0);
    EXPECT_EQ(get_httpd().port, -1);
    for (const char *port : {"0", "-2", "1", "65536"}) {
        host.set_config("ftp_conf", std::string("1,21,") + port + ",UTF-8,0");
        EXPECT_EQ(get_httpd().enable, 1) << port;
    }
    host.set_config("ftp_conf", "1,-1,9000,UTF-8,0");
    EXPECT_EQ(get_httpd().enable, 1);
}

// ---- the password file

TEST_F(Web, UserCreatesThePasswordFile)
{
    EXPECT_EQ(add_user("alice", "secret"), "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' 'alice' 'secret' -> 0\n");
}

TEST_F(Web, UserIsAddedToThePasswordFile)
{
    sandbox.put_file("/etc/lighttpd.user", "");
    for (const int yes : {1, 2, -1, INT_MIN}) {
        host.yes = yes;
        EXPECT_EQ(add_user("alice", "secret"),
                  "run /sbin/htdigest  /etc/lighttpd.user 'nalVEX' 'alice' 'secret' -> 0\n")
            << yes;
    }
    EXPECT_TRUE(exists("/etc/lighttpd.user"));
}

TEST_F(Web, EmptyUserIsAddedToo)
{
    EXPECT_EQ(add_user("", ""), "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' '' '' -> 0\n");
}

TEST_F(Web, RealmIsTheRecords)
{
    EXPECT_EQ(add_user("a", "b", "My Realm"), "run /sbin/htdigest -c /etc/lighttpd.user 'My Realm' 'a' 'b' -> 0\n");
    EXPECT_EQ(add_user("a", "b", std::string(63, 'r')),
              "run /sbin/htdigest -c /etc/lighttpd.user '" + std::string(63, 'r') + "' 'a' 'b' -> 0\n");
}

TEST_F(Web, NameIsCutAt63CharactersAndPasswordAt127)
{
    const std::string start = "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' '";
    const std::string expected = start + std::string(63, 'n') + "' '" + std::string(127, 'p') + "' -> 0\n";
    EXPECT_EQ(add_user(std::string(63, 'n'), std::string(127, 'p')), expected);
    EXPECT_EQ(add_user(std::string(64, 'n'), std::string(128, 'p')), expected);
    EXPECT_EQ(add_user(std::string(127, 'n'), std::string(383, 'p')), expected);
}

TEST_F(Web, NameAndPasswordAreQuotedWhole)
{
    EXPECT_EQ(add_user("o'neil", "$(x)`y`\"%s%n"),
              "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' 'o'\\''neil' '$(x)`y`\"%s%n' -> 0\n");
    std::string name;
    for (int i = 0; i < 63; ++i)
        name += "'\\''";
    std::string password;
    for (int i = 0; i < 127; ++i)
        password += "'\\''";
    EXPECT_EQ(add_user(std::string(127, '\''), std::string(383, '\'')),
              "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' '" + name + "' '" + password + "' -> 0\n");
}

TEST_F(Web, UsersRecordStaysAsItIs)
{
    NasUser user = make_user("o'neil", "p'w");
    const HttpdConfig config = make_httpd("nalVEX");
    EXPECT_EQ(host.call(add_httpd_digest_user, static_cast<const NasUser *>(&user), &config), 0);
    EXPECT_STREQ(user.id, "o'neil");
    EXPECT_STREQ(user.password, "p'w");
}

TEST_F(Web, PasswordToolMayFail)
{
    host.on_command_prefix("/sbin/htdigest", {-1});
    EXPECT_EQ(add_user("a", "b"), "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' 'a' 'b' -> failed\n");
}

TEST_F(Web, UserIsAddedWithTheServersRecord)
{
    const NasUser user = make_user("alice", "se'cret");
    EXPECT_EQ(host.call(add_httpd_user, &user), 0);
    EXPECT_EQ(host.transcript(), "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' 'alice' 'se'\\''cret' -> 0\n");
}

// ---- processes

TEST_F(Web, ProcessIsThereWhenItCanBeSignalled)
{
    host.add_process({.name = "lighttpd", .pid = 1234});
    EXPECT_EQ(host.call(check_pid, 1234), 1);
    EXPECT_EQ(host.call(check_pid, 1235), 0);
    EXPECT_EQ(host.transcript(), "kill 1234 0\n"
                                 "kill 1235 0 -> failed\n");
    EXPECT_EQ(host.processes.size(), 1U);
}

TEST_F(Web, ServerRunsWhenItsPidFileSaysSo)
{
    host.add_process({.name = "lighttpd", .pid = 1234});
    sandbox.put_file("/var/run/web.pid.8080", "1234\n");
    sandbox.put_file("/var/run/web.pid.8081", "1235\n");
    EXPECT_EQ(check_process(8080), 1);
    EXPECT_EQ(check_process(8081), 0);
    EXPECT_EQ(host.transcript(), "kill 1234 0\n"
                                 "kill 1235 0 -> failed\n");
}

TEST_F(Web, ServerWithoutPidDoesNotRun)
{
    host.add_process({.name = "lighttpd", .pid = 1234});
    sandbox.put_file("/var/run/web.pid", "1234\n");
    sandbox.put_file("/var/run/web.pid.1", "0\n");
    sandbox.put_file("/var/run/web.pid.2", "");
    sandbox.put_file("/var/run/web.pid.3", "lighttpd\n");
    for (const int port : {0, 1, 2, 3, 8080})
        EXPECT_EQ(check_process(port), 0) << port;
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Web, AnyPidButZeroIsLookedFor)
{
    sandbox.put_file("/var/run/web.pid.8080", "-1234\n");
    EXPECT_EQ(check_process(8080), 0);
    EXPECT_EQ(host.transcript(), "kill -1234 0 -> failed\n");
}

TEST_F(Web, AnyFlagButZeroSwitchesTheServersOn)
{
    set_up_service();
    host.set_config("ftp_conf", "-1,21,9090,UTF-8,0");
    host.set_config("url_conf", "-1,8080,0");
    run();
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd_kelsto -f /etc/lighttpd.conf.9090"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd -f /etc/lighttpd.conf.8080"), 1);
    EXPECT_EQ(host.count_lines("log "), 1);
    EXPECT_NE(read_file("/etc/lighttpd.conf.8080").find("dir-listing.activate"), std::string::npos);
    host.set_config("url_conf", "0,8080,0");
    run();
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd_kelsto -f /etc/lighttpd.conf.9090"), 1);
    host.set_config("url_conf", "-1,8080,0");
    host.add_process({.name = "lighttpd"});
    run();
    EXPECT_EQ(host.count_lines("log 1 @{107}"), 0);
}

TEST_F(Web, PidFilesPathMayBeLong)
{
    host.add_process({.name = "lighttpd", .pid = 1234});
    const std::string path = "/var/run/" + std::string(54, 'p');
    sandbox.put_file(path + ".-2147483648", "1234");
    const HttpdConfig config = make_httpd("", path);
    EXPECT_EQ(host.call(check_httpd_process, &config, INT_MIN), 1);
}

// ---- the hardware address

TEST_F(Web, PostfixIsTheLastThreeOctets)
{
    host.network.hwaddr["eth1"] = "00:11:22:aB:0c:4D";
    host.network.hwaddr["eth0"] = "ff:ff:ff:ff:ff:ff";
    const GuardedBuffer text(7);
    EXPECT_EQ(host.call(get_mac_postfix, text.data()), 1);
    EXPECT_STREQ(text.data(), "AB0C4D");
    host.network.hwaddr["eth1"] = "ff:ff:ff:00:00:0f";
    EXPECT_EQ(host.call(get_mac_postfix, text.data()), 1);
    EXPECT_STREQ(text.data(), "00000F");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Web, PostfixOfAnUnknownAddressIsATextOfItsLength)
{
    const GuardedBuffer text(7);
    EXPECT_EQ(host.call(get_mac_postfix, text.data()), 1);
    EXPECT_EQ(strnlen(text.data(), 7), 6U);
}

// ---- the callback (whole runs are golden cases)

TEST_F(Web, StartIsLoggedForAnOriginThatIsNotRemoteAccess)
{
    set_up_service();
    for (const char *origin : {"url", "", "kelsto", "url_kelst", "URL_KELSTO", "url_ kelsto"}) {
        run(ordinary, GuardedText(origin));
        EXPECT_EQ(host.count_lines("log 1 @{106} @{104}"), 1) << origin;
        EXPECT_EQ(host.count_lines("log "), 1) << origin;
    }
    for (const char *origin : {"url_kelsto", "url_kelsto2", "an url_kelsto", "url_url_kelsto"}) {
        run(ordinary, GuardedText(origin));
        EXPECT_EQ(host.count_lines("log "), 0) << origin;
    }
    run(ordinary, no_origin);
    EXPECT_EQ(host.count_lines("log "), 0);
}

TEST_F(Web, StartIsLoggedOnlyWhenTheServiceIsOn)
{
    set_up_service("1,21,9000,UTF-8,0", "0,8000,0");
    run();
    EXPECT_EQ(host.count_lines("log "), 0);
    set_up_service("1,21,9000,UTF-8,0", "-1,9000,0");
    run();
    EXPECT_EQ(host.lines().back(), "log 1 @{106} @{104}");
}

TEST_F(Web, ModesAreExactWords)
{
    set_up_service("0,21,9000,UTF-8,0");
    for (const char *mode : {"", "Forced", "forced ", "force", "NOMOUNT", "nomount,", "register"}) {
        run(GuardedText(mode));
        EXPECT_EQ(host.count_lines("run /sbin/lighttpd_kelsto"), 0) << mode;
        EXPECT_EQ(host.count_lines("run /sbin/lighttpd -f /etc/lighttpd.conf.8000 -m /usr/lib -> 0"), 1) << mode;
    }
    run(GuardedText("forced"));
    EXPECT_EQ(host.lines().back(), "run /sbin/lighttpd_kelsto -f /etc/lighttpd.conf.9000 -m /usr/lib -> 0");
    run(GuardedText("nomount"));
    EXPECT_EQ(host.lines().back(), "upnp upnp:service,D,tcp,8000,0,null");
}

TEST_F(Web, ForcedRunLogsNothing)
{
    for (const char *url : {"1,8000,0", "0,8000,0"}) {
        set_up_service("0,21,9000,UTF-8,0", url);
        host.add_process({"lighttpd"});
        run("forced");
        EXPECT_EQ(host.count_lines("log "), 0) << url;
    }
}

TEST_F(Web, BothReasonsToStopAreLogged)
{
    set_up_service("1,21,9000,UTF-8,0", "0,8000,0");
    host.add_process({"lighttpd"});
    run("nomount");
    EXPECT_EQ(host.count_lines("log 1 @{107} @{104}"), 2);
    set_up_service("0,21,9000,UTF-8,0", "0,8000,0");
    host.add_process({"lighttpd"});
    run("nomount");
    EXPECT_EQ(host.count_lines("log 1 @{107} @{104}"), 1);
}

TEST_F(Web, UnforwardedPortIsWithdrawnWhateverItIs)
{
    for (const char *url : {"0,8080,0", "1,8080,0", "0,8080,1"}) {
        set_up_service("1,21,8080,UTF-8,0", url);
        run();
        EXPECT_EQ(host.count_lines("upnp upnp:service,D,tcp,8080,0,null"), 1) << url;
        EXPECT_EQ(host.count_lines("upnp upnp:service,A"), 0) << url;
    }
}

TEST_F(Web, LinksFollowTheFtpUsers)
{
    set_up_service();
    put_ftp_user(0, "rita");
    put_ftp_user(1, "olaf", "ro");
    put_ftp_user(2, "dora", "disable");
    put_ftp_user(3, "\xc3\xbcrs");
    put_ftp_user(4, "fred");
    host.config.values.erase("nas_user_system_4.ftp");
    EXPECT_EQ(links(), (std::vector<std::string>{"rita", "olaf", "dora", "\xc3\xbcrs", "fred"}));
    host.config.values.erase("nas_user_system_2");
    EXPECT_EQ(links(), (std::vector<std::string>{"rita", "olaf"}));
    host.config.values.erase("nas_user_system_0");
    EXPECT_EQ(links(), std::vector<std::string>{});
}

TEST_F(Web, LinksAreQuotedAndCut)
{
    set_up_service();
    put_ftp_user(0, std::string(64, 'n'));
    put_ftp_user(1, "o'neil $(x) %s%n");
    put_ftp_user(2, std::string(63, '\''));
    std::string quoted;
    for (int i = 0; i < 63; ++i)
        quoted += "'\\''";
    EXPECT_EQ(links(), (std::vector<std::string>{std::string(63, 'n'), "o'\\''neil $(x) %s%n", quoted}));
}

TEST_F(Web, NameThatLeadsElsewhereGetsNoLink)
{
    set_up_service();
    put_ftp_user(0, "rita");
    put_ftp_user(1, "../../etc/x");
    put_ftp_user(2, "/");
    put_ftp_user(3, "a/");
    put_ftp_user(4, "fred");
    EXPECT_EQ(links(), (std::vector<std::string>{"rita", "fred"}));
    put_ftp_user(1, ".");
    put_ftp_user(2, "..");
    put_ftp_user(3, "...");
    EXPECT_EQ(links(), (std::vector<std::string>{"rita", "...", "fred"}));
}

TEST_F(Web, FirstFiveFtpUsersGetLinks)
{
    set_up_service();
    for (int slot = 0; slot < 6; ++slot)
        put_ftp_user(slot, "user" + std::to_string(slot));
    EXPECT_EQ(links(), (std::vector<std::string>{"user0", "user1", "user2", "user3", "user4"}));
}

TEST_F(Web, FtpUserWithoutPasswordFreesTheSlot)
{
    set_up_service();
    put_ftp_user(0, "rita");
    put_ftp_user(2, "dora");
    host.set_config("nas_user_system_1", "olaf");
    EXPECT_EQ(links(), std::vector<std::string>{"rita"});
}

TEST_F(Web, UserOfTheServiceIsTheOneInItsFirstSlot)
{
    set_up_service();
    host.config.values.erase("nas_user_url");
    host.set_config("nas_user_url_0", "slot0,pw,1");
    host.set_config("nas_user_url_1", "slot1,pw,1");
    host.set_config("nas_user_system_0", "system,pw");
    run();
    EXPECT_EQ(host.count_lines("run /sbin/htdigest"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' '' '' -> 0"), 1);
}

TEST_F(Web, NameOfTheRouterIsWritten)
{
    set_up_service();
    run("nomount");
    EXPECT_EQ(read_file("/tmp/webroot/kelsto.html"), "nalVEX_NAS-AB3C4D");
}

TEST_F(Web, FilesAreReplacedAndReadable)
{
    set_up_service();
    sandbox.put_file("/etc/lighttpd.conf.9000", std::string(20000, 'x'), 0600);
    run();
    const std::string text = read_file("/etc/lighttpd.conf.9000");
    EXPECT_TRUE(text.starts_with("var.server_root = \"/tmp/webroot\"\nserver.port = 9000\n"));
    EXPECT_TRUE(text.ends_with("cgi.assign = (  \".cgi\" => \"\" )\ninclude \"mime.conf\"\n"));
    EXPECT_EQ(mode_of("/etc/lighttpd.conf.9000"), 0644U);
    EXPECT_EQ(mode_of("/etc/lighttpd.conf.8000"), 0644U);
}

TEST_F(Web, LongestUserStandsInTheFileWhole)
{
    set_up_service("1,21,9000,UTF-8,0", "1,8000,1");
    host.set_config("nas_user_url", std::string(127, 'u') + ",pw");
    run();
    EXPECT_NE(read_file("/etc/lighttpd.conf.8000").find("\"user=" + std::string(127, 'u') + "|\"\n),\n)\n"),
              std::string::npos);
}

TEST_F(Web, AnyFlagButZeroAsksForUsers)
{
    for (const char *flag : {"1", "2", "-1", "0"}) {
        set_up_service("1,21,9000,UTF-8,0", std::string("1,8000,") + flag);
        run();
        const bool asks = read_file("/etc/lighttpd.conf.8000").find("auth.debug=0\n") != std::string::npos;
        EXPECT_EQ(asks, flag != std::string("0")) << flag;
        EXPECT_EQ(read_file("/etc/lighttpd.conf.9000").find("auth.debug"), std::string::npos) << flag;
    }
}

TEST_F(Web, LineFeedEndsTheUserInTheFileAlone)
{
    set_up_service("1,21,9000,UTF-8,0", "1,8000,1");
    host.set_config("nas_user_url", "alice\nserver.port = 1,pw,1");
    run();
    EXPECT_NE(read_file("/etc/lighttpd.conf.8000").find("\"require\" => \"user=alice|\"\n),\n)\ninclude"),
              std::string::npos);
    EXPECT_EQ(
        host.count_lines("run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' 'alice\xe2\x90\x8aserver.port = 1' 'pw'"),
        1);
}

TEST_F(Web, NamesOtherCharactersStandInTheFileAsTheyAre)
{
    set_up_service("1,21,9000,UTF-8,0", "1,8000,1");
    for (const char *name : {"a b\tc", "a|b", "\"a\"", "\\a\\b", "%s%n%", "$(x)`y`", "\xff\xc3"}) {
        host.set_config("nas_user_url", std::string(name) + ",pw,1");
        run();
        EXPECT_NE(read_file("/etc/lighttpd.conf.8000").find(std::string("\"require\" => \"user=") + name + "|\"\n),\n"),
                  std::string::npos)
            << name;
    }
}

TEST_F(Web, NameThatEndsInABackslashIsTheSameInTheFileAndInThePasswordFile)
{
    set_up_service("1,21,9000,UTF-8,0", "1,8000,1");
    host.set_config("nas_user_url", "bob\\,pw,1");
    run();
    EXPECT_EQ(host.count_lines("run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' 'bob\\' 'pw' -> 0"), 1);
    EXPECT_NE(read_file("/etc/lighttpd.conf.8000").find("\"require\" => \"user=bob\\|\"\n"), std::string::npos);
}

TEST_F(Web, ServersAreStartedWithoutMemoryForTheirFiles)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail here";
    set_up_service();
    const FailingMemory memory(0, 1);
    run();
    EXPECT_GE(memory.failures(), 2);
    EXPECT_EQ(host.count_lines("write /etc/lighttpd.conf"), 0);
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd_kelsto"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd -f"), 1);
    EXPECT_EQ(host.lines().back(), "log 1 @{106} @{104}");
}

TEST_F(Web, UserFileIsMadeAfreshInEveryMode)
{
    for (const char *mode : {ordinary, "forced", "nomount"}) {
        for (const char *url : {"0,8000,0", "1,8000,0", "1,8000,1"}) {
            set_up_service("0,21,9000,UTF-8,0", url);
            sandbox.put_file("/etc/lighttpd.user", "old");
            run(mode);
            EXPECT_EQ(host.lines()[1], "unlink /etc/lighttpd.user");
            EXPECT_EQ(host.lines()[2], "run /sbin/htdigest -c /etc/lighttpd.user 'nalVEX' 'alice' 'secret' -> 0");
        }
    }
}

TEST_F(Web, OnlyItsOwnServersAreEnded)
{
    set_up_service("0,21,9000,UTF-8,0", "0,8000,0");
    host.add_process({"lighttpd"});
    host.add_process({"lighttpd"});
    host.add_process({"lighttpd_kelsto"});
    host.add_process({"proftpd:"});
    run();
    ASSERT_EQ(host.processes.size(), 2U);
    EXPECT_EQ(host.processes[0].name, "lighttpd_kelsto");
    EXPECT_EQ(host.processes[1].name, "proftpd:");
    EXPECT_EQ(host.lines().back(), "log 1 @{107} @{104}");
}

TEST_F(Web, LongestPortsFitEverywhere)
{
    set_up_service("1,21,-2147483648,UTF-8,0", "1,2147483647,1");
    run();
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd_kelsto -f /etc/lighttpd.conf.-2147483648 -m /usr/lib -> 0"), 1);
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd -f /etc/lighttpd.conf.2147483647 -m /usr/lib -> 0"), 1);
    EXPECT_EQ(host.count_lines("upnp upnp:service,A,tcp,2147483647,2147483647,ns_url_2147483647"), 1);
    EXPECT_NE(read_file("/etc/lighttpd.conf.-2147483648").find("\"/var/run/lighttpd.pid.-2147483648\"\n"),
              std::string::npos);
}

} // namespace
