#include "support/fixture.h"

#include "nas/exposure.h"
#include "nas/web.h"

#include <climits>
#include <string>

namespace
{

using nas_test::LibraryTest;

constexpr const char *no_address = nullptr;

struct Exposure : LibraryTest {
    // What is sent for a stored FTP record.
    std::string relay(const std::string &ftp_record)
    {
        host.set_config("ftp_conf", ftp_record);
        host.forget();
        host.call(nas_service_upnp_relay_init);
        return host.transcript();
    }

    void set_up_network()
    {
        host.network.wan_ip["wan1"] = "203.0.113.7";
        host.network.wan_ip["wan2"] = "203.0.113.8";
        host.network.address["br-lan"] = "192.168.1.1";
        host.network.address["eth1"] = "192.168.1.2";
    }

    void mount_disk()
    {
        sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    }
};

// ---- nas_service_upnp_relay_init

TEST_F(Exposure, RelayAnnouncesBothPortsOfFtp)
{
    EXPECT_EQ(relay("1,2121,8080,UTF-8,0"), "upnp upnp:service,A,tcp,2121,2121,ns_ftp_2121\n"
                                            "upnp upnp:service,A,tcp,8080,8080,ns_ftp_8080\n");
}

TEST_F(Exposure, RelayAnnouncesDefaultPorts)
{
    EXPECT_EQ(relay("1"), "upnp upnp:service,A,tcp,21,21,ns_ftp_21\n"
                          "upnp upnp:service,A,tcp,9000,9000,ns_ftp_9000\n");
}

TEST_F(Exposure, RelayStopsAtTheFirstPortZero)
{
    EXPECT_EQ(relay("1,2121,0,UTF-8,0"), "upnp upnp:service,A,tcp,2121,2121,ns_ftp_2121\n");
    EXPECT_EQ(relay("1,0,8080,UTF-8,0"), "");
    EXPECT_EQ(relay("1,0,0,UTF-8,0"), "");
}

TEST_F(Exposure, RelayAnnouncesNothingThatIsOff)
{
    EXPECT_EQ(relay("0,2121,8080,UTF-8,0"), "");
    host.config.values.clear();
    host.call(nas_service_upnp_relay_init);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Exposure, RelayWalksTheTableAndSkipsServicesWithoutPorts)
{
    mount_disk();
    set_up_media();
    host.set_config("samba_conf", "1,Router,HOME,0,0,1,1");
    host.set_config("entware_run", "1");
    EXPECT_EQ(relay("1,2121,8080,UTF-8,0"), "upnp upnp:service,A,tcp,2121,2121,ns_ftp_2121\n"
                                            "upnp upnp:service,A,tcp,8080,8080,ns_ftp_8080\n");
}

TEST_F(Exposure, RelayAnnouncesTheRemoteServicesInOrderOfTheTable)
{
    host.set_config("torrent_conf", "1,0,0,0,9091"); // no disk is needed
    host.set_config("nalvexcloud_conf", "1,2873,Disk1");
    host.set_config("rsync_conf", "1,1873,Disk1");
    host.set_config("url_conf", "1,8000,0");
    EXPECT_EQ(relay("1,2121,8080,UTF-8,0"), "upnp upnp:service,A,tcp,2121,2121,ns_ftp_2121\n"
                                            "upnp upnp:service,A,tcp,8080,8080,ns_ftp_8080\n"
                                            "upnp upnp:service,A,tcp,8000,8000,ns_url_8000\n"
                                            "upnp upnp:service,A,tcp,1873,1873,ns_rsync_1873\n"
                                            "upnp upnp:service,A,tcp,2873,2873,ns_nalvexcloud_2873\n"
                                            "upnp upnp:service,A,tcp,9091,9091,ns_torrent_9091\n");
    host.set_config("rsync_conf", "1,0,Disk1");
    host.set_config("url_conf", "0,8000,0");
    host.set_config("torrent_conf", "0,0,0,0,9091");
    EXPECT_EQ(relay("0,2121,8080,UTF-8,0"), "upnp upnp:service,A,tcp,2873,2873,ns_nalvexcloud_2873\n");
}

TEST_F(Exposure, RelayNeedsNoAddress)
{
    host.network.wan_ip.clear();
    EXPECT_EQ(relay("1,2147483647,1,UTF-8,0"), "upnp upnp:service,A,tcp,2147483647,2147483647,ns_ftp_2147483647\n"
                                               "upnp upnp:service,A,tcp,1,1,ns_ftp_1\n");
}

// ---- configure_iptables_for_nas

TEST_F(Exposure, BothChainsAreFilledForTheFirstWanAndTheBridge)
{
    set_up_network();
    host.set_config("ftp_conf", "1,2121,8080,UTF-8,0");
    EXPECT_EQ(host.call(configure_iptables_for_nas), 0);
    EXPECT_EQ(host.transcript(),
              "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
              "run /sbin/iptables -t nat -A router_kelsto -d 203.0.113.7 -p tcp --dport 2121 -j DNAT "
              "--to-destination 192.168.1.1 -> 0\n"
              "run /sbin/iptables -t nat -A router_kelsto -d 203.0.113.7 -p tcp --dport 8080 -j DNAT "
              "--to-destination 192.168.1.1 -> 0\n"
              "run /sbin/iptables -t nat -F router_url -> 0\n");
}

TEST_F(Exposure, WebFileServicesChainIsFilledFromItsRecord)
{
    set_up_network();
    host.set_config("ftp_conf", "0,2121,8443,UTF-8,0");
    host.set_config("url_conf", "1,8443,0");
    EXPECT_EQ(host.call(configure_iptables_for_nas), 0);
    EXPECT_EQ(host.transcript(), "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                 "run /sbin/iptables -t nat -F router_url -> 0\n"
                                 "run /sbin/iptables -t nat -A router_url -d 203.0.113.7 -p tcp --dport 8443 -j DNAT "
                                 "--to-destination 192.168.1.1 -> 0\n");
}

TEST_F(Exposure, ChainsStayEmptyWithoutWanAddress)
{
    set_up_network();
    host.set_config("url_conf", "1,8443,0");
    host.network.wan_ip.erase("wan1");
    host.set_config("ftp_conf", "1,2121,8080,UTF-8,0");
    EXPECT_EQ(host.call(configure_iptables_for_nas), 0);
    EXPECT_EQ(host.transcript(), "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                 "run /sbin/iptables -t nat -F router_url -> 0\n");
}

TEST_F(Exposure, CommandsMayFail)
{
    set_up_network();
    host.on_command_prefix("/sbin/iptables", {-1, 2});
    host.set_config("ftp_conf", "1,2121,0,UTF-8,0");
    EXPECT_EQ(host.call(configure_iptables_for_nas), 0);
    EXPECT_EQ(host.transcript(),
              "run /sbin/iptables -t nat -F router_kelsto -> failed\n"
              "run /sbin/iptables -t nat -A router_kelsto -d 203.0.113.7 -p tcp --dport 2121 -j DNAT "
              "--to-destination 192.168.1.1 -> 2\n"
              "run /sbin/iptables -t nat -F router_url -> 2\n");
}

// ---- configure_iptables_for_url

HttpdConfig web(int url_enable, int url_port)
{
    HttpdConfig config = {};
    config.enable = 1;
    config.port = 9000;
    config.url_enable = url_enable;
    config.url_port = url_port;
    return config;
}

TEST_F(Exposure, WebFileServicesPortIsForwarded)
{
    HttpdConfig config = web(1, 8443);
    config.enable = 0;
    EXPECT_EQ(host.call(configure_iptables_for_url, &config, "203.0.113.7", "192.168.1.1"), 1);
    EXPECT_EQ(host.transcript(), "run /sbin/iptables -t nat -F router_url -> 0\n"
                                 "run /sbin/iptables -t nat -A router_url -d 203.0.113.7 -p tcp --dport 8443 -j DNAT "
                                 "--to-destination 192.168.1.1 -> 0\n");
}

TEST_F(Exposure, WebFileServicesChainIsLeftEmptyWhenOffOrWithoutAddress)
{
    const HttpdConfig off = web(0, 8443);
    const HttpdConfig on = web(1, 8443);
    EXPECT_EQ(host.call(configure_iptables_for_url, &off, "203.0.113.7", "192.168.1.1"), 0);
    EXPECT_EQ(host.call(configure_iptables_for_url, &on, "", "192.168.1.1"), 0);
    EXPECT_EQ(host.call(configure_iptables_for_url, &on, no_address, "192.168.1.1"), 0);
    EXPECT_EQ(host.transcript(), "run /sbin/iptables -t nat -F router_url -> 0\n"
                                 "run /sbin/iptables -t nat -F router_url -> 0\n"
                                 "run /sbin/iptables -t nat -F router_url -> 0\n");
}

TEST_F(Exposure, WebFileServiceWithoutPortIsNotForwarded)
{
    const HttpdConfig config = web(1, 0);
    EXPECT_EQ(host.call(configure_iptables_for_url, &config, "203.0.113.7", "192.168.1.1"), 1);
    EXPECT_EQ(host.transcript(), "run /sbin/iptables -t nat -F router_url -> 0\n");
}

// ---- what remote access needs (whole runs are golden cases)

TEST_F(Exposure, RunningServersAreLeftAlone)
{
    host.add_process({"proftpd:"});
    host.add_process({"lighttpd_kelsto"});
    EXPECT_EQ(host.call(prepare_kelsto_server), 0);
    EXPECT_EQ(host.transcript(), "list proftpd -> 1\n"
                                 "list lighttpd_kelsto -> 1\n");
}

TEST_F(Exposure, MissingWebServerAloneIsStarted)
{
    host.set_config("ftp_conf", "0,21,9090,UTF-8,0");
    host.set_config("url_conf", "1,8080,0");
    host.add_process({"proftpd:"});
    host.add_process({"lighttpd"});
    EXPECT_EQ(host.call(prepare_kelsto_server), 1);
    EXPECT_EQ(host.lines()[0], "list proftpd -> 1");
    EXPECT_EQ(host.lines()[1], "list lighttpd_kelsto -> 0");
    EXPECT_EQ(host.lines()[2], "stderr: Forced launch lighttpd_kelst...");
    EXPECT_EQ(host.lines().back(), "run /sbin/lighttpd_kelsto -f /etc/lighttpd.conf.9090 -m /usr/lib -> 0");
    EXPECT_EQ(host.count_lines("run /sbin/lighttpd -f"), 0);
    EXPECT_EQ(host.count_lines("upnp upnp:service,A"), 0);
    EXPECT_EQ(host.count_lines("log "), 0);
}

TEST_F(Exposure, MissingFtpDaemonIsStartedQuietly)
{
    host.set_config("ftp_conf", "0,21,9000,UTF-8,0");
    host.add_process({"lighttpd_kelsto"});
    EXPECT_EQ(host.call(prepare_kelsto_server), 1);
    EXPECT_EQ(host.lines()[0], "list proftpd -> 0");
    EXPECT_EQ(host.lines()[1], "stderr: Forced launch proftpd...");
    EXPECT_EQ(host.count_lines("run /sbin/proftpd -c /etc/proftpd.conf"), 1);
    EXPECT_EQ(host.count_lines("log "), 0);
    EXPECT_EQ(host.count_lines("upnp upnp:service,A,tcp,21"), 0);
    EXPECT_EQ(host.lines().back(), "list lighttpd_kelsto -> 1");
}

TEST_F(Exposure, ServersInUseAreNotSwept)
{
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    mount_disk();
    host.request_result = 17;
    EXPECT_EQ(host.call(sweep_kelsto_server), 17);
    EXPECT_EQ(host.transcript(), "request register_cloudbackup\n");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Exposure, ServersThatNobodyUsesAreSwept)
{
    host.add_process({"proftpd:"});
    host.request_result = -1;
    EXPECT_EQ(host.call(sweep_kelsto_server), -1);
    EXPECT_EQ(host.transcript(), "run killall proftpd -> 0\n"
                                 "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                 "request register_cloudbackup\n");
    EXPECT_TRUE(host.processes.empty());
}

TEST_F(Exposure, WebServerOfTheRemoteAccessPortIsSweptByItsPidFile)
{
    const std::pair<const char *, const char *> files[] = {{"1234\n", "run kill 1234 -> 0\n"},
                                                           {"1234", "run kill 1234 -> 0\n"},
                                                           {"1234 5\n", "run kill 1234 -> 0\n"},
                                                           {"0\n", ""},
                                                           {"-1\n", ""},
                                                           {"-2\n", "run kill -2 -> 0\n"},
                                                           {"1\n", "run kill 1 -> 0\n"},
                                                           {"", ""},
                                                           {"\n", ""},
                                                           {"none\n", ""}};
    host.set_config("ftp_conf", "1,21,9090,UTF-8,0");
    sandbox.put_file("/var/run/lighttpd.pid", "1\n");
    sandbox.put_file("/var/run/lighttpd.pid.9000", "2\n");
    for (const auto &[text, killed] : files) {
        sandbox.put_file("/var/run/lighttpd.pid.9090", text);
        host.forget();
        EXPECT_EQ(host.call(sweep_kelsto_server), 0);
        EXPECT_EQ(host.transcript(), std::string("run killall proftpd -> 1\n") + killed +
                                         "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                         "request register_cloudbackup\n")
            << text;
    }
    host.set_config("ftp_conf", "1,21,0,UTF-8,0");
    sandbox.put_file("/var/run/lighttpd.pid.0", "3\n");
    host.forget();
    EXPECT_EQ(host.call(sweep_kelsto_server), 0);
    EXPECT_EQ(host.count_lines("run kill "), 0);
}

TEST_F(Exposure, PidFilesTextIsNeverPartOfTheCommand)
{
    sandbox.put_file("/var/run/lighttpd.pid.9000", "12; reboot " + std::string(1000, 'x'));
    EXPECT_EQ(host.call(sweep_kelsto_server), 0);
    EXPECT_EQ(host.lines()[1], "run kill 12 -> 0");
}

TEST_F(Exposure, WebServerWhosePidFileIsGoneIsNotEndedAgain)
{
    for (const int yes : {1, 2, -1, INT_MIN}) {
        SCOPED_TRACE(yes);
        host.yes = yes;
        sandbox.put_file("/var/run/lighttpd.pid.9000", "1234\n");
        host.forget();
        EXPECT_EQ(host.call(sweep_kelsto_server), 0);
        EXPECT_EQ(host.count_lines("run kill 1234"), 1);
        sandbox.remove_file("/var/run/lighttpd.pid.9000");
        host.forget();
        EXPECT_EQ(host.call(sweep_kelsto_server), 0);
        EXPECT_EQ(host.count_lines("run kill "), 0);
    }
}

TEST_F(Exposure, AnyFlagAndPortButZeroCount)
{
    host.set_config("ftp_conf", "-1,21,-5,UTF-8,0");
    sandbox.put_file("/var/run/lighttpd.pid.-5", "12\n");
    EXPECT_EQ(host.call(sweep_kelsto_server), 0);
    EXPECT_EQ(host.count_lines("run kill 12"), 1);
    mount_disk();
    host.forget();
    EXPECT_EQ(host.call(sweep_kelsto_server), 0);
    EXPECT_EQ(host.transcript(), "request register_cloudbackup\n");
    host.forget();
    host.call(nas_service_upnp_relay_init);
    EXPECT_EQ(host.transcript(), "upnp upnp:service,A,tcp,21,21,ns_ftp_21\n"
                                 "upnp upnp:service,A,tcp,-5,-5,ns_ftp_-5\n");
}

TEST_F(Exposure, WithoutDiskOrServiceTheServersAreSwept)
{
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    EXPECT_EQ(host.call(sweep_kelsto_server), 0);
    mount_disk();
    host.set_config("ftp_conf", "0,21,9000,UTF-8,0");
    EXPECT_EQ(host.call(sweep_kelsto_server), 0);
    EXPECT_EQ(host.transcript(), "run killall proftpd -> 1\n"
                                 "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                 "request register_cloudbackup\n"
                                 "run killall proftpd -> 1\n"
                                 "run /sbin/iptables -t nat -F router_kelsto -> 0\n"
                                 "request register_cloudbackup\n");
}

} // namespace
