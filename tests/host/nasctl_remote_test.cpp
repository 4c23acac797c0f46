/* What nasctl takes and refuses for the web file service and the cloud services. Nothing here runs a service. */
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

class NasctlRemote : public testing::Test
{
  protected:
    void SetUp() override
    {
        clear();
    }
    void TearDown() override
    {
        clear();
    }

  private:
    static void clear()
    {
        json records = json::parse(nasctl("--json config list"));
        for (const auto &[key, value] : records.items())
            iconfig_remove_config_tag(key.c_str());
    }
};

struct CloudService {
    const char *name;
    const char *port;
    size_t longest_folder;
};

class NasctlCloud : public NasctlRemote, public testing::WithParamInterface<CloudService>
{
  protected:
    const std::string name = GetParam().name, port = GetParam().port;

    std::string set(const std::string &assignments)
    {
        return nasctl("service set " + name + " --no-apply --force " + assignments);
    }
};

} // namespace

TEST_F(NasctlRemote, ChangesTheWebRecord)
{
    EXPECT_EQ(json({{"enabled", false}, {"port", 8000}, {"auth", false}}),
              json::parse(nasctl("--json service show url")));
    nasctl("service set url --no-apply port=8080 auth=on");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("0,8080,1", stored("url_conf"));
    nasctl("service set url --no-apply auth=off");
    nasctl("service enable url --no-apply");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("1,8080,0", stored("url_conf"));
    nasctl("service disable url --no-apply");
    EXPECT_EQ("0,8080,0", stored("url_conf"));
}

TEST_F(NasctlRemote, RefusesWebSettings)
{
    for (const char *assignment :
         {"port=0", "port=65536", "port=80x", "port=", "port=9000", "auth=yes", "auth=1", "auth=", "disk=Disk1"}) {
        nasctl(std::string("service set url --no-apply port=8080 ") + assignment);
        EXPECT_EQ(2, exit_status) << assignment;
    }
    EXPECT_EQ("absent", stored("url_conf"));
    nasctl("service set ftp --no-apply web-port=9100");
    EXPECT_EQ("nasctl: url: port 9100 is the web-port of ftp; they must differ\n",
              nasctl("service set url --no-apply port=9100"));
    nasctl("service enable ftp --no-apply");
    EXPECT_EQ("nasctl: url: port 21 belongs to ftp\n", nasctl("service set url --no-apply port=21"));
    EXPECT_EQ(1, exit_status);
}

TEST_F(NasctlRemote, WebLoginNeedsItsUser)
{
    nasctl("service set url --no-apply auth=on");
    EXPECT_EQ("nasctl: url: without a user it would let everybody in; make one with: nasctl user add --service url "
              "NAME\n",
              nasctl("service enable url --no-apply"));
    EXPECT_EQ(1, exit_status);
    EXPECT_EQ("0,8000,1", stored("url_conf"));
    nasctl("service set url --no-apply auth=off");
    nasctl("service enable url --no-apply");
    nasctl("service set url --no-apply auth=on");
    EXPECT_EQ(1, exit_status);
    EXPECT_EQ("1,8000,0", stored("url_conf"));

    nasctl("user add -s url anna --password pw --no-apply");
    nasctl("service set url --no-apply auth=on");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("nasctl: url: without its user it would let everybody in; switch it off first\n",
              nasctl("user remove -s url anna --no-apply"));
    EXPECT_EQ(1, exit_status);
    EXPECT_EQ("anna,pw,1", stored("nas_user_url"));
    nasctl("service set url --no-apply auth=off");
    nasctl("user remove -s url anna --no-apply");
    EXPECT_EQ("absent", stored("nas_user_url")) << "nobody is asked for a password any more";
}

TEST_F(NasctlRemote, RightsThatNobodyKeepsAreRefused)
{
    for (const char *service : {"url", "rsync", "nalvexcloud"}) {
        for (const char *right : {"--permission ro", "--permission none", "--folder Disk1"}) {
            std::string command = std::string(" -s ") + service + " anna --password pw --no-apply " + right;
            nasctl("user add" + command);
            EXPECT_EQ(2, exit_status) << command;
            nasctl(std::string("user add --password old --no-apply --permission rw anna -s ") + service);
            EXPECT_EQ(std::string("nasctl: ") + service +
                          ": its user has every right; permission and folder cannot be set\n",
                      nasctl("user set" + command));
            EXPECT_EQ("anna,old,1", stored(std::string("nas_user_") + service));
            nasctl(std::string("user remove --no-apply anna -s ") + service);
        }
    }
}

TEST_P(NasctlCloud, ChangesTheRecord)
{
    EXPECT_EQ(json({{"enabled", false}, {"port", std::stoi(port)}, {"disk", ""}, {"folder", ""}}),
              json::parse(nasctl("--json service show " + name)));
    set("port=4000 disk=Disk_1 'folder=it'\\''s Größe, 100% {x} [y &z'");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("0,4000,Disk_1", stored(name + "_conf"));
    EXPECT_EQ("it's Größe, 100% {x} [y &z", stored(name + "_folder"));
    nasctl("service set " + name + " disk=Disk1 --no-apply");
    EXPECT_EQ(1, exit_status) << "it is not mounted";
    EXPECT_EQ("0,4000,Disk_1", stored(name + "_conf"));
}

TEST_P(NasctlCloud, RefusesFoldersThatTheDaemonWouldNotServe)
{
    set("disk=Disk1 folder=Before");
    for (const char *refused :
         {"",       "a]b", "]",  "a/b", "/etc", "..",   ".",      "a\nb", "a\tb",   "a\x7f",  "\nauth users =",
          "back\\", "#a",  "-a", " a",  "a ",   "a  b", "%HOME%", "a%b%", "global", "GLOBAL", "glo bal"}) {
        const std::string folder = refused;
        set("port=4000 'folder=" + folder + "'");
        EXPECT_EQ(2, exit_status) << folder;
    }
    set("folder=" + std::string(GetParam().longest_folder + 1, 'f'));
    EXPECT_EQ(2, exit_status);
    EXPECT_EQ("0," + port + ",Disk1", stored(name + "_conf")) << "all or nothing";
    EXPECT_EQ("Before", stored(name + "_folder"));
    set("folder=" + std::string(GetParam().longest_folder, 'f'));
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ(std::string(GetParam().longest_folder, 'f'), stored(name + "_folder"));
}

TEST_P(NasctlCloud, RefusesOtherSettings)
{
    for (const char *assignment : {"port=0", "port=65536", "port=-1", "disk=", "disk=a/b", "disk=..", "auth=on"}) {
        set(assignment);
        EXPECT_EQ(2, exit_status) << assignment;
    }
    nasctl("service enable ftp --no-apply");
    EXPECT_EQ("nasctl: " + name + ": port 21 belongs to ftp\n", set("port=21"));
    EXPECT_EQ("absent", stored(name + "_conf"));
}

TEST_P(NasctlCloud, RunsOnlyWithDiskFolderAndUser)
{
    const std::string enable = "service enable " + name + " --no-apply", start = "service start " + name + " --forced";
    const std::string nobody = "nasctl: " + name +
                               ": without a user it would let everybody in; make one with: nasctl user add --service " +
                               name + " NAME\n";
    EXPECT_EQ("nasctl: " + name + ": no disk is set; choose one with: nasctl service set " + name + " disk=NAME\n",
              nasctl(enable));
    EXPECT_EQ(1, exit_status);
    set("disk=Disk1");
    EXPECT_EQ("nasctl: " + name + ": folder \"\" is refused: it is empty\n", nasctl(enable));
    set("folder=Backup");
    EXPECT_EQ(nobody, nasctl(enable));
    EXPECT_EQ(nobody, nasctl(start)) << "forced, it would run without a look at the switch";
    EXPECT_EQ(1, exit_status);
    EXPECT_EQ("0," + port + ",Disk1", stored(name + "_conf"));

    nasctl("user add anna --password pw --no-apply -s " + name);
    nasctl(enable);
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("1," + port + ",Disk1", stored(name + "_conf"));
    EXPECT_EQ("nasctl: " + name + ": without its user it would let everybody in; switch it off first\n",
              nasctl("user remove anna --no-apply -s " + name));
    EXPECT_EQ("anna,pw,1", stored("nas_user_" + name));
    nasctl("user set anna --password other --no-apply -s " + name);
    EXPECT_EQ("anna,other,1", stored("nas_user_" + name));

    iconfig_set_value_direct((name + "_folder").c_str(), "a]b");
    EXPECT_EQ("nasctl: " + name +
                  ": folder \"a]b\" is refused: it is the name of a folder directly on the disk, without '/' and ']'\n",
              nasctl(start))
        << "a record that went past the entry";
}

INSTANTIATE_TEST_SUITE_P(Services, NasctlCloud,
                         testing::Values(CloudService{"rsync", "1873", 255}, CloudService{"nalvexcloud", "2873", 160}),
                         [](const auto &tested) { return std::string(tested.param.name); });
