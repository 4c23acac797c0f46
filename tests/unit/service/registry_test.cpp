#include "support/fixture.h"
#include "support/guarded.h"
#include "support/stopped_services.h"

#include "nas/ftp.h"
#include "nas/samba.h"
#include "nas/service.h"
#include "platform/process.h"

#include <climits>
#include <cstring>
#include <iterator>
#include <string>

namespace
{

using nas_test::GuardedText;
using nas_test::LibraryTest;
using nas_test::Process;

struct Registry : LibraryTest {
    // check_nas_service on the list of all processes that are set up.
    int check(const char *name)
    {
        ProcessList list;
        get_process_list(nullptr, &list, 0);
        host.forget();
        const int result = host.call(check_nas_service, &list, name);
        free_process_list(&list);
        return result;
    }

    int restart(const char *name)
    {
        ProcessList list;
        get_process_list(nullptr, &list, 0);
        host.forget();
        const int result = host.call(restart_nas_service, &list, name);
        free_process_list(&list);
        return result;
    }

    int enabled(const char *name)
    {
        return host.call(get_service_enable, name);
    }
};

constexpr const char *all_services[] = {"ftp", "samba", "url", "rsync", "nalvexcloud", "torrent", "media", "entware"};

void expect_row(int index, const char *name, const char *process, const char *kill, int processes, int accounts,
                int password)
{
    SCOPED_TRACE(index);
    const NasServiceInfo &row = nas_service_table[index];
    EXPECT_STREQ(row.name, name);
    EXPECT_STREQ(row.process_name, process);
    EXPECT_STREQ(row.kill_name, kill);
    EXPECT_EQ(row.min_processes, processes);
    EXPECT_EQ(row.system_accounts, accounts);
    EXPECT_EQ(row.system_password, password);
}

TEST_F(Registry, TableHoldsTheEightServicesInOrder)
{
    expect_row(0, "ftp", "proftpd:", "proftpd", 1, 1, 1);
    expect_row(1, "samba", "smbd", "smbd", 2, 1, 0);
    expect_row(2, "url", "lighttpd", "lighttpd", 1, 0, 0);
    expect_row(3, "rsync", "rsync", "rsync", 1, 0, 0);
    expect_row(4, "nalvexcloud", "nalvexcloud", "nalvexcloud", 1, 0, 0);
    expect_row(5, "torrent", "transmission-daemon", "transmission-daemon", 1, 0, 0);
    expect_row(6, "media", "minidlna", "minidlna", 1, 0, 0);
    expect_row(7, "entware", "telnetd", "telnetd", 1, 0, 0);
    expect_row(8, nullptr, nullptr, nullptr, 0, 0, 0);
}

// ---- get_service_enable

TEST_F(Registry, MediaIsEnabledWhenSwitchedOnAndItsDiskIsMounted)
{
    set_up_media();
    EXPECT_EQ(enabled("media"), 1);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, EnableIsTheFlagOfTheRecord)
{
    set_up_media();
    host.set_config("media_conf", "7,Film,");
    EXPECT_EQ(enabled("media"), 7);
    host.set_config("media_conf", "0,Film,");
    EXPECT_EQ(enabled("media"), 0);
}

TEST_F(Registry, MediaWithoutRecordIsDisabled)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    EXPECT_EQ(enabled("media"), 0);
}

TEST_F(Registry, MediaWithoutItsDiskIsDisabled)
{
    set_up_media();
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk10 vfat rw 0 0\n"
                       "/dev/sdb1 /mnt/Disk1 vfat rw 0 0\n"
                       "/dev/sdc1 /tmp/mnt/disk1 vfat rw 0 0\n");
    EXPECT_EQ(enabled("media"), 0);
}

TEST_F(Registry, MediaWithoutMountTableIsDisabled)
{
    set_up_media();
    sandbox.remove_file("/proc/mounts");
    EXPECT_EQ(enabled("media"), 0);
}

TEST_F(Registry, DiskTestAsksNoVolumeForItsSize)
{
    set_up_media();
    enabled("media");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Registry, UnknownServicesAreDisabled)
{
    set_up_media();
    host.set_config("entware_run", "1");
    for (const char *name : {"", "Media", "media ", "medi", "mediaa", "cupsd", "all"})
        EXPECT_EQ(enabled(name), 0) << name;
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, TorrentIsEnabledWhenSwitchedOnAndItsDiskIsMounted)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    EXPECT_EQ(enabled("torrent"), 0);
    host.set_config("torrent_conf", "7,0,0,0,9091");
    EXPECT_EQ(enabled("torrent"), 0);
    host.set_config("torrent_hddname", "Disk1");
    EXPECT_EQ(enabled("torrent"), 7);
    host.set_config("torrent_hddname", "Disk2");
    EXPECT_EQ(enabled("torrent"), 0);
    host.set_config("torrent_hddname", "Disk1");
    host.set_config("torrent_conf", "0,1,1,1,9091");
    EXPECT_EQ(enabled("torrent"), 0);
}

TEST_F(Registry, PackageEnvironmentNeedsNoDisk)
{
    EXPECT_EQ(enabled("entware"), 0);
    host.set_config("entware_run", "1");
    EXPECT_EQ(enabled("entware"), 1);
    host.set_config("entware_run", "0");
    EXPECT_EQ(enabled("entware"), 0);
}

TEST_F(Registry, CloudServicesAreEnabledWhenSwitchedOnAndTheirDiskIsMounted)
{
    for (const char *name : {"rsync", "nalvexcloud"}) {
        const std::string key = std::string(name) + "_conf";
        sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
        EXPECT_EQ(enabled(name), 0) << name;
        host.set_config(key, "1,873,Disk1");
        EXPECT_EQ(enabled(name), 1) << name;
        host.set_config(key, "7,0,Disk1");
        EXPECT_EQ(enabled(name), 7) << name;
        host.set_config(key, "0,873,Disk1");
        EXPECT_EQ(enabled(name), 0) << name;
        host.set_config(key, "1,873,Disk2");
        EXPECT_EQ(enabled(name), 0) << name;
        host.set_config(key, "1,873");
        EXPECT_EQ(enabled(name), 0) << name;
        host.set_config(key, "1,873,Disk1");
        sandbox.set_mounts("/dev/sda1 /mnt/Disk1 vfat rw 0 0\n/dev/sdb1 /tmp/mnt/Disk10 vfat rw 0 0\n");
        EXPECT_EQ(enabled(name), 0) << name;
    }
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Registry, WebFileServiceNeedsNoDisk)
{
    EXPECT_EQ(enabled("url"), 0);
    host.set_config("url_conf", "1");
    EXPECT_EQ(enabled("url"), 1);
    host.set_config("url_conf", "7,8080,1");
    EXPECT_EQ(enabled("url"), 7);
    host.set_config("url_conf", "0,8080,1");
    EXPECT_EQ(enabled("url"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, FtpAndSambaNeedNoDisk)
{
    for (const char *name : {"ftp", "samba"}) {
        const std::string key = std::string(name) + "_conf";
        EXPECT_EQ(enabled(name), 0) << name;
        host.set_config(key, "1");
        EXPECT_EQ(enabled(name), 1) << name;
        host.set_config(key, "7,2121,9000,UTF-8,0");
        EXPECT_EQ(enabled(name), 7) << name;
        host.set_config(key, "0,2121,9000,UTF-8,0");
        EXPECT_EQ(enabled(name), 0) << name;
        host.set_config(key, ",1,1,1,1,1,1");
        EXPECT_EQ(enabled(name), 0) << name;
    }
    EXPECT_EQ(host.transcript(), "");
}

// ---- get_service_ports

TEST_F(Registry, ServicesWithoutPortsLeaveTheListUntouched)
{
    set_up_media();
    for (const char *name : {"samba", "media", "entware", "", "unknown"}) {
        ServicePort ports[2] = {{"udp", 1}, {"udp", 2}};
        EXPECT_EQ(host.call(get_service_ports, name, &ports[0], 2), 0) << name;
        EXPECT_STREQ(ports[0].protocol, "udp") << name;
        EXPECT_EQ(ports[0].port, 1) << name;
        EXPECT_STREQ(ports[1].protocol, "udp") << name;
        EXPECT_EQ(ports[1].port, 2) << name;
    }
}

TEST_F(Registry, FtpOffersItsTwoPorts)
{
    host.set_config("ftp_conf", "1,2121,8080,UTF-8,0");
    for (const int max : {2, 3}) {
        ServicePort ports[3] = {{"", 0}, {"", 0}, {"udp", 9}};
        EXPECT_EQ(host.call(get_service_ports, "ftp", &ports[0], max), 1) << max;
        EXPECT_STREQ(ports[0].protocol, "tcp");
        EXPECT_EQ(ports[0].port, 2121);
        EXPECT_STREQ(ports[1].protocol, "tcp");
        EXPECT_EQ(ports[1].port, 8080);
        EXPECT_STREQ(ports[2].protocol, "udp") << max;
        EXPECT_EQ(ports[2].port, 9) << max;
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, FtpFillsTheOnlyEntryYetAnswersZero)
{
    host.set_config("ftp_conf", "1,2121,8080,UTF-8,0");
    const nas_test::GuardedBuffer memory(sizeof(ServicePort));
    ServicePort *const port = reinterpret_cast<ServicePort *>(memory.data());
    EXPECT_EQ(host.call(get_service_ports, "ftp", port, 1), 0);
    EXPECT_STREQ(port->protocol, "tcp");
    EXPECT_EQ(port->port, 2121);
}

TEST_F(Registry, FtpWritesNothingWithoutRoom)
{
    host.set_config("ftp_conf", "1,2121,8080,UTF-8,0");
    for (const int max : {0, -1, -2147483647}) {
        ServicePort ports[2] = {{"udp", 1}, {"udp", 2}};
        EXPECT_EQ(host.call(get_service_ports, "ftp", &ports[0], max), 0) << max;
        EXPECT_STREQ(ports[0].protocol, "udp") << max;
        EXPECT_EQ(ports[0].port, 1) << max;
        EXPECT_EQ(ports[1].port, 2) << max;
    }
}

TEST_F(Registry, FtpsPortsMayBeZero)
{
    ServicePort ports[2] = {};
    host.set_config("ftp_conf", "1,0,8080,UTF-8,0");
    EXPECT_EQ(host.call(get_service_ports, "ftp", &ports[0], 2), 1);
    EXPECT_EQ(ports[0].port, 0);
    EXPECT_EQ(ports[1].port, 8080);
    host.set_config("ftp_conf", "1,2121,0,UTF-8,0");
    EXPECT_EQ(host.call(get_service_ports, "ftp", &ports[0], 2), 1);
    EXPECT_EQ(ports[0].port, 2121);
    EXPECT_EQ(ports[1].port, 0);
}

TEST_F(Registry, RemoteServicesOfferTheirOnePort)
{
    const std::pair<const char *, const char *> services[] = {
        {"url", "1,8080,0"}, {"rsync", "1,8080,Disk1"}, {"nalvexcloud", "1,8080,Disk1"}, {"torrent", "1,0,0,0,8080"}};
    for (const auto &[name, record] : services) {
        host.set_config(std::string(name) + "_conf", record);
        for (const int max : {1, 2}) {
            ServicePort ports[2] = {{"udp", 1}, {"udp", 2}};
            EXPECT_EQ(host.call(get_service_ports, name, &ports[0], max), 1) << name;
            EXPECT_STREQ(ports[0].protocol, "tcp") << name;
            EXPECT_EQ(ports[0].port, 8080) << name;
            EXPECT_STREQ(ports[1].protocol, "udp") << name;
            EXPECT_EQ(ports[1].port, 2) << name;
        }
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, AnyFlagButZeroOffersThePorts)
{
    host.set_config("ftp_conf", "-1,2121,8080,UTF-8,0");
    host.set_config("url_conf", "-1,8080,0");
    host.set_config("rsync_conf", "-1,8080,Disk1");
    host.set_config("nalvexcloud_conf", "-1,8080,Disk1");
    host.set_config("torrent_conf", "-1,0,0,0,8080");
    for (const char *name : {"ftp", "url", "rsync", "nalvexcloud", "torrent"}) {
        ServicePort ports[2] = {};
        EXPECT_EQ(host.call(get_service_ports, name, &ports[0], 2), 1) << name;
    }
}

TEST_F(Registry, EnabledSambaOffersNoPort)
{
    host.set_config("samba_conf", "1,Router,HOME,0,0,1,1");
    ServicePort ports[2] = {{"udp", 1}, {"udp", 2}};
    EXPECT_EQ(host.call(get_service_ports, "samba", &ports[0], 2), 0);
    EXPECT_STREQ(ports[0].protocol, "udp");
    EXPECT_EQ(ports[0].port, 1);
}

TEST_F(Registry, DisabledServicesOfferNoPort)
{
    host.set_config("ftp_conf", "0,2121,8080,UTF-8,0");
    host.set_config("url_conf", "0,8080,0");
    host.set_config("rsync_conf", "0,8080,Disk1");
    for (const char *name : {"ftp", "url", "rsync", "nalvexcloud", "torrent"}) {
        for (const int max : {0, 1, 2}) {
            ServicePort ports[2] = {{"udp", 1}, {"udp", 2}};
            EXPECT_EQ(host.call(get_service_ports, name, &ports[0], max), 0) << name;
            EXPECT_EQ(ports[0].port, 1) << name;
            EXPECT_EQ(ports[1].port, 2) << name;
        }
    }
}

// ---- check_nas_service

TEST_F(Registry, EveryServiceRunsWithItsProcesses)
{
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; ++row)
        EXPECT_EQ(check(row->name), 0) << row->name;
    for (const char *process :
         {"proftpd:", "smbd", "smbd", "lighttpd", "rsync", "nalvexcloud", "transmission-daemon", "minidlna", "telnetd"})
        host.add_process({process});
    for (const char *name : all_services)
        EXPECT_EQ(check(name), 1) << name;
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, SambaNeedsTwoProcesses)
{
    host.add_process({"smbd"});
    EXPECT_EQ(check("samba"), 0);
    host.add_process({"smbd"});
    EXPECT_EQ(check("samba"), 1);
    host.add_process({"smbd"});
    EXPECT_EQ(check("samba"), 1);
}

TEST_F(Registry, OnlyTheExactNameCounts)
{
    for (const char *process :
         {"proftpd", "proftpd::", "Proftpd:", "xproftpd:", "", "smbd-notifyd", "smb", "minidlnad"})
        host.add_process({process});
    EXPECT_EQ(check("ftp"), 0);
    EXPECT_EQ(check("samba"), 0);
    EXPECT_EQ(check("media"), 0);
}

TEST_F(Registry, ProcessesAreFoundAnywhereInTheList)
{
    for (int i = 0; i < 50; ++i)
        host.add_process({"kworker"});
    host.add_process({"proftpd:"});
    host.add_process({"smbd"});
    host.add_process({"sh"});
    host.add_process({"smbd"});
    EXPECT_EQ(check("ftp"), 1);
    EXPECT_EQ(check("samba"), 1);
    EXPECT_EQ(check("url"), 0);
}

TEST_F(Registry, UnknownServiceIsReported)
{
    EXPECT_EQ(check("printer"), 0);
    EXPECT_EQ(host.transcript(), "stderr: Unknown Service name: printer\n");
}

TEST_F(Registry, UnknownServiceNameIsNoFormat)
{
    EXPECT_EQ(check("%s%n"), 0);
    EXPECT_EQ(host.transcript(), "stderr: Unknown Service name: %s%n\n");
}

// ---- starting

TEST_F(Registry, StartingIsTheExistenceOfTheKey)
{
    EXPECT_EQ(host.call(check_service_starting, "ftp"), 0);
    for (const char *value : {"1", "0", ""}) {
        host.set_status("starting.ftp", value);
        EXPECT_EQ(host.call(check_service_starting, "ftp"), 1) << value;
    }
    EXPECT_EQ(host.call(check_service_starting, "ft"), 0);
    EXPECT_EQ(host.call(check_service_starting, "samba"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, StartingSurvivesTheLongestValue)
{
    host.set_status("starting.ftp", std::string(1023, 'x'));
    EXPECT_EQ(host.call(check_service_starting, "ftp"), 1);
}

TEST_F(Registry, StartingIsSetAndRemoved)
{
    EXPECT_EQ(host.call(set_service_starting, "ftp", 1), 0);
    EXPECT_EQ(host.call(set_service_starting, "torrent", -1), 0);
    EXPECT_EQ(host.call(set_service_starting, "ftp", 0), 0);
    EXPECT_EQ(host.call(set_service_starting, "media", 0), 0);
    EXPECT_EQ(host.transcript(), "set-status starting.ftp = 1\n"
                                 "set-status starting.torrent = 1\n"
                                 "remove-status starting.ftp\n"
                                 "remove-status starting.media -> failed\n");
    EXPECT_EQ(host.config.total_reads, 0);
}

TEST_F(Registry, StartingKeyIsCutAt127Characters)
{
    const std::string name(200, 'n');
    const std::string key = "starting." + std::string(118, 'n');
    EXPECT_EQ(host.call(set_service_starting, name.c_str(), 1), 0);
    EXPECT_EQ(host.transcript(), "set-status " + key + " = 1\n");
    EXPECT_EQ(host.call(check_service_starting, name.c_str()), 1);
    EXPECT_EQ(host.status.reads[key], 1);
    EXPECT_EQ(host.status.total_reads, 1);
}

// ---- restart_nas_service

TEST_F(Registry, DeadServiceIsRestarted)
{
    set_up_media();
    EXPECT_EQ(restart("media"), 1);
    EXPECT_EQ(host.transcript(), "stderr: Restart Service: media\n"
                                 "request media\n");
}

TEST_F(Registry, RunningServiceIsLeftAlone)
{
    set_up_media();
    host.add_process({"minidlna"});
    EXPECT_EQ(restart("media"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, DeadFtpAndSambaAreRestarted)
{
    host.set_config("ftp_conf", "1");
    host.set_config("samba_conf", "1");
    host.add_process({"proftpd"});
    host.add_process({"smbd"});
    EXPECT_EQ(restart("ftp"), 1);
    EXPECT_EQ(host.transcript(), "stderr: Restart Service: ftp\n"
                                 "request ftp\n");
    EXPECT_EQ(restart("samba"), 1);
    EXPECT_EQ(host.transcript(), "stderr: Restart Service: samba\n"
                                 "request samba\n");
    host.add_process({"proftpd:"});
    host.add_process({"smbd"});
    EXPECT_EQ(restart("ftp"), 0);
    EXPECT_EQ(restart("samba"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, DeadRemoteServicesAreRestarted)
{
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
    host.set_config("url_conf", "1,8080,0");
    host.set_config("rsync_conf", "1,873,Disk1");
    host.set_config("nalvexcloud_conf", "1,2873,Disk1");
    host.add_process({"lighttpd_kelsto"});
    const std::pair<const char *, const char *> processes[] = {
        {"url", "lighttpd"}, {"rsync", "rsync"}, {"nalvexcloud", "nalvexcloud"}};
    for (const auto &[name, process] : processes) {
        EXPECT_EQ(restart(name), 1);
        EXPECT_EQ(host.transcript(), std::string("stderr: Restart Service: ") + name + "\nrequest " + name + "\n");
        host.add_process({process});
        EXPECT_EQ(restart(name), 0);
        EXPECT_EQ(host.transcript(), "");
    }
}

TEST_F(Registry, AnyFlagButZeroHasItRestarted)
{
    set_up_media();
    for (const char *flag : {"1", "2", "-1"}) {
        host.set_config("media_conf", std::string(flag) + ",Film,");
        EXPECT_EQ(restart("media"), 1) << flag;
    }
}

TEST_F(Registry, DisabledServiceIsLeftAlone)
{
    set_up_media();
    host.set_config("media_conf", "0,Film,");
    EXPECT_EQ(restart("media"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, ServiceWithoutItsDiskIsLeftAlone)
{
    set_up_media();
    sandbox.set_mounts("");
    EXPECT_EQ(restart("media"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, StartingServiceIsNotAskedForAgain)
{
    set_up_media();
    host.set_status("starting.media", "1");
    EXPECT_EQ(restart("media"), 0);
    EXPECT_EQ(host.transcript(), "stderr: Restart Service: media\n"
                                 "stderr: --> Service is starting now. Try next turn\n");
}

TEST_F(Registry, StartingFlagOfAnotherServiceDoesNotMatter)
{
    set_up_media();
    host.set_status("starting.ftp", "1");
    EXPECT_EQ(restart("media"), 1);
}

TEST_F(Registry, UnknownServiceIsNotRestartedAndNotReported)
{
    EXPECT_EQ(restart("printer"), 0);
    EXPECT_EQ(host.transcript(), "");
}

// ---- start_serviced, stop_nas_service

TEST_F(Registry, ServicedIsEndedAndStarted)
{
    host.add_process({"serviced"});
    EXPECT_EQ(host.call(start_serviced), 0);
    EXPECT_EQ(host.transcript(), "stderr: =====================> Real Start Serviced\n"
                                 "run /usr/bin/killall serviced -> 0\n"
                                 "run /sbin/serviced & -> 0\n");
}

TEST_F(Registry, ServicedIsStartedWhateverTheCommandsSay)
{
    host.on_command("/usr/bin/killall serviced", {-1});
    host.on_command("/sbin/serviced &", {127});
    EXPECT_EQ(host.call(start_serviced), 0);
    EXPECT_EQ(host.transcript(), "stderr: =====================> Real Start Serviced\n"
                                 "run /usr/bin/killall serviced -> failed\n"
                                 "run /sbin/serviced & -> 127\n");
}

TEST_F(Registry, EverythingIsStopped)
{
    EXPECT_EQ(host.call(stop_nas_service), 0);
    EXPECT_EQ(host.transcript(), nas_test::services_stopped);
}

TEST_F(Registry, TestModeOfTheFactoryKeepsTelnet)
{
    host.device.factory_test_mode = true;
    host.add_process({"telnetd"});
    for (const int yes : {1, 2, -1, INT_MIN}) {
        SCOPED_TRACE(yes);
        host.yes = yes;
        host.forget();
        EXPECT_EQ(host.call(stop_nas_service), 0);
        EXPECT_EQ(host.transcript(), nas_test::all_told_to_end + nas_test::environment_down + nas_test::all_waited_for);
        ASSERT_EQ(host.processes.size(), 1U);
        EXPECT_EQ(host.processes[0].name, "telnetd");
    }
}

TEST_F(Registry, RunningDaemonsAreStoppedAndWaitedFor)
{
    host.add_process({"serviced"});
    host.add_process({"nmbd"});
    host.add_process({.name = "smbd", .kills = 2});
    host.add_process({"smbd"});
    host.add_process({"lighttpd_kelsto"});
    host.add_process({"proftpd:"});
    host.add_process({"nalvexcloud"});
    host.add_process({"transmission-daemon", "", "transmission-da"});
    host.add_process({.name = "telnetd", .only_forced = true});
    EXPECT_EQ(host.call(stop_nas_service), 0);
    EXPECT_TRUE(host.processes.empty());
    std::string waiting;
    for (int i = 0; i < 11; ++i)
        waiting += "list telnetd -> 1\nstderr: Waiting for entware to be dead\nsleep 1\n";
    EXPECT_EQ(host.transcript(), "run killall serviced -> 0\n"
                                 "run killall nmbd -> 0\n"
                                 "run /usr/bin/killall smbd -> 0\n"
                                 "run killall lighttpd_kelsto -> 0\n"
                                 "run /usr/bin/killall proftpd -> 0\n"
                                 "run /usr/bin/killall lighttpd -> 1\n"
                                 "run /usr/bin/killall rsync -> 1\n"
                                 "run /usr/bin/killall transmission-daemon -> 0\n"
                                 "run /usr/bin/killall minidlna -> 1\n"
                                 "run /usr/bin/killall telnetd -> 0\n"
                                 "run /usr/bin/killall telnetd -> 0\n" +
                                     nas_test::environment_down +
                                     "run /usr/bin/killall smbd -> 0\n"
                                     "stderr: /usr/bin/killall smbd\n"
                                     "list smbd -> 0\n"
                                     "run /usr/bin/killall proftpd -> 1\n"
                                     "stderr: /usr/bin/killall proftpd\n"
                                     "list proftpd: -> 0\n"
                                     "run /usr/bin/killall lighttpd -> 1\n"
                                     "stderr: /usr/bin/killall lighttpd\n"
                                     "list lighttpd -> 0\n"
                                     "run /usr/bin/killall rsync -> 1\n"
                                     "stderr: /usr/bin/killall rsync\n"
                                     "list rsync -> 0\n"
                                     "run /usr/bin/killall nalvexcloud -> 0\n"
                                     "stderr: /usr/bin/killall nalvexcloud\n"
                                     "list nalvexcloud -> 0\n"
                                     "run /usr/bin/killall transmission-daemon -> 1\n"
                                     "stderr: /usr/bin/killall transmission-daemon\n"
                                     "list transmission-daemon -> 0\n"
                                     "run /usr/bin/killall minidlna -> 1\n"
                                     "stderr: /usr/bin/killall minidlna\n"
                                     "list minidlna -> 0\n"
                                     "run /usr/bin/killall telnetd -> 0\n"
                                     "stderr: /usr/bin/killall telnetd\n" +
                                     waiting +
                                     "run /usr/bin/killall -9 telnetd -> 0\n"
                                     "stderr: Kill -9 for telnetd\n"
                                     "list telnetd -> 0\n");
}

TEST_F(Registry, StuckDaemonsAreWaitedForNoLongerThan101SecondsEach)
{
    for (const char *process : {"smbd", "lighttpd", "telnetd"})
        host.add_process({.name = process, .kills = -1});
    EXPECT_EQ(host.call(stop_nas_service), 0);
    EXPECT_EQ(host.count_lines("sleep 1"), 303);
    EXPECT_EQ(host.count_lines("stderr: Waiting for samba to be dead"), 101);
    EXPECT_EQ(host.count_lines("stderr: Waiting for url to be dead"), 101);
    EXPECT_EQ(host.count_lines("stderr: Waiting for entware to be dead"), 101);
    EXPECT_EQ(host.count_lines("run /usr/bin/killall -9 smbd"), 9);
    EXPECT_EQ(host.count_lines("run /usr/bin/killall -9 lighttpd"), 9);
    EXPECT_EQ(host.count_lines("run /usr/bin/killall -9 telnetd"), 9);
}

// ---- the callback status

TEST_F(Registry, CallbackStatusKnowsAllAlone)
{
    EXPECT_EQ(host.call(get_service_callback_status, "all"), 0);
    host.set_status("nas_callback_status", "all");
    EXPECT_EQ(host.call(get_service_callback_status, "all"), 1);
    for (const char *name : {"ftp", "ALL", "al", "alll", ""})
        EXPECT_EQ(host.call(get_service_callback_status, name), 0) << name;
    for (const char *value : {"ftp", "ALL", "al", "all ", ""}) {
        host.set_status("nas_callback_status", value);
        EXPECT_EQ(host.call(get_service_callback_status, "all"), 0) << value;
        EXPECT_EQ(host.call(get_service_callback_status, value), 0) << value;
    }
    host.set_status("nas_callback_status", "all");
    EXPECT_EQ(host.call(get_service_callback_status, "all"), 1);
    host.status.values.clear();
    EXPECT_EQ(host.call(get_service_callback_status, "all"), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, CallbackStatusSurvivesTheLongestValue)
{
    host.set_status("nas_callback_status", "all" + std::string(1020, 'x'));
    EXPECT_EQ(host.call(get_service_callback_status, "all"), 0);
}

TEST_F(Registry, CallbackStatusIsNeverSet)
{
    EXPECT_EQ(host.call([] { return set_service_callback_status(); }), 0);
    EXPECT_EQ(host.call([] { return set_service_callback_status("ftp", 1); }), 0);
    EXPECT_EQ(host.call([] { return set_service_callback_status("all", 7, 2.5, nullptr); }), 0);
    EXPECT_EQ(host.transcript(), "");
    EXPECT_TRUE(host.status.values.empty());
}

// ---- system accounts

TEST_F(Registry, SystemAccounts)
{
    const int accounts[] = {1, 1, 0, 0, 0, 0, 0, 0};
    const int passwords[] = {1, 0, 0, 0, 0, 0, 0, 0};
    for (std::size_t i = 0; i < std::size(all_services); ++i) {
        EXPECT_EQ(host.call(use_system_user, all_services[i]), accounts[i]) << all_services[i];
        EXPECT_EQ(host.call(use_system_passwd, all_services[i]), passwords[i]) << all_services[i];
    }
    for (const char *name : {"", "FTP", "ftpd", "ft", "unknown"}) {
        EXPECT_EQ(host.call(use_system_user, name), 0) << name;
        EXPECT_EQ(host.call(use_system_passwd, name), 0) << name;
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registry, NamesAreReadNoFurtherThanTheirEnd)
{
    for (const char *text : {"", "f", "med", "entwar"}) {
        const GuardedText name(text);
        EXPECT_EQ(host.call(use_system_user, static_cast<const char *>(name)), 0) << text;
        EXPECT_EQ(enabled(name), 0) << text;
    }
}

} // namespace
