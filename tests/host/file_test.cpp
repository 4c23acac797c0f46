#include "platform/process.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

using host_test::contents;
using host_test::put_contents;

namespace
{

std::string file(const char *name)
{
    return host_test::folder() + "/" + name;
}

unsigned mode_of(const std::string &path)
{
    struct stat status = {};
    stat(path.c_str(), &status);
    return status.st_mode & 0777;
}

} // namespace

TEST(WriteFile, ReplacesTheContentAndTheMode)
{
    std::string path = file("written");
    EXPECT_EQ(0, write_file(path.c_str(), "a long first text\n"));
    EXPECT_EQ(0, write_file(path.c_str(), "short"));
    EXPECT_EQ("short", contents(path));
    chmod(path.c_str(), 0600);
    mode_t before = umask(077);
    EXPECT_EQ(0, write_file(path.c_str(), ""));
    umask(before);
    EXPECT_EQ("", contents(path));
    EXPECT_EQ(0644U, mode_of(path));
}

TEST(WriteFile, FollowsALinkAndWritesToDevices)
{
    put_contents(file("target"), "old");
    std::filesystem::create_symlink(file("target"), file("link"));
    EXPECT_EQ(0, write_file(file("link").c_str(), "new"));
    EXPECT_TRUE(std::filesystem::is_symlink(file("link")));
    EXPECT_EQ("new", contents(file("target")));
    EXPECT_EQ(0, write_file("/dev/null", "gone"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(WriteFile, FailsWithoutAFolderAndLeavesNothing)
{
    EXPECT_EQ(-1, write_file(file("no/such/folder").c_str(), "x"));
    std::filesystem::create_directory(file("a_folder"));
    EXPECT_EQ(-1, write_file(file("a_folder").c_str(), "x"));
    std::filesystem::create_directory(file("empty"));
    write_file(file("empty/one").c_str(), "x");
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(file("empty")), {}));
}

TEST(WriteFile, NeverShowsHalfAFile)
{
    std::string path = file("seen"), a(200000, 'a'), b(150000, 'b');
    write_file(path.c_str(), a.c_str());
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        for (int i = 0; i < 300; i++)
            write_file(path.c_str(), i % 2 == 0 ? b.c_str() : a.c_str());
        stop = true;
    });
    int torn = 0;
    while (!stop) {
        std::string text = contents(path);
        torn += text == a || text == b ? 0 : 1;
    }
    writer.join();
    EXPECT_EQ(0, torn);
}

TEST(WriteFile, ClearsAwayWhatAKilledWriterLeft)
{
    const std::string path = host_test::folder() + "/draft-test";
    host_test::put_contents(host_test::folder() + "/.draft-test.draft", "half of a much longer te");
    EXPECT_EQ(0, write_file(path.c_str(), "whole"));
    EXPECT_EQ("whole", host_test::contents(path));
    EXPECT_NE(0, access((host_test::folder() + "/.draft-test.draft").c_str(), F_OK));
}

TEST(WriteFile, ManyWritersAtOnceLeaveOneWholeFile)
{
    const std::string path = host_test::folder() + "/many-writers";
    std::vector<pid_t> writers;
    for (int writer = 0; writer < 8; writer++) {
        writers.push_back(host_test::start_child([&] {
            const std::string text(1000, static_cast<char>('a' + writer));
            for (int i = 0; i < 200; i++) {
                if (write_file(path.c_str(), text.c_str()) != 0)
                    return false;
                const std::string now = host_test::contents(path);
                if (now.size() != 1000 || now.find_first_not_of(now[0]) != std::string::npos)
                    return false;
            }
            return true;
        }));
    }
    for (const pid_t writer : writers)
        EXPECT_TRUE(host_test::child_succeeded(writer));
    EXPECT_NE(0, access((host_test::folder() + "/.many-writers.draft").c_str(), F_OK));
}

TEST(FileString, ReadsWithoutTheTrailingNewline)
{
    char buffer[8];
    put_contents(file("text"), " 2.00\n");
    EXPECT_NE(0, get_file_string(file("text").c_str(), buffer, sizeof buffer));
    EXPECT_STREQ(" 2.00", buffer);
    put_contents(file("text"), "two\n\n");
    get_file_string(file("text").c_str(), buffer, sizeof buffer);
    EXPECT_STREQ("two\n", buffer);
    put_contents(file("text"), "");
    EXPECT_NE(0, get_file_string(file("text").c_str(), buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
}

TEST(FileString, KeepsToItsBuffer)
{
    char buffer[12];
    memset(buffer, 'G', sizeof buffer);
    put_contents(file("text"), "0123456789abcdef");
    EXPECT_NE(0, get_file_string(file("text").c_str(), buffer, 8));
    EXPECT_STREQ("0123456", buffer);
    EXPECT_EQ('G', buffer[8]);
    EXPECT_NE(0, get_file_string(file("text").c_str(), buffer, 1));
    EXPECT_STREQ("", buffer);
    strcpy(buffer, "kept");
    EXPECT_EQ(0, get_file_string(file("text").c_str(), buffer, 0));
    EXPECT_EQ(0, get_file_string("/no/such/file", buffer, sizeof buffer));
    EXPECT_EQ(0, get_file_string("/", buffer, sizeof buffer));
    EXPECT_STREQ("kept", buffer);
}

TEST(FileValue, ReadsADecimalNumber)
{
    const std::pair<const char *, int> cases[] = {{"480\n", 480}, {"-3", -3}, {"  12 x", 12}, {"", 0}, {"x", 0}};
    for (const auto &[text, number] : cases) {
        put_contents(file("number"), text);
        EXPECT_EQ(number, get_file_value(file("number").c_str(), 1)) << text;
    }
    EXPECT_EQ(0, get_file_value("/no/such/file", 1));
}

TEST(FileExists, SeesFilesFoldersAndDanglingLinks)
{
    EXPECT_NE(0, file_exists("/"));
    EXPECT_NE(0, file_exists(file("conf").c_str()));
    EXPECT_EQ(0, file_exists(file("absent").c_str()));
    std::filesystem::create_symlink(file("absent"), file("dangling"));
    EXPECT_EQ(0, file_exists(file("dangling").c_str()));
}
