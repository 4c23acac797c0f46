/* The UPnP agent without a gateway: what it understands, what it makes of it, and that it stays up. */
#include "agent.h"
#include "message.h"
#include "plan.h"
#include "platform/request.h"
#include "platform/store.h"
#include "state.h"

#include "fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using nlohmann::json;
using upnp::Outcome;
using upnp::Request;

namespace
{

Request opening(int port, const std::string &name = "ns_x")
{
    return {true, {"tcp", port, port, name}};
}

Request closing(int port)
{
    return {false, {"tcp", port, 0, "null"}};
}

/* "A21 D80": what is to be done, in order. */
std::string pending(const upnp::Plan &plan)
{
    std::string text;
    for (const upnp::Job &job : plan.pending())
        text += (text.empty() ? "" : " ") + std::string(job.request.add ? "A" : "D") +
                std::to_string(job.request.mapping.external);
    return text;
}

/* "21:mapped 80:refused(718)" */
std::string wanted(const std::vector<upnp::WantedMapping> &mappings)
{
    std::string text;
    for (const upnp::WantedMapping &mapping : mappings) {
        text += (text.empty() ? "" : " ") + std::to_string(mapping.mapping.external) + ":" +
                upnp::standing_word(mapping.standing);
        if (mapping.error != 0)
            text += "(" + std::to_string(mapping.error) + ")";
    }
    return text;
}

void settle_all(upnp::Plan &plan, Outcome outcome = Outcome::done, int error = 0)
{
    for (const upnp::Job &job : plan.pending())
        plan.settle(job.number, outcome, error);
}

upnp::Plan plan_of(const std::vector<Request> &requests)
{
    upnp::Plan plan;
    for (const Request &request : requests)
        EXPECT_TRUE(plan.take(request));
    return plan;
}

} // namespace

TEST(UpnpMessage, IsUnderstood)
{
    std::optional<Request> add = upnp::parse_request("upnp:service,A,tcp,2121,21,ns_kelsto_ftp_2121");
    ASSERT_TRUE(add);
    EXPECT_TRUE(add->add);
    EXPECT_EQ((upnp::Mapping{"tcp", 2121, 21, "ns_kelsto_ftp_2121"}), add->mapping);
    std::optional<Request> remove = upnp::parse_request("upnp:service,D,tcp,65535,0,null");
    ASSERT_TRUE(remove);
    EXPECT_FALSE(remove->add);
    EXPECT_EQ(65535, remove->mapping.external);
    EXPECT_TRUE(upnp::parse_request("upnp:service,A,udp,1,1,a"));
}

TEST(UpnpMessage, IsRefusedWhenItIsNoRequest)
{
    using namespace std::string_literals;
    for (const std::string &message : {""s,
                                       "upnp:service"s,
                                       "upnp:service,A,tcp,21,21"s,
                                       "upnp:service,A,tcp,21,21,a,b"s,
                                       "upnp:service,X,tcp,21,21,a"s,
                                       "upnp:service,a,tcp,21,21,a"s,
                                       "upnp:services,A,tcp,21,21,a"s,
                                       "upnp:service,A,sctp,21,21,a"s,
                                       "upnp:service,A,tcp,0,21,a"s,
                                       "upnp:service,A,tcp,21,0,a"s,
                                       "upnp:service,A,tcp,65536,21,a"s,
                                       "upnp:service,A,tcp,-1,21,a"s,
                                       "upnp:service,A,tcp, 21,21,a"s,
                                       "upnp:service,A,tcp,21x,21,a"s,
                                       "upnp:service,A,tcp,99999999999,21,a"s,
                                       "upnp:service,A,tcp,21,21,"s,
                                       "upnp:service,A,tcp,21,21,<a>"s,
                                       "upnp:service,A,tcp,21,21,a b"s,
                                       "upnp:service,A,tcp,21,21,a\n"s,
                                       "upnp:service,A,tcp,21,21,a\0"s,
                                       "upnp:service,A,tcp,21,21," + std::string(128, 'a'),
                                       "upnp:service,D,tcp,0,0,null"s,
                                       "upnp:service,D,tcp,,0,null"s,
                                       "upnp:service,D,tcp,21,0,"s})
        EXPECT_FALSE(upnp::parse_request(message)) << message;
}

TEST(UpnpPlan, KeepsTheOrder)
{
    upnp::Plan plan = plan_of({closing(21), closing(9000), opening(80), opening(22)});
    EXPECT_EQ("D21 D9000 A80 A22", pending(plan));
    EXPECT_EQ("80:waiting 22:waiting", wanted(plan.wanted()));
    settle_all(plan);
    EXPECT_EQ("", pending(plan));
    EXPECT_EQ("80:mapped 22:mapped", wanted(plan.wanted()));
}

TEST(UpnpPlan, LastRequestForAPortCounts)
{
    EXPECT_EQ("D9000 A21", pending(plan_of({closing(21), closing(9000), opening(21)})));
    EXPECT_EQ("D21", pending(plan_of({opening(21), closing(21)})));
    upnp::Plan plan = plan_of({opening(21, "a"), opening(21, "b")});
    ASSERT_EQ(1U, plan.pending().size());
    EXPECT_EQ("b", plan.pending()[0].request.mapping.name);
    EXPECT_TRUE(plan.take({false, {"udp", 21, 0, "null"}}));
    EXPECT_EQ(2U, plan.pending().size()) << "another protocol is another port";
}

TEST(UpnpPlan, WhatCameMeanwhileIsStillToBeDone)
{
    upnp::Plan plan = plan_of({opening(21)});
    unsigned running = plan.pending()[0].number;
    plan.take(closing(21));
    plan.settle(running, Outcome::done, 0);
    EXPECT_EQ("D21", pending(plan));
    EXPECT_EQ("", wanted(plan.wanted()));
}

TEST(UpnpPlan, RefusalIsKeptAndTriedAgainAtTheRenewal)
{
    upnp::Plan plan = plan_of({opening(21), closing(80)});
    settle_all(plan, Outcome::refused, 718);
    EXPECT_EQ("", pending(plan));
    EXPECT_EQ("21:refused(718)", wanted(plan.wanted()));
    plan.renew();
    EXPECT_EQ("A21", pending(plan));
    settle_all(plan);
    EXPECT_EQ("21:mapped", wanted(plan.wanted()));
}

TEST(UpnpPlan, IsBounded)
{
    upnp::Plan plan;
    for (int port = 1; port <= 256; port++)
        EXPECT_TRUE(plan.take(closing(port)));
    EXPECT_FALSE(plan.take(opening(300)));
    EXPECT_TRUE(plan.take(opening(256))) << "it takes the place of another";
    EXPECT_EQ(256U, plan.pending().size());
}

namespace
{

class UpnpAgent : public testing::Test
{
  protected:
    void SetUp() override
    {
        std::filesystem::remove(upnp::state_path());
    }

    /* A gateway that refuses port 666 and, while the file "silent" is there, does not answer at all. */
    static void fake_work(const std::vector<upnp::Job> &jobs, const std::string &known, const upnp::Report &report)
    {
        if (std::filesystem::exists(host_test::folder() + "/silent"))
            return;
        report("gateway http://10.0.0.1/new");
        std::string did = "(" + known + ")";
        for (const upnp::Job &job : jobs) {
            int port = job.request.mapping.external;
            did += (job.request.add ? " A" : " D") + std::to_string(port);
            report("job " + std::to_string(job.number) + (port == 666 ? " 718" : " 0"));
        }
        host_test::put_contents(host_test::folder() + "/did", did);
    }

    /* Lets the agent work at `now` until its round has ended; what the gateway was told. */
    static std::string work(upnp::Agent &agent, upnp::Clock::time_point now)
    {
        std::filesystem::remove(host_test::folder() + "/did");
        agent.work_when_due(now);
        while (agent.round().runs()) {
            pollfd watched = {agent.round().descriptor(), POLLIN, 0};
            poll(&watched, 1, 5000);
            agent.take_results(now);
        }
        return host_test::contents(host_test::folder() + "/did");
    }
};

} // namespace

TEST_F(UpnpAgent, GathersThenWorksThenRenews)
{
    upnp::Agent agent(fake_work);
    upnp::Clock::time_point now = upnp::Clock::now();
    for (const char *message : {"upnp:service,D,tcp,21,0,null", "upnp:service,D,tcp,9000,0,null", "nonsense\n",
                                "upnp:service,A,tcp,21,21,ns_ftp_21", "upnp:service,A,tcp,666,666,ns_x_666"})
        agent.take_message(message, now);
    EXPECT_EQ("", work(agent, now + 100ms));
    EXPECT_EQ("() D9000 A21 A666", work(agent, now + 400ms));
    EXPECT_EQ("21:mapped 666:refused(718)", wanted(upnp::read_state().wanted));
    EXPECT_EQ("http://10.0.0.1/new", upnp::read_state().gateway);
    EXPECT_EQ("", work(agent, now + 200s));
    EXPECT_EQ("(http://10.0.0.1/new) A21 A666", work(agent, now + 301s));
}

TEST_F(UpnpAgent, TriesAgainWhenNoGatewayAnswers)
{
    std::string silent = host_test::folder() + "/silent";
    host_test::put_contents(silent, "yes");
    upnp::Agent agent(fake_work);
    upnp::Clock::time_point now = upnp::Clock::now();
    agent.take_message("upnp:service,A,tcp,21,21,ns_ftp_21", now);
    EXPECT_EQ("", work(agent, now + 1s));
    EXPECT_EQ(now + 6s, agent.next_event()) << "the first pause is five seconds";
    EXPECT_EQ("", work(agent, now + 6s));
    EXPECT_EQ(now + 16s, agent.next_event()) << "the next one ten";
    EXPECT_EQ("21:waiting", wanted(upnp::read_state().wanted));
    std::filesystem::remove(silent);
    EXPECT_EQ("() A21", work(agent, now + 16s));
    EXPECT_EQ("21:mapped", wanted(upnp::read_state().wanted));
}

TEST_F(UpnpAgent, GoesOnWhereAnotherEnded)
{
    upnp::Clock::time_point now = upnp::Clock::now();
    {
        upnp::Agent agent(fake_work);
        agent.take_message("upnp:service,A,tcp,21,2121,ns_ftp_21", now);
        work(agent, now + 1s);
    }
    upnp::Agent agent(fake_work);
    EXPECT_EQ("(http://10.0.0.1/new) A21", work(agent, upnp::Clock::now()));
    ASSERT_EQ(1U, upnp::read_state().wanted.size());
    EXPECT_EQ((upnp::Mapping{"tcp", 21, 2121, "ns_ftp_21"}), upnp::read_state().wanted[0].mapping);
}

TEST_F(UpnpAgent, ClosesWhatAnotherCouldNot)
{
    std::string silent = host_test::folder() + "/silent";
    host_test::put_contents(silent, "yes");
    upnp::Clock::time_point now = upnp::Clock::now();
    {
        upnp::Agent agent(fake_work);
        agent.take_message("upnp:service,A,tcp,80,80,ns_x", now);
        agent.take_message("upnp:service,D,tcp,21,0,null", now);
        work(agent, now + 1s);
    }
    std::filesystem::remove(silent);
    upnp::Agent agent(fake_work);
    EXPECT_EQ("() D21 A80", work(agent, upnp::Clock::now()));
    EXPECT_TRUE(upnp::read_state().closing.empty());
}

TEST_F(UpnpAgent, ReadsOnlyWhatIsWhole)
{
    host_test::put_contents(
        upnp::state_path(),
        "gateway\n\ntcp,21,21,a mapped 0\ntcp,22,22,b\ntcp,0,1,c mapped 0\n"
        "tcp,23,23,d nonsense 0\ntcp,25,0,null mapped 0\ntcp,26,0,null closing 0\nudp,24,24,e refused 718");
    EXPECT_EQ("21:mapped 24:refused(718)", wanted(upnp::read_state().wanted));
    EXPECT_EQ("", upnp::read_state().gateway);
    EXPECT_TRUE(upnp::read_state().closing.empty());
}

namespace
{

/* The program itself; there is no WAN, so nothing leaves the machine. */
class UpnpProgram : public UpnpAgent
{
  protected:
    void SetUp() override
    {
        UpnpAgent::SetUp();
        host_test::use_settings("wan = no-such-wan\n");
    }
    void TearDown() override
    {
        host_test::use_settings();
    }

    static pid_t start()
    {
        pid_t child = fork();
        if (child == 0) {
            execl(NAS_UPNPD, NAS_UPNPD, nullptr);
            _exit(127);
        }
        EXPECT_TRUE(host_test::wait_until([] { return signal_start("nonsense") == 0; }));
        return child;
    }

    static int end(pid_t child, int number)
    {
        int status = 0;
        kill(child, number);
        waitpid(child, &status, 0);
        return status;
    }

    /* The state, once it is the expected one; else what it is after a minute. */
    static std::string state_within(const std::string &expected)
    {
        host_test::wait_until([&] { return wanted(upnp::read_state().wanted) == expected; });
        return wanted(upnp::read_state().wanted);
    }
};

} // namespace

TEST_F(UpnpProgram, SurvivesNonsenseAndEndsCleanly)
{
    pid_t agent = start();
    EXPECT_EQ(0, signal_start(""));
    EXPECT_EQ(0, signal_start("upnp:service,A,tcp,99999,1,\x1b[2J"));
    EXPECT_EQ(0, signal_start("upnp:service,A,tcp,21,21,ns_ftp_21"));
    EXPECT_EQ("21:waiting", state_within("21:waiting"));
    EXPECT_EQ(0, end(agent, SIGTERM));
    EXPECT_FALSE(std::filesystem::exists(host_test::folder() + "/upnp.sock"));
    EXPECT_EQ("21:waiting", wanted(upnp::read_state().wanted));
}

TEST_F(UpnpProgram, TakesManyMessages)
{
    pid_t agent = start();
    for (int port = 1; port <= 200; port++) {
        std::string message = "upnp:service,A,tcp," + std::to_string(port) + "," + std::to_string(port) + ",ns_x";
        EXPECT_TRUE(host_test::wait_until([&] { return signal_start(message.c_str()) == 0; }))
            << "while a round of work goes on, too";
        if (port == 100)
            usleep(400 * 1000);
    }
    EXPECT_TRUE(host_test::wait_until([] { return upnp::read_state().wanted.size() == 200; }));
    EXPECT_EQ(0, end(agent, SIGTERM));
}

TEST_F(UpnpProgram, IsToldOfPortsThatAServiceLeaves)
{
    pid_t agent = start();
    for (int port : {21, 9000, 2121})
        signal_start(("upnp:service,A,tcp," + std::to_string(port) + ",1,ns_x").c_str());
    EXPECT_EQ("21:waiting 9000:waiting 2121:waiting", state_within("21:waiting 9000:waiting 2121:waiting"));
    iconfig_set_value_direct("ftp_conf", "0,21,9000,AUTO,0");
    host_test::output_of(NASCTL " service set ftp --no-apply port=22");
    signal_start("upnp:service,A,tcp,4,4,ns_x"); // behind whatever nasctl has sent
    EXPECT_EQ("21:waiting 9000:waiting 2121:waiting 4:waiting",
              state_within("21:waiting 9000:waiting 2121:waiting 4:waiting"))
        << "it was off";
    iconfig_set_value_direct("ftp_conf", "1,21,9000,AUTO,0");
    host_test::output_of(NASCTL " service set ftp --no-apply port=2121");
    EXPECT_EQ("9000:waiting 2121:waiting 4:waiting", state_within("9000:waiting 2121:waiting 4:waiting"));
    host_test::output_of(NASCTL " service set ftp --no-apply web-port=0");
    EXPECT_EQ("2121:waiting 4:waiting", state_within("2121:waiting 4:waiting"));
    iconfig_remove_config_tag("ftp_conf");
    EXPECT_EQ(0, end(agent, SIGTERM));
}

TEST_F(UpnpProgram, ReplacesTheDeadButNotTheLiving)
{
    pid_t first = start();
    int status = 0;
    EXPECT_NE(std::string::npos,
              host_test::output_of(std::string(NAS_UPNPD) + " 2>&1", &status).find("Address already in use"));
    EXPECT_EQ(1, status);
    EXPECT_EQ(0, signal_start("upnp:service,A,tcp,21,21,ns_ftp_21"));
    EXPECT_EQ("21:waiting", state_within("21:waiting"));
    EXPECT_EQ(SIGKILL, end(first, SIGKILL));
    EXPECT_EQ(-1, signal_start("upnp:service,A,tcp,22,22,ns_ftp_22"));
    pid_t second = start();
    EXPECT_EQ(0, signal_start("upnp:service,A,tcp,23,23,ns_ftp_23"));
    EXPECT_EQ("21:waiting 23:waiting", state_within("21:waiting 23:waiting"));

    json shown = json::parse(host_test::output_of(NASCTL " --json upnp"));
    EXPECT_EQ(true, shown["agent"]);
    EXPECT_EQ(nullptr, shown["gateway"]);
    EXPECT_EQ(json::parse(R"({"protocol": "tcp", "external_port": 21, "internal_port": 21, "name": "ns_ftp_21",
                              "standing": "waiting"})"),
              shown["mappings"][0]);
    EXPECT_EQ(0, end(second, SIGTERM));
    EXPECT_EQ("The agent does not run.\nNo gateway with UPnP answers.\n\n"
              "PORT  PROTOCOL  NAME       AGENT    GATEWAY\n"
              "21    tcp       ns_ftp_21  waiting  does not answer\n"
              "23    tcp       ns_ftp_23  waiting  does not answer\n",
              host_test::output_of(NASCTL " upnp"));
}
