/* The parts of nas-plan that need no private world; the whole is compared with real runs in the scenarios. */
#include "plan/acts.h"
#include "plan/command_line.h"
#include "plan/diff.h"
#include "plan/mount_points.h"

#include <gtest/gtest.h>

using nasplan::act_of;
using nasplan::CommandKind;
using nasplan::kind_of;
using nasplan::unified_diff;
using Words = std::vector<std::vector<std::string>>;

TEST(PlanDiff, EqualTextsHaveNone)
{
    EXPECT_EQ("", unified_diff("", ""));
    EXPECT_EQ("", unified_diff("a\nb\n", "a\nb\n"));
}

TEST(PlanDiff, IsThatOfDiff)
{
    EXPECT_EQ("@@ -0,0 +1,2 @@\n+a\n+b\n", unified_diff("", "a\nb\n"));
    EXPECT_EQ("@@ -1,2 +0,0 @@\n-a\n-b\n", unified_diff("a\nb\n", ""));
    EXPECT_EQ("@@ -1,3 +1,3 @@\n a\n-b\n+x\n c\n", unified_diff("a\nb\nc\n", "a\nx\nc\n"));
    EXPECT_EQ("@@ -1 +1 @@\n-a\n+a\n\\ No newline at end of file\n", unified_diff("a\n", "a"));
}

TEST(PlanDiff, ShowsThreeLinesAroundAChange)
{
    EXPECT_EQ("@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+x\n 6\n 7\n 8\n",
              unified_diff("1\n2\n3\n4\n5\n6\n7\n8\n9\n", "1\n2\n3\n4\nx\n6\n7\n8\n9\n"));
}

TEST(PlanDiff, FarChangesAreTwoHunksAndNearOnesOne)
{
    EXPECT_EQ("@@ -1,4 +1,4 @@\n-1\n+x\n 2\n 3\n 4\n@@ -6,4 +6,4 @@\n 6\n 7\n 8\n-9\n+y\n",
              unified_diff("1\n2\n3\n4\n5\n6\n7\n8\n9\n", "x\n2\n3\n4\n5\n6\n7\n8\ny\n"));
    EXPECT_EQ("@@ -1,8 +1,8 @@\n-1\n+x\n 2\n 3\n 4\n 5\n 6\n 7\n-8\n+y\n",
              unified_diff("1\n2\n3\n4\n5\n6\n7\n8\n", "x\n2\n3\n4\n5\n6\n7\ny\n"));
}

TEST(PlanCommands, AreTakenApart)
{
    EXPECT_EQ((Words{{"/bin/pidof", "smbd"}}), nasplan::simple_commands("/bin/pidof smbd"));
    EXPECT_EQ((Words{{"/bin/echo", "-en", "\\n"}, {"/bin/adduser", "anna"}}),
              nasplan::simple_commands("/bin/echo -en \"\\\\n\" | /bin/adduser 'anna' > /dev/null 2>&1"));
    EXPECT_EQ((Words{{"mkdir", "-p", "/mnt/Disk 1/a;b|c"}}), nasplan::simple_commands("mkdir -p '/mnt/Disk 1/a;b|c'"));
    EXPECT_EQ((Words{{"touch", "it's"}}), nasplan::simple_commands("touch 'it'\\''s'"));
    EXPECT_EQ((Words{{"wget", "x"}, {"echo", "$!"}}), nasplan::simple_commands("wget x & echo \"$!\" > /tmp/pid &"));
    EXPECT_EQ((Words{}), nasplan::simple_commands(""));
}

TEST(PlanCommands, OnlyWhatChangesFilesOrAsksIsRun)
{
    for (const char *line : {"mkdir -p '/mnt/Disk1/Films'", "/bin/rm -rf /etc/samba/*.conf", "/bin/pidof minidlna",
                             "ln -s /tmp/mnt '/tmp/webroot/httpstream/anna'", "/usr/bin/find /sys | grep sda"})
        EXPECT_EQ(CommandKind::performed, kind_of(line)) << line;
    for (const char *line :
         {"/sbin/proftpd -c /etc/proftpd.conf", "/sbin/iptables -t nat -F router_url", "mkdir x; reboot",
          "echo 1 | /bin/adduser 'anna'", "mkdir `reboot`", "mkdir \"$(reboot)\"", "/bin/umount /tmp/cur/proc",
          "chmod -R 777 /mnt/Disk1/Torrents", "sh -c 'rm x'", "killall smbd; reboot", ""})
        EXPECT_EQ(CommandKind::assumed, kind_of(line)) << line;
    EXPECT_EQ(CommandKind::kill, kind_of("/usr/bin/killall -9 smbd"));
    EXPECT_EQ(CommandKind::kill, kind_of("kill 123"));
}

TEST(PlanActs, AreTakenFromLines)
{
    const nasplan::Act question = act_of("run /bin/pidof smbd -> 1");
    EXPECT_EQ("run", question.kind);
    EXPECT_EQ("/bin/pidof smbd", question.text);
    EXPECT_EQ(1, question.status);
    EXPECT_EQ("question", nasplan::topic_of(question));
    EXPECT_TRUE(act_of("write /etc/x -> failed").failed);
    EXPECT_EQ("waits -> 3", act_of("stderr: waits -> 3").text);
    EXPECT_EQ("nat", nasplan::topic_of(act_of("run /sbin/iptables -t nat -F router_url -> 0")));
    EXPECT_EQ("account", nasplan::topic_of(act_of("run /bin/echo -en 'a' | /sbin/smbpasswd -a -s 'anna' -> 0")));
    EXPECT_EQ("upnp", nasplan::topic_of(act_of("upnp upnp:service,D,tcp,21,0,null")));
    EXPECT_EQ("setting", nasplan::topic_of(act_of("sethostname nalvex")));
}

TEST(PlanMounts, ALineOfTheKernelIsRead)
{
    nasplan::MountPoint mount;
    ASSERT_TRUE(nasplan::parse_mount_point(
        "36 35 98:0 /a /tmp/mnt/My\\040Disk rw,noatime shared:1 master:2 - ext4 /dev/sda1 rw", mount));
    EXPECT_EQ(36U, mount.id);
    EXPECT_EQ("/tmp/mnt/My Disk", mount.path);
    EXPECT_EQ("ext4", mount.type);
    EXPECT_FALSE(nasplan::belongs_to_the_kernel(mount));
    ASSERT_TRUE(nasplan::parse_mount_point("23 28 0:21 / /sys rw - sysfs sysfs rw", mount));
    EXPECT_TRUE(nasplan::belongs_to_the_kernel(mount));
    EXPECT_FALSE(nasplan::parse_mount_point("", mount));
}
