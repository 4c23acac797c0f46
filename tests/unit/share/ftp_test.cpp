#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/ftp.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using nas_test::FailingMemory;
using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::LibraryTest;
using nas_test::read_file;

constexpr const char *conf_path = "/etc/proftpd.conf";
constexpr const char *charset_path = "/tmp/webroot/ftp_charset";
constexpr const char *ordinary = nullptr;
constexpr const char *no_address = nullptr;

FtpdConfig make_config(int enable, int port, int web_port, const std::string &charset = "UTF-8", int option5 = 0)
{
    FtpdConfig config = {};
    config.enable = enable;
    config.port = port;
    config.web_port = web_port;
    charset.copy(config.charset, sizeof config.charset - 1);
    config.option5 = option5;
    return config;
}

struct Ftp : LibraryTest {
    // The record, read over garbage.
    FtpdConfig get(int expected_result)
    {
        FtpdConfig config;
        std::memset(&config, 0x5a, sizeof config);
        EXPECT_EQ(host.call(get_ftpd_config, &config), expected_result);
        return config;
    }

    void expect_record(const std::string &stored, const FtpdConfig &expected)
    {
        SCOPED_TRACE(stored);
        host.set_config("ftp_conf", stored);
        const FtpdConfig config = get(1);
        EXPECT_EQ(config.enable, expected.enable);
        EXPECT_EQ(config.port, expected.port);
        EXPECT_EQ(config.web_port, expected.web_port);
        EXPECT_STREQ(config.charset, expected.charset);
        EXPECT_EQ(config.option5, expected.option5);
        EXPECT_EQ(config.anonymous, 0);
    }

    int set(const FtpdConfig &config)
    {
        return host.call(set_ftpd_config, &config);
    }

    // The global section, checked to end where the result points.
    std::string print_global(const FtpdConfig &config)
    {
        const GuardedBuffer buffer(NAS_FTP_GLOBAL_SIZE);
        const char *const end = host.call(print_ftpconf_global, buffer.data(), &config);
        const std::string text = buffer.data();
        EXPECT_EQ(end, buffer.data() + text.size());
        return text;
    }

    // The lines that DenyUser begins in the global section.
    std::string denied_in_global()
    {
        const std::string text = print_global(make_config(1, 21, 9000));
        const std::size_t begin = text.find("<Limit LOGIN>\n\n");
        const std::size_t end = text.find("</Limit>\n\n", begin);
        EXPECT_NE(begin, std::string::npos);
        EXPECT_NE(end, std::string::npos);
        return text.substr(begin + 15, end - begin - 15);
    }

    void put_user(int slot, const std::string &id, const std::string &permission, const std::string &folder = "")
    {
        const std::string key = "nas_user_system_" + std::to_string(slot);
        host.set_config(key, id + ",pw");
        host.set_config(key + ".ftp", permission);
        host.set_config(key + ".ftp.folder", folder);
    }

    void put_samba_user(int slot, const std::string &id)
    {
        host.set_config(slot == 0 ? "nas_user_samba" : "nas_user_samba_" + std::to_string(slot), id + ",pw,1");
    }

    std::string generate(const char *mode = ordinary)
    {
        EXPECT_EQ(host.call(ftp_callback, mode), 0);
        return read_file(conf_path);
    }

    void put_folders(int count)
    {
        for (int i = 1; i <= count; ++i)
            sandbox.put_dir("/mnt/Disk1/Folder " + std::to_string(i));
    }

    void put_five_users()
    {
        put_user(0, "rita", "rw");
        put_user(1, "olaf", "ro");
        put_user(2, "dora", "disable");
        put_user(3, "dirk", "rw", "Disk1");
        put_user(4, "fred", "ro", "Disk1:Folder 1");
        for (int slot = 0; slot < 5; ++slot)
            put_samba_user(slot, "samba" + std::to_string(slot));
    }
};

// ---- the record

TEST_F(Ftp, RecordIsRead)
{
    expect_record("1,2121,8080,EUC-KR,7", make_config(1, 2121, 8080, "EUC-KR", 7));
    expect_record("0,21,9000,AUTO,0", make_config(0, 21, 9000, "AUTO"));
    expect_record("-1,0,0,x y,-7", make_config(-1, 0, 0, "x y", -7));
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Ftp, WithoutRecordTheDefaultsAreGivenAndAnonymousStays)
{
    FtpdConfig config;
    std::memset(&config, 0x5a, sizeof config);
    config.anonymous = 1;
    EXPECT_EQ(host.call(get_ftpd_config, &config), 0);
    EXPECT_EQ(config.enable, 0);
    EXPECT_EQ(config.port, 21);
    EXPECT_EQ(config.web_port, 9000);
    EXPECT_STREQ(config.charset, "UTF-8");
    EXPECT_EQ(config.option5, 0);
    EXPECT_EQ(config.anonymous, 1);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Ftp, MissingFieldsHaveTheirDefaults)
{
    expect_record("", make_config(0, 21, 9000, "EUC-KR"));
    expect_record("1", make_config(1, 21, 9000, "EUC-KR"));
    expect_record("1,2121", make_config(1, 2121, 9000, "EUC-KR"));
    expect_record("1,2121,8080", make_config(1, 2121, 8080, "EUC-KR"));
    expect_record("1,2121,8080,AUTO", make_config(1, 2121, 8080, "AUTO"));
}

TEST_F(Ftp, EmptyFieldsKeepTheirPlaceAndCountAsMissing)
{
    expect_record(",,,,", make_config(0, 21, 9000, "EUC-KR"));
    expect_record(",2121", make_config(0, 2121, 9000, "EUC-KR"));
    expect_record("1,,8080,AUTO,3", make_config(1, 21, 8080, "AUTO", 3));
    expect_record("1,2121,,AUTO,3", make_config(1, 2121, 9000, "AUTO", 3));
    expect_record("1,2121,8080,,3", make_config(1, 2121, 8080, "EUC-KR", 3));
}

TEST_F(Ftp, MoreFieldsAreNotRead)
{
    expect_record("1,21,9000,UTF-8,5,1,1,1", make_config(1, 21, 9000, "UTF-8", 5));
}

TEST_F(Ftp, CharsetIsCutAt64Characters)
{
    expect_record("1,21,9000," + std::string(64, 'c') + ",3", make_config(1, 21, 9000, std::string(64, 'c'), 3));
    expect_record("1,21,9000," + std::string(65, 'c') + ",3", make_config(1, 21, 9000, std::string(64, 'c'), 3));
    expect_record("1,21,9000," + std::string(480, 'c') + ",3", make_config(1, 21, 9000, std::string(64, 'c'), 3));
}

TEST_F(Ftp, RecordCountsUpToIts511thCharacter)
{
    const std::string start = "1,2121,8080,UTF-8,";
    expect_record(start + std::string(511 - start.size(), '0') + "7", make_config(1, 2121, 8080));
    expect_record(start + std::string(510 - start.size(), '0') + "77", make_config(1, 2121, 8080, "UTF-8", 7));
    expect_record("1," + std::string(1021, '9'), make_config(1, 2147483647, 9000, "EUC-KR"));
}

// ---- storing it

TEST_F(Ftp, RecordIsStored)
{
    sandbox.put_dir("/tmp/webroot");
    EXPECT_EQ(set(make_config(1, 21, 9000, "EUC-KR", -3)), 0);
    EXPECT_EQ(host.transcript(), "set ftp_conf = 1,21,9000,EUC-KR,-3\n"
                                 "write /tmp/webroot/ftp_charset\n");
    EXPECT_EQ(read_file(charset_path), "EUC-KR");
    EXPECT_EQ(set(make_config(0, 21, 8080, "AUTO")), 0);
    EXPECT_EQ(read_file(charset_path), "UTF-8");
    EXPECT_EQ(set(make_config(0, 21, 8080, "auto")), 0);
    EXPECT_EQ(read_file(charset_path), "auto");
    EXPECT_EQ(*host.config.look_up("ftp_conf"), "0,21,8080,auto,0");
    EXPECT_EQ(set(make_config(0, 21, 8080, "ASCII")), 0);
    EXPECT_EQ(read_file(charset_path), "ASCII");
}

TEST_F(Ftp, AnonymousIsNotStored)
{
    FtpdConfig config = make_config(1, 21, 9000);
    config.anonymous = 1;
    EXPECT_EQ(set(config), 0);
    EXPECT_EQ(*host.config.look_up("ftp_conf"), "1,21,9000,UTF-8,0");
}

TEST_F(Ftp, LongestValuesAreStoredWhole)
{
    EXPECT_EQ(set(make_config(-2147483647, -2147483647, 2147483647, std::string(64, '%'), 2147483647)), 0);
    EXPECT_EQ(*host.config.look_up("ftp_conf"),
              "-2147483647,-2147483647,2147483647," + std::string(64, '%') + ",2147483647");
}

TEST_F(Ftp, NewPortTakesThePlaceOfTheOldOne)
{
    host.set_config("ftp_conf", "1,2121,9000,UTF-8,0");
    host.network.ftp_private_ports = {990, 2121, 2121, 0, 0, 0};
    host.network.next_ftp_private_port = 3;
    EXPECT_EQ(set(make_config(1, 2222, 9000)), 0);
    EXPECT_EQ(host.transcript(), "ftp-private-ports 990 0 2121 2222 0 0\n"
                                 "set ftp_conf = 1,2222,9000,UTF-8,0\n"
                                 "write /tmp/webroot/ftp_charset -> failed\n");
}

TEST_F(Ftp, Port21NeverEntersTheList)
{
    host.set_config("ftp_conf", "1,2121,9000,UTF-8,0");
    host.network.ftp_private_ports = {2121, 990, 0, 0, 0, 0};
    host.network.next_ftp_private_port = 2;
    EXPECT_EQ(set(make_config(1, 21, 9000)), 0);
    EXPECT_EQ(host.lines()[0], "ftp-private-ports 0 990 0 0 0 0");
}

TEST_F(Ftp, FirstOtherPortEntersTheList)
{
    host.network.ftp_private_ports = {990, 991, 0, 0, 0, 0};
    host.network.next_ftp_private_port = 2;
    EXPECT_EQ(set(make_config(0, 2121, 9000)), 0);
    EXPECT_EQ(host.lines()[0], "ftp-private-ports 990 991 2121 0 0 0");
}

TEST_F(Ftp, FirstPlaceOfTheListIsTakenWhenItIsFree)
{
    host.network.ftp_private_ports = {0, 0, 0, 0, 0, 0};
    host.network.next_ftp_private_port = 0;
    EXPECT_EQ(set(make_config(0, 2121, 9000)), 0);
    EXPECT_EQ(host.lines()[0], "ftp-private-ports 2121 0 0 0 0 0");
}

TEST_F(Ftp, PortsOnBothSidesOf21EnterTheList)
{
    for (const int port : {20, 22}) {
        host.network.ftp_private_ports = {990, 0, 0, 0, 0, 0};
        host.network.next_ftp_private_port = 1;
        host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
        host.forget();
        EXPECT_EQ(set(make_config(1, port, 9000)), 0);
        EXPECT_EQ(host.lines()[0], "ftp-private-ports 990 " + std::to_string(port) + " 0 0 0 0");
    }
}

TEST_F(Ftp, Port0TakesNoOtherPortsPlace)
{
    host.set_config("ftp_conf", "1,2121,9000,UTF-8,0");
    host.network.ftp_private_ports = {1, 2, 3, 4, 5, 2121};
    host.network.next_ftp_private_port = 2;
    EXPECT_EQ(set(make_config(1, 0, 9000)), 0);
    EXPECT_EQ(host.lines()[0], "ftp-private-ports 1 2 3 4 5 0");
}

TEST_F(Ftp, SamePortLeavesTheListAlone)
{
    host.set_config("ftp_conf", "0,2121,9000,UTF-8,0");
    host.network.ftp_private_ports = {2121, 0, 0, 0, 0, 0};
    EXPECT_EQ(set(make_config(1, 2121, 8080)), 0);
    EXPECT_EQ(host.count_lines("ftp-private-ports"), 0);
    EXPECT_EQ(host.count_lines("set ftp_conf"), 1);
}

TEST_F(Ftp, PortThatIsInTheListIsNotPutThereAgain)
{
    // So a run left it that was cut off between the list and the record.
    host.set_config("ftp_conf", "1,2121,9000,UTF-8,0");
    host.network.ftp_private_ports = {0, 2222, 990, 0, 0, 0};
    host.network.next_ftp_private_port = 0;
    EXPECT_EQ(set(make_config(1, 2222, 9000)), 0);
    EXPECT_EQ(host.lines()[0], "ftp-private-ports 0 2222 990 0 0 0");
}

TEST_F(Ftp, PortIsPutInsideTheListOnly)
{
    for (const int index : {-1, 6, 7, 1000, -2147483647, 2147483647}) {
        SCOPED_TRACE(index);
        host.set_config("ftp_conf", "1,2121,9000,UTF-8,0");
        host.network.ftp_private_ports = {1, 2, 3, 4, 5, 2121};
        host.network.next_ftp_private_port = index;
        host.forget();
        EXPECT_EQ(set(make_config(1, 2222, 9000)), 0);
        EXPECT_EQ(host.lines()[0], "ftp-private-ports 1 2 3 4 5 0");
    }
    host.set_config("ftp_conf", "1,2121,9000,UTF-8,0");
    host.network.ftp_private_ports = {1, 2, 3, 4, 5, 2121};
    host.network.next_ftp_private_port = 5;
    host.forget();
    EXPECT_EQ(set(make_config(1, 2222, 9000)), 0);
    EXPECT_EQ(host.lines()[0], "ftp-private-ports 1 2 3 4 5 2222");
}

// ---- the global section

constexpr const char *global_behind_the_name = "ServerType standalone\n"
                                               "DefaultServer on\n"
                                               "PidFile /var/run/proftpd.pid\n"
                                               "DefaultRoot /tmp/mnt\n"
                                               "UseSendfile on\n"
                                               "UseEncoding UTF-8 UTF-8\n"
                                               "TimeoutIdle 300\n"
                                               "TimeoutNoTransfer 0\n"
                                               "AllowStoreRestart on\n"
                                               "AllowRetrieveRestart on\n"
                                               "DelayTable /var/run/proftpd.delay\n"
                                               "UseReverseDNS off\n"
                                               "IdentLookups  off\n"
                                               "SystemLog /var/log/messages\n"
                                               "TransferLog  /var/log/xferlog\n"
                                               "TransferLogSize  32\n"
                                               "WtmpLog off\n"
                                               "Port 2121\n"
                                               "Umask 000 000\n"
                                               "MaxInstances 500\n"
                                               "User nobody\n"
                                               "Group nobody\n"
                                               "RequireValidShell off\n"
                                               "receivefile on\n"
                                               "ScoreboardFile /var/log/proftpd.pid\n"
                                               "<IfModule mod_tls.c>\n"
                                               "TLSEngine off\n"
                                               "TLSProtocol SSLv23\n"
                                               "TLSRequired ctrl\n"
                                               "TLSRSACertificateFile     /etc/proftpd/server-cert.pem\n"
                                               "TLSRSACertificateKeyFile  /etc/proftpd/server-key.pem\n"
                                               "TLSCACertificateFile      /etc/proftpd/cacert.pem\n"
                                               "TLSVerifyClient off\n"
                                               "</IfModule>\n"
                                               "<Limit LOGIN>\n"
                                               "\n"
                                               "DenyUser nobody\n"
                                               "</Limit>\n"
                                               "\n"
                                               "<Directory /*>\n"
                                               "AllowOverwrite on\n"
                                               "</Directory>\n"
                                               "\n"
                                               "<Directory /tmp/mnt/*>\n"
                                               "HideNoAccess on\n"
                                               "<Limit ALL>\n"
                                               "DenyAll\n"
                                               "</Limit>\n"
                                               "</Directory>\n"
                                               "\n";

TEST_F(Ftp, GlobalSectionIsWhole)
{
    host.device.product = "Router 7";
    host.network.hwaddr["eth1"] = "00:11:22:a3:B4:c5";
    host.network.hwaddr["eth0"] = "00:11:22:00:00:00";
    EXPECT_EQ(print_global(make_config(0, 2121, 0)),
              std::string("ServerName \"Router 7-a3B4c5\"\n") + global_behind_the_name);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Ftp, ProductIsAFormatOfAtMost127Characters)
{
    host.network.hwaddr["eth1"] = "00:11:22:33:44:55";
    host.device.product = "50%% off";
    EXPECT_TRUE(print_global(make_config(0, 21, 0)).starts_with("ServerName \"50% off-334455\"\n"));
    host.device.product = std::string(127, 'p');
    EXPECT_TRUE(print_global(make_config(0, 21, 0))
                    .starts_with("ServerName \"" + std::string(127, 'p') + "-334455\"\nServerType standalone\n"));
    host.device.product = "";
    EXPECT_TRUE(print_global(make_config(0, 21, 0)).starts_with("ServerName \"-334455\"\nServerType standalone\n"));
}

TEST_F(Ftp, UnknownHardwareAddressCountsAsZeros)
{
    host.device.product = "Router";
    const std::string expected = std::string("ServerName \"Router-000000\"\n") + global_behind_the_name;
    EXPECT_EQ(print_global(make_config(0, 2121, 0)), expected);
    host.network.hwaddr["eth1"] = "00:11:22:33:44:5"; // one character is missing
    EXPECT_EQ(print_global(make_config(0, 2121, 0)), expected);
}

TEST_F(Ftp, EncodingFollowsTheCharset)
{
    const std::pair<const char *, const char *> lines[] = {
        {"AUTO", "\nUseEncoding on\n"},           {"auto", "\nUseEncoding UTF-8 auto\n"},
        {"AUTO ", "\nUseEncoding UTF-8 AUTO \n"}, {"EUC-KR", "\nUseEncoding UTF-8 EUC-KR\n"},
        {"%s%n", "\nUseEncoding UTF-8 %s%n\n"},   {"", "\nUseEncoding UTF-8 \n"}};
    for (const auto &[charset, line] : lines) {
        const std::string text = print_global(make_config(1, 21, 9000, charset));
        EXPECT_NE(text.find(std::string("\nUseSendfile on") + line + "TimeoutIdle 300\n"), std::string::npos)
            << charset;
    }
}

TEST_F(Ftp, UsersOfSambaAloneMayNotLogIn)
{
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\n");
    put_samba_user(0, "anna");
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser anna,,,,\n");
    put_samba_user(2, "bert");
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser anna,,bert,,\n");
    put_user(3, "anna", "disable");
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser bert,,\n");
    put_user(4, "bert", "rw");
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\n");
    for (int slot = 0; slot < 5; ++slot)
        put_samba_user(slot, "user" + std::to_string(slot));
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser user0,user1,user2,user3,user4\n");
}

TEST_F(Ftp, NamesOfOneCharacterAreDenied)
{
    put_samba_user(4, "x"); // no free slot behind it
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser x\n");
    put_user(0, "y", "disable");
    EXPECT_TRUE(generate().ends_with("</Directory>\n\n<Limit LOGIN>\nDenyUser y\n</Limit>\n"));
    put_user(1, "z", "disable");
    EXPECT_TRUE(generate().ends_with("</Directory>\n\n<Limit LOGIN>\nDenyUser y,z\n</Limit>\n"));
    put_user(2, "x", "rw");
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\n");
}

TEST_F(Ftp, NamesBeyondAsciiAreTheSameOnBothSides)
{
    put_samba_user(0, "영희");
    put_samba_user(1, "Jürgen");
    put_user(3, "영희", "rw");
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser Jürgen,,,\n");
}

TEST_F(Ftp, SambaUserThatReadsAsAbsentIsAFreeSlot)
{
    host.set_config("nas_user_samba", "anna");
    put_samba_user(1, "bert");
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser bert,,,\n");
}

TEST_F(Ftp, LoginListHoldsWholeNamesOnly)
{
    std::string names;
    for (int slot = 0; slot < 5; ++slot) {
        const std::string name(127, static_cast<char>('a' + slot));
        put_samba_user(slot, name);
        if (slot < 4)
            names += (slot == 0 ? "" : ",") + name;
    }
    EXPECT_EQ(denied_in_global(), "DenyUser nobody\nDenyUser " + names + "\n");
}

TEST_F(Ftp, LoginListHoldsNoControlCharacter)
{
    put_samba_user(0, "anna\nAllowAll");
    put_samba_user(1, "bert");
    const std::string denied = denied_in_global();
    EXPECT_EQ(denied.find("AllowAll"), std::string::npos);
    EXPECT_NE(denied.find("bert"), std::string::npos);
    EXPECT_EQ(std::count(denied.begin(), denied.end(), '\n'), 2);
}

TEST_F(Ftp, LongestEverythingFitsTheGlobalSection)
{
    host.device.product = std::string(127, 'p');
    host.network.hwaddr["eth1"] = "00:11:22:33:44:55";
    for (int slot = 0; slot < 5; ++slot)
        put_samba_user(slot, std::string(127, static_cast<char>('a' + slot)));
    const std::string text = print_global(make_config(1, -2147483647, 9000, std::string(64, 'c')));
    EXPECT_TRUE(text.ends_with("DenyAll\n</Limit>\n</Directory>\n\n"));
    EXPECT_NE(text.find("\nPort -2147483647\n"), std::string::npos);
}

// ---- the chain

TEST_F(Ftp, PortsAreForwarded)
{
    const FtpdConfig config = make_config(1, 2121, 9000);
    EXPECT_EQ(host.call(configure_iptables_for_ftp, &config, "203.0.113.7", "192.168.1.1"), 1);
    EXPECT_EQ(host.transcript(),
              "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
              "run /sbin/iptables -t nat -A router_kelsto -d 203.0.113.7 -p tcp --dport 2121 -j DNAT "
              "--to-destination 192.168.1.1 -> 0\n"
              "run /sbin/iptables -t nat -A router_kelsto -d 203.0.113.7 -p tcp --dport 9000 -j DNAT "
              "--to-destination 192.168.1.1 -> 0\n");
}

TEST_F(Ftp, PortsThatAreZeroAreNotForwarded)
{
    const FtpdConfig without_port = make_config(7, 0, 9000);
    EXPECT_EQ(host.call(configure_iptables_for_ftp, &without_port, "203.0.113.7", "192.168.1.1"), 1);
    EXPECT_EQ(host.transcript(),
              "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
              "run /sbin/iptables -t nat -A router_kelsto -d 203.0.113.7 -p tcp --dport 9000 -j DNAT "
              "--to-destination 192.168.1.1 -> 0\n");
    host.forget();
    const FtpdConfig without_ports = make_config(1, 0, 0);
    EXPECT_EQ(host.call(configure_iptables_for_ftp, &without_ports, "203.0.113.7", "192.168.1.1"), 1);
    EXPECT_EQ(host.transcript(), "run /sbin/iptables -t nat -F router_kelsto -> 0\n");
}

TEST_F(Ftp, ChainIsLeftEmptyWhenOffOrWithoutAddress)
{
    const FtpdConfig off = make_config(0, 21, 9000);
    const FtpdConfig on = make_config(1, 21, 9000);
    EXPECT_EQ(host.call(configure_iptables_for_ftp, &off, "203.0.113.7", "192.168.1.1"), 0);
    EXPECT_EQ(host.call(configure_iptables_for_ftp, &on, "", "192.168.1.1"), 0);
    EXPECT_EQ(host.call(configure_iptables_for_ftp, &on, no_address, "192.168.1.1"), 0);
    EXPECT_EQ(host.transcript(), "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                 "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                 "run /sbin/iptables -t nat -F router_kelsto -> 0\n");
}

TEST_F(Ftp, AddressesAreReadNoFurtherThanTheirEnd)
{
    host.on_command_prefix("/sbin/iptables", {-1});
    const FtpdConfig config = make_config(1, 21, 0);
    const GuardedText wan("198.51.100.200");
    const GuardedText lan("192.168.100.254");
    EXPECT_EQ(
        host.call(configure_iptables_for_ftp, &config, static_cast<const char *>(wan), static_cast<const char *>(lan)),
        1);
    EXPECT_EQ(host.transcript(),
              "run /sbin/iptables -t nat -F router_kelsto -> failed\n"
              "run /sbin/iptables -t nat -A router_kelsto -d 198.51.100.200 -p tcp --dport 21 -j DNAT "
              "--to-destination 192.168.100.254 -> failed\n");
}

// ---- the callback's files (whole files and transcripts are golden cases)

TEST_F(Ftp, ListHoldsNamesOf511CharactersTogether)
{
    // 128 * 3 + 127 = 511
    std::string names;
    for (int slot = 0; slot < 4; ++slot) {
        const std::string name(127, static_cast<char>('a' + slot));
        put_user(slot, name, "rw");
        names += (slot == 0 ? "" : ",") + name;
    }
    sandbox.put_dir("/mnt/Disk1");
    EXPECT_NE(generate().find("\nAllowUser " + names + "\nAllowGroup OR\n"), std::string::npos);
}

TEST_F(Ftp, NameThatWouldMakeTheList512CharactersIsLeftOut)
{
    std::string names;
    for (int slot = 0; slot < 3; ++slot) {
        const std::string name(127, static_cast<char>('a' + slot));
        put_user(slot, name, "rw");
        names += name + ",";
    }
    sandbox.put_dir("/mnt/Disk1");
    put_user(4, "e", "rw");
    put_user(3, std::string(125, 'd'), "rw"); // 127 * 3 + 125 + 1 and four commas: 511
    EXPECT_NE(generate().find("\nAllowUser " + names + std::string(125, 'd') + ",e\nAllowGroup OR\n"),
              std::string::npos);
    put_user(3, std::string(126, 'd'), "rw");
    EXPECT_NE(generate().find("\nAllowUser " + names + std::string(126, 'd') + "\nAllowGroup OR\n"), std::string::npos);
}

TEST_F(Ftp, NameThatDoesNotFitIsLeftOutWhole)
{
    std::string names;
    for (int slot = 0; slot < 5; ++slot) {
        const std::string name(102, static_cast<char>('a' + slot));
        put_user(slot, name, "disable");
        if (slot < 4)
            names += (slot == 0 ? "" : ",") + name;
    }
    EXPECT_TRUE(generate().ends_with("</Directory>\n\n<Limit LOGIN>\nDenyUser " + names + "\n</Limit>\n"));
}

TEST_F(Ftp, NamesWithABackslashAreWrittenWhileThereAreAHundred)
{
    put_user(0, "rita", "rw");
    sandbox.put_dir("/mnt/Disk1/plain");
    for (int i = 1; i <= 100; ++i)
        sandbox.put_dir("/mnt/Disk1/F\\" + std::to_string(i));
    const std::string text = generate();
    for (int i = 1; i <= 100; ++i)
        EXPECT_NE(text.find("<Directory \"/tmp/mnt/Disk1/F\\" + std::to_string(i) + "\">\n"), std::string::npos) << i;
    EXPECT_EQ(host.count_lines("stderr: "), 0);
    sandbox.put_dir("/mnt/Disk1/F\\101");
    const std::string without = generate();
    EXPECT_EQ(without.find('\\'), std::string::npos);
    EXPECT_NE(without.find("<Directory \"/tmp/mnt/Disk1/plain\">\n"), std::string::npos);
    EXPECT_EQ(host.count_lines("stderr: Left out: a name in /tmp/mnt/Disk1 would break the configuration file"), 101);
}

TEST_F(Ftp, FoldersAreFoundWhileTheDisksPathHas127Characters)
{
    put_user(0, "rita", "rw");
    for (const std::size_t length : {118U, 119U}) { // behind "/tmp/mnt/"
        const std::string disk(length, 'D');
        sandbox.clear();
        sandbox.put_dir("/mnt/" + disk + "/Movies");
        const std::string text = generate();
        EXPECT_NE(text.find("<Directory \"/tmp/mnt/" + disk + "/*\">\n"), std::string::npos);
        for (const char *end : {"/Movies\">\n", "/Movies/*\">\n"})
            EXPECT_EQ(text.find("<Directory \"/tmp/mnt/" + disk + end) != std::string::npos, length == 118) << length;
    }
}

TEST_F(Ftp, RestrictionToASlashOpensNoFolder)
{
    put_user(0, "rita", "rw");
    put_user(1, "fred", "rw", "Disk1:/");
    put_folders(1);
    const std::string text = generate();
    EXPECT_NE(text.find("\nAllowUser rita,fred\nAllowGroup OR\n"), std::string::npos); // let into the disk
    EXPECT_EQ(text.find("fred", text.find("AllowGroup OR")), std::string::npos) << text;
}

TEST_F(Ftp, AnonymousAccountIsAlwaysRemoved)
{
    for (const char *record : {"1,21,9000,UTF-8,1", "1,21,9000,UTF-8,1,1,1"}) {
        host.set_config("ftp_conf", record);
        host.forget();
        generate();
        EXPECT_EQ(host.count_lines("run /bin/deluser anonymous > /dev/null 2>&1"), 1);
        EXPECT_EQ(host.count_lines("run /bin/echo"), 0);
    }
}

TEST_F(Ftp, AnyYesNamesTheFactorysHost)
{
    host.device.factory_test_mode = true;
    for (const int yes : {1, -1}) {
        host.yes = yes;
        host.forget();
        generate();
        EXPECT_EQ(host.lines()[0], "sethostname nalvex-factory-1");
    }
}

TEST_F(Ftp, NegativePortsAreNotTakenForNone)
{
    host.set_config("ftp_conf", "1,-2121,-9000,UTF-8,0");
    generate();
    for (const char *line : {"upnp upnp:service,D,tcp,-2121,0,null", "upnp upnp:service,D,tcp,-9000,0,null",
                             "upnp upnp:service,A,tcp,-9000,-9000,ns_http_-9000",
                             "upnp upnp:service,A,tcp,-2121,-2121,ns_kelsto_ftp_-2121"})
        EXPECT_EQ(host.count_lines(line), 1) << line;
}

TEST_F(Ftp, EveryRunGivesTheSameFile)
{
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    put_five_users();
    put_folders(3);
    const std::string first = generate();
    EXPECT_EQ(generate(), first);
    EXPECT_EQ(generate("nomount"), first);
    EXPECT_EQ(generate("forced"), first);
}

TEST_F(Ftp, StoreIsReadNoMoreOftenForMoreFolders)
{
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    put_five_users();
    put_folders(10);
    generate();
    const int reads = host.config.total_reads;
    EXPECT_LE(reads, 31);
    put_folders(400);
    host.forget();
    EXPECT_GT(generate().size(), 131072U);
    EXPECT_EQ(host.config.total_reads, reads);
    EXPECT_EQ(host.status.total_reads, 0);
    EXPECT_EQ(host.statfs_calls, 0);
}

// What opens Disk1 to some users, and what is in it to rita.
std::string first_sections(const std::string &users = "rita")
{
    return "<Directory \"/tmp/mnt/Disk1\">\nHideNoAccess on\n<Limit ALL>\nAllowUser " + users +
           "\nAllowGroup OR\n</Limit>\n"
           "</Directory>\n"
           "<Directory \"/tmp/mnt/Disk1/*\">\nHideNoAccess on\n<Limit ALL>\nDenyAll\n</Limit>\n"
           "<Limit DIRS READ WRITE>\nAllowUser rita\n</Limit>\n</Directory>\n";
}

std::string folder_sections(const std::string &name, const std::string &users = "rita")
{
    return "<Directory \"/tmp/mnt/Disk1/" + name +
           "\">\nHideNoAccess on\n<Limit ALL>\nDenyAll\n</Limit>\n"
           "<Limit DIRS READ>\nAllowUser " +
           users +
           "\n</Limit>\n</Directory>\n"
           "<Directory \"/tmp/mnt/Disk1/" +
           name +
           "/*\">\nHideNoAccess on\n<Limit ALL>\nDenyAll\n</Limit>\n"
           "<Limit DIRS READ WRITE>\nAllowUser " +
           users + "\n</Limit>\n</Directory>\n";
}

TEST_F(Ftp, RestrictionToAFolderOpensNoOther)
{
    put_user(0, "rita", "rw");
    put_user(1, "fred", "rw", "Disk1:x");
    put_user(2, "gina", "rw", "Disk1:#");
    for (const char *name : {"#", "x", "y"})
        sandbox.put_dir(std::string("/mnt/Disk1/") + name);
    const std::string text = generate();
    EXPECT_TRUE(text.ends_with(first_sections("rita,fred,gina") + folder_sections("#", "rita,gina") +
                               folder_sections("x", "rita,fred") + folder_sections("y")))
        << text;
}

TEST_F(Ftp, EachUserMayBeRestrictedToAnotherFolder)
{
    std::string expected;
    for (int slot = 0; slot < 5; ++slot) {
        const std::string user = "user" + std::to_string(slot), folder = "Folder " + std::to_string(slot);
        put_user(slot, user, "rw", "Disk1:" + folder);
        sandbox.put_dir("/mnt/Disk1/" + folder);
        expected += folder_sections(folder, user);
    }
    const std::string text = generate();
    EXPECT_TRUE(text.ends_with(expected)) << text;
}

TEST_F(Ftp, OneNameWithABackslashIsReadAsTheOneWithout)
{
    put_user(0, "rita", "rw");
    sandbox.put_dir("/mnt/Disk1/A");
    sandbox.put_dir("/mnt/Disk1/\\A");
    EXPECT_TRUE(generate().ends_with(first_sections() + folder_sections("A")));
    EXPECT_EQ(host.count_lines("stderr: Left out: a name in /tmp/mnt/Disk1 would break the configuration file"), 1);
}

TEST_F(Ftp, NamesBeyondAsciiAreComparedToTheirEnd)
{
    put_user(0, "rita", "rw");
    sandbox.put_dir("/mnt/Disk1/영\\a");
    sandbox.put_dir("/mnt/Disk1/영\\b");
    EXPECT_TRUE(generate().ends_with(first_sections() + folder_sections("영\\a") + folder_sections("영\\b")));
}

TEST_F(Ftp, FileIsWholeWhereverAPieceOfItEnds)
{
    host.network.hwaddr["eth1"] = "00:11:22:33:44:55";
    host.set_config("ftp_conf", "1,2121,9000,UTF-8,0");
    put_user(0, "rita", "rw");
    // The last folder's sections end at every length around 4,096.
    for (const std::size_t product : {0U, 1U})
        for (std::size_t length = 170; length <= 200; ++length) {
            const std::vector<std::string> names = {"A" + std::string(length - 1, 'a'), "B" + std::string(240, 'b'),
                                                    "C" + std::string(240, 'c'), "D" + std::string(240, 'd')};
            sandbox.clear();
            host.device.product = std::string(product, 'p');
            std::string expected =
                "ServerName \"" + host.device.product + "-334455\"\n" + global_behind_the_name + first_sections();
            for (const std::string &name : names) {
                sandbox.put_dir("/mnt/Disk1/" + name);
                expected += folder_sections(name);
            }
            ASSERT_EQ(generate(), expected) << product << " " << length;
        }
}

TEST_F(Ftp, WithoutMemoryForItTheOldFileStays)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    sandbox.put_file(conf_path, "old\n");
    const FailingMemory memory(0, 4096);
    EXPECT_EQ(generate(), "old\n");
    EXPECT_GE(memory.failures(), 1);
}

TEST_F(Ftp, WhateverMemoryFailsTheFileIsOldOrEndsBehindASection)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    put_user(0, "rita", "rw");
    put_user(1, "dora", "disable");
    const std::string denied = "<Limit LOGIN>\nDenyUser dora\n</Limit>\n";
    const std::string global = print_global(make_config(1, 21, 9000));
    std::string whole = global + first_sections();
    // What may come out: a part of the whole file that ends behind a section, or one without what could not be listed.
    std::vector<std::string> fine = {"old\n", global, whole, global + denied, whole + denied};
    for (int i = 1; i <= 100; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "F%03d", i);
        sandbox.put_dir(std::string("/mnt/Disk1/") + name);
        whole += folder_sections(name);
        fine.push_back(whole);
    }
    whole += denied;
    fine.push_back(whole);
    std::vector<std::size_t> sizes;
    for (int allocations = 0; sizes.empty() || sizes.back() != whole.size(); ++allocations) {
        ASSERT_LT(allocations, 1000);
        sandbox.put_file(conf_path, "old\n");
        host.forget();
        const FailingMemory memory(allocations, 1);
        const std::string text = generate();
        EXPECT_NE(std::find(fine.begin(), fine.end(), text), fine.end()) << allocations << ":\n" << text;
        EXPECT_EQ(host.lines().back(), "log 1 @{106} @{98}");
        if (sizes.empty() || sizes.back() != text.size())
            sizes.push_back(text.size());
    }
    EXPECT_EQ(sizes.front(), 4U); // the old file
}

TEST_F(Ftp, TextThatOutgrowsItsMemoryEndsBehindASection)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    put_user(0, "rita", "rw");
    put_user(1, "dora", "disable");
    std::string whole = print_global(make_config(1, 21, 9000)) + first_sections();
    std::vector<std::string> fine;
    for (int i = 1; i <= 600; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "F%03d", i);
        sandbox.put_dir(std::string("/mnt/Disk1/") + name);
        whole += folder_sections(name);
        fine.push_back(whole);
    }
    for (const unsigned long size : {40000U, 65536U, 131072U}) { // nothing of that size can be had
        host.forget();
        const FailingMemory memory(0, size);
        const std::string text = generate();
        EXPECT_EQ(host.count_lines("stderr: Not written whole: /etc/proftpd.conf"), 1);
        EXPECT_GE(memory.failures(), 1);
        EXPECT_GT(text.size(), size / 4);
        EXPECT_LT(text.size(), size);
        EXPECT_NE(std::find(fine.begin(), fine.end(), text), fine.end()) << size;
    }
}

} // namespace
