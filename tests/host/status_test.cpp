/* nasctl status and events --follow. */
#include "clients.h"
#include "event_log.h"
#include "processes.h"

#include "fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <ctime>
#include <filesystem>

using nasctl::Connection;
using nlohmann::json;

namespace
{

std::string nasctl_output(const std::string &arguments, int *status)
{
    return host_test::output_of(NASCTL " " + arguments + " 2>&1", status);
}

std::vector<std::string> texts(const std::vector<nashost::Event> &events)
{
    std::vector<std::string> all;
    for (const nashost::Event &event : events)
        all.push_back(event.detail);
    return all;
}

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
    int status = -1;
    const json state = json::parse(nasctl_output("status --json", &status));
    EXPECT_EQ(0, status);
    ASSERT_EQ(8U, state["services"].size());
    for (const char *key :
         {"enabled", "running", "needed", "starting", "disk", "ports", "internet", "since", "clients"})
        EXPECT_TRUE(state["services"][0].contains(key)) << key;
    EXPECT_TRUE(state["volumes"].is_array());
    EXPECT_TRUE(state["usb"].is_array());
    EXPECT_EQ(0U, nasctl_output("status", &status).find("SERVICE "));
}

TEST(Status, IsRepeatedUntilItIsEnded)
{
    int status = -1;
    const std::string output = host_test::output_of("timeout 2.5 " NASCTL " status --watch 1", &status);
    EXPECT_EQ(124, status);
    EXPECT_NE(output.find("SERVICE "), output.rfind("SERVICE "));
    nasctl_output("status --watch 0", &status);
    EXPECT_EQ(2, status);
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
    const std::string file = host_test::folder() + "/followed";
    const pid_t follower = host_test::start_child([&] {
        int status = -1;
        host_test::output_of("timeout 3 " NASCTL " --json events --follow -n 1 > " + file, &status);
        return status == 124;
    });
    usleep(1000 * 1000);
    append("after");
    EXPECT_TRUE(host_test::child_succeeded(follower));
    const std::string output = host_test::contents(file);
    const size_t end = output.find('\n');
    ASSERT_NE(std::string::npos, end);
    EXPECT_EQ("before", json::parse(output.substr(0, end))["detail"]);
    EXPECT_EQ("after", json::parse(output.substr(end + 1))["detail"]);
}
