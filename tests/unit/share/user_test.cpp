#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/user.h"

#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace
{

using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::LibraryTest;

constexpr const char *no_service = nullptr;
constexpr const NasUser *no_user = nullptr;
NasUser *const no_record = nullptr;

template <class Record>
std::string bytes(const Record &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

NasUser make_user(const std::string &id, const std::string &password, int permission, const std::string &folder = "")
{
    NasUser user = {};
    id.copy(user.id, sizeof user.id - 1);
    password.copy(user.password, sizeof user.password - 1);
    folder.copy(user.folder, sizeof user.folder - 1);
    user.permission = permission;
    return user;
}

void expect_user(const NasUser &user, const std::string &id, const std::string &password, int permission,
                 const std::string &folder)
{
    EXPECT_EQ(user.id, id);
    EXPECT_EQ(user.password, password);
    EXPECT_EQ(user.permission, permission);
    EXPECT_EQ(user.folder, folder);
}

struct User : LibraryTest {
    // A slot, read over garbage into a record that ends at a forbidden page.
    const NasUser &get(int expected_result, const char *service, int slot)
    {
        std::memset(memory.data(), 0x5a, sizeof(NasUser));
        NasUser *const user = reinterpret_cast<NasUser *>(memory.data());
        EXPECT_EQ(host.call(get_nas_user, service, slot, user), expected_result);
        return *user;
    }

    const NasUser &get_samba(const std::string &value)
    {
        host.set_config("nas_user_samba", value);
        return get(1, "samba", 0);
    }

    void expect_absent(const char *service, int slot)
    {
        EXPECT_EQ(bytes(get(0, service, slot)), std::string(sizeof(NasUser), '\0'));
    }

    int set(const char *service, int slot, const NasUser &user)
    {
        return host.call(set_nas_user, service, slot, &user);
    }

    int add_account(const char *service, const NasUser &user)
    {
        return host.call(set_nas_user_system, service, &user);
    }

    void put_ftp_user(int slot, const std::string &id)
    {
        host.set_config("nas_user_system_" + std::to_string(slot), id + ",secret");
        host.set_config("nas_user_system_" + std::to_string(slot) + ".ftp", "rw");
    }

    GuardedBuffer memory{sizeof(NasUser)};
};

// ---- users of a service's own

TEST_F(User, OwnUserIsRead)
{
    host.set_config("nas_user_samba", "anna,secret,2");
    host.set_config("nas_user_samba.folder", "Disk1:Movies");
    expect_user(get(1, "samba", 0), "anna", "secret", 2, "Disk1:Movies");
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(host.config.reads["nas_user_samba"], 1);
    EXPECT_EQ(host.config.reads["nas_user_samba.folder"], 1);
    EXPECT_EQ(host.config.total_reads, 2);
}

TEST_F(User, FirstSlotHasNoNumberTheOthersHave)
{
    host.set_config("nas_user_samba_0", "wrong,pw,1");
    for (int slot = 1; slot < 5; ++slot) {
        const std::string key = "nas_user_samba_" + std::to_string(slot);
        host.set_config(key, "user" + std::to_string(slot) + ",pw,1");
        host.set_config(key + ".folder", "Disk" + std::to_string(slot));
    }
    expect_absent("samba", 0);
    expect_user(get(1, "samba", 1), "user1", "pw", 1, "Disk1");
    expect_user(get(1, "samba", 2), "user2", "pw", 1, "Disk2");
    expect_user(get(1, "samba", 3), "user3", "pw", 1, "Disk3");
    expect_user(get(1, "samba", 4), "user4", "pw", 1, "Disk4");
    expect_absent("samba", 5);
}

TEST_F(User, SlotBelowTheFirstIsAnotherOne)
{
    host.set_config("nas_user_samba", "anna,pw,1");
    expect_absent("samba", -1);
    EXPECT_EQ(host.call(set_nas_user, "samba", -1, no_user), 1);
    EXPECT_EQ(host.transcript(), "remove nas_user_samba_-1 -> failed\n"
                                 "remove nas_user_samba_-1.folder -> failed\n");
}

TEST_F(User, EveryServiceButFtpHasUsersOfItsOwn)
{
    for (const char *service : {"samba", "url", "rsync", "nalvexcloud", "torrent", "media", "entware", "other"}) {
        host.set_config(std::string("nas_user_") + service, "anna,pw,1");
        expect_user(get(1, service, 0), "anna", "pw", 1, "");
    }
    host.set_config("nas_user_ftp", "anna,pw,1");
    expect_absent("ftp", 0);
}

TEST_F(User, FreeSlotIsClearAndHasNoFolder)
{
    host.set_config("nas_user_samba.folder", "Disk1");
    expect_absent("samba", 0);
    EXPECT_EQ(host.config.reads["nas_user_samba.folder"], 0);
}

TEST_F(User, MissingPermissionIsOne)
{
    expect_user(get_samba("anna,secret"), "anna", "secret", 1, "");
    expect_user(get_samba("anna,secret,"), "anna", "secret", 1, "");
    expect_user(get_samba("anna,secret,0"), "anna", "secret", 0, "");
    expect_user(get_samba("anna,secret,1"), "anna", "secret", 1, "");
    expect_user(get_samba("anna,secret,2"), "anna", "secret", 2, "");
    expect_user(get_samba("anna,secret,7"), "anna", "secret", 7, "");
    expect_user(get_samba("anna,secret,-1"), "anna", "secret", -1, "");
    expect_user(get_samba("anna,secret,x"), "anna", "secret", 0, "");
    expect_user(get_samba("anna,secret,,2"), "anna", "secret", 1, "");
    expect_user(get_samba("anna,secret, 2"), "anna", "secret", 1, "");
}

TEST_F(User, NameWithoutPasswordIsAbsent)
{
    host.set_config("nas_user_samba.folder", "Disk1");
    for (const char *value :
         {"anna", "anna,", "anna,,", "anna,,2", "anna, ", "", ",", ",,", ",secret", ",secret,1", "anna, secret,1"}) {
        SCOPED_TRACE(value);
        host.set_config("nas_user_samba", value);
        expect_absent("samba", 0);
    }
}

TEST_F(User, PasswordEndsAtCommaAndBlank)
{
    expect_user(get_samba("anna,se cret,2"), "anna", "se", 0, "");
    expect_user(get_samba("anna,se,cret,2"), "anna", "se", 0, "");
    expect_user(get_samba("anna,se 2,0"), "anna", "se", 2, "");
    expect_user(get_samba("anna,secret,2 0"), "anna", "secret", 2, "");
    expect_user(get_samba("anna,secret,2,0,x"), "anna", "secret", 2, "");
}

TEST_F(User, NameKeepsItsBlanksAndOddCharacters)
{
    expect_user(get_samba("anna maria,pw,1"), "anna maria", "pw", 1, "");
    expect_user(get_samba(" anna ,pw,1"), " anna ", "pw", 1, "");
    expect_user(get_samba("o'neil%s%n$(x),p'w\"%d\\,1"), "o'neil%s%n$(x)", "p'w\"%d\\", 1, "");
    expect_user(get_samba("J\xc3\xbcrgen,\xec\x98\x81,1"), "J\xc3\xbcrgen", "\xec\x98\x81", 1, "");
}

TEST_F(User, TextsAreCutAtTheirFields)
{
    host.set_config("nas_user_samba.folder", std::string(255, 'f') + "tail");
    expect_user(get_samba(std::string(127, 'n') + "xyz,pw,2"), std::string(127, 'n'), "pw", 2, std::string(255, 'f'));
    expect_user(get_samba("anna," + std::string(383, 'p') + "xyz,2"), "anna", std::string(383, 'p'), 2,
                std::string(255, 'f'));
}

TEST_F(User, ValueCountsUpToIts511thCharacter)
{
    const std::string name(127, 'n');
    expect_user(get_samba(name + "," + std::string(383, 'p') + ",2"), name, std::string(383, 'p'), 1, "");
    expect_user(get_samba(name + "," + std::string(381, 'p') + ",2"), name, std::string(381, 'p'), 2, "");
    expect_user(get_samba(name + "," + std::string(381, 'p') + ",27"), name, std::string(381, 'p'), 2, "");
    host.set_config("nas_user_samba", std::string(511, 'n') + ",pw,1");
    expect_absent("samba", 0);
    for (const int more : {0, 1, 2}) {
        host.set_config("nas_user_system_0", name + "xyz," + std::string(380 + more, 'p'));
        expect_user(get(1, no_service, 0), name, std::string(380, 'p'), 1, "");
    }
}

TEST_F(User, LongestValuesOfTheStoreDoNoHarm)
{
    host.set_config("nas_user_samba", "anna," + std::string(1018, 'p'));
    host.set_config("nas_user_samba.folder", std::string(1023, 'f'));
    expect_user(get(1, "samba", 0), "anna", std::string(383, 'p'), 1, std::string(255, 'f'));
    host.set_config("nas_user_system_0", "anna," + std::string(1018, 'p'));
    host.set_config("nas_user_system_0.ftp", "rw" + std::string(1021, 'x'));
    host.set_config("nas_user_system_0.ftp.folder", std::string(1023, 'f'));
    expect_user(get(1, "ftp", 0), "anna", std::string(383, 'p'), 0, std::string(255, 'f'));
}

TEST_F(User, KeyIsReadCutAt31Characters)
{
    const std::string service = "abcdefghijklmnopqrstuvwxyz";
    host.set_config("nas_user_abcdefghijklmnopqrstuv", "anna,pw,2");
    expect_user(get(1, service.c_str(), 0), "anna", "pw", 2, "anna,pw,2"); // the folder's key is cut to the same
    EXPECT_EQ(host.config.reads["nas_user_abcdefghijklmnopqrstuv"], 2);
    EXPECT_EQ(host.config.total_reads, 2);
}

// ---- system users

TEST_F(User, SystemUserIsRead)
{
    host.set_config("nas_user_system_0", "anna,secret");
    host.set_config("nas_user_system_0.ftp", "ro");
    host.set_config("nas_user_system_0.ftp.folder", "Disk1");
    expect_user(get(1, "ftp", 0), "anna", "secret", 2, "Disk1");
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(host.config.reads["nas_user_system_0"], 1);
    EXPECT_EQ(host.config.reads["nas_user_system_0.ftp"], 1);
    EXPECT_EQ(host.config.reads["nas_user_system_0.ftp.folder"], 1);
    EXPECT_EQ(host.config.total_reads, 3);
}

TEST_F(User, SystemUsersKeysAlwaysCarryTheNumber)
{
    for (int slot = 0; slot < 5; ++slot)
        put_ftp_user(slot, "user" + std::to_string(slot));
    expect_user(get(1, "ftp", 0), "user0", "secret", 1, "");
    expect_user(get(1, "ftp", 1), "user1", "secret", 1, "");
    expect_user(get(1, "ftp", 4), "user4", "secret", 1, "");
    expect_absent("ftp", 5);
}

TEST_F(User, PermissionWordsAreExact)
{
    host.set_config("nas_user_system_2", "anna,secret");
    expect_user(get(1, "ftp", 2), "anna", "secret", 0, "");
    const std::pair<const char *, int> words[] = {{"rw", 1}, {"ro", 2},  {"disable", 0}, {"", 0},  {"r", 0},
                                                  {"RW", 0}, {"rwx", 0}, {"ro ", 0},     {"1", 0}, {"rw\n", 0}};
    for (const auto &[word, permission] : words) {
        host.set_config("nas_user_system_2.ftp", word);
        expect_user(get(1, "ftp", 2), "anna", "secret", permission, "");
    }
}

TEST_F(User, SystemUserWithoutPasswordIsAbsent)
{
    host.set_config("nas_user_system_0.ftp", "rw");
    host.set_config("nas_user_system_0.ftp.folder", "Disk1");
    expect_absent("ftp", 0);
    for (const char *value : {"anna", "anna,", "", ",secret", "anna, x"}) {
        SCOPED_TRACE(value);
        host.set_config("nas_user_system_0", value);
        expect_absent("ftp", 0);
        expect_absent(no_service, 0);
    }
}

TEST_F(User, SystemUsersPasswordEndsAtCommaAndBlank)
{
    host.set_config("nas_user_system_0.ftp", "rw");
    host.set_config("nas_user_system_0", "anna maria,se cret");
    expect_user(get(1, "ftp", 0), "anna maria", "se", 1, "");
    host.set_config("nas_user_system_0", "anna,se,2");
    expect_user(get(1, "ftp", 0), "anna", "se", 1, "");
}

TEST_F(User, WithoutServiceNameAndPasswordAreRead)
{
    host.set_config("nas_user_system_3", "anna,secret,2");
    host.set_config("nas_user_system_3.ftp", "disable");
    host.set_config("nas_user_system_3.ftp.folder", "Disk1");
    expect_user(get(1, no_service, 3), "anna", "secret", 1, "");
    EXPECT_EQ(host.config.total_reads, 1);
    expect_absent(no_service, 0);
}

TEST_F(User, ServiceNameIsReadNoFurtherThanItsEnd)
{
    host.set_config("nas_user_sam", "anna,pw,1");
    const GuardedText service("sam");
    expect_user(get(1, service, 0), "anna", "pw", 1, "");
}

// ---- by id, all slots

TEST_F(User, UserIsFoundByItsExactId)
{
    put_ftp_user(1, "anna");
    put_ftp_user(3, "anna maria");
    NasUser user;
    EXPECT_EQ(host.call(get_nas_user_by_id, "ftp", "anna", &user), 1);
    expect_user(user, "anna", "secret", 1, "");
    EXPECT_EQ(host.call(get_nas_user_by_id, "ftp", "anna maria", &user), 1);
    expect_user(user, "anna maria", "secret", 1, "");
    EXPECT_EQ(host.call(get_nas_user_by_id, "ftp", "anna", no_record), 1);
    for (const char *id : {"Anna", "ann", "anna ", "", "secret"})
        EXPECT_EQ(host.call(get_nas_user_by_id, "ftp", id, no_record), 0) << id;
    EXPECT_EQ(host.call(get_nas_user_by_id, "samba", "anna", no_record), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(User, FirstSlotWithTheIdWins)
{
    host.set_config("nas_user_samba_1", "anna,one,1");
    host.set_config("nas_user_samba_2", "anna,two,2");
    NasUser user;
    EXPECT_EQ(host.call(get_nas_user_by_id, "samba", "anna", &user), 1);
    EXPECT_STREQ(user.password, "one");
}

TEST_F(User, UserThatIsNotFoundLeavesTheRecord)
{
    put_ftp_user(0, "anna");
    NasUser user;
    std::memset(&user, 0x5a, sizeof user);
    EXPECT_EQ(host.call(get_nas_user_by_id, "ftp", "bert", &user), 0);
    EXPECT_EQ(bytes(user), std::string(sizeof user, '\x5a'));
}

TEST_F(User, NoSlotBehindTheFifthIsLookedAt)
{
    host.set_config("nas_user_samba_4", "anna,pw,1");
    host.set_config("nas_user_samba_5", "bert,pw,1");
    EXPECT_EQ(host.call(get_nas_user_by_id, "samba", "anna", no_record), 1);
    EXPECT_EQ(host.call(get_nas_user_by_id, "samba", "bert", no_record), 0);
    EXPECT_EQ(host.config.reads["nas_user_samba_5"], 0);
    EXPECT_EQ(host.config.reads["nas_user_samba_-1"], 0);
}

TEST_F(User, ArrayHoldsASlotEach)
{
    host.set_config("nas_user_samba", "anna,pw,1");
    host.set_config("nas_user_samba_2", "bert,pw,2");
    host.set_config("nas_user_samba_2.folder", "Disk2");
    host.set_config("nas_user_samba_3", "carl");
    const GuardedBuffer buffer(5 * sizeof(NasUser));
    NasUser *const users = reinterpret_cast<NasUser *>(buffer.data());
    EXPECT_EQ(host.call(get_nas_user_array, "samba", users, 5), 1);
    expect_user(users[0], "anna", "pw", 1, "");
    expect_user(users[2], "bert", "pw", 2, "Disk2");
    for (const int slot : {1, 3, 4})
        EXPECT_EQ(bytes(users[slot]), std::string(sizeof(NasUser), '\0')) << slot;
}

TEST_F(User, ArrayHasAsManySlotsAsAskedFor)
{
    for (int slot = 0; slot < 7; ++slot)
        put_ftp_user(slot, "user" + std::to_string(slot));
    std::vector<NasUser> users(7, make_user("untouched", "pw", 9));
    EXPECT_EQ(host.call(get_nas_user_array, "ftp", users.data(), 0), 1);
    EXPECT_STREQ(users[0].id, "untouched");
    EXPECT_EQ(host.call(get_nas_user_array, "ftp", users.data(), 2), 1);
    EXPECT_STREQ(users[0].id, "user0");
    EXPECT_STREQ(users[1].id, "user1");
    EXPECT_STREQ(users[2].id, "untouched");
    EXPECT_EQ(host.call(get_nas_user_array, "ftp", users.data(), 6), 1);
    EXPECT_STREQ(users[5].id, "user5");
    EXPECT_STREQ(users[6].id, "untouched");
}

// ---- writing

TEST_F(User, SystemUserIsWritten)
{
    EXPECT_EQ(set("ftp", 0, make_user("anna", "secret", 1, "Disk1:Movies")), 1);
    EXPECT_EQ(set("ftp", 4, make_user("bert", "pw", 2)), 1);
    EXPECT_EQ(host.transcript(), "set nas_user_system_0 = anna,secret\n"
                                 "set nas_user_system_0.ftp = rw\n"
                                 "set nas_user_system_0.ftp.folder = Disk1:Movies\n"
                                 "set nas_user_system_4 = bert,pw\n"
                                 "set nas_user_system_4.ftp = ro\n"
                                 "set nas_user_system_4.ftp.folder = \n");
}

TEST_F(User, AnyOtherPermissionIsStoredAsDisable)
{
    for (const int permission : {0, 7, 3, -1, 2147483647}) {
        host.forget();
        EXPECT_EQ(set("ftp", 1, make_user("anna", "pw", permission)), 1);
        EXPECT_EQ(host.transcript(), "set nas_user_system_1 = anna,pw\n"
                                     "set nas_user_system_1.ftp = disable\n"
                                     "set nas_user_system_1.ftp.folder = \n");
        expect_user(get(1, "ftp", 1), "anna", "pw", 0, "");
    }
}

TEST_F(User, OwnUserIsWritten)
{
    EXPECT_EQ(set("samba", 0, make_user("anna", "secret", 2, "Disk1")), 1);
    EXPECT_EQ(set("samba", 1, make_user("bert", "pw", 7)), 1);
    EXPECT_EQ(set("torrent", 0, make_user("carl", "pw", 1)), 1);
    EXPECT_EQ(host.transcript(), "set nas_user_samba = anna,secret,2\n"
                                 "set nas_user_samba.folder = Disk1\n"
                                 "set nas_user_samba_1 = bert,pw,7\n"
                                 "set nas_user_samba_1.folder = \n"
                                 "set nas_user_torrent = carl,pw,1\n"
                                 "set nas_user_torrent.folder = \n");
}

TEST_F(User, WithoutServiceTheMainKeyAloneIsTouched)
{
    EXPECT_EQ(set(no_service, 2, make_user("anna", "secret", 2, "Disk1")), 1);
    EXPECT_EQ(host.call(set_nas_user, no_service, 2, no_user), 1);
    EXPECT_EQ(host.transcript(), "set nas_user_system_2 = anna,secret\n"
                                 "remove nas_user_system_2\n");
}

TEST_F(User, SystemUserIsRemovedWithAllKeys)
{
    set("ftp", 3, make_user("anna", "secret", 1, "Disk1"));
    host.forget();
    EXPECT_EQ(host.call(set_nas_user, "ftp", 3, no_user), 1);
    EXPECT_EQ(host.transcript(), "remove nas_user_system_3\n"
                                 "remove nas_user_system_3.ftp\n"
                                 "remove nas_user_system_3.ftp.folder\n");
    expect_absent("ftp", 3);
}

TEST_F(User, OwnUserIsRemovedWithAllKeys)
{
    set("samba", 0, make_user("anna", "secret", 1, "Disk1"));
    host.forget();
    EXPECT_EQ(host.call(set_nas_user, "samba", 0, no_user), 1);
    EXPECT_EQ(host.call(set_nas_user2, "samba", 1, no_user), 1);
    EXPECT_EQ(host.transcript(), "remove nas_user_samba\n"
                                 "remove nas_user_samba.folder\n"
                                 "remove nas_user_samba_1 -> failed\n"
                                 "remove nas_user_samba_1.folder -> failed\n");
}

TEST_F(User, OwnKeysCanBeWrittenForFtp)
{
    const NasUser anna = make_user("anna", "secret", 2, "Disk1");
    EXPECT_EQ(host.call(set_nas_user2, "ftp", 0, &anna), 1);
    EXPECT_EQ(host.call(set_nas_user2, "ftp", 2, &anna), 1);
    EXPECT_EQ(host.call(set_nas_user2, "ftp", 2, no_user), 1);
    EXPECT_EQ(host.transcript(), "set nas_user_ftp = anna,secret,2\n"
                                 "set nas_user_ftp.folder = Disk1\n"
                                 "set nas_user_ftp_2 = anna,secret,2\n"
                                 "set nas_user_ftp_2.folder = Disk1\n"
                                 "remove nas_user_ftp_2\n"
                                 "remove nas_user_ftp_2.folder\n");
}

TEST_F(User, ValueIsWrittenCutAt511Characters)
{
    const std::string name(127, 'n');
    const std::string password(383, 'p');
    EXPECT_EQ(set("ftp", 0, make_user(name, password, 1, std::string(255, 'f'))), 1);
    EXPECT_EQ(set("samba", 0, make_user(name, password, 2)), 1);
    EXPECT_EQ(set("samba", 1, make_user(name, std::string(381, 'p'), 2)), 1);
    EXPECT_EQ(host.transcript(), "set nas_user_system_0 = " + name + "," + password +
                                     "\n"
                                     "set nas_user_system_0.ftp = rw\n"
                                     "set nas_user_system_0.ftp.folder = " +
                                     std::string(255, 'f') +
                                     "\n"
                                     "set nas_user_samba = " +
                                     name + "," + password +
                                     "\n"
                                     "set nas_user_samba.folder = \n"
                                     "set nas_user_samba_1 = " +
                                     name + "," + std::string(381, 'p') +
                                     ",2\n"
                                     "set nas_user_samba_1.folder = \n");
}

TEST_F(User, MainKeyIsWrittenCutAt31CharactersTheFoldersKeyAt63)
{
    const NasUser anna = make_user("anna", "pw", 1, "Disk1");
    EXPECT_EQ(set("abcdefghijklmnopqrstuvwxyz", 1, anna), 1);
    EXPECT_EQ(set("abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz0123456789", 0, anna), 1);
    EXPECT_EQ(host.transcript(), "set nas_user_abcdefghijklmnopqrstuv = anna,pw,1\n"
                                 "set nas_user_abcdefghijklmnopqrstuvwxyz_1.folder = Disk1\n"
                                 "set nas_user_abcdefghijklmnopqrstuv = anna,pw,1\n"
                                 "set nas_user_abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz01 = Disk1\n");
}

TEST_F(User, TextsAreNoFormats)
{
    EXPECT_EQ(set("samba", 0, make_user("%s%n", "%d%%", 1, "%s")), 1);
    EXPECT_EQ(host.transcript(), "set nas_user_samba = %s%n,%d%%,1\n"
                                 "set nas_user_samba.folder = %s\n");
}

TEST_F(User, FailingStoreIsNotReported)
{
    host.config.refuses_writes = true;
    EXPECT_EQ(set("ftp", 0, make_user("anna", "pw", 1)), 1);
    EXPECT_EQ(set("samba", 0, make_user("anna", "pw", 1)), 1);
    EXPECT_EQ(host.count_lines("set "), 5);
}

// ---- accounts

TEST_F(User, FtpUserBecomesAnAccountWithPassword)
{
    EXPECT_EQ(add_account("ftp", make_user("anna", "secret", 1)), 0);
    EXPECT_EQ(host.transcript(),
              "run /bin/echo -en \"\\n\" | /bin/adduser 'anna' > /dev/null 2>&1 -> 0\n"
              "run /bin/echo -en \"secret\\nsecret\\n\" | /usr/bin/passwd 'anna' > /dev/null 2>&1 -> 0\n");
    EXPECT_EQ(host.config.total_reads, 0);
}

TEST_F(User, SambaUserBecomesAnAccountWithoutPassword)
{
    EXPECT_EQ(add_account("samba", make_user("anna", "secret", 0)), 0);
    EXPECT_EQ(host.transcript(), "run /bin/echo -en \"\\n\" | /bin/adduser 'anna' > /dev/null 2>&1 -> 0\n");
}

TEST_F(User, UsersOfOtherServicesAreNoAccounts)
{
    for (const char *service : {"url", "rsync", "nalvexcloud", "torrent", "media", "entware", "", "FTP"})
        EXPECT_EQ(add_account(service, make_user("anna", "secret", 1)), 0) << service;
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(User, AccountIsMadeWhateverTheCommandsSay)
{
    host.on_command_prefix("/bin/echo", {-1, 1});
    EXPECT_EQ(add_account("ftp", make_user("anna", "pw", 1)), 0);
    EXPECT_EQ(host.transcript(), "run /bin/echo -en \"\\n\" | /bin/adduser 'anna' > /dev/null 2>&1 -> failed\n"
                                 "run /bin/echo -en \"pw\\npw\\n\" | /usr/bin/passwd 'anna' > /dev/null 2>&1 -> 1\n");
}

TEST_F(User, QuotesAreEscapedInAccountCommands)
{
    EXPECT_EQ(add_account("ftp", make_user("o'neil", "it's%s", 1)), 0);
    EXPECT_EQ(host.transcript(), "run /bin/echo -en \"\\n\" | /bin/adduser 'o'\\''neil' > /dev/null 2>&1 -> 0\n"
                                 "run /bin/echo -en \"it'\\''s%s\\nit'\\''s%s\\n\" | /usr/bin/passwd 'o'\\''neil' "
                                 "> /dev/null 2>&1 -> 0\n");
}

TEST_F(User, AccountNameIsCutAt63Characters)
{
    const std::string name(63, 'n');
    EXPECT_EQ(add_account("ftp", make_user(name + "xyz", "pw", 1)), 0);
    EXPECT_EQ(host.transcript(), "run /bin/echo -en \"\\n\" | /bin/adduser '" + name +
                                     "' > /dev/null 2>&1 -> 0\n"
                                     "run /bin/echo -en \"pw\\npw\\n\" | /usr/bin/passwd '" +
                                     name + "' > /dev/null 2>&1 -> 0\n");
}

TEST_F(User, AccountCommandsAreCutAt255Characters)
{
    const std::string password(127, 'p');
    EXPECT_EQ(add_account("ftp", make_user(std::string(63, '\''), password + "xyz", 1)), 0);
    ASSERT_EQ(host.lines().size(), 2U);
    std::string quotes;
    for (int i = 0; i < 63; ++i)
        quotes += "'\\''";
    const std::string add = "/bin/echo -en \"\\n\" | /bin/adduser '" + quotes;
    const std::string pass = "/bin/echo -en \"" + password + "\\n" + password + "\\n\" | /usr/bin/passwd '";
    EXPECT_EQ(host.lines()[0], "run " + add.substr(0, 255) + " -> 0");
    EXPECT_EQ(host.lines()[1], "run " + pass.substr(0, 255) + " -> 0");
}

TEST_F(User, LongPasswordThatFitsTheCommandIsWhole)
{
    const std::string password(90, 'p');
    EXPECT_EQ(add_account("ftp", make_user("a", password, 1)), 0);
    EXPECT_EQ(host.lines().back(), "run /bin/echo -en \"" + password + "\\n" + password +
                                       "\\n\" | /usr/bin/passwd 'a' > /dev/null 2>&1 -> 0");
}

TEST_F(User, AccountIsDeleted)
{
    put_ftp_user(2, "o'neil");
    EXPECT_EQ(host.call(remove_user_system, "ftp", 2), 0);
    EXPECT_EQ(host.transcript(), "run /bin/deluser 'o'\\''neil' -> 0\n");
}

TEST_F(User, DeletedAccountsNameIsCutAt63Characters)
{
    host.set_config("nas_user_samba_1", std::string(127, 'n') + ",pw,0");
    EXPECT_EQ(host.call(remove_user_system, "samba", 1), 0);
    EXPECT_EQ(host.transcript(), "run /bin/deluser '" + std::string(63, 'n') + "' -> 0\n");
}

TEST_F(User, DeletedAccountsNameIsQuotedWhole)
{
    host.set_config("nas_user_samba", std::string(63, '\'') + ",pw,1");
    EXPECT_EQ(host.call(remove_user_system, "samba", 0), 0);
    std::string quotes;
    for (int i = 0; i < 63; ++i)
        quotes += "'\\''";
    EXPECT_EQ(host.transcript(), "run /bin/deluser '" + quotes + "' -> 0\n");
}

TEST_F(User, AccountStaysWhileAnotherServiceUsesIt)
{
    put_ftp_user(0, "anna");
    host.set_config("nas_user_samba_4", "anna,other,0");
    EXPECT_EQ(host.call(remove_user_system, "ftp", 0), 0);
    EXPECT_EQ(host.call(remove_user_system, "samba", 4), 0);
    EXPECT_EQ(host.transcript(), "");
    host.set_config("nas_user_samba_4", "Anna,other,0");
    EXPECT_EQ(host.call(remove_user_system, "ftp", 0), 0);
    EXPECT_EQ(host.call(remove_user_system, "samba", 4), 0);
    EXPECT_EQ(host.transcript(), "run /bin/deluser 'anna' -> 0\n"
                                 "run /bin/deluser 'Anna' -> 0\n");
}

TEST_F(User, NoAccountIsDeletedForFreeSlotsAndOtherServices)
{
    host.set_config("nas_user_url", "anna,pw,1");
    host.set_config("nas_user_samba", "anna");
    for (const char *service : {"ftp", "samba", "url", "rsync", "", "other"})
        EXPECT_EQ(host.call(remove_user_system, service, 0), 0) << service;
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(User, OtherServicesWithAccountsAreLookedAt)
{
    put_ftp_user(1, "anna");
    host.set_config("nas_user_samba_2", "bert,pw,1");
    host.set_config("nas_user_url", "carl,pw,1");
    const auto valid = [&](const char *id, const char *service) {
        return host.call(check_user_valid_outof_service, id, service);
    };
    EXPECT_EQ(valid("anna", "ftp"), 0);
    EXPECT_EQ(valid("anna", "samba"), 1);
    EXPECT_EQ(valid("anna", "url"), 1);
    EXPECT_EQ(valid("anna", "unknown"), 1);
    EXPECT_EQ(valid("bert", "ftp"), 1);
    EXPECT_EQ(valid("bert", "samba"), 0);
    EXPECT_EQ(valid("bert", "url"), 1);
    for (const char *service : {"ftp", "samba", "rsync", "unknown"})
        EXPECT_EQ(valid("carl", service), 0) << service; // the web's users are no accounts
    EXPECT_EQ(valid("", "url"), 0);
    EXPECT_EQ(host.transcript(), "");
}

// ---- users of the old kind

TEST_F(User, OldFtpUsersAreMoved)
{
    host.set_config("nas_user_ftp", "anna,secret,2");
    host.set_config("nas_user_ftp.folder", "Disk1");
    host.set_config("nas_user_ftp_3", "bert,pw");
    EXPECT_EQ(host.call(convert_userdb), 0);
    EXPECT_EQ(host.transcript(), "set nas_user_system_0 = anna,secret\n"
                                 "set nas_user_system_0.ftp = ro\n"
                                 "set nas_user_system_0.ftp.folder = Disk1\n"
                                 "remove nas_user_ftp\n"
                                 "remove nas_user_ftp.folder\n"
                                 "set nas_user_system_3 = bert,pw\n"
                                 "set nas_user_system_3.ftp = rw\n"
                                 "set nas_user_system_3.ftp.folder = \n"
                                 "remove nas_user_ftp_3\n"
                                 "remove nas_user_ftp_3.folder -> failed\n");
    host.forget();
    EXPECT_EQ(host.call(convert_userdb), 0);
    EXPECT_EQ(host.transcript(), "");
}

// A store that fails must not lose a user.
TEST_F(User, OldFtpUserStaysUntilTheNewOneIsStored)
{
    host.set_config("nas_user_ftp", "anna,secret,2");
    host.set_config("nas_user_ftp.folder", "Disk1");
    host.config.refuses_writes = true;
    EXPECT_EQ(host.call(convert_userdb), 0);
    EXPECT_EQ(host.transcript(), "set nas_user_system_0 = anna,secret -> failed\n"
                                 "set nas_user_system_0.ftp = ro -> failed\n"
                                 "set nas_user_system_0.ftp.folder = Disk1 -> failed\n");
    host.config.refuses_writes = false;
    host.forget();
    EXPECT_EQ(host.call(convert_userdb), 0);
    EXPECT_EQ(host.count_lines("set "), 3);
    EXPECT_EQ(host.count_lines("remove "), 2);
}

TEST_F(User, OldFtpUserStaysWhenAnyPartOfTheNewOneIsNotStored)
{
    host.set_config("nas_user_ftp", "anna,secret,2");
    host.set_config("nas_user_ftp.folder", "Disk1");
    for (const char *key : {"nas_user_system_0", "nas_user_system_0.ftp", "nas_user_system_0.ftp.folder"}) {
        host.config.refused = {key};
        host.forget();
        EXPECT_EQ(host.call(convert_userdb), 0);
        EXPECT_EQ(host.count_lines("set "), 3) << key;
        EXPECT_EQ(host.count_lines("remove "), 0) << key;
    }
}

TEST_F(User, FolderOfAnOldFtpUserStaysWithTheUser)
{
    host.set_config("nas_user_ftp", "anna,secret,2");
    host.set_config("nas_user_ftp.folder", "Disk1");
    host.config.refused = {"nas_user_ftp"};
    EXPECT_EQ(host.call(convert_userdb), 0);
    EXPECT_EQ(host.lines().back(), "remove nas_user_ftp -> failed");
    EXPECT_EQ(*host.config.look_up("nas_user_ftp.folder"), "Disk1");
}

TEST_F(User, WithoutOldFtpUsersNothingIsChanged)
{
    put_ftp_user(0, "anna");
    host.set_config("nas_user_ftp_1", "bert");
    host.set_config("nas_user_ftp_5", "carl,pw,1");
    host.set_config("nas_user_samba", "dina,pw,1");
    EXPECT_EQ(host.call(convert_userdb), 0);
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(host.config.total_reads, 5);
}

} // namespace
