/* nasctl status and events --follow. */
#include "clients.h"
#include "event_log.h"
#include "processes.h"

#include "fixture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>

using nasctl::Connection;
using nlohmann::json;

namespace
{

std::vector<std::string> texts(const std::vector<nashost::Event> &events)
{
    std::vector<std::string> all;
    for (const nashost::Event &event : events)
        all.push_back(event.detail);
    return all;
}

/* nasctl, until the object ends it. */
class Running
{
  public:
    explicit Running(const std::string &arguments)
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
        child_ = host_test::start_child([&] {
            dup2(ends[1], STDOUT_FILENO);
            execl("/bin/sh", "sh", "-c", ("exec " NASCTL " " + arguments).c_str(), nullptr);
            return false;
        });
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    ~Running()
    {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
        fclose(output_);
    }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    /* With its line feed; empty when there is no other. */
    std::string next_line()
    {
        char line[4096];
        return fgets(line, sizeof line, output_) != nullptr ? line : "";
    }

  private:
    pid_t child_ = -1;
    FILE *output_ = nullptr;
};

struct FollowedLog : testing::Test {
    FollowedLog()
    {
        host_test::use_settings("event_log_size = 200\n");
        std::filesystem::remove_all(host_test::folder() + "/log");
    }
    static void append(const std::string &detail)
    {
        ASSERT_TRUE(nashost::append_event({"", 1, "@{106}", detail, "text"}));
    }
};

} // namespace

TEST(Clients, AreReadFromTheKernelsTables)
{
    Connection connection;
    ASSERT_TRUE(nasctl::parse_connection(
        "   1: 0101A8C0:0015 0A01A8C0:C350 01 00000000:00000000 00:00000000 00000000 0 0 12345", connection));
    EXPECT_EQ(21, connection.local_port);
    EXPECT_EQ("192.168.1.10", connection.remote_address);
    ASSERT_TRUE(nasctl::parse_connection("   2: 0000000000000000FFFF00000101A8C0:01BD "
                                         "0000000000000000FFFF00000A01A8C0:C351 01 0:0",
                                         connection));
    EXPECT_EQ(445, connection.local_port);
    EXPECT_EQ("192.168.1.10", connection.remote_address);
    ASSERT_TRUE(nasctl::parse_connection("   3: 00000000000000000000000001000000:0015 "
                                         "B80D0120000000000000000001000000:C351 01 0:0",
                                         connection));
    EXPECT_EQ("2001:db8::1", connection.remote_address);
}

TEST(Clients, WhatIsNoConnectionIsNone)
{
    Connection connection;
    for (const char *line :
         {"", "  sl  local_address rem_address   st tx_queue", "   0: 00000000:0015 00000000:0000 0A x",
          "   1: 0101A8C0:0015 0A01A8C0:C350 06 x", "   1: 0101A8C0:0015 nonsense:C350 01 x"})
        EXPECT_FALSE(nasctl::parse_connection(line, connection)) << line;
}

TEST(Clients, AreCountedOnceAndNotForThisMachine)
{
    const std::vector<Connection> all = {
        {21, "192.168.1.10"}, {21, "192.168.1.10"}, {21, "192.168.1.11"}, {21, "127.0.0.1"}, {80, "192.168.1.12"}};
    EXPECT_EQ((std::set<std::string>{"192.168.1.10", "192.168.1.11"}), nasctl::clients_of({21, 9000}, all));
    EXPECT_TRUE(nasctl::clients_of({}, all).empty());
}

TEST(Status, AProcessHasAStart)
{
    const std::optional<time_t> start = nashost::process_start(getpid());
    ASSERT_TRUE(start.has_value());
    EXPECT_LE(*start, time(nullptr) + 1);
    EXPECT_GT(*start, time(nullptr) - 600);
    EXPECT_FALSE(nashost::process_start(0).has_value());
}

TEST(Status, HasEveryServiceAndTheDevices)
{
    const json state = json::parse(host_test::nasctl("status --json"));
    EXPECT_EQ(0, host_test::exit_status);
    ASSERT_EQ(8U, state["services"].size());
    for (const char *key :
         {"enabled", "running", "needed", "starting", "disk", "ports", "internet", "since", "clients"})
        EXPECT_TRUE(state["services"][0].contains(key)) << key;
    EXPECT_TRUE(state["volumes"].is_array());
    EXPECT_TRUE(state["usb"].is_array());
    EXPECT_EQ(0U, host_test::nasctl("status").find("SERVICE "));
}

TEST(Status, IsRepeatedUntilItIsEnded)
{
    Running watch("status --watch 1");
    for (int looks = 0; looks < 2;) {
        const std::string line = watch.next_line();
        ASSERT_NE("", line);
        looks += line.find("SERVICE ") == 0 ? 1 : 0;
    }
    host_test::nasctl("status --watch 0");
    EXPECT_EQ(2, host_test::exit_status);
}

TEST_F(FollowedLog, NewEventsAreHandedOutOnce)
{
    append("one");
    nashost::LogPlace place = nashost::end_of_log();
    EXPECT_TRUE(nashost::next_events(place).empty());
    append("two");
    EXPECT_EQ(std::vector<std::string>{"two"}, texts(nashost::next_events(place)));
    EXPECT_TRUE(nashost::next_events(place).empty());
}

TEST_F(FollowedLog, ALineThatIsJustBeingWrittenComesTheNextTime)
{
    append("one");
    nashost::LogPlace place;
    ASSERT_EQ(1U, nashost::last_events(10, place).size());
    std::ofstream(host_test::folder() + "/log/events", std::ios::app) << "2024-05-01T00:00:00Z\t1\t@{106}\ttwo\tte";
    EXPECT_TRUE(nashost::next_events(place).empty());
    std::ofstream(host_test::folder() + "/log/events", std::ios::app) << "xt\n";
    EXPECT_EQ(std::vector<std::string>{"two"}, texts(nashost::next_events(place)));
    EXPECT_TRUE(nashost::next_events(place).empty());
}

TEST_F(FollowedLog, TheLastOnesReachIntoTheOldLog)
{
    for (int i = 0; i < 6; i++)
        append(std::to_string(i)); // no more than five fit
    ASSERT_TRUE(std::filesystem::exists(host_test::folder() + "/log/events.1"));
    nashost::LogPlace place;
    EXPECT_EQ((std::vector<std::string>{"3", "4", "5"}), texts(nashost::last_events(3, place)));
    append("6");
    EXPECT_EQ(std::vector<std::string>{"6"}, texts(nashost::next_events(place)));
}

TEST_F(FollowedLog, NothingIsLostWhenTheLogBeginsAnew)
{
    nashost::LogPlace place = nashost::end_of_log();
    std::vector<std::string> seen;
    for (int i = 0; i < 20; i++) {
        append(std::to_string(i));
        for (const std::string &detail : texts(nashost::next_events(place)))
            seen.push_back(detail);
    }
    ASSERT_EQ(20U, seen.size());
    EXPECT_EQ("0", seen.front());
    EXPECT_EQ("19", seen.back());
    EXPECT_TRUE(std::filesystem::exists(host_test::folder() + "/log/events.1"));
}

TEST_F(FollowedLog, TheCommandPrintsWhatComes)
{
    append("before");
    Running follower("--json events --follow -n 1");
    EXPECT_EQ("before", json::parse(follower.next_line())["detail"]);
    append("after");
    EXPECT_EQ("after", json::parse(follower.next_line())["detail"]);
}
