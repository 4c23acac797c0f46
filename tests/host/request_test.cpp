#include "platform/request.h"

#include "platform/network.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace
{

/* A listener on the socket of serviced or of the UPnP agent. */
class Listener
{
  public:
    explicit Listener(const std::string &path) : path_(path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        EXPECT_EQ(0, bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address));
    }
    ~Listener()
    {
        close(fd_);
        unlink(path_.c_str());
    }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    std::string take() const
    {
        char text[2048];
        ssize_t got = recv(fd_, text, sizeof text, 0);
        return got < 0 ? "nothing" : std::string(text, static_cast<size_t>(got));
    }

  private:
    std::string path_;
    int fd_;
};

std::string event_log()
{
    return host_test::folder() + "/log/events";
}

/* The fields behind the time of the log's last line. */
std::string last_event()
{
    std::ifstream file(event_log());
    std::string line, last;
    while (std::getline(file, line))
        last = line;
    size_t tab = last.find('\t');
    return tab == std::string::npos ? "none" : last.substr(tab + 1);
}

std::string wait_for(const std::string &path)
{
    host_test::wait_until([&] { return !host_test::contents(path).empty(); });
    return host_test::contents(path);
}

} // namespace

TEST(Request, ToServicedIsKeptAndWakesIt)
{
    Listener serviced(host_test::folder() + "/serviced.sock");
    EXPECT_EQ(0, signal_nas("mount:sda"));
    EXPECT_EQ("", serviced.take());
    EXPECT_EQ("nothing", serviced.take());
    EXPECT_EQ(std::string("mount:sda\0", 10), host_test::contents(host_test::folder() + "/run/requests"));
    std::filesystem::remove(host_test::folder() + "/run/requests");
}

TEST(Request, ToServicedIsKeptWhenItCannotBeWoken)
{
    EXPECT_EQ(0, signal_nas("ftp"));
    host_test::put_contents(host_test::folder() + "/serviced.sock", "no socket");
    EXPECT_EQ(0, signal_nas("samba"));
    std::filesystem::remove(host_test::folder() + "/serviced.sock");
    Listener deaf(host_test::folder() + "/serviced.sock");
    for (int i = 0; i < 1000; i++)
        EXPECT_EQ(0, signal_nas("media"));
    EXPECT_EQ(std::string("ftp\0samba\0media\0", 16), host_test::contents(host_test::folder() + "/run/requests"));
    std::filesystem::remove(host_test::folder() + "/run/requests");
}

TEST(Request, ToTheUpnpAgentIsHandedOverWhole)
{
    Listener agent(host_test::folder() + "/upnp.sock");
    EXPECT_EQ(0, signal_start("upnp:service,A,tcp,21,21,ns_ftp_21"));
    EXPECT_EQ("upnp:service,A,tcp,21,21,ns_ftp_21", agent.take());
    EXPECT_EQ("nothing", agent.take());
    EXPECT_EQ(-1, signal_start(std::string(1024, 'x').c_str()));
    EXPECT_EQ("nothing", agent.take());
}

TEST(Request, ToTheUpnpAgentFailsWhenNobodyListens)
{
    EXPECT_EQ(-1, signal_start("upnp:service,D,tcp,21,0,null"));
    {
        Listener gone(host_test::folder() + "/upnp.sock");
    }
    host_test::put_contents(host_test::folder() + "/upnp.sock", "no socket");
    EXPECT_EQ(-1, signal_start("upnp:service,D,tcp,21,0,null"));
    std::filesystem::remove(host_test::folder() + "/upnp.sock");
}

TEST(Request, ToTheUpnpAgentIsRefusedRatherThanWaitedFor)
{
    Listener agent(host_test::folder() + "/upnp.sock");
    int sent = 0;
    while (sent < 100000 && signal_start("upnp:service,D,tcp,21,0,null") == 0)
        sent++;
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, 100000);
}

TEST(Hook, RunsWhatIsConfigured)
{
    std::string hook = host_test::folder() + "/it's a hook", result = host_test::folder() + "/hooked";
    host_test::put_contents(hook, "#!/bin/sh\necho ran > '" + result + "'\n");
    std::filesystem::permissions(hook, std::filesystem::perms::owner_all);
    EXPECT_EQ(0, signal_update());
    EXPECT_EQ(0, signal_wan());
    EXPECT_FALSE(std::filesystem::exists(result));
    host_test::use_settings("wan_hook = " + hook + "\n");
    EXPECT_EQ(0, signal_update());
    EXPECT_EQ(0, signal_wan());
    EXPECT_EQ("ran\n", wait_for(result));
    host_test::use_settings();
}

TEST(Hook, OfTheWanKeepsOthersAwayWhileItRuns)
{
    const std::string &f = host_test::folder();
    const std::string hook = f + "/wan-up", go_on = f + "/go-on", result = f + "/wan-ups";
    // What it leaves in the background goes on setting nothing up.
    host_test::put_contents(hook, "#!/bin/sh\nsleep 60 &\necho $! >> '" + f + "/left'\nuntil [ -e '" + go_on +
                                      "' ]; do sleep 0.02; done\necho up >> '" + result + "'\n");
    std::filesystem::permissions(hook, std::filesystem::perms::owner_all);
    EXPECT_NE(0, get_wansetup_status("wan1")) << "nobody has ever set it up";
    host_test::use_settings("wan_hook = " + hook + "\n");
    EXPECT_NE(0, get_wansetup_status("wan1"));
    EXPECT_EQ(0, signal_wan());
    EXPECT_EQ(0, get_wansetup_status("wan1"));
    EXPECT_EQ(0, signal_wan());
    EXPECT_FALSE(std::filesystem::exists(result));
    host_test::put_contents(go_on, "");
    EXPECT_TRUE(host_test::wait_until([&] { return host_test::contents(result) == "up\nup\n"; }));
    EXPECT_TRUE(host_test::wait_until([] { return get_wansetup_status("wan1") != 0; }));
    EXPECT_EQ("", host_test::output_of("kill $(cat '" + f + "/left') 2>&1"));
    host_test::use_settings();
}

TEST(Event, CarriesTheTextOfItsId)
{
    syslog_msg(1, "@{106}", "@{100}");
    EXPECT_EQ("1\t@{106}\t@{100}\tMedia server has been started", last_event());
    syslog_msg(1, "@{107}", "@{98}");
    EXPECT_EQ("1\t@{107}\t@{98}\tFTP has been stopped", last_event());
    syslog_msg(1, "@{105}", "@{138}");
    EXPECT_EQ("1\t@{105}\t@{138}\tCloud sync cannot start: its disk is not mounted", last_event());
    syslog_msg(1, "@{126}", 2);
    EXPECT_EQ("1\t@{126}\t2\tA disk has been connected to USB port 2", last_event());
    syslog_msg(1, "@{129}", -1);
    EXPECT_EQ("1\t@{129}\t-1\tThe last volume of the disk on USB port -1 has been unmounted", last_event());
    syslog_msg(1, "@{83}");
    EXPECT_EQ("1\t@{83}\t\tThe USB printer is ready", last_event());
    syslog_msg(1, "@{999}");
    EXPECT_EQ("1\t@{999}\t\t@{999}", last_event());
}

TEST(Event, HasATextForEveryIdOfTheLibrary)
{
    for (int source : {97, 98, 100, 102, 103, 104, 138}) {
        std::string id = "@{" + std::to_string(source) + "}";
        syslog_msg(1, "@{106}", id.c_str());
        EXPECT_EQ(last_event().find("@{", 12), std::string::npos) << last_event();
    }
    for (const char *id : {"@{83}", "@{124}", "@{125}"}) {
        syslog_msg(1, id);
        EXPECT_GT(last_event().size(), 20U) << id;
    }
    for (const char *id : {"@{126}", "@{127}", "@{128}", "@{129}"}) {
        syslog_msg(1, id, 1);
        EXPECT_NE(std::string::npos, last_event().find("USB port 1")) << last_event();
    }
}

TEST(Event, TakesNoTextForAFormat)
{
    std::string language = host_test::folder() + "/language";
    host_test::put_contents(language, "@{106}\t%n%d%s 100% started\n@{83}\tnothing %s here\n@{98}\t%s\tFTP\n");
    host_test::use_settings("language_file = " + language + "\n");
    syslog_msg(1, "@{106}", "@{98}");
    EXPECT_EQ("1\t@{106}\t@{98}\t%n%s FTP%s 100% started", last_event());
    syslog_msg(1, "@{83}");
    EXPECT_EQ("1\t@{83}\t\tnothing %s here", last_event());
    host_test::use_settings("language_file = /no/such/file\n");
    syslog_msg(1, "@{107}", "@{98}\nforged");
    EXPECT_EQ("1\t@{107}\t@{98} forged\t@{107}: @{98} forged", last_event());
    host_test::use_settings();
}

TEST(Event, LinesBeginWithTheTime)
{
    syslog_msg(1, "@{83}");
    std::string text = host_test::contents(event_log());
    ASSERT_GT(text.size(), 21U);
    EXPECT_EQ('T', text[10]);
    EXPECT_EQ("Z\t", text.substr(19, 2));
}

TEST(Event, KeepsItsLogBounded)
{
    host_test::use_settings("event_log_size = 4096\n");
    for (int i = 0; i < 300; i++)
        syslog_msg(1, "@{126}", i);
    EXPECT_LE(std::filesystem::file_size(event_log()), 4096U);
    EXPECT_LE(std::filesystem::file_size(event_log() + ".1"), 4096U);
    EXPECT_GT(std::filesystem::file_size(event_log() + ".1"), 3900U);
    EXPECT_EQ("1\t@{126}\t299\tA disk has been connected to USB port 299", last_event());
    host_test::use_settings();
}

TEST(Event, OfManyProcessesLosesNoLine)
{
    std::filesystem::remove(event_log());
    host_test::use_settings("event_log_size = 1000000\n");
    std::vector<pid_t> pids;
    for (int process = 0; process < 8; process++)
        pids.push_back(host_test::start_child([process] {
            for (int i = 0; i < 100; i++)
                syslog_msg(1, "@{127}", process * 100 + i);
            return true;
        }));
    for (pid_t pid : pids)
        EXPECT_TRUE(host_test::child_succeeded(pid));
    std::string text = host_test::contents(event_log());
    EXPECT_EQ(800, std::count(text.begin(), text.end(), '\n'));
    host_test::use_settings();
}
