#include "support/fixture.h"

#include "nas/service.h"

#include <string>

namespace
{

using nas_test::LibraryTest;

using Daemon = LibraryTest;

std::string repeat(int times, const std::string &text)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST_F(Daemon, KillServiceUsesTheKillName)
{
    for (const char *name : {"ftp", "samba", "url", "rsync", "nalvexcloud", "torrent", "media", "entware"})
        EXPECT_EQ(host.call(kill_service, name), 0) << name;
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall proftpd -> 1\n"
                                 "run /usr/bin/killall smbd -> 1\n"
                                 "run /usr/bin/killall lighttpd -> 1\n"
                                 "run /usr/bin/killall rsync -> 1\n"
                                 "run /usr/bin/killall nalvexcloud -> 1\n"
                                 "run /usr/bin/killall transmission-daemon -> 1\n"
                                 "run /usr/bin/killall minidlna -> 1\n"
                                 "run /usr/bin/killall telnetd -> 1\n");
}

TEST_F(Daemon, KillServiceDoesNotWait)
{
    host.add_process({.name = "smbd", .kills = -1});
    EXPECT_EQ(host.call(kill_service, "samba"), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n");
}

TEST_F(Daemon, UnknownServicesRunNothing)
{
    for (const char *name : {"", "smbd", "Samba", "ftp ", "proftpd:"}) {
        EXPECT_EQ(host.call(kill_service, name), -1) << name;
        EXPECT_EQ(host.call(kill_and_wait_service, name, 1, 3U), -1) << name;
        EXPECT_EQ(host.call(kill_and_wait_service, name, 0, 0U), -1) << name;
    }
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Daemon, GoneDaemonIsLookedForOnce)
{
    EXPECT_EQ(host.call(kill_and_wait_service, "media", 1, 100U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> 1\n"
                                 "stderr: /usr/bin/killall minidlna\n"
                                 "list minidlna -> 0\n");
}

TEST_F(Daemon, CommandThatFailsDoesNotMatter)
{
    host.on_command("/usr/bin/killall minidlna", {-1});
    EXPECT_EQ(host.call(kill_and_wait_service, "media", 1, 100U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> failed\n"
                                 "stderr: /usr/bin/killall minidlna\n"
                                 "list minidlna -> 0\n");
}

TEST_F(Daemon, DaemonIsWaitedForByItsProcessName)
{
    host.add_process({.name = "proftpd:", .looks = 3, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "ftp", 1, 100U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall proftpd -> 0\n"
                                 "stderr: /usr/bin/killall proftpd\n"
                                 "list proftpd: -> 1\n"
                                 "stderr: Waiting for ftp to be dead\n"
                                 "sleep 1\n"
                                 "list proftpd: -> 1\n"
                                 "stderr: Waiting for ftp to be dead\n"
                                 "sleep 1\n"
                                 "list proftpd: -> 1\n"
                                 "stderr: Waiting for ftp to be dead\n"
                                 "sleep 1\n"
                                 "list proftpd: -> 0\n");
}

TEST_F(Daemon, OtherProcessesAreNotWaitedFor)
{
    host.add_process({.name = "smbd-notifyd", .kills = -1});
    host.add_process({.name = "nmbd", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 1, 100U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 1\n"
                                 "stderr: /usr/bin/killall smbd\n"
                                 "list smbd -> 0\n");
}

const std::string samba_pass = "list smbd -> 1\n"
                               "stderr: Waiting for samba to be dead\n"
                               "sleep 1\n";

TEST_F(Daemon, StubbornDaemonIsForcedAfterTheEleventhPass)
{
    host.add_process({.name = "smbd", .only_forced = true});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 1, 100U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n"
                                 "stderr: /usr/bin/killall smbd\n" +
                                     repeat(11, samba_pass) +
                                     "run /usr/bin/killall -9 smbd -> 0\n"
                                     "stderr: Kill -9 for smbd\n"
                                     "list smbd -> 0\n");
}

TEST_F(Daemon, DaemonThatEndsBeforeIsNotForced)
{
    host.add_process({.name = "smbd", .looks = 10, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 1, 100U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n"
                                 "stderr: /usr/bin/killall smbd\n" +
                                     repeat(10, samba_pass) + "list smbd -> 0\n");
}

TEST_F(Daemon, ForceIsRepeatedAfterElevenMorePasses)
{
    host.add_process({.name = "smbd", .kills = 2, .only_forced = true});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 1, 100U), 0);
    const std::string forced = "run /usr/bin/killall -9 smbd -> 0\n"
                               "stderr: Kill -9 for smbd\n";
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n"
                                 "stderr: /usr/bin/killall smbd\n" +
                                     repeat(11, samba_pass) + forced + repeat(11, samba_pass) + forced +
                                     "list smbd -> 0\n");
}

TEST_F(Daemon, ForceAndMessagesKeepTheirNamesApart)
{
    host.add_process({.name = "proftpd:", .only_forced = true});
    EXPECT_EQ(host.call(kill_and_wait_service, "ftp", 1, 100U), 0);
    EXPECT_EQ(host.count_lines("stderr: Waiting for ftp to be dead"), 11);
    EXPECT_EQ(host.count_lines("run /usr/bin/killall -9 proftpd -> 0"), 1);
    EXPECT_EQ(host.count_lines("stderr: Kill -9 for proftpd"), 1);
    EXPECT_EQ(host.count_lines("list proftpd: -> 1"), 11);
}

TEST_F(Daemon, BoundOfNoWaitsIsOnePass)
{
    host.add_process({.name = "smbd", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 1, 0U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n"
                                 "stderr: /usr/bin/killall smbd\n" +
                                     samba_pass);
}

TEST_F(Daemon, BoundOfThreeWaitsIsFourPasses)
{
    host.add_process({.name = "smbd", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", -1, 3U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n"
                                 "stderr: /usr/bin/killall smbd\n" +
                                     repeat(4, samba_pass));
}

TEST_F(Daemon, BoundOfTenWaitsEndsWithForce)
{
    host.add_process({.name = "smbd", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 1, 10U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n"
                                 "stderr: /usr/bin/killall smbd\n" +
                                     repeat(11, samba_pass) +
                                     "run /usr/bin/killall -9 smbd -> 0\n"
                                     "stderr: Kill -9 for smbd\n");
}

TEST_F(Daemon, BoundOf100WaitsIs101PassesWithNineForcedKills)
{
    host.add_process({.name = "smbd", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 1, 100U), 0);
    const std::string forced = "run /usr/bin/killall -9 smbd -> 0\n"
                               "stderr: Kill -9 for smbd\n";
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall smbd -> 0\n"
                                 "stderr: /usr/bin/killall smbd\n" +
                                     repeat(9, repeat(11, samba_pass) + forced) + repeat(2, samba_pass));
}

TEST_F(Daemon, WithoutBoundItWaitsAsLongAsItTakes)
{
    host.add_process({.name = "smbd", .looks = 500, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_service, "samba", 0, 3U), 0);
    EXPECT_EQ(host.count_lines("sleep 1"), 500);
    EXPECT_EQ(host.count_lines("run /usr/bin/killall -9 smbd"), 45);
    EXPECT_EQ(host.lines().back(), "list smbd -> 0");
}

} // namespace
