#include "request_queue.h"

#include "private_world.h"

#include "platform/request.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace
{

using nashost::Texts;

bool is_service(const std::string &request)
{
    return request == "ftp" || request == "samba" || request == "media";
}

Texts merged(const Texts &requests)
{
    Texts waiting;
    for (const std::string &request : requests)
        nashost::merge_request(waiting, request);
    return waiting;
}

Texts taken_in_order(Texts waiting)
{
    Texts taken;
    while (std::optional<std::string> request = nashost::take_first_request(waiting, is_service))
        taken.push_back(*request);
    return taken;
}

struct RequestQueue : testing::Test {
    RequestQueue()
    {
        std::filesystem::remove(nashost::request_queue_path());
    }
};

} // namespace

TEST(RequestRules, EqualRequestsThatWaitAreOne)
{
    EXPECT_EQ((Texts{"ftp", "samba", "", "mount:sda"}), merged({"ftp", "samba", "ftp", "", "mount:sda", "", "samba"}));
    EXPECT_EQ((Texts{"mount:sda", "mount:sdb"}), merged({"mount:sda", "mount:sdb", "mount:sda"}));
}

TEST(RequestRules, RequestsAreTakenInOrder)
{
    EXPECT_EQ((Texts{"mount:sda", "ftp", "", "samba"}), taken_in_order({"mount:sda", "ftp", "", "samba"}));
    EXPECT_EQ(Texts(), taken_in_order({}));
}

TEST(RequestRules, AllStandsForEverySingleServiceThatWaits)
{
    EXPECT_EQ((Texts{"mount:sda", "all", "cupsd"}), taken_in_order({"ftp", "mount:sda", "all", "media", "cupsd"}));
    EXPECT_EQ((Texts{"all"}), taken_in_order({"all", "ftp"}));
    EXPECT_EQ((Texts{"all", "unknown"}), taken_in_order({"all", "unknown"}));
}

TEST(RequestRules, AServiceThatIsAskedForAfterAllWasTakenRunsAgain)
{
    Texts waiting = {"all"};
    EXPECT_EQ("all", nashost::take_first_request(waiting, is_service));
    nashost::merge_request(waiting, "ftp");
    EXPECT_EQ("ftp", nashost::take_first_request(waiting, is_service));
}

TEST_F(RequestQueue, KeepsWhatNobodyTakesYet)
{
    EXPECT_FALSE(nashost::requests_wait());
    EXPECT_EQ(0, signal_nas("mount:sda"));
    EXPECT_EQ(0, signal_nas(""));
    EXPECT_EQ(0, signal_nas("mount:sda"));
    EXPECT_TRUE(nashost::requests_wait());
    EXPECT_EQ("mount:sda", nashost::take_request(is_service));
    EXPECT_EQ("", nashost::take_request(is_service));
    EXPECT_EQ(std::nullopt, nashost::take_request(is_service));
    EXPECT_FALSE(nashost::requests_wait());
}

TEST_F(RequestQueue, RefusesWhatIsNoRequest)
{
    EXPECT_EQ(-1, signal_nas(std::string(1024, 'x').c_str()));
    EXPECT_EQ(-1, signal_nas("ftp\n"));
    EXPECT_EQ(-1, signal_nas("f\x7ftp"));
    EXPECT_FALSE(nashost::requests_wait());
    EXPECT_EQ(0, signal_nas(std::string(1023, 'x').c_str()));
    EXPECT_EQ(std::string(1023, 'x'), nashost::take_request(is_service));
}

TEST_F(RequestQueue, IsBounded)
{
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(0, signal_nas(("request " + std::to_string(i)).c_str()));
    EXPECT_EQ(-1, signal_nas("one too many"));
    EXPECT_EQ(0, signal_nas("request 17"));
}

TEST_F(RequestQueue, SaysWhenItCannotKeepARequest)
{
    private_world::put_contents(private_world::folder() + "/no_folder", "");
    private_world::use_settings("run_dir = " + private_world::folder() + "/no_folder\n");
    EXPECT_EQ(-1, signal_nas("ftp"));
    private_world::use_settings();
}

/* Writers that are killed at any moment leave a whole queue, and what was accepted is in it. */
TEST_F(RequestQueue, SurvivesWritersThatAreKilled)
{
    for (int round = 0; round < 60; round++) {
        const pid_t child = fork();
        if (child == 0) {
            for (;;) {
                signal_nas("mount:sda");
                nashost::take_request(is_service);
            }
        }
        usleep(static_cast<useconds_t>(round) * 100);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        ASSERT_EQ(0, signal_nas("ftp"));
        Texts waiting = nashost::read_spool(nashost::request_queue_path());
        ASSERT_FALSE(waiting.empty());
        ASSERT_EQ("ftp", waiting.back());
        for (const std::string &request : waiting)
            ASSERT_TRUE(request == "ftp" || request == "mount:sda") << request;
        while (nashost::take_request(is_service))
            continue;
    }
}
