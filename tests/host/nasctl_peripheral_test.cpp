/* What nasctl takes and refuses for torrents, the package environment, the printer and tethering. Nothing here runs a
 * service, and nobody performs the requests. */
#include "platform/store.h"

#include "fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>

using host_test::exit_status;
using host_test::nasctl;
using host_test::stored;
using nlohmann::json;

namespace
{

/* The requests that wait for serviced, a line each; they are forgotten. */
std::string take_requests()
{
    const std::string path = host_test::folder() + "/run/requests";
    std::string requests = host_test::contents(path);
    std::replace(requests.begin(), requests.end(), '\0', '\n');
    std::filesystem::remove(path);
    return requests;
}

class NasctlPeripheral : public testing::Test
{
  protected:
    void SetUp() override
    {
        clear();
    }
    void TearDown() override
    {
        clear();
        istatus_remove_status_tag("entware");
    }

  private:
    static void clear()
    {
        json records = json::parse(nasctl("--json config list"));
        for (const auto &[key, value] : records.items())
            iconfig_remove_config_tag(key.c_str());
        take_requests();
    }
};

} // namespace

TEST_F(NasctlPeripheral, ChangesTheTorrentRecord)
{
    EXPECT_EQ(json({{"enabled", false}, {"port", 9091}, {"disk", ""}, {"folder", ""}}),
              json::parse(nasctl("--json service show torrent")));
    iconfig_set_value_direct("torrent_conf", "0,7,8,9,9091");
    nasctl("service set torrent --no-apply --force port=9092 disk=Disk1 folder=\"Mum's films/été\"");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("0,7,8,9,9092", stored("torrent_conf"));
    EXPECT_EQ("Disk1", stored("torrent_hddname"));
    EXPECT_EQ("Mum's films/été", stored("torrent_folder"));
    nasctl("user add -s torrent anna --password pw");
    nasctl("service enable torrent --no-apply");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("1,7,8,9,9092", stored("torrent_conf"));
    EXPECT_EQ("the disk \"Disk1\" is not mounted", json::parse(nasctl("service list --json"))[5]["obstacle"]);
    EXPECT_EQ("nasctl: torrent: without its user it would let everybody in; switch it off first\n",
              nasctl("user remove -s torrent anna"));
    nasctl("service disable torrent --no-apply");
    EXPECT_EQ("0,7,8,9,9092", stored("torrent_conf"));
}

TEST_F(NasctlPeripheral, RefusesTorrentSettings)
{
    for (const std::string &assignment :
         {std::string("port=0"), std::string("port=65536"), std::string("port=x"), std::string("disk=a/b"),
          std::string("'disk=a b'"), std::string("'disk=a;b'"), std::string("folder=/etc"),
          std::string("folder=a/../../b"), std::string("'folder=a\nb'"), "folder=" + std::string(151, 'f'),
          "\"folder=" + std::string(38, '\'') + "\"", std::string("colour=red")}) {
        nasctl("service set torrent --no-apply --force folder=Before " + assignment);
        EXPECT_EQ(2, exit_status) << assignment;
    }
    EXPECT_EQ("absent", stored("torrent_folder")) << "all or nothing";
    nasctl("service set torrent --no-apply --force folder=" + std::string(150, 'f'));
    EXPECT_EQ(0, exit_status);
}

/* The user's name stands bare in the daemon's command line, the password between single quotes. */
TEST_F(NasctlPeripheral, RefusesTorrentUsersThatWouldLeaveTheirPlace)
{
    for (const char *name : {"'a b'", "'a;reboot'", "'a$(reboot)'", "'a`reboot`'", "'a&b'", "'a|b'", "'a>b'", "-v",
                             "'a*'", "\"a'b\"", "''"}) {
        nasctl("user add -s torrent --password pw -- " + std::string(name));
        EXPECT_EQ(2, exit_status) << name;
    }
    for (const char *password : {"\"a'b\"", "\"';reboot;'\"", "'a b'", "{hashed"}) {
        nasctl("user add -s torrent anna --password " + std::string(password));
        EXPECT_EQ(2, exit_status) << password;
    }
    EXPECT_EQ("absent", stored("nas_user_torrent"));
    nasctl("user add -s torrent anna --password 'a{b}#&()*;<>?!~'");
    EXPECT_EQ(0, exit_status);
}

TEST_F(NasctlPeripheral, ChecksATorrentServiceThatIsSwitchedOn)
{
    EXPECT_EQ("nasctl: torrent: no disk is set; choose one with: nasctl service set torrent disk=NAME\n",
              nasctl("service enable torrent --no-apply"));
    iconfig_set_value_direct("torrent_hddname", "Disk1");
    iconfig_set_value_direct("torrent_conf", "0,0,0,0,9091");
    EXPECT_EQ(0U, nasctl("service enable torrent --no-apply").find("nasctl: torrent: without a user"));
    EXPECT_EQ(1, exit_status);
    nasctl("user add -s torrent anna --password pw");
    iconfig_set_value_direct("torrent_folder", "../../etc"); // nothing is checked there
    EXPECT_NE(std::string::npos, nasctl("service enable torrent --no-apply").find("must not lead out of the disk"));
    EXPECT_EQ("0,0,0,0,9091", stored("torrent_conf"));
    iconfig_remove_config_tag("torrent_folder");
    nasctl("service set ftp --no-apply port=9091");
    nasctl("service enable ftp --no-apply");
    EXPECT_EQ("nasctl: torrent: port 9091 belongs to ftp\n", nasctl("service enable torrent --no-apply"));
}

TEST_F(NasctlPeripheral, ChangesThePackageEnvironment)
{
    EXPECT_EQ(json({{"enabled", false}, {"disk", ""}, {"folder", ""}, {"state", "not installed"}}),
              json::parse(nasctl("--json service show entware")));
    EXPECT_EQ("nasctl: entware: no disk is set; choose one with: nasctl service set entware disk=NAME\n",
              nasctl("service enable entware --no-apply"));
    nasctl("service set entware --no-apply --force disk=Disk1");
    EXPECT_EQ("nasctl: entware: no folder is set; choose one with: nasctl service set entware folder=NAME\n",
              nasctl("service enable entware --no-apply"));
    nasctl("service set entware --no-apply folder=packages");
    EXPECT_EQ(0, exit_status);
    nasctl("service enable entware --no-apply");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("1", stored("entware_run"));
    EXPECT_EQ("Disk1", stored("entware_hddname"));
    EXPECT_EQ("packages", stored("entware_folder"));
    EXPECT_EQ("", take_requests()) << "only stored";
    for (const char *assignment : {"folder=", "folder=.", "folder=/", "folder=../x", "disk=..", "run=1"}) {
        nasctl("service set entware --no-apply --force " + std::string(assignment));
        EXPECT_EQ(2, exit_status) << assignment;
    }
    EXPECT_EQ("packages", stored("entware_folder"));
    EXPECT_EQ("the disk \"Disk1\" is not mounted", json::parse(nasctl("service list --json"))[7]["obstacle"]);
    istatus_set_intvalue_direct("entware", 9);
    EXPECT_EQ("failed", json::parse(nasctl("--json service show entware"))["state"]);
    EXPECT_EQ("nasctl: ftp: port 23 belongs to entware\n", nasctl("service set ftp --no-apply port=23"));
}

TEST_F(NasctlPeripheral, ChangesPrinterSharing)
{
    EXPECT_EQ(json({{"sharing", true}, {"remote", false}}), json::parse(nasctl("--json printer show")));
    nasctl("printer set remote=on");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("1", stored("cupsd_conf"));
    EXPECT_EQ("1", stored("cupsd_remote_conf"));
    EXPECT_EQ("cupsd\n", take_requests());
    EXPECT_EQ(json({{"sharing", false}, {"remote", true}}), json::parse(nasctl("--json printer set sharing=off")));
    EXPECT_EQ("0", stored("cupsd_conf"));
    take_requests();
    for (const char *arguments : {"set", "set sharing", "set sharing=yes", "set colour=on", "", "print"}) {
        nasctl("printer " + std::string(arguments));
        EXPECT_EQ(2, exit_status) << arguments;
    }
    EXPECT_EQ("", take_requests());
}

TEST_F(NasctlPeripheral, ChangesTethering)
{
    EXPECT_EQ("tethering: switched off\n", nasctl("tethering show"));
    EXPECT_EQ("tethering: switched on\n", nasctl("tethering set on"));
    EXPECT_EQ("1", stored("usb_tethering"));
    EXPECT_EQ("usb_tethering\n", take_requests());
    EXPECT_EQ(json({{"enabled", true}}), json::parse(nasctl("--json tethering show")));
    nasctl("tethering set off");
    EXPECT_EQ("0", stored("usb_tethering"));
    take_requests();
    for (const char *arguments : {"set", "set 1", "set on off", ""}) {
        nasctl("tethering " + std::string(arguments));
        EXPECT_EQ(2, exit_status) << arguments;
    }
    EXPECT_EQ("0", stored("usb_tethering"));
    json status = json::parse(nasctl("--json tethering status"));
    EXPECT_EQ(false, status["phone"]);
    EXPECT_EQ(false, status["carries_wan"]);
}
