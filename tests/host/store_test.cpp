#include "platform/store.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

using host_test::in_child;

namespace
{

std::string config_text(const char *key)
{
    char value[NAS_STORE_VALUE_SIZE] = "unset";
    return iconfig_get_value_direct(key, value) == 0 ? value : "absent";
}

} // namespace

TEST(Store, GivesBackWhatWasWritten)
{
    EXPECT_EQ(0, iconfig_set_value_direct("media_conf", "1,Living room,"));
    EXPECT_EQ("1,Living room,", config_text("media_conf"));
    EXPECT_EQ(0, iconfig_set_value_direct("media_conf", ""));
    EXPECT_EQ("", config_text("media_conf"));
    EXPECT_EQ(0, iconfig_set_value_direct("odd ' key", "quote ' and \" and \n"));
    EXPECT_EQ("quote ' and \" and \n", config_text("odd ' key"));
}

TEST(Store, LeavesTheBufferOfAnAbsentKey)
{
    char value[NAS_STORE_VALUE_SIZE] = "before";
    EXPECT_EQ(-1, iconfig_get_value_direct("no_such_key", value));
    EXPECT_STREQ("before", value);
    EXPECT_EQ(-1, istatus_get_value_direct("no_such_key", value));
    EXPECT_STREQ("before", value);
    EXPECT_EQ(-1, iconfig_get_intvalue_direct("no_such_key"));
    EXPECT_EQ(-1, istatus_get_intvalue_direct("no_such_key"));
}

TEST(Store, KeepsItsTwoStoresApart)
{
    iconfig_set_value_direct("same", "kept");
    istatus_set_value_direct("same", "volatile");
    char value[NAS_STORE_VALUE_SIZE];
    EXPECT_EQ(0, istatus_get_value_direct("same", value));
    EXPECT_STREQ("volatile", value);
    EXPECT_EQ("kept", config_text("same"));
}

TEST(Store, ReadsNumbersAsStrtolDoes)
{
    EXPECT_EQ(0, istatus_set_intvalue_direct("n", -12));
    EXPECT_EQ(-12, istatus_get_intvalue_direct("n"));
    const std::pair<const char *, int> cases[] = {
        {"", 0}, {"abc", 0}, {" 7", 7}, {"12x", 12}, {"0x10", 0}, {"99999999999", 2147483647}, {"1,2", 1}, {"-5 ", -5}};
    for (const auto &[text, number] : cases) {
        iconfig_set_value_direct("n", text);
        EXPECT_EQ(number, iconfig_get_intvalue_direct("n")) << text;
    }
    iconfig_set_intvalue_direct("n", 2147483647);
    EXPECT_EQ("2147483647", config_text("n"));
}

TEST(Store, RefusesAValueThatNoReaderCouldHold)
{
    std::string longest(1023, 'a'), longer(1024, 'b');
    EXPECT_EQ(0, iconfig_set_value_direct("long", longest.c_str()));
    EXPECT_EQ(-1, iconfig_set_value_direct("long", longer.c_str()));
    EXPECT_EQ(longest, config_text("long"));
}

TEST(Store, WritesNoByteBehindTheBuffer)
{
    // A longer value can only come from another program.
    iconfig_set_value_direct("foreign", "");
    std::string path = host_test::folder() + "/etc/config.db";
    int status = 1;
    host_test::output_of(
        "sqlite3 " + path + " \"UPDATE pair SET value = printf('%.3000c', 'x') WHERE key = 'foreign'\"", &status);
    ASSERT_EQ(0, status) << "the program sqlite3 is needed";
    char room[NAS_STORE_VALUE_SIZE + 8];
    memset(room, 'G', sizeof room);
    EXPECT_EQ(0, iconfig_get_value_direct("foreign", room));
    EXPECT_EQ(1023U, strlen(room));
    for (size_t i = NAS_STORE_VALUE_SIZE; i < sizeof room; i++)
        EXPECT_EQ('G', room[i]);
}

TEST(Store, TellsWhetherARemovedKeyWasThere)
{
    iconfig_set_value_direct("gone", "1");
    istatus_set_value_direct("gone", "1");
    EXPECT_EQ(0, iconfig_remove_config_tag("gone"));
    EXPECT_EQ(-1, iconfig_remove_config_tag("gone"));
    EXPECT_EQ("absent", config_text("gone"));
    EXPECT_EQ(0, istatus_remove_status_tag("gone"));
    EXPECT_EQ(-1, istatus_remove_status_tag("gone"));
}

TEST(Store, IsItsOwnersAlone)
{
    iconfig_set_value_direct("secret", "1");
    for (const char *name : {"/etc/config.db", "/etc/config.db-wal"}) {
        struct stat status = {};
        ASSERT_EQ(0, stat((host_test::folder() + name).c_str(), &status)) << name;
        EXPECT_EQ(0600U, status.st_mode & 0777) << name;
    }
}

TEST(Store, FailsHonestlyWhereItCannotBe)
{
    EXPECT_TRUE(in_child([] {
        host_test::put_contents(host_test::folder() + "/plain", "no folder");
        host_test::use_settings("config_store = " + host_test::folder() + "/plain/config.db\n");
        char value[NAS_STORE_VALUE_SIZE] = "before";
        return iconfig_set_value_direct("k", "v") == -1 && iconfig_get_value_direct("k", value) == -1 &&
               strcmp(value, "before") == 0 && iconfig_remove_config_tag("k") == -1;
    }));
    host_test::use_settings();
}

TEST(Store, WorksOnBothSidesOfAFork)
{
    iconfig_set_value_direct("parent", "before");
    bool child = in_child([] {
        return config_text("parent") == "before" && iconfig_set_value_direct("child", "wrote") == 0 &&
               in_child([] { return iconfig_set_value_direct("grandchild", "wrote") == 0; }) &&
               config_text("grandchild") == "wrote" && iconfig_set_value_direct("child", "wrote again") == 0;
    });
    EXPECT_TRUE(child);
    EXPECT_EQ("wrote again", config_text("child"));
    EXPECT_EQ("wrote", config_text("grandchild"));
    EXPECT_EQ(0, iconfig_set_value_direct("parent", "after"));
    EXPECT_EQ("after", config_text("parent"));
}

/* A child lives on after its parent and writes, while others open the store, write and leave. Had it kept its
 * parent's handle it would hold no lock, and every newcomer would begin the shared index anew below it. */
TEST(Store, ChildOutlivesItsParentWithTheStoreOpen)
{
    constexpr int newcomers = 60;
    int turn[2];
    ASSERT_EQ(0, pipe(turn));
    bool parent = in_child([&] {
        iconfig_set_value_direct("orphan", "0");
        pid_t orphan = host_test::start_child([&] {
            bool good = true;
            char stop;
            fcntl(turn[0], F_SETFL, O_NONBLOCK);
            for (int i = 1; read(turn[0], &stop, 1) != 1; i++)
                good =
                    good && iconfig_set_intvalue_direct("orphan", i) == 0 && iconfig_get_intvalue_direct("orphan") == i;
            iconfig_set_intvalue_direct("orphan_was_well", good ? 1 : 0);
            return true;
        });
        return orphan > 0;
    });
    EXPECT_TRUE(parent);
    for (int i = 1; i <= newcomers; i++)
        EXPECT_TRUE(
            in_child([i] { return iconfig_set_intvalue_direct(("newcomer" + std::to_string(i)).c_str(), i) == 0; }));
    EXPECT_EQ(1, write(turn[1], "s", 1));
    host_test::wait_until([] { return iconfig_get_intvalue_direct("orphan_was_well") != -1; });
    EXPECT_EQ(1, iconfig_get_intvalue_direct("orphan_was_well"));
    for (int i = 1; i <= newcomers; i++)
        EXPECT_EQ(i, iconfig_get_intvalue_direct(("newcomer" + std::to_string(i)).c_str()));
    close(turn[0]);
    close(turn[1]);
}

TEST(Store, ManyProcessesCreateTheStoreAtOnce)
{
    std::string path = host_test::folder() + "/new/folder/config.db";
    host_test::use_settings("config_store = " + path + "\n");
    auto writer = [](int i) { return iconfig_set_intvalue_direct(("writer" + std::to_string(i)).c_str(), i) == 0; };
    std::vector<pid_t> pids;
    for (int i = 0; i < 16; i++)
        pids.push_back(host_test::start_child([&, i] { return writer(i); }));
    for (pid_t pid : pids)
        EXPECT_TRUE(host_test::child_succeeded(pid));
    EXPECT_TRUE(host_test::in_child([] {
        for (int i = 0; i < 16; i++) {
            if (iconfig_get_intvalue_direct(("writer" + std::to_string(i)).c_str()) != i)
                return false;
        }
        return true;
    }));
    host_test::use_settings();
}
