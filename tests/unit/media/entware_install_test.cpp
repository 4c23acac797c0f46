// The installation of the package environment, poll by poll.
#include "support/fixture.h"

#include "nas/entware.h"
#include "platform/device.h"

#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace
{

using nas_test::exists;
using nas_test::LibraryTest;

constexpr const char *info_path = "/tmp/entware_info";
constexpr const char *pid_path = "/tmp/entware_download.pid";
constexpr const char *script_path = "/tmp/cur/install.sh";
constexpr const char *opkg_path = "/tmp/cur/opt/bin/opkg";

const std::string telnet_shut = "run /sbin/iptables -D INPUT -p tcp ! -i br-lan --dport 23 -j DROP -> 0\n";
const std::string telnet_open = "run /sbin/iptables -A INPUT -p tcp ! -i br-lan --dport 23 -j DROP -> 0\n"
                                "run /usr/sbin/telnetd -l /sbin/login_qox -> 0\n";
const std::string job_end = " & echo \"$!\" > /tmp/entware_download.pid & -> 0";
const std::string fetch_info =
    "run /usr/bin/wget -O /tmp/entware_info http://" NAS_PACKAGE_SERVER "/entware/NX100/config.txt" + job_end + "\n";
const std::string fetch_script_start = "run /usr/bin/wget -O /tmp/cur/install.sh ";
const std::string start = "unlink /tmp/entware_info -> failed\n"
                          "unlink /tmp/entware_download.pid -> failed\n" +
                          fetch_info;

struct Installation : LibraryTest {
    PeriodicCallbackRecord record = {};

    void SetUp() override
    {
        std::memset(record.host_data, 0x5a, sizeof record.host_data);
        record.run_count = 7;
        std::strcpy(host.device.hardware.model, "NX100");
        host.device.product = "other";
        sandbox.put_dir("/tmp/cur");
        host.set_config("entware_run", "0");
        host.set_status("entware", "0");
    }

    std::string stored_status()
    {
        return host.status.look_up("entware").value_or("absent");
    }

    std::string poll()
    {
        host.forget();
        EXPECT_EQ(host.call(entware_download_callback, &record), 0);
        EXPECT_EQ(host.count_lines("sleep"), 0);
        EXPECT_EQ(record.run_count, 7);
        for (const char byte : record.host_data)
            EXPECT_EQ(byte, 0x5a);
        return host.transcript();
    }

    void expect_active()
    {
        EXPECT_EQ(record.active, 1);
        EXPECT_EQ(record.interval, 3);
        EXPECT_EQ(stored_status(), "1");
    }

    void expect_ended(const char *status)
    {
        EXPECT_EQ(record.active, 0);
        EXPECT_EQ(record.interval, 0);
        EXPECT_EQ(stored_status(), status);
    }

    // So many polls that do nothing and go on.
    void poll_idly(int count)
    {
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(poll(), "") << i;
            expect_active();
        }
    }

    void start_job()
    {
        sandbox.put_file(pid_path, "4711\n");
        host.add_process({.name = "job", .pid = 4711});
    }

    void end_job()
    {
        host.processes.clear();
    }

    void put_info(const std::string &text)
    {
        sandbox.put_file(info_path, text);
    }

    void start_anew()
    {
        host.set_status("entware", "0");
        end_job();
        for (const char *path : {info_path, pid_path}) {
            if (exists(path))
                sandbox.remove_file(path);
        }
        EXPECT_EQ(poll(), "set-status entware = 1\n" + start);
        expect_active();
    }

    // Up to the poll that fetches the script.
    void reach_script(const std::string &info = "http://packages.example/install.sh\n")
    {
        start_anew();
        put_info(info);
        EXPECT_EQ(poll(), "");
        expect_active();
    }

    // The address that the script is fetched from, in a poll that does nothing else but remove what is old.
    std::string poll_for_address()
    {
        poll();
        EXPECT_EQ(static_cast<std::size_t>(host.count_lines("unlink ")) + 1, host.lines().size());
        EXPECT_EQ(host.count_lines("unlink /tmp/entware_download.pid"), 1);
        EXPECT_FALSE(exists(pid_path));
        EXPECT_FALSE(exists(script_path));
        const std::string line = host.lines().empty() ? "" : host.lines().back();
        if (!line.starts_with(fetch_script_start) || !line.ends_with(job_end))
            return "none: " + line;
        return line.substr(fetch_script_start.size(), line.size() - fetch_script_start.size() - job_end.size());
    }

    std::string address_in(const std::string &info)
    {
        reach_script(info);
        return poll_for_address();
    }

    // Up to the poll that runs the script.
    void fetch_script()
    {
        reach_script();
        EXPECT_EQ(poll_for_address(), "http://packages.example/install.sh");
        sandbox.put_file(script_path, "#!/bin/sh\n");
        sandbox.put_file(pid_path, "4711\n");
        EXPECT_EQ(poll(), "");
        expect_active();
    }

    // That poll, too.
    void reach_run()
    {
        fetch_script();
        EXPECT_EQ(poll(), "unlink /tmp/entware_download.pid\n"
                          "run /usr/sbin/chroot /tmp/cur chmod 755 ./install.sh -> 0\n"
                          "run /usr/sbin/chroot /tmp/cur ./install.sh" +
                              job_end + "\n");
        expect_active();
    }

    // From the start to the end, with telnet.
    void install();

    const std::string timed_out = "kill-file /tmp/entware_download.pid 15\n"
                                  "set-status entware = 9\n";
    const std::string timed_out_without_pid = "kill-file /tmp/entware_download.pid 15 -> failed\n"
                                              "set-status entware = 9\n";
    const std::string switched_off = "list * -> 0\n"
                                     "run /usr/bin/killall telnetd -> 1\n" +
                                     telnet_shut;
};

void Installation::install()
{
    host.set_config("entware_run", "1");
    EXPECT_EQ(poll(), "set-status entware = 1\n" + start);
    expect_active();
    start_job();
    poll_idly(2);
    put_info("http://packages.example/install.sh\n");
    poll_idly(1); // the job still writes it
    end_job();
    poll_idly(1);
    EXPECT_EQ(poll_for_address(), "http://packages.example/install.sh");
    expect_active();
    start_job();
    sandbox.put_file(script_path, "#!/bin/sh\n");
    poll_idly(2);
    end_job();
    poll_idly(1);
    EXPECT_EQ(poll(), "unlink /tmp/entware_download.pid\n"
                      "run /usr/sbin/chroot /tmp/cur chmod 755 ./install.sh -> 0\n"
                      "run /usr/sbin/chroot /tmp/cur ./install.sh" +
                          job_end + "\n");
    expect_active();
    start_job();
    poll_idly(3);
    sandbox.put_file(opkg_path, "x");
    poll_idly(1); // the script goes on
    end_job();
    EXPECT_EQ(poll(), "set-status entware = 2\nlist * -> 0\n" + telnet_open);
    expect_ended("2");
}

TEST_F(Installation, GoesStepByStep)
{
    install();
}

TEST_F(Installation, GoesTheSameWayWithAnyYesOfTheHost)
{
    host.yes = 1;
    install();
}

TEST_F(Installation, CountsAsDoneWhenTheScriptHasEnded)
{
    reach_run();
    EXPECT_EQ(poll(), "set-status entware = 2\n" + switched_off);
    expect_ended("2");
}

TEST_F(Installation, EndOfADoneOneIsClearedAway)
{
    reach_run();
    poll();
    sandbox.put_file(pid_path, "4711\n");
    host.set_status("entware", "1");
    EXPECT_EQ(poll(), "unlink /tmp/entware_info\nunlink /tmp/entware_download.pid\n");
    expect_active();
    EXPECT_EQ(poll(), start);
    expect_active();
}

TEST_F(Installation, EndOfAFailedOneIsClearedAway)
{
    start_anew();
    poll_idly(9);
    poll();
    expect_ended("9");
    host.set_status("entware", "1");
    EXPECT_EQ(poll(), "unlink /tmp/entware_info -> failed\nunlink /tmp/entware_download.pid -> failed\n");
    expect_active();
    EXPECT_EQ(poll(), start);
    expect_active();
}

TEST_F(Installation, FailedOneIsStartedAnewByTheNextPoll)
{
    start_anew();
    poll_idly(9);
    EXPECT_EQ(poll(), timed_out_without_pid);
    expect_ended("9");
    EXPECT_EQ(poll(), "set-status entware = 1\n" + start);
    expect_active();
}

TEST_F(Installation, StartsFromEveryKnownStatusAndFromNone)
{
    for (const char *status : {"0", "2", "9"}) {
        host.set_status("entware", status);
        EXPECT_EQ(poll(), "set-status entware = 1\n" + start) << status;
        expect_active();
    }
    host.status.values.clear();
    poll();
    EXPECT_EQ(host.count_lines("run /usr/bin/wget -O /tmp/entware_info "), 1);
    expect_active();
}

TEST_F(Installation, OtherStatusIsLeftAlone)
{
    for (const char *status : {"3", "8", "10", "-2", "2147483647"}) {
        host.set_status("entware", status);
        record.active = 5;
        record.interval = 6;
        EXPECT_EQ(poll(), "") << status;
        EXPECT_EQ(record.active, 5);
        EXPECT_EQ(record.interval, 6);
        EXPECT_EQ(stored_status(), status);
    }
}

TEST_F(Installation, EveryNewStartForgetsHowFarItWas)
{
    reach_run();
    start_anew();
    poll_idly(9);
    // The whole time has begun anew, too.
    host.set_status("entware", "2");
    EXPECT_EQ(poll(), "set-status entware = 1\n" + start);
    poll_idly(9);
    EXPECT_EQ(poll(), timed_out_without_pid);
}

TEST_F(Installation, GoesOnWhateverRecordItIsPolledWith)
{
    reach_script();
    PeriodicCallbackRecord other = {};
    host.forget();
    EXPECT_EQ(host.call(entware_download_callback, &other), 0);
    EXPECT_EQ(other.active, 1);
    EXPECT_EQ(other.interval, 3);
    EXPECT_EQ(host.count_lines(fetch_script_start), 1);
}

// The library's own file, opened before the sandbox covers the folder that it may lie in.
int open_library()
{
    Dl_info place;
    void *const function = dlsym(RTLD_DEFAULT, "entware_download_callback");
    return dladdr(function, &place) != 0 ? open(place.dli_fname, O_RDONLY | O_CLOEXEC) : -1;
}

const int library_file = open_library();

// A copy of the library remembers nothing of what the other has done, as in a program that has just been started.
std::string copy_of_library()
{
    std::string text;
    char part[4096];
    for (ssize_t got = 0; (got = pread(library_file, part, sizeof part, static_cast<off_t>(text.size()))) > 0;)
        text.append(part, static_cast<std::size_t>(got));
    return text;
}

TEST_F(Installation, ThatIsUnderWayIsBegunAnewByAFreshProgram)
{
    reach_run();
    sandbox.put_file("/tmp/fresh.so", copy_of_library());
    void *const fresh = dlopen("/tmp/fresh.so", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(fresh, nullptr) << dlerror();
    const auto callback =
        reinterpret_cast<decltype(&entware_download_callback)>(dlsym(fresh, "entware_download_callback"));
    ASSERT_NE(callback, nullptr);
    EXPECT_NE(callback, &entware_download_callback);
    host.forget();
    EXPECT_EQ(host.call(callback, &record), 0);
    EXPECT_EQ(host.transcript(), "unlink /tmp/entware_info\nunlink /tmp/entware_download.pid -> failed\n" + fetch_info);
    expect_active();
    dlclose(fresh);
}

TEST_F(Installation, FailsWithoutTheLink)
{
    for (const bool dangling : {false, true}) {
        host.set_status("entware", "0");
        ASSERT_EQ(rename("/tmp/cur", "/tmp/was"), 0);
        if (dangling)
            sandbox.put_link("/tmp/cur", "/nowhere");
        record.active = 1;
        record.interval = 3;
        EXPECT_EQ(poll(), "set-status entware = 1\nset-status entware = 9\n");
        expect_ended("9");
        host.set_status("entware", "1");
        record.active = 1;
        record.interval = 3;
        EXPECT_EQ(poll(), "set-status entware = 9\n");
        expect_ended("9");
        if (dangling)
            sandbox.remove_file("/tmp/cur");
        ASSERT_EQ(rename("/tmp/was", "/tmp/cur"), 0);
    }
}

TEST_F(Installation, IsFoundBehindALink)
{
    ASSERT_EQ(rename("/tmp/cur", "/tmp/was"), 0);
    sandbox.put_link("/tmp/cur", "/tmp/was");
    start_anew();
}

TEST_F(Installation, OfWhatIsInstalledEndsAtOnce)
{
    sandbox.put_file(opkg_path, "x");
    const std::pair<const char *, int> starts[] = {{"0", 1}, {"2", -1}, {"9", 1}};
    for (const auto &[status, yes] : starts) {
        host.yes = yes; // of the host, asked whether the file is there
        host.set_status("entware", status);
        record.active = 1;
        record.interval = 3;
        EXPECT_EQ(poll(), "set-status entware = 1\nset-status entware = 2\n" + switched_off) << status;
        expect_ended("2");
    }
    host.set_status("entware", "1");
    EXPECT_EQ(poll(), "set-status entware = 2\n" + switched_off);
    expect_ended("2");
}

TEST_F(Installation, OfWhatIsInstalledWaitsForARunningJob)
{
    sandbox.put_file(opkg_path, "x");
    start_job();
    host.set_status("entware", "2");
    EXPECT_EQ(poll(), "set-status entware = 1\n");
    expect_active();
    poll_idly(5);
    end_job();
    EXPECT_EQ(poll(), "set-status entware = 2\n" + switched_off);
    expect_ended("2");
}

TEST_F(Installation, EndStartsTelnetOrLeavesARunningOneAlone)
{
    sandbox.put_file(opkg_path, "x");
    for (const char *run : {"1", "2", "-1"}) {
        host.set_config("entware_run", run);
        EXPECT_EQ(poll(), "set-status entware = 1\nset-status entware = 2\nlist * -> 0\n" + telnet_open) << run;
    }
    host.add_process({"telnetd"});
    EXPECT_EQ(poll(), "set-status entware = 1\nset-status entware = 2\nlist * -> 1\n");
}

TEST_F(Installation, EndKeepsTelnetInTheFactorysTestMode)
{
    sandbox.put_file(opkg_path, "x");
    host.device.factory_test_mode = true;
    host.add_process({"telnetd"});
    EXPECT_EQ(poll(), "set-status entware = 1\nset-status entware = 2\nlist * -> 1\n" + telnet_shut);
    EXPECT_EQ(host.processes.size(), 1U);
}

// ---- step 0: the information file

TEST_F(Installation, OldInformationAndPidFileAreRemovedFirst)
{
    put_info("http://old.example/x.sh\n");
    sandbox.put_file(pid_path, "4711\n");
    EXPECT_EQ(poll(),
              "set-status entware = 1\nunlink /tmp/entware_info\nunlink /tmp/entware_download.pid\n" + fetch_info);
    EXPECT_FALSE(exists(info_path));
    EXPECT_FALSE(exists(pid_path));
    poll_idly(1);
}

TEST_F(Installation, LongestModelIsNamedWhole)
{
    for (char &byte : host.device.hardware.reserved)
        byte = 'R';
    std::memset(host.device.hardware.model, 'M', sizeof host.device.hardware.model);
    host.device.hardware.model[63] = '\0';
    poll();
    EXPECT_EQ(host.lines().back(), "run /usr/bin/wget -O /tmp/entware_info http://" NAS_PACKAGE_SERVER "/entware/" +
                                       std::string(63, 'M') + "/config.txt" + job_end);
    host.device.hardware.model[63] = 'M'; // without an end of its own
    host.set_status("entware", "0");
    poll();
    EXPECT_EQ(host.lines().back(), "run /usr/bin/wget -O /tmp/entware_info http://" NAS_PACKAGE_SERVER "/entware/" +
                                       std::string(64, 'M') + "/config.txt" + job_end);
}

TEST_F(Installation, OldJobIsWaitedForAndNothingStartedBesideIt)
{
    start_job();
    EXPECT_EQ(poll(), "set-status entware = 1\n");
    expect_active();
    poll_idly(4);
    put_info("http://packages.example/install.sh\n");
    end_job();
    poll_idly(1);
    EXPECT_EQ(poll_for_address(), "http://packages.example/install.sh");
}

TEST_F(Installation, InformationHas30Seconds)
{
    start_anew();
    start_job();
    poll_idly(9);
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
    EXPECT_TRUE(host.processes.empty());
}

TEST_F(Installation, InformationInTheLastPollCounts)
{
    start_anew();
    start_job();
    poll_idly(8);
    put_info("http://packages.example/install.sh\n");
    end_job();
    poll_idly(1);
    EXPECT_EQ(poll_for_address(), "http://packages.example/install.sh");
}

TEST_F(Installation, InformationThatComesTooLateDoesNot)
{
    start_anew();
    start_job();
    poll_idly(9);
    put_info("http://packages.example/install.sh\n");
    end_job();
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
}

TEST_F(Installation, InformationWithoutALineIsWaitedForToTheEnd)
{
    for (const char *info : {"", "\n", "   \n\n", " $&;|`\\><\"'\r\n\n"}) {
        start_anew();
        put_info(info);
        poll_idly(9);
        EXPECT_EQ(poll(), timed_out_without_pid);
        expect_ended("9");
    }
}

TEST_F(Installation, OldJobThatNeverEndsIsKilled)
{
    start_job();
    EXPECT_EQ(poll(), "set-status entware = 1\n");
    poll_idly(9);
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
}

// ---- the information line

TEST_F(Installation, AddressIsTheFirstLineThatIsNotEmpty)
{
    const std::string address = "http://a.example/i.sh";
    EXPECT_EQ(address_in(address), address);
    EXPECT_EQ(address_in(address + "\n"), address);
    EXPECT_EQ(address_in(address + "\r\nhttp://b.example/\n"), address);
    EXPECT_EQ(address_in("\n\n" + address + "\nhttp://b.example/\n"), address);
    EXPECT_EQ(address_in("   \n$&;|`\\><\"'\n\r\n" + address + "\n"), address);
}

TEST_F(Installation, CharactersOfTheShellAreTakenOutOfTheAddress)
{
    EXPECT_EQ(address_in(" http://a/ b$c&d;e|f`g\\h>i<j\"k'l \r\n"), "http://a/bcdefghijkl");
    EXPECT_EQ(address_in("http://a/x;reboot\n"), "http://a/xreboot");
    EXPECT_EQ(address_in("http://a/x\" & echo \"$!\" > /tmp/x\n"), "http://a/xecho!/tmp/x");
}

TEST_F(Installation, OtherCharactersStayInTheAddress)
{
    const std::string address = "http://u:p@a/(b)*?[c]#{d}~!%s%n^,=+_-.x/\xec\x98\x81";
    EXPECT_EQ(address_in(address + "\n"), address);
}

TEST_F(Installation, AddressMayBeginWithAnyOtherCharacter)
{
    for (const char *address : {"\xec\x98\x81.example/i.sh", "\xff.example/i.sh", "\x80"})
        EXPECT_EQ(address_in(std::string(address) + "\nhttp://b.example/\n"), address);
}

TEST_F(Installation, AddressIsCutAt255Characters)
{
    for (const std::size_t length : {254U, 255U, 256U, 300U, 510U}) {
        const std::string address = "h" + std::string(length - 1, 'x');
        EXPECT_EQ(address_in(address + "\n"), address.substr(0, 255)) << length;
    }
    // What is taken out does not count.
    EXPECT_EQ(address_in(std::string(200, ' ') + std::string(255, 'x') + "\n"), std::string(255, 'x'));
}

TEST_F(Installation, LineIsReadIn510Characters)
{
    EXPECT_EQ(address_in(std::string(509, ' ') + "http://a/x\n"), "h");
    EXPECT_EQ(address_in(std::string(510, ' ') + "http://a/x\n"), "http://a/x");
    EXPECT_EQ(address_in(std::string(1020, '$') + "http://a/x\n"), "http://a/x");
    EXPECT_EQ(address_in(std::string(5000, 'x') + "\n"), std::string(255, 'x'));
}

TEST_F(Installation, AddressThatWouldBeReadOtherwiseIsRefused)
{
    for (const char *info : {"-O/etc/passwd\n",
                             "--post-file=/etc/passwd\n",
                             "  -x\n",
                             "'-x'\n",
                             "$-O/tmp/x http://a\n",
                             "http://a\t-O/etc/passwd\n",
                             "\thttp://a/x\n",
                             "http://a/x\t\n",
                             "\t\n",
                             "#http://a/x\n",
                             "$#\n",
                             "-x\nhttp://a/x\n",
                             "*\n",
                             "/etc/*\n",
                             "a?b\n",
                             "[a]x\n",
                             "~root/x\n",
                             "~\n",
                             "http:/*\n",
                             "http//*\n",
                             "a:*\n"}) {
        start_anew();
        put_info(info);
        poll_idly(9);
        EXPECT_EQ(poll(), timed_out_without_pid) << info;
        expect_ended("9");
    }
}

TEST_F(Installation, HyphenInsideTheAddressIsNoOption)
{
    EXPECT_EQ(address_in("http://a-b.example/-x\n"), "http://a-b.example/-x");
}

// ---- step 1: the script

TEST_F(Installation, OldScriptIsRemovedFirst)
{
    reach_script();
    sandbox.put_file(script_path, "old\n");
    sandbox.put_file(pid_path, "4711\n");
    EXPECT_EQ(poll_for_address(), "http://packages.example/install.sh");
    EXPECT_TRUE(host.transcript().starts_with("unlink /tmp/entware_download.pid\nunlink /tmp/cur/install.sh\nrun "));
    poll_idly(3); // there is none yet
    sandbox.put_file(script_path, "new\n");
    poll_idly(1);
    poll();
    EXPECT_EQ(host.count_lines("run /usr/sbin/chroot"), 2);
}

TEST_F(Installation, InformationThatIsGoneIsAFailure)
{
    for (const bool emptied : {false, true}) {
        reach_script();
        if (emptied)
            put_info(" \n");
        else
            sandbox.remove_file(info_path);
        EXPECT_EQ(poll(), timed_out_without_pid);
        expect_ended("9");
    }
}

TEST_F(Installation, ScriptHas30Seconds)
{
    reach_script();
    poll_for_address();
    start_job();
    poll_idly(9);
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
    EXPECT_TRUE(host.processes.empty());
}

TEST_F(Installation, ScriptThatNeverComesHas30SecondsToo)
{
    reach_script();
    poll_for_address();
    poll_idly(9);
    EXPECT_EQ(poll(), timed_out_without_pid);
    expect_ended("9");
}

TEST_F(Installation, ScriptInTheLastPollCounts)
{
    reach_script();
    poll_for_address();
    start_job();
    sandbox.put_file(script_path, "#!/bin/sh\n");
    poll_idly(8);
    end_job();
    poll_idly(1);
    poll();
    EXPECT_EQ(host.count_lines("run /usr/sbin/chroot"), 2);
}

TEST_F(Installation, ScriptThatComesTooLateDoesNot)
{
    reach_script();
    poll_for_address();
    start_job();
    poll_idly(9);
    sandbox.put_file(script_path, "#!/bin/sh\n");
    end_job();
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
}

TEST_F(Installation, EveryDownloadHasItsOwn30Seconds)
{
    start_anew();
    start_job();
    poll_idly(8);
    put_info("http://packages.example/install.sh\n");
    end_job();
    poll_idly(1);
    EXPECT_EQ(poll_for_address(), "http://packages.example/install.sh");
    poll_idly(9);
    EXPECT_EQ(poll(), timed_out_without_pid);
}

TEST_F(Installation, ScriptIsNotFetchedBesideARunningJob)
{
    reach_script();
    start_job();
    poll_idly(4);
    end_job();
    poll_idly(6);
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
}

TEST_F(Installation, AddressIsReadWhenTheScriptIsFetched)
{
    reach_script("http://one.example/\n");
    put_info("http://two.example/\n");
    EXPECT_EQ(poll_for_address(), "http://two.example/");
}

// ---- step 2: the script runs

TEST_F(Installation, ScriptRunsFor120SecondsAtMost)
{
    reach_run();
    start_job();
    poll_idly(39);
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
    EXPECT_TRUE(host.processes.empty());
}

TEST_F(Installation, ScriptIsNotRunBesideARunningJob)
{
    fetch_script();
    start_job();
    poll_idly(4);
    end_job();
    EXPECT_EQ(poll(), "set-status entware = 2\n" + switched_off);
    expect_ended("2");
}

TEST_F(Installation, ScriptThatEndsInTheLastPollCounts)
{
    reach_run();
    start_job();
    poll_idly(38);
    end_job();
    EXPECT_EQ(poll(), "set-status entware = 2\n" + switched_off);
    expect_ended("2");
}

TEST_F(Installation, ScriptThatEndsTooLateDoesNot)
{
    reach_run();
    start_job();
    poll_idly(39);
    end_job();
    EXPECT_EQ(poll(), timed_out);
    expect_ended("9");
}

TEST_F(Installation, ScriptThatEndsTooLateYetInstalledCounts)
{
    reach_run();
    start_job();
    poll_idly(39);
    sandbox.put_file(opkg_path, "x");
    end_job();
    EXPECT_EQ(poll(), "set-status entware = 2\n" + switched_off);
    expect_ended("2");
}

TEST_F(Installation, CommandsMayFail)
{
    host.on_command_prefix("/usr/bin/wget", {-1, 127});
    host.on_command_prefix("/usr/sbin/chroot", {1, -1});
    poll();
    expect_active();
    put_info("http://packages.example/install.sh\n");
    poll();
    poll();
    expect_active();
    sandbox.put_file(script_path, "x");
    poll();
    poll();
    EXPECT_EQ(host.count_lines("run /usr/sbin/chroot"), 2);
    expect_active();
}

TEST_F(Installation, LinkThatGoesEndsIt)
{
    reach_run();
    ASSERT_EQ(rename("/tmp/cur", "/tmp/was"), 0);
    EXPECT_EQ(poll(), "set-status entware = 9\n");
    expect_ended("9");
}

TEST_F(Installation, TakingDownInBetweenStartsItAnew)
{
    reach_run();
    host.call(fini_entware);
    EXPECT_EQ(stored_status(), "0");
    EXPECT_EQ(poll(), "set-status entware = 1\n"
                      "unlink /tmp/entware_info\n"
                      "unlink /tmp/entware_download.pid -> failed\n" +
                          fetch_info);
    expect_active();
}

} // namespace
