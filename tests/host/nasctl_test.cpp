/* The command as a user runs it. Nothing here lets it run a service: that needs a router of its own. */
#include "platform/request.h"
#include "platform/store.h"

#include "fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

using host_test::exit_status;
using host_test::nasctl;
using host_test::stored;
using nlohmann::json;

namespace
{

class Nasctl : public testing::Test
{
  protected:
    void SetUp() override
    {
        for (const char *key : {"media_conf", "media_hddname", "media_folder", "ftp_conf", "samba_conf", "other"})
            iconfig_remove_config_tag(key);
    }
};

} // namespace

TEST_F(Nasctl, ListsAllServices)
{
    json services = json::parse(nasctl("service list --json"));
    EXPECT_EQ(0, exit_status);
    ASSERT_EQ(8U, services.size());
    EXPECT_EQ("ftp", services[0]["name"]);
    EXPECT_EQ(2, services[1]["needed"]);
    EXPECT_EQ("media", services[6]["name"]);
    EXPECT_EQ(false, services[6]["enabled"]);
    EXPECT_EQ(0U, nasctl("service list").find("SERVICE "));
}

TEST_F(Nasctl, ChangesTheMediaRecord)
{
    nasctl("service set media --no-apply --force name='Living room' disk=Disk_1 folder='Films/été'");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("0,Living room,", stored("media_conf"));
    EXPECT_EQ("Disk_1", stored("media_hddname"));
    EXPECT_EQ("Films/été", stored("media_folder"));
    nasctl("service enable media --no-apply");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("1,Living room,", stored("media_conf"));
    json record = json::parse(nasctl("--json service show media"));
    EXPECT_EQ(json({{"enabled", true}, {"name", "Living room"}, {"disk", "Disk_1"}, {"folder", "Films/été"}}), record);
    json service = json::parse(nasctl("service list --json"))[6];
    EXPECT_EQ("the disk \"Disk_1\" is not mounted", service["obstacle"]);
    nasctl("service disable media --no-apply");
    EXPECT_EQ("0,Living room,", stored("media_conf"));
}

TEST_F(Nasctl, SaysWhatAServiceIsMissing)
{
    EXPECT_EQ("nasctl: media: no disk is set; choose one with: nasctl service set media disk=NAME\n",
              nasctl("service enable media --no-apply"));
    EXPECT_EQ(1, exit_status);
    nasctl("service set media disk=Disk1 --no-apply");
    EXPECT_EQ(1, exit_status) << "it is not mounted";
    EXPECT_EQ("absent", stored("media_conf"));
}

TEST_F(Nasctl, RefusesTextThatWouldBreakAFile)
{
    std::string name128(128, 'n'), disk16(16, 'd'), folder512(512, 'f');
    for (const std::string &assignment :
         {std::string("name=a,b"), std::string("name="), std::string("'name=a\nb'"), "name=" + name128,
          std::string("disk=a/b"), std::string("disk=.."), std::string("disk="), std::string("'disk=a b'"),
          "disk=" + disk16, std::string("folder=/etc"), std::string("folder=a/../../b"), std::string("folder=.."),
          std::string("'folder=a\nb'"), "folder=" + folder512, std::string("colour=red"), std::string("name"),
          std::string("=x")}) {
        nasctl("service set media --no-apply --force folder=Before " + assignment);
        EXPECT_EQ(2, exit_status) << assignment;
    }
    EXPECT_EQ("absent", stored("media_folder")) << "all or nothing";
    nasctl("service set media --no-apply --force name=" + name128.substr(1) + " disk=" + disk16.substr(1) +
           " folder=" + folder512.substr(1));
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ(folder512.substr(1), stored("media_folder"));
}

TEST_F(Nasctl, ChangesTheFtpRecord)
{
    json record = json::parse(nasctl("--json service show ftp"));
    EXPECT_EQ(json({{"enabled", false}, {"port", 21}, {"web-port", 9000}, {"charset", "UTF-8"}}), record);
    nasctl("service set ftp --no-apply port=2121 web-port=0 charset=AUTO");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("0,2121,0,AUTO,0", stored("ftp_conf"));
    nasctl("service enable ftp --no-apply");
    EXPECT_EQ("1,2121,0,AUTO,0", stored("ftp_conf"));
    nasctl("service set ftp --no-apply charset=ISO-8859-1");
    EXPECT_EQ("1,2121,0,ISO-8859-1,0", stored("ftp_conf"));
    EXPECT_NE(std::string::npos, nasctl("service show ftp").find("\nport      2121\n"));
}

TEST_F(Nasctl, RefusesFtpSettings)
{
    for (const char *assignment :
         {"port=65536", "port=-1", "port=21x", "port=", "port=' 21'", "port=0x15", "port=9000", "web-port=21",
          "charset=", "charset=Klingon", "charset=a,b", "charset=UTF-8//IGNORE", "'charset=a\nb'", "colour=red"}) {
        nasctl(std::string("service set ftp --no-apply ") + assignment);
        EXPECT_EQ(2, exit_status) << assignment;
    }
    EXPECT_EQ("absent", stored("ftp_conf"));
    nasctl("service set ftp --no-apply port=0 web-port=0");
    EXPECT_EQ(0, exit_status) << "two ports that are not opened";
    EXPECT_EQ("0,0,0,UTF-8,0", stored("ftp_conf"));
}

TEST_F(Nasctl, ChangesTheSambaRecord)
{
    json record = json::parse(nasctl("--json service show samba"));
    EXPECT_EQ(json({{"enabled", false},
                    {"name", "nalvex"},
                    {"workgroup", "WORKGROUP"},
                    {"recycle", false},
                    {"smb1", false},
                    {"smb2", true}}),
              record);
    nasctl("service set samba --no-apply name=Box-2 workgroup=HOME recycle=on smb1=on");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("0,Box-2,HOME,0,1,1,1", stored("samba_conf"));
    nasctl("service enable samba --no-apply");
    nasctl("service set samba --no-apply smb2=off");
    EXPECT_EQ("1,Box-2,HOME,0,1,1,0", stored("samba_conf"));
    nasctl("service set samba --no-apply smb1=off");
    EXPECT_EQ(2, exit_status) << "one protocol is left on";
    EXPECT_EQ("1,Box-2,HOME,0,1,1,0", stored("samba_conf"));
}

TEST_F(Nasctl, RefusesSambaSettings)
{
    for (const char *assignment :
         {"name=", "name=a,b", "name=a_b", "name=-a", "'name=a b'", "name=sixteencharacter",
          "workgroup=", "workgroup=a.b", "workgroup=NALVEX", "recycle=1", "smb1=yes", "smb2=off", "colour=red"}) {
        nasctl(std::string("service set samba --no-apply ") + assignment);
        EXPECT_EQ(2, exit_status) << assignment;
    }
    EXPECT_EQ("absent", stored("samba_conf"));
}

TEST_F(Nasctl, GivesNoPortToTwoServices)
{
    nasctl("service enable samba --no-apply");
    EXPECT_EQ("nasctl: ftp: port 445 belongs to samba\n", nasctl("service set ftp --no-apply web-port=445"));
    EXPECT_EQ(1, exit_status);
    nasctl("service disable samba --no-apply");
    nasctl("service set ftp --no-apply web-port=445");
    EXPECT_EQ(0, exit_status) << "it is switched off";
    nasctl("service enable ftp --no-apply");
    EXPECT_EQ("nasctl: samba: port 445 belongs to ftp\n", nasctl("service enable samba --no-apply"));
    EXPECT_EQ('0', stored("samba_conf")[0]);
}

TEST_F(Nasctl, TellsAServiceThatIsSwitchedOffFromOneThatIsNone)
{
    EXPECT_EQ(0U, nasctl("service stop nonsense").find("nasctl: there is no service \"nonsense\""));
    EXPECT_EQ(2, exit_status);
    json error = json::parse(nasctl("--json service stop nonsense"));
    EXPECT_EQ(0U, error["error"].get<std::string>().find("there is no service \"nonsense\""));
    EXPECT_EQ(2, exit_status);
    EXPECT_EQ(0U, nasctl("service start media").find("nasctl: media: it is switched off"));
    EXPECT_EQ(1, exit_status);
}

TEST_F(Nasctl, RunsNothingWithoutTheLock)
{
    EXPECT_EQ("nasctl: url: other services are being started or stopped; try again later\n",
              nasctl("service start url --forced"));
    EXPECT_EQ(1, exit_status);
    EXPECT_EQ("nasctl: kelsto: other services are being started or stopped; try again later\n", nasctl("kelsto sweep"));
    EXPECT_EQ(1, exit_status);
}

TEST_F(Nasctl, ReadsAndWritesRecords)
{
    nasctl("config set other 'a value'");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("a value\n", nasctl("config get other"));
    EXPECT_EQ("a value", json::parse(nasctl("config list --json oth"))["other"]);
    EXPECT_EQ(json({{"key", "other"}, {"value", "a value"}}), json::parse(nasctl("config get other --json")));
    nasctl("config unset other");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("nasctl: other: it is not set\n", nasctl("config get other"));
    EXPECT_EQ(1, exit_status);
    nasctl("config unset other");
    EXPECT_EQ(1, exit_status);
    nasctl("config set other " + std::string(1024, 'x'));
    EXPECT_EQ(2, exit_status);
    nasctl("config set '' x");
    EXPECT_EQ(2, exit_status);
    nasctl("config --status set volatile 1");
    EXPECT_EQ(1, istatus_get_intvalue_direct("volatile"));
    EXPECT_EQ("1\n", nasctl("config get volatile --status"));
}

TEST_F(Nasctl, ShowsEventsWithoutSteeringTheTerminal)
{
    syslog_msg(1, "@{106}", "@{103}");
    syslog_msg(1, "@{107}", "\x1b[2J");
    json events = json::parse(nasctl("events --json -n 2"));
    ASSERT_EQ(2U, events.size());
    EXPECT_EQ("Torrent has been started", events[0]["text"]);
    EXPECT_EQ("@{103}", events[0]["detail"]);
    EXPECT_EQ(1, events[0]["level"]);
    nasctl("config set other \"$(printf 'a\\033[2J')\"");
    EXPECT_EQ("a?[2J\n", nasctl("config get other"));
}

TEST_F(Nasctl, ShowsStatusDisksAndMounts)
{
    json status = json::parse(nasctl("status --json"));
    EXPECT_EQ(8U, status["services"].size());
    EXPECT_TRUE(status["volumes"].is_array());
    EXPECT_TRUE(json::parse(nasctl("disks --json")).is_array());
    EXPECT_TRUE(json::parse(nasctl("mounts --json")).is_array());
    EXPECT_EQ(0U, nasctl("mounts").find("VOLUME  DEVICE"));
}

TEST_F(Nasctl, LeavesWithTwoForWrongUsage)
{
    for (const char *arguments : {"", "nonsense", "service", "service set media", "config get", "events -n x"}) {
        nasctl(arguments);
        EXPECT_EQ(2, exit_status) << arguments;
    }
    nasctl("--help");
    EXPECT_EQ(0, exit_status);
}

TEST_F(Nasctl, SaysWhenTheStoreCannotBeUsed)
{
    host_test::put_contents(host_test::folder() + "/plain", "no folder");
    host_test::use_settings("config_store = " + host_test::folder() + "/plain/config.db\n");
    EXPECT_EQ("nasctl: the store cannot be read\n", nasctl("config list"));
    EXPECT_EQ(1, exit_status);
    EXPECT_EQ("nasctl: other: it could not be stored\n", nasctl("config set other 1"));
    EXPECT_EQ("nasctl: media: the record could not be stored\n", nasctl("service set media --no-apply --force name=x"));
    EXPECT_EQ(1, exit_status);
    host_test::use_settings();
}
