#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/samba.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using nas_test::exists;
using nas_test::FailingMemory;
using nas_test::LibraryTest;
using nas_test::read_file;

constexpr const char *conf_path = "/etc/samba/smb.conf";
constexpr const char *ordinary = nullptr;

SambaConfig make_config(int enabled, const std::string &server_name, const std::string &workgroup, int option4,
                        int recycle, int smb1, int smb2)
{
    SambaConfig config = {};
    config.enabled = enabled;
    server_name.copy(config.server_name, sizeof config.server_name - 1);
    workgroup.copy(config.workgroup, sizeof config.workgroup - 1);
    config.option4 = option4;
    config.recycle = recycle;
    config.smb1 = smb1;
    config.smb2 = smb2;
    return config;
}

struct Samba : LibraryTest {
    void expect_record(const std::string &stored, const SambaConfig &expected)
    {
        SCOPED_TRACE(stored);
        host.set_config("samba_conf", stored);
        SambaConfig config;
        std::memset(&config, 0x5a, sizeof config);
        EXPECT_EQ(host.call(get_samba_config, &config), 1);
        EXPECT_EQ(config.enabled, expected.enabled);
        EXPECT_STREQ(config.server_name, expected.server_name);
        EXPECT_STREQ(config.workgroup, expected.workgroup);
        EXPECT_EQ(config.option4, expected.option4);
        EXPECT_EQ(config.recycle, expected.recycle);
        EXPECT_EQ(config.smb1, expected.smb1);
        EXPECT_EQ(config.smb2, expected.smb2);
        EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0); // nothing of what was there before
    }

    void put_user(int slot, const std::string &id, int permission, const std::string &folder = "",
                  const std::string &password = "pw")
    {
        const std::string key = slot == 0 ? "nas_user_samba" : "nas_user_samba_" + std::to_string(slot);
        host.set_config(key, id + "," + password + "," + std::to_string(permission));
        host.set_config(key + ".folder", folder);
    }

    // The file that an ordinary run writes.
    std::string generate()
    {
        EXPECT_EQ(host.call(samba_callback, ordinary), 0);
        return read_file(conf_path);
    }

    // The section of a share in it, without its first line; empty when there is none.
    std::string share(const std::string &name)
    {
        const std::string text = generate();
        const std::string head = "\n[" + name + "]\n";
        const std::size_t begin = text.find(head);
        if (begin == std::string::npos)
            return {};
        const std::size_t end = text.find("\n[", begin + 1);
        return text.substr(begin + head.size(), end == std::string::npos ? end : end + 1 - begin - head.size());
    }

    void set_up_disk()
    {
        host.set_config("samba_conf", "1,Router,HOME,0,0,0,1");
        sandbox.put_dir("/etc/samba");
        sandbox.put_dir("/mnt/Disk1/Movies");
    }

    std::string browseable(const std::string &user, const std::string &share_name)
    {
        const std::string path = "/etc/samba/" + user + "_" + share_name + ".conf";
        return exists(path) ? read_file(path) : "(none)";
    }
};

std::string section(const std::string &writers, const std::string &readers, const std::string &path,
                    const std::string &name)
{
    return "create mask=0777\n"
           "comment=\n"
           "directory mask=0777\n"
           "write list=" +
           writers +
           "\n"
           "valid users=" +
           readers +
           "\n"
           "writeable=no\n"
           "guest ok=no\n"
           "path=" +
           path +
           "\n"
           "available=yes\n"
           "use sendfile=yes\n"
           "include=/etc/samba/%G_" +
           name + ".conf\n";
}

// ---- the record

TEST_F(Samba, RecordIsRead)
{
    expect_record("1,Router,HOME,4,1,1,1", make_config(1, "Router", "HOME", 4, 1, 1, 1));
    expect_record("0,my nas,W G,-4,0,1,0", make_config(0, "my nas", "W G", -4, 0, 1, 0));
    expect_record("7,Router,HOME,0,2,0,3", make_config(7, "Router", "HOME", 0, 2, 0, 3));
    expect_record("-1,Router,HOME,0,-1,0,-1", make_config(-1, "Router", "HOME", 0, -1, 0, -1));
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Samba, WithoutRecordTheDefaultsAreGivenAndTheProtocolsStay)
{
    SambaConfig config;
    std::memset(&config, 0x5a, sizeof config);
    config.smb1 = 11;
    config.smb2 = 12;
    EXPECT_EQ(host.call(get_samba_config, &config), 0);
    EXPECT_EQ(config.enabled, 0);
    EXPECT_STREQ(config.server_name, "nalvex");
    EXPECT_STREQ(config.workgroup, "WORKGROUP");
    EXPECT_EQ(config.option4, 0);
    EXPECT_EQ(config.recycle, 0);
    EXPECT_EQ(config.smb1, 11);
    EXPECT_EQ(config.smb2, 12);
}

TEST_F(Samba, WithBothProtocolsOffTheSecondIsReadAsOn)
{
    expect_record("1,Router,HOME,0,1,0,0", make_config(1, "Router", "HOME", 0, 1, 0, 1));
    expect_record("1,Router,HOME,0,1", make_config(1, "Router", "HOME", 0, 1, 0, 1));
    expect_record("1,Router,HOME,0,1,0", make_config(1, "Router", "HOME", 0, 1, 0, 1));
    expect_record("1,Router,HOME,0,1,1", make_config(1, "Router", "HOME", 0, 1, 1, 0));
}

TEST_F(Samba, MissingFieldsAreZero)
{
    expect_record("", make_config(0, "", "", 0, 0, 0, 1));
    expect_record("1", make_config(1, "", "", 0, 0, 0, 1));
    expect_record("1,Router", make_config(1, "Router", "", 0, 0, 0, 1));
    expect_record("1,Router,HOME", make_config(1, "Router", "HOME", 0, 0, 0, 1));
    expect_record("1,Router,HOME,4", make_config(1, "Router", "HOME", 4, 0, 0, 1));
}

TEST_F(Samba, EmptyFieldsKeepTheirPlace)
{
    expect_record(",Router,HOME,4,1,1,1", make_config(0, "Router", "HOME", 4, 1, 1, 1));
    expect_record("1,,HOME,4,1,1,1", make_config(1, "", "HOME", 4, 1, 1, 1));
    expect_record("1,Router,,4,1,1,1", make_config(1, "Router", "", 4, 1, 1, 1));
    expect_record("1,Router,HOME,,1,1,1", make_config(1, "Router", "HOME", 0, 1, 1, 1));
    expect_record("1,Router,HOME,4,,1,1", make_config(1, "Router", "HOME", 4, 0, 1, 1));
    expect_record("1,Router,HOME,4,1,,1", make_config(1, "Router", "HOME", 4, 1, 0, 1));
    expect_record("1,Router,HOME,4,1,1,", make_config(1, "Router", "HOME", 4, 1, 1, 0));
    expect_record(",,,,,,", make_config(0, "", "", 0, 0, 0, 1));
}

TEST_F(Samba, LineFeedEndsTheLastFields)
{
    expect_record("1,Router,HOME,4,1,1,0\n", make_config(1, "Router", "HOME", 4, 1, 1, 0));
    expect_record("1,Router,HOME,4,1\n1\n1", make_config(1, "Router", "HOME", 4, 1, 1, 1));
    expect_record("1,Router,HOME,4,1,1,\n1", make_config(1, "Router", "HOME", 4, 1, 1, 0));
}

TEST_F(Samba, NamesAreCutAt127Characters)
{
    const std::string server_name(127, 's');
    const std::string workgroup(127, 'w');
    expect_record("1," + server_name + "xyz," + workgroup + "xyz,4,1,1,1",
                  make_config(1, server_name, workgroup, 4, 1, 1, 1));
    expect_record("1," + std::string(1021, 's'), make_config(1, server_name, "", 0, 0, 0, 1));
}

TEST_F(Samba, RecordCountsUpToIts511thCharacter)
{
    const std::string server_name(127, 's');
    const std::string rest = ",HOME,4,1,1,1";
    expect_record("1," + std::string(509 - rest.size(), 's') + rest, make_config(1, server_name, "HOME", 4, 1, 1, 1));
    expect_record("1," + std::string(510 - rest.size(), 's') + rest, make_config(1, server_name, "HOME", 4, 1, 1, 0));
}

TEST_F(Samba, RecordIsStored)
{
    SambaConfig config = make_config(1, "Router", "HOME", -4, 1, 1, 1);
    EXPECT_EQ(host.call(set_samba_config, &config), 0);
    config = make_config(0, "my %s", "", 0, 0, 0, 1);
    EXPECT_EQ(host.call(set_samba_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set samba_conf = 1,Router,HOME,-4,1,1,1\n"
                                 "set samba_conf = 0,my %s,,0,0,0,1\n");
}

TEST_F(Samba, WithBothProtocolsOffTheFirstIsStoredAsOn)
{
    SambaConfig config = make_config(1, "Router", "HOME", 0, 0, 0, 0);
    EXPECT_EQ(host.call(set_samba_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set samba_conf = 1,Router,HOME,0,0,1,0\n");
    EXPECT_EQ(config.smb1, 1);
    EXPECT_EQ(config.smb2, 0);
}

TEST_F(Samba, ProtocolIsStoredAsItIsWhenEitherIsOn)
{
    for (const int on : {-1, 2}) { // any number but 0
        SambaConfig config = make_config(1, "Router", "HOME", 0, 0, on, 0);
        EXPECT_EQ(host.call(set_samba_config, &config), 0);
        config = make_config(1, "Router", "HOME", 0, 0, 0, on);
        EXPECT_EQ(host.call(set_samba_config, &config), 0);
    }
    EXPECT_EQ(host.transcript(), "set samba_conf = 1,Router,HOME,0,0,-1,0\n"
                                 "set samba_conf = 1,Router,HOME,0,0,0,-1\n"
                                 "set samba_conf = 1,Router,HOME,0,0,2,0\n"
                                 "set samba_conf = 1,Router,HOME,0,0,0,2\n");
}

TEST_F(Samba, LongestValuesAreStoredWhole)
{
    const std::string name(127, 'n');
    const int least = -2147483647;
    SambaConfig config = make_config(least, name, name, least, least, least, least);
    EXPECT_EQ(host.call(set_samba_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set samba_conf = -2147483647," + name + "," + name +
                                     ",-2147483647,-2147483647,-2147483647,-2147483647\n");
}

// ---- daemons and passwords

TEST_F(Samba, DaemonsAreKilled)
{
    host.add_process({.name = "smbd", .only_forced = true});
    host.add_process({"nmbd"});
    EXPECT_EQ(host.call(kill_samba_daemons), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall -9 smbd -> 0\n"
                                 "run /usr/bin/killall -9 nmbd -> 0\n"
                                 "run /bin/rm -f /var/spool/samba/* -> 0\n");
    EXPECT_TRUE(host.processes.empty());
}

TEST_F(Samba, PasswordsAreLoaded)
{
    put_user(0, "anna", 1, "Disk1", "secret");
    put_user(1, "bert", 2, "", "pw");
    put_user(2, "carl", 0);
    put_user(4, "dina", 7);
    host.set_config("nas_user_samba_3", "emil");
    EXPECT_EQ(host.call(init_smb_users), 0);
    EXPECT_EQ(host.transcript(),
              "run /bin/echo -en 'secret␊secret' | /sbin/smbpasswd -a -s 'anna' >/dev/null 2>&1 -> 0\n"
              "run /bin/echo -en 'pw␊pw' | /sbin/smbpasswd -a -s 'bert' >/dev/null 2>&1 -> 0\n"
              "run /bin/echo -en 'pw␊pw' | /sbin/smbpasswd -a -s 'dina' >/dev/null 2>&1 -> 0\n");
}

TEST_F(Samba, NamesAndPasswordsAreCutAt63CharactersAndQuoted)
{
    put_user(0, std::string(63, 'n') + "xyz", 1, "", std::string(63, 'p') + "xyz");
    put_user(1, std::string(70, '\''), 1, "", std::string(70, '\''));
    put_user(2, "%s%n", 1, "", "$(x)`y`\"%d");
    EXPECT_EQ(host.call(init_smb_users), 0);
    std::string quotes;
    for (int i = 0; i < 63; ++i)
        quotes += "'\\''";
    const std::string password(63, 'p');
    EXPECT_EQ(host.transcript(), "run /bin/echo -en '" + password + "␊" + password + "' | /sbin/smbpasswd -a -s '" +
                                     std::string(63, 'n') +
                                     "' >/dev/null 2>&1 -> 0\n"
                                     "run /bin/echo -en '" +
                                     quotes + "␊" + quotes + "' | /sbin/smbpasswd -a -s '" + quotes +
                                     "' >/dev/null 2>&1 -> 0\n"
                                     "run /bin/echo -en '$(x)`y`\"%d␊$(x)`y`\"%d' | /sbin/smbpasswd -a -s '%s%n' "
                                     ">/dev/null 2>&1 -> 0\n");
}

TEST_F(Samba, NameAndPasswordMayBeOneCharacterOfAnyKind)
{
    put_user(0, "a", 1, "", "b");
    put_user(1, "\x01", 1, "", "\x01");
    put_user(2, "\xc3\xbc", 1, "", "\xec\x98\x81");
    EXPECT_EQ(host.call(init_smb_users), 0);
    EXPECT_EQ(host.transcript(), "run /bin/echo -en 'b␊b' | /sbin/smbpasswd -a -s 'a' >/dev/null 2>&1 -> 0\n"
                                 "run /bin/echo -en '␁␊␁' | /sbin/smbpasswd -a -s '␁' >/dev/null 2>&1 -> 0\n"
                                 "run /bin/echo -en '\xec\x98\x81␊\xec\x98\x81' | /sbin/smbpasswd -a -s '\xc3\xbc' "
                                 ">/dev/null 2>&1 -> 0\n");
}

TEST_F(Samba, WithoutUsersNoPasswordIsLoaded)
{
    EXPECT_EQ(host.call(init_smb_users), 0);
    EXPECT_EQ(host.transcript(), "");
}

// ---- who is listed in which share (whole files and transcripts are golden cases)

TEST_F(Samba, PermissionsDecideTheLists)
{
    set_up_disk();
    put_user(0, "anna", 1);
    put_user(1, "bert", 2);
    put_user(2, "carl", 0);
    put_user(3, "dina", 3);
    put_user(4, "emil", -1);
    EXPECT_EQ(share("Disk1"), section("anna", "anna,bert", "/mnt/Disk1", "Disk1"));
    EXPECT_EQ(share("Movies"), "");
    EXPECT_EQ(browseable("anna", "Disk1"), "browseable=yes");
    EXPECT_EQ(browseable("bert", "Disk1"), "browseable=yes");
    EXPECT_EQ(browseable("carl", "Disk1"), "(none)");
    EXPECT_EQ(browseable("dina", "Disk1"), "(none)");
    EXPECT_EQ(browseable("emil", "Disk1"), "(none)");
}

TEST_F(Samba, DiskUserHasTheDiskAndItsFolders)
{
    set_up_disk();
    sandbox.put_dir("/mnt/Disk10/Movies2");
    put_user(1, "anna", 2, "Disk1");
    EXPECT_EQ(share("Disk1"), section("", "anna", "/mnt/Disk1", "Disk1"));
    EXPECT_EQ(share("Movies"), section("", "anna", "/mnt/Disk1/Movies", "Movies"));
    EXPECT_EQ(share("Disk10"), "");
    EXPECT_EQ(share("Movies2"), "");
    EXPECT_EQ(browseable("anna", "Disk1"), "browseable=yes");
    EXPECT_EQ(browseable("anna", "Movies"), "browseable=no");
}

TEST_F(Samba, NamesMayBeOneCharacter)
{
    set_up_disk();
    sandbox.put_dir("/mnt/D/F");
    put_user(0, "a", 1, "D");
    put_user(1, "b", 2, "Disk1");
    EXPECT_EQ(share("D"), section("a", "a", "/mnt/D", "D"));
    EXPECT_EQ(share("F"), section("a", "a", "/mnt/D/F", "F"));
    EXPECT_EQ(share("Disk1"), section("", "b", "/mnt/Disk1", "Disk1"));
    EXPECT_EQ(browseable("a", "D"), "browseable=yes");
    EXPECT_EQ(browseable("a", "Disk1"), "browseable=no");
    EXPECT_EQ(browseable("b", "D"), "browseable=no");
    EXPECT_EQ(browseable("b", "Disk1"), "browseable=yes");
}

TEST_F(Samba, FolderUserHasThatFolderAlone)
{
    set_up_disk();
    sandbox.put_dir("/mnt/Disk1/Music");
    sandbox.put_dir("/mnt/Disk2/Music");
    put_user(1, "anna", 1, "Disk1:Movies");
    put_user(2, "bert", 1, "Disk1");
    EXPECT_EQ(share("Disk1"), section("bert", "bert", "/mnt/Disk1", "Disk1"));
    EXPECT_EQ(share("Movies"), section("anna,bert", "anna,bert", "/mnt/Disk1/Movies", "Movies"));
    EXPECT_EQ(share("Music"), section("bert", "bert", "/mnt/Disk1/Music", "Music"));
    EXPECT_EQ(share("Disk2"), "");
    EXPECT_EQ(browseable("anna", "Disk1"), "browseable=no");
    EXPECT_EQ(browseable("anna", "Movies"), "browseable=yes");
    EXPECT_EQ(browseable("anna", "Music"), "browseable=no");
    EXPECT_EQ(browseable("bert", "Movies"), "browseable=no");
}

TEST_F(Samba, NothingBehindTheColonMatchesNowhere)
{
    set_up_disk();
    put_user(0, "anna", 1, "Disk1:");
    put_user(1, "bert", 1, ":");
    put_user(2, "carl", 1, ":Movies");
    EXPECT_EQ(share("Disk1"), "");
    EXPECT_EQ(share("Movies"), "");
}

TEST_F(Samba, NamesAreComparedWhole)
{
    set_up_disk();
    for (const char *folder : {"disk1", "Disk", "Disk11", "Disk1 ", "Disk1:movies", "Disk1:Movie", "Disk1:Movies2",
                               "Disk1:Movies:", "Disk1/Movies"}) {
        SCOPED_TRACE(folder);
        put_user(0, "anna", 1, folder);
        EXPECT_EQ(share("Disk1"), "");
        EXPECT_EQ(share("Movies"), "");
    }
}

TEST_F(Samba, ListHoldsNamesOf511CharactersTogether)
{
    set_up_disk();
    std::string names;
    for (int slot = 0; slot < 4; ++slot) {
        const std::string name(127, static_cast<char>('a' + slot));
        put_user(slot, name, 1);
        names += (slot == 0 ? "" : ",") + name;
    }
    EXPECT_EQ(share("Disk1"), section(names, names, "/mnt/Disk1", "Disk1"));
    put_user(4, std::string(127, 'e'), 1);
    EXPECT_EQ(share("Disk1"), section(names, names, "/mnt/Disk1", "Disk1"));
}

TEST_F(Samba, NamesWithControlCharactersAreNotListed)
{
    set_up_disk();
    put_user(0, "an\nna", 1);
    put_user(1, "be\trt", 1);
    put_user(2, "ca\x7frl", 1);
    put_user(3, "dina", 2);
    put_user(4, "em\x1f!", 1);
    EXPECT_EQ(share("Disk1"), section("", "dina", "/mnt/Disk1", "Disk1"));
}

TEST_F(Samba, UserWhoIsNotListedHasAnIncludeFile)
{
    set_up_disk();
    put_user(0, "\x01mil", 1);
    put_user(1, "dina", 2);
    EXPECT_EQ(share("Disk1"), section("", "dina", "/mnt/Disk1", "Disk1"));
    EXPECT_EQ(browseable("\x01mil", "Disk1"), "browseable=yes");
}

TEST_F(Samba, SpecialNameWithMoreThanEnglishLettersIsAnOrdinaryOne)
{
    set_up_disk();
    put_user(0, "anna", 1, "Disk1");
    for (const std::string name : {"homes\xec\x98\x81", "\xec\x98\x81homes"}) {
        sandbox.put_dir("/mnt/Disk1/" + name);
        EXPECT_EQ(share(name), section("anna", "anna", "/mnt/Disk1/" + name, name));
    }
}

TEST_F(Samba, SpecialNameOfAFolderThatNobodyReachesIsNotReported)
{
    set_up_disk();
    sandbox.put_dir("/mnt/Disk1/homes");
    put_user(0, "anna", 1, "Disk1:Movies");
    EXPECT_EQ(share("Movies"), section("anna", "anna", "/mnt/Disk1/Movies", "Movies"));
    EXPECT_EQ(host.count_lines("stderr"), 0);
}

TEST_F(Samba, FoldersAreFoundWhereTheDisksPathHas127Characters)
{
    set_up_disk();
    const std::string disk(122, 'd');
    sandbox.put_dir("/mnt/" + disk + "/Music");
    sandbox.put_dir("/mnt/" + disk + "d/Films");
    put_user(0, "anna", 1, disk);
    put_user(1, "bert", 1, disk + "d");
    EXPECT_EQ(share("Music"), section("anna", "anna", "/mnt/" + disk + "/Music", "Music"));
    EXPECT_EQ(share(disk + "d"), section("bert", "bert", "/mnt/" + disk + "d", disk + "d"));
    EXPECT_EQ(share("Films"), "");
}

TEST_F(Samba, ShareNameIsCutAt255Characters)
{
    set_up_disk();
    const std::string longest(255, 'l'), shared(249, 's');
    sandbox.put_dir("/mnt/Disk1/" + longest);
    sandbox.put_dir("/mnt/Disk1/" + shared);
    sandbox.put_dir("/mnt/Disk2/" + shared);
    put_user(0, "anna", 1, "Disk1");
    put_user(1, "bert", 1, "Disk2");
    put_user(2, "carl", 1, "Disk1:" + shared);
    EXPECT_EQ(share(longest), section("anna", "anna", "/mnt/Disk1/" + longest, longest));
    EXPECT_EQ(share(shared + "(Disk2"), section("bert", "bert", "/mnt/Disk2/" + shared, shared + "(Disk2"));
}

TEST_F(Samba, OddNamesAreWrittenAsTheyAre)
{
    set_up_disk();
    put_user(0, "o'neil \"x\" %s;#", 1, "it's \"100%\" | <b>; #\\x");
    sandbox.put_dir("/mnt/it's \"100%\" | <b>; #\\x/a'b\"c");
    EXPECT_EQ(share("it's \"100%\" | <b>; #\\x"),
              section("o'neil \"x\" %s;#", "o'neil \"x\" %s;#", "/mnt/it's \"100%\" | <b>; #\\x",
                      "it's \"100%\" | <b>; #\\x"));
    EXPECT_EQ(browseable("o'neil \"x\" %s;#", "it's \"100%\" | <b>; #\\x"), "browseable=yes");
    EXPECT_EQ(browseable("o'neil \"x\" %s;#", "a'b\"c"), "browseable=no");
}

TEST_F(Samba, UserWithASlashGetsNoIncludeFile)
{
    set_up_disk();
    put_user(0, "../../tmp/x", 1);
    put_user(1, "anna", 1);
    EXPECT_EQ(share("Disk1"), section("../../tmp/x,anna", "../../tmp/x,anna", "/mnt/Disk1", "Disk1"));
    EXPECT_EQ(host.count_lines("write /etc/samba/anna_Disk1.conf"), 1);
    EXPECT_EQ(host.count_lines("write "), 2); // that one and the file itself
    EXPECT_FALSE(exists("/tmp/x_Disk1.conf"));
}

TEST_F(Samba, IncludeFilesPathIsCutAt255Characters)
{
    host.set_config("samba_conf", "1,Router,HOME,0,0,0,1");
    const std::string folder(200, 'f');
    const std::string user(127, 'u');
    sandbox.put_dir("/etc/samba");
    sandbox.put_dir("/mnt/" + folder);
    put_user(0, user, 1);
    generate();
    const std::string path = "/etc/samba/" + user + "_" + folder;
    EXPECT_EQ(read_file(path.substr(0, 255)), "browseable=yes");
}

TEST_F(Samba, SharedNameOnTwoDisksIsToldApartForARestrictedUser)
{
    set_up_disk();
    sandbox.put_dir("/mnt/Disk2/Movies");
    put_user(0, "anna", 1, "Disk1:Movies");
    put_user(1, "bert", 2, "Disk2:Movies");
    EXPECT_EQ(share("Movies"), section("anna", "anna", "/mnt/Disk1/Movies", "Movies"));
    EXPECT_EQ(share("Movies(Disk2)"), section("", "bert", "/mnt/Disk2/Movies", "Movies(Disk2)"));
    EXPECT_EQ(browseable("anna", "Movies"), "browseable=yes");
    EXPECT_EQ(browseable("bert", "Movies"), "browseable=no");
    EXPECT_EQ(browseable("anna", "Movies(Disk2)"), "browseable=no");
    EXPECT_EQ(browseable("bert", "Movies(Disk2)"), "browseable=yes");
}

TEST_F(Samba, FirstDisksShareKeepsItsPlainName)
{
    set_up_disk();
    sandbox.put_dir("/mnt/Disk2/Movies");
    put_user(0, "anna", 1, "Disk1");
    put_user(1, "bert", 2, "Disk2:Movies");
    EXPECT_EQ(share("Movies"), section("anna", "anna", "/mnt/Disk1/Movies", "Movies"));
    EXPECT_EQ(share("Movies(Disk1)"), "");
    EXPECT_EQ(share("Movies(Disk2)"), "");
}

TEST_F(Samba, OnTheOnlyDiskNothingIsRenamed)
{
    set_up_disk();
    put_user(0, "anna", 1, "Disk0:Movies");
    put_user(1, "bert", 2, "Disk1");
    EXPECT_EQ(share("Movies"), section("", "bert", "/mnt/Disk1/Movies", "Movies"));
    EXPECT_EQ(share("Movies(Disk1)"), "");
}

TEST_F(Samba, LastShareOfANameDecidesWhetherItShowsUp)
{
    set_up_disk();
    sandbox.put_dir("/mnt/Movies/Movies");
    put_user(0, "anna", 1, "Disk1");
    put_user(1, "bert", 1, "Movies");
    put_user(2, "carl", 1, "Movies:Movies");
    generate();
    EXPECT_EQ(host.count_lines("write /etc/samba/bert_Movies.conf"), 3); // no, yes, no
    EXPECT_EQ(browseable("anna", "Movies"), "browseable=no");
    EXPECT_EQ(browseable("bert", "Movies"), "browseable=no");
    EXPECT_EQ(browseable("carl", "Movies"), "browseable=yes");
}

TEST_F(Samba, IncludeFileOfAnEarlierRunIsWrittenAnew)
{
    set_up_disk();
    put_user(0, "anna", 1, "Disk1:Movies");
    put_user(1, "bert", 1, "Disk1");
    generate();
    EXPECT_EQ(browseable("anna", "Movies"), "browseable=yes");
    put_user(0, "anna", 1, "Disk1");
    generate(); // the commands of this host remove nothing
    EXPECT_EQ(browseable("anna", "Movies"), "browseable=no");
}

TEST_F(Samba, NoticeStandsAtTheEndWithoutDisk)
{
    host.set_config("samba_conf", "1,Router,HOME,0,0,0,1");
    sandbox.put_dir("/var/run");
    put_user(0, "anna", 1);
    EXPECT_TRUE(generate().ends_with("socket options=IPTOS_LOWDELAY TCP_NODELAY SO_SNDBUF=131071 SO_RCVBUF=131071\n"
                                     "[README]\n"
                                     "create mask=0777\n"
                                     "comment=\n"
                                     "directory mask=0777\n"
                                     "write list=\n"
                                     "valid users=\n"
                                     "writeable=no\n"
                                     "guest ok=yes\n"
                                     "path=/var/run/readme\n"
                                     "available=yes\n"));
    EXPECT_EQ(read_file("/var/run/readme/README.txt"), "No_HardDisk");
}

TEST_F(Samba, EntryThatIsLeftOutIsNoMissingDisk)
{
    host.set_config("samba_conf", "1,Router,HOME,0,0,0,1");
    sandbox.put_dir("/mnt/Disk\n1");
    put_user(0, "anna", 1);
    EXPECT_EQ(generate().find("\n[", 1), std::string::npos);
    EXPECT_EQ(host.count_lines("stderr: Left out: a name in /mnt would break the configuration file"), 1);
    EXPECT_FALSE(exists("/var/run/readme"));
}

TEST_F(Samba, ProtocolsFollowTheRecord)
{
    host.set_config("samba_conf", "1,Router,HOME,0,0,0,0");
    EXPECT_TRUE(generate().starts_with("[global]\nmin protocol = SMB2\nmax protocol = SMB2\nworkgroup=HOME\n"));
    host.set_config("samba_conf", "1,Router,HOME,0,0,0,1");
    EXPECT_TRUE(generate().starts_with("[global]\nmin protocol = SMB2\nmax protocol = SMB2\nworkgroup=HOME\n"));
    host.set_config("samba_conf", "1,Router,HOME,0,0,1,0");
    EXPECT_TRUE(generate().starts_with("[global]\nmin protocol = SMB1\nmax protocol = SMB1\nworkgroup=HOME\n"));
    host.set_config("samba_conf", "1,Router,HOME,0,0,1,1");
    EXPECT_TRUE(generate().starts_with("[global]\nmin protocol = SMB1\nmax protocol = SMB2\nworkgroup=HOME\n"));
    for (const char *on : {"-1", "2"}) { // any number but 0
        host.set_config("samba_conf", std::string("1,Router,HOME,0,0,0,") + on);
        EXPECT_TRUE(generate().starts_with("[global]\nmin protocol = SMB2\nmax protocol = SMB2\n")) << on;
        host.set_config("samba_conf", std::string("1,Router,HOME,0,0,") + on + ",0");
        EXPECT_TRUE(generate().starts_with("[global]\nmin protocol = SMB1\nmax protocol = SMB1\n")) << on;
        host.set_config("samba_conf", std::string("1,Router,HOME,0,0,") + on + "," + on);
        EXPECT_TRUE(generate().starts_with("[global]\nmin protocol = SMB1\nmax protocol = SMB2\n")) << on;
    }
}

TEST_F(Samba, AnyNumberButZeroKeepsDeletedFiles)
{
    host.set_config("samba_conf", "1,Router,HOME,0,0,0,1");
    EXPECT_EQ(generate().find("vfs objects=recycle\n"), std::string::npos);
    for (const char *on : {"-1", "2"}) {
        host.set_config("samba_conf", std::string("1,Router,HOME,0,") + on + ",0,1");
        EXPECT_NE(generate().find("vfs objects=recycle\n"), std::string::npos) << on;
    }
}

TEST_F(Samba, StoreIsReadNoMoreOftenForMoreFolders)
{
    set_up_disk();
    put_user(0, "anna", 1, "Disk1");
    put_user(1, "bert", 1, "Disk1:Movies");
    put_user(2, "carl", 2);
    put_user(3, "dina", 0);
    put_user(4, "emil", 2, "Disk2");
    for (int i = 0; i < 10; ++i)
        sandbox.put_dir("/mnt/Disk1/Folder " + std::to_string(i));
    generate();
    const int reads = host.config.total_reads;
    EXPECT_LE(reads, 11);
    for (int i = 10; i < 400; ++i)
        sandbox.put_dir("/mnt/Disk1/Folder " + std::to_string(i));
    host.forget();
    EXPECT_GT(generate().size(), 80000U);
    EXPECT_EQ(host.config.total_reads, reads);
    EXPECT_EQ(host.status.total_reads, 0);
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Samba, TextThatOutgrowsItsMemoryEndsBehindASection)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    set_up_disk();
    put_user(0, "a/b", 1, "Disk2"); // a slash: no include files
    const std::string global = generate();
    std::string whole = global + "[Disk2]\n" + section("a/b", "a/b", "/mnt/Disk2", "Disk2");
    std::vector<std::string> fine;
    for (int i = 1; i <= 800; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "F%03d", i);
        sandbox.put_dir(std::string("/mnt/Disk2/") + name);
        whole += std::string("[") + name + "]\n" + section("a/b", "a/b", std::string("/mnt/Disk2/") + name, name);
        fine.push_back(whole);
    }
    for (const unsigned long size : {40000U, 65536U, 131072U}) { // nothing of that size can be had
        host.forget();
        const FailingMemory memory(0, size);
        const std::string text = generate();
        EXPECT_EQ(host.count_lines("stderr: Not written whole: /etc/samba/smb.conf"), 1);
        EXPECT_GE(memory.failures(), 1);
        EXPECT_GT(text.size(), size / 4);
        EXPECT_LT(text.size(), size);
        EXPECT_NE(std::find(fine.begin(), fine.end(), text), fine.end()) << size;
    }
    EXPECT_EQ(generate(), whole);
}

TEST_F(Samba, WithoutMemoryForItTheOldFileStays)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    set_up_disk();
    sandbox.put_file(conf_path, "old\n");
    const FailingMemory memory(0, 4096);
    EXPECT_EQ(generate(), "old\n");
    EXPECT_GE(memory.failures(), 1);
}

TEST_F(Samba, WhateverMemoryFailsTheFileIsOldOrEndsBehindASection)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    set_up_disk();
    put_user(0, "a/b", 1, "Disk2");
    const std::string global = generate();
    const std::string disk = global + "[Disk2]\n" + section("a/b", "a/b", "/mnt/Disk2", "Disk2");
    std::string whole = disk;
    std::vector<std::string> fine = {"old\n", global, disk};
    for (int i = 1; i <= 100; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "F%03d", i);
        sandbox.put_dir(std::string("/mnt/Disk2/") + name);
        whole += std::string("[") + name + "]\n" + section("a/b", "a/b", std::string("/mnt/Disk2/") + name, name);
        fine.push_back(whole);
    }
    std::string text;
    for (int allocations = 0; text != whole; ++allocations) {
        ASSERT_LT(allocations, 1000);
        sandbox.put_file(conf_path, "old\n");
        host.forget();
        const FailingMemory memory(allocations, 1);
        text = generate();
        EXPECT_NE(std::find(fine.begin(), fine.end(), text), fine.end()) << allocations << ":\n" << text;
        EXPECT_EQ(host.lines().back(), "log 1 @{106} @{102}");
    }
}

TEST_F(Samba, DiskThatCannotBeListedIsNoMissingDisk)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    set_up_disk();
    put_user(0, "anna", 1);
    const FailingMemory memory(0, 32768); // what opendir wants
    const std::string text = generate();
    EXPECT_GE(memory.failures(), 1);
    EXPECT_EQ(text.find("[Disk1]"), std::string::npos);
    EXPECT_EQ(text.find("[README]"), std::string::npos);
    EXPECT_FALSE(exists("/var/run/readme"));
}

} // namespace
