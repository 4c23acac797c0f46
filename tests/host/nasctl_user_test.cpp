/* nasctl user. What makes or removes accounts is left to the virtual router: here users of services without accounts
 * are changed, and all that is refused. */
#include "platform/store.h"

#include "fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

using host_test::exit_status;
using host_test::nasctl;
using host_test::stored;
using nlohmann::json;

namespace
{

void put(const std::string &key, const std::string &value)
{
    ASSERT_EQ(0, iconfig_set_value_direct(key.c_str(), value.c_str()));
}

class NasctlUser : public testing::Test
{
  protected:
    void SetUp() override
    {
        json records = json::parse(nasctl("--json config list nas_user"));
        for (const auto &[key, value] : records.items())
            iconfig_remove_config_tag(key.c_str());
    }
};

} // namespace

TEST_F(NasctlUser, IsAddedChangedAndRemoved)
{
    EXPECT_EQ("torrent: the user anna was added\n", nasctl("user add --service torrent anna --password pw1"));
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("anna,pw1,1", stored("nas_user_torrent"));
    EXPECT_EQ("", stored("nas_user_torrent.folder"));
    nasctl("user set -s torrent anna --password pw2");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("anna,pw2,1", stored("nas_user_torrent"));
    nasctl("user set -s torrent anna --permission ro");
    EXPECT_EQ(2, exit_status) << "the daemon knows no rights";
    EXPECT_EQ("torrent: the user anna was removed\n", nasctl("user remove -s torrent anna"));
    EXPECT_EQ("absent", stored("nas_user_torrent"));
    EXPECT_EQ("absent", stored("nas_user_torrent.folder"));
}

/* Without a new password no account is touched. */
TEST_F(NasctlUser, RightsAreChanged)
{
    put("nas_user_samba", "anna,pw,1");
    nasctl("user set -s samba anna --permission ro --folder 'Disk1:Größe 1'");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("anna,pw,2", stored("nas_user_samba"));
    EXPECT_EQ("Disk1:Größe 1", stored("nas_user_samba.folder"));
    nasctl("user set -s samba anna --permission none --folder ''");
    EXPECT_EQ("anna,pw,0", stored("nas_user_samba"));
    EXPECT_EQ("", stored("nas_user_samba.folder"));
    nasctl("user set -s samba anna --folder a:" + std::string(253, 'b'));
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("a:" + std::string(253, 'b'), stored("nas_user_samba.folder"));
}

TEST_F(NasctlUser, PasswordCanComeFromStandardInput)
{
    nasctl("user add -s rsync bert", "from-a-pipe\\n");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("bert,from-a-pipe,1", stored("nas_user_rsync"));
    nasctl("user set -s rsync bert --ask-password", "windows\\r\\nsecond line");
    EXPECT_EQ("bert,windows,1", stored("nas_user_rsync"));
    nasctl("user set -s rsync bert --ask-password", "unended");
    EXPECT_EQ("bert,unended,1", stored("nas_user_rsync"));
    EXPECT_EQ("nasctl: a password is missing: give --password, or a line on standard input\n",
              nasctl("user set -s rsync bert --ask-password"));
    EXPECT_EQ(2, exit_status);
}

namespace
{

/* What the command shows on a terminal where `answers` are typed, each when it has asked a question. */
std::string on_terminal(std::vector<std::string> answers)
{
    int terminal = -1;
    pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        execl(NASCTL, NASCTL, "user", "add", "-s", "rsync", "anna", nullptr);
        _exit(127);
    }
    std::string shown;
    char part[256];
    for (ssize_t got; (got = read(terminal, part, sizeof part)) > 0;) {
        shown.append(part, static_cast<size_t>(got));
        if (answers.empty() || !shown.ends_with(": "))
            continue;
        EXPECT_LT(0, write(terminal, answers.front().data(), answers.front().size()));
        answers.erase(answers.begin());
    }
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return shown;
}

} // namespace

TEST_F(NasctlUser, PasswordIsAskedForTwiceAndNotShown)
{
    EXPECT_EQ("Password: \r\nAgain: \r\nrsync: the user anna was added\r\n", on_terminal({"secret1\n", "secret1\n"}));
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("anna,secret1,1", stored("nas_user_rsync"));
    iconfig_remove_config_tag("nas_user_rsync");
    EXPECT_EQ("Password: \r\nAgain: \r\nnasctl: both passwords differ\r\n", on_terminal({"secret1\n", "secret2\n"}));
    EXPECT_EQ(2, exit_status);
    for (const char *break_off : {"secret1\x03", "\x04"}) {
        EXPECT_EQ("Password: \r\nnasctl: no password was given\r\n", on_terminal({break_off}));
        EXPECT_EQ(2, exit_status);
    }
    EXPECT_EQ("absent", stored("nas_user_rsync"));
}

TEST_F(NasctlUser, IsListedWithoutThePassword)
{
    put("nas_user_system_0", "anna,secret");
    put("nas_user_system_0.ftp", "rw");
    put("nas_user_system_3", "bert,secret");
    put("nas_user_system_3.ftp", "ro");
    put("nas_user_system_3.ftp.folder", "Disk1:Film");
    put("nas_user_samba_1", "carl,secret,0");
    EXPECT_EQ("SERVICE  SLOT  NAME  PERMISSION  FOLDER\n"
              "ftp      0     anna  rw          (all)\n"
              "ftp      3     bert  ro          Disk1:Film\n"
              "samba    1     carl  none        (all)\n",
              nasctl("user list"));
    json users = json::parse(nasctl("--json user list -s ftp"));
    EXPECT_EQ(json::parse(R"([{"service": "ftp", "slot": 0, "name": "anna", "permission": "rw", "folder": ""},
                              {"service": "ftp", "slot": 3, "name": "bert", "permission": "ro",
                               "folder": "Disk1:Film"}])"),
              users);
    EXPECT_EQ("SERVICE  SLOT  NAME  PERMISSION  FOLDER\nsamba    1     carl  none        (all)\n",
              nasctl("user show -s samba carl"));
    EXPECT_EQ("nasctl: samba: there is no user \"anna\"\n", nasctl("user show -s samba anna"));
    EXPECT_EQ(1, exit_status);
}

TEST_F(NasctlUser, OfOldIsMovedFirst)
{
    put("nas_user_ftp_2", "dora,secret,2");
    json users = json::parse(nasctl("--json user list -s ftp"));
    ASSERT_EQ(1U, users.size());
    EXPECT_EQ("dora", users[0]["name"]);
    EXPECT_EQ("dora,secret", stored("nas_user_system_2"));
    EXPECT_EQ("absent", stored("nas_user_ftp_2"));
}

TEST_F(NasctlUser, NeedsAFreePlace)
{
    for (int slot = 0; slot < 5; slot++)
        put("nas_user_system_" + std::to_string(slot), "user" + std::to_string(slot) + ",secret");
    EXPECT_EQ("nasctl: ftp: there are 5 users already, no more fit\n", nasctl("user add -s ftp anna --password pw"));
    EXPECT_EQ(1, exit_status);
    EXPECT_EQ("nasctl: ftp: there is a user \"user3\" already\n", nasctl("user add -s ftp user3 --password pw"));
    EXPECT_EQ(1, exit_status);
    put("nas_user_rsync", "anna,secret,1");
    EXPECT_EQ("nasctl: rsync: its only user is there already\n", nasctl("user add -s rsync bert --password pw"));
    EXPECT_EQ(1, exit_status);
}

TEST_F(NasctlUser, NameIsRefused)
{
    for (const std::string &name :
         {std::string("''"),      std::string("1anna"),     std::string(".anna"),    std::string("'an na'"),
          std::string("an,na"),   std::string("\"an'na\""), std::string("'an\"na'"), std::string("'an;na'"),
          std::string("'an$na'"), std::string("ännä"),      std::string("an/na"),    std::string(32, 'a'),
          std::string("root"),    std::string("Root"),      std::string("DAEMON"),   std::string("lp"),
          std::string("nobody"),  std::string("Anonymous"), std::string("sys"),      std::string("games")}) {
        for (const char *service : {"ftp", "samba", "torrent"}) {
            std::string said = nasctl(std::string("user add --password pw1 -s ") + service + " " + name);
            EXPECT_EQ(2, exit_status) << name;
            EXPECT_NE(std::string::npos, said.find("is refused")) << said;
        }
    }
    EXPECT_EQ(json::object(), json::parse(nasctl("--json config list nas_user")));
    nasctl("user add -s torrent " + std::string(31, 'a') + " --password pw");
    EXPECT_EQ(0, exit_status);
    nasctl("user add -s rsync _a.b-C9 --password pw");
    EXPECT_EQ(0, exit_status);
}

TEST_F(NasctlUser, NamesThatOnlySpellingTellsApartAreRefused)
{
    put("nas_user_system_1", "Anna,secret");
    for (const char *service : {"ftp", "samba"}) {
        EXPECT_EQ("nasctl: the name \"anna\" is refused: ftp has a user \"Anna\"\n",
                  nasctl(std::string("user add --password pw1 anna -s ") + service));
        EXPECT_EQ(2, exit_status);
    }
    nasctl("user add --password pw1 anna -s torrent");
    EXPECT_EQ(0, exit_status) << "it has no accounts";
}

TEST_F(NasctlUser, PasswordIsRefusedWithoutBeingShown)
{
    for (const std::string &password :
         {std::string("Geheim,1"), std::string("Geheim 1"), std::string("Geheim\"1"), std::string("Geheim\\\\1"),
          std::string("Geheim$1"), std::string("Geheim`1"), std::string("Geheim%%1"), std::string("Geheim\\0471"),
          std::string("Geheim\\0011"), std::string("Geheim\\0331"), std::string("Geheim\\1771"), std::string("Geheimü"),
          std::string("Geheim") + std::string(58, 'x'), std::string()}) {
        for (const char *service : {"ftp", "samba", "url"}) {
            std::string said = nasctl(std::string("user add anna -s ") + service, password + "\\n");
            EXPECT_EQ(2, exit_status) << password;
            EXPECT_EQ(0U, said.find("nasctl: the password is refused: ")) << said;
            EXPECT_EQ(std::string::npos, said.find("Geheim")) << said;
        }
    }
    EXPECT_EQ(json::object(), json::parse(nasctl("--json config list nas_user")));
    std::string longest = "!#&()*+-./0:;<=>?@A[]^_a{|}~" + std::string(35, 'x');
    ASSERT_EQ(63U, longest.size());
    nasctl("user add anna -s url", longest + "\\n");
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("anna," + longest + ",1", stored("nas_user_url"));
}

TEST_F(NasctlUser, FolderIsRefused)
{
    for (const std::string &folder :
         {std::string("a/b"), std::string(".."), std::string("a b"), std::string("sixteencharacter"), std::string(":b"),
          std::string("a:"), std::string("a:b:c"), std::string("a:b,c"), std::string("a:b/c"), std::string("a:.."),
          std::string("a:b\nc"), "a:" + std::string(254, 'b')}) {
        std::string said = nasctl("user add -s ftp anna --password pw '--folder=" + folder + "'");
        EXPECT_EQ(2, exit_status) << folder;
        EXPECT_EQ(0U, said.find("nasctl: the folder ")) << said;
    }
}

TEST_F(NasctlUser, UsageIsChecked)
{
    put("nas_user_torrent", "anna,secret,1");
    for (const char *arguments :
         {"user", "user add anna --password pw", "user add -s media anna --password pw",
          "user add -s torrent --password pw", "user set -s torrent anna", "user set -s torrent anna --permission all",
          "user list -s entware", "user set -s torrent anna --ask-password --password pw"}) {
        nasctl(arguments, "pw\\n");
        EXPECT_EQ(2, exit_status) << arguments;
    }
    EXPECT_EQ("anna,secret,1", stored("nas_user_torrent"));
    EXPECT_EQ("nasctl: torrent: there is no user \"bert\"\n", nasctl("user remove -s torrent bert"));
    EXPECT_EQ(1, exit_status);
}

TEST_F(NasctlUser, SaysWhenItCannotBeStored)
{
    host_test::put_contents(host_test::folder() + "/plain", "no folder");
    host_test::use_settings("config_store = " + host_test::folder() + "/plain/config.db\n");
    EXPECT_EQ("nasctl: torrent: the user could not be stored\n", nasctl("user add -s torrent anna --password pw"));
    EXPECT_EQ(1, exit_status);
    host_test::use_settings();
}
