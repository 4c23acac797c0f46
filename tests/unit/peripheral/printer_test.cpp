#include "support/fixture.h"
#include "support/guarded.h"
#include "support/sysfs.h"

#include "nas/printer.h"
#include "platform/device.h"

#include <climits>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace
{

using nas_test::exists;
using nas_test::GuardedBuffer;
using nas_test::LibraryTest;
using nas_test::read_file;

namespace usb = nas_test::usb;

const std::string list_printers = "/bin/lpinfo -v | grep direct | cut -d ' ' -f 2 > /tmp/cups_printer";
const std::string list_names = "/bin/lpstat -v | cut -d ' ' -f 3 | cut -d ':' -f 1 > /tmp/cups_ret 2>&1";
const std::string list_queues = "/bin/lpstat -v > /tmp/cups_ret 2>&1";

struct Printer : LibraryTest {
    // The command leaves the text in the file.
    void leaves(const std::string &command, const std::string &path, const std::string &text)
    {
        host.commands.push_back({.text = command, .effect = [this, path, text] { sandbox.put_file(path, text); }});
    }

    // What the status is while lpstat says this.
    int status_of(const std::string &text, int exit_status = 0)
    {
        host.commands.clear();
        leaves(list_queues, "/tmp/cups_ret", text);
        host.commands.back().exit_statuses = {exit_status};
        return host.call(get_cupsd_printer_status, static_cast<char *>(nullptr));
    }

    // The first queue's name while the shorter list says this.
    std::string name_of(const std::string &names)
    {
        host.commands.clear();
        leaves(list_names, "/tmp/cups_ret", names);
        leaves(list_queues, "/tmp/cups_ret", "device for nalVEX_Printer: usb://Inkwell/Writer\n");
        const GuardedBuffer name(NAS_PRINTER_NAME_SIZE);
        EXPECT_EQ(host.call(get_cupsd_printer_status, name.data()), 0);
        return name.data();
    }
};

// ---- the record

TEST_F(Printer, PrintingIsOnUntilItIsSet)
{
    CupsdConfig config = {.enable = 7, .remote = 7};
    EXPECT_EQ(host.call(get_cupsd_config, &config), 1);
    EXPECT_EQ(config.enable, 1);
    EXPECT_EQ(config.remote, 0);
    EXPECT_EQ(host.call(get_cupsd_config, static_cast<CupsdConfig *>(nullptr)), 1);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Printer, EachSettingIsReadByItself)
{
    CupsdConfig config = {.enable = 7, .remote = 7};
    host.set_config("cupsd_conf", "0");
    EXPECT_EQ(host.call(get_cupsd_config, &config), 0);
    EXPECT_EQ(config.enable, 0);
    EXPECT_EQ(config.remote, 0);
    EXPECT_EQ(host.call(get_cupsd_config, static_cast<CupsdConfig *>(nullptr)), 0);
    host.set_config("cupsd_remote_conf", "1");
    EXPECT_EQ(host.call(get_cupsd_config, &config), 0);
    EXPECT_EQ(config.enable, 0);
    EXPECT_EQ(config.remote, 1);
    host.config.values.erase("cupsd_conf");
    EXPECT_EQ(host.call(get_cupsd_config, &config), 1);
    EXPECT_EQ(config.enable, 1);
    EXPECT_EQ(config.remote, 1);
}

TEST_F(Printer, SettingsAreNumbers)
{
    const std::vector<std::pair<std::string, int>> numbers = {
        {"", 0},
        {"0", 0},
        {"1", 1},
        {"5", 5},
        {"-3", -3},
        {" 1", 1},
        {"+4", 4},
        {"1,0", 1},
        {"2x", 2},
        {"x2", 0},
        {"on", 0},
        {"2147483647", INT_MAX},
        {"-2147483648", INT_MIN},
        {std::string(1022, '0') + "1", 1},
    };
    for (const auto &[text, number] : numbers) {
        CupsdConfig config = {.enable = 77, .remote = 77};
        host.config.values.clear();
        host.set_config("cupsd_conf", text);
        EXPECT_EQ(host.call(get_cupsd_config, &config), number) << text;
        EXPECT_EQ(config.enable, number) << text;
        EXPECT_EQ(config.remote, 0) << text;
        EXPECT_EQ(host.call(get_cupsd_config, static_cast<CupsdConfig *>(nullptr)), number) << text;
        host.config.values.clear();
        host.set_config("cupsd_remote_conf", text);
        EXPECT_EQ(host.call(get_cupsd_config, &config), 1) << text;
        EXPECT_EQ(config.enable, 1) << text;
        EXPECT_EQ(config.remote, number) << text;
    }
}

TEST_F(Printer, SettingsAreStoredAsOneAndZero)
{
    for (const int on : {1, 2, -5, INT_MAX, INT_MIN}) {
        const CupsdConfig printing = {.enable = on, .remote = 0};
        EXPECT_EQ(host.call(set_cupsd_config, &printing), 0) << on;
        EXPECT_EQ(host.transcript(), "set cupsd_conf = 1\n"
                                     "set cupsd_remote_conf = 0\n")
            << on;
        host.forget();
        const CupsdConfig remote = {.enable = 0, .remote = on};
        EXPECT_EQ(host.call(set_cupsd_config, &remote), 0) << on;
        EXPECT_EQ(host.transcript(), "set cupsd_conf = 0\n"
                                     "set cupsd_remote_conf = 1\n")
            << on;
        host.forget();
    }
}

TEST_F(Printer, StoredSettingsAreReadBack)
{
    for (const int enable : {0, 1}) {
        for (const int remote : {0, 1}) {
            const CupsdConfig stored = {.enable = enable, .remote = remote};
            EXPECT_EQ(host.call(set_cupsd_config, &stored), 0);
            CupsdConfig read = {.enable = 7, .remote = 7};
            EXPECT_EQ(host.call(get_cupsd_config, &read), enable);
            EXPECT_EQ(read.enable, enable);
            EXPECT_EQ(read.remote, remote);
        }
    }
}

TEST_F(Printer, StoreThatRefusesIsNoError)
{
    host.config.refuses_writes = true;
    const CupsdConfig config = {.enable = 1, .remote = 1};
    EXPECT_EQ(host.call(set_cupsd_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set cupsd_conf = 1 -> failed\n"
                                 "set cupsd_remote_conf = 1 -> failed\n");
}

// ---- the daemon and the LED

TEST_F(Printer, DaemonRunsWhenItIsFound)
{
    const std::vector<std::pair<int, int>> answers = {{0, 1}, {1, 0}, {2, 0}, {127, 0}, {-1, 0}};
    for (const auto &[exit_status, running] : answers) {
        host.commands.clear();
        host.on_command("pidof cupsd > /dev/null 2>&1", {exit_status});
        EXPECT_EQ(host.call(get_cupsd_status), running) << exit_status;
    }
    EXPECT_EQ(host.transcript(), "run pidof cupsd > /dev/null 2>&1 -> 0\n"
                                 "run pidof cupsd > /dev/null 2>&1 -> 1\n"
                                 "run pidof cupsd > /dev/null 2>&1 -> 2\n"
                                 "run pidof cupsd > /dev/null 2>&1 -> 127\n"
                                 "run pidof cupsd > /dev/null 2>&1 -> failed\n");
}

TEST_F(Printer, LedGoesOffUnlessThePortIsInUse)
{
    for (const int ignored : {0, 1, -1}) {
        EXPECT_EQ(host.call(turnoff_cupsled, ignored), 0);
        EXPECT_EQ(host.transcript(), "led 1 0\n");
        host.forget();
    }
    nas_test::plug(sandbox, host, usb::printer);
    EXPECT_EQ(host.call(turnoff_cupsled, 0), 0);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices//1-3:1.0/.. | grep lp0\n");
    host.forget();
    host.set_config("cupsd_conf", "0");
    EXPECT_EQ(host.call(turnoff_cupsled, 0), 0);
    EXPECT_EQ(host.transcript(), "popen /usr/bin/find /sys/bus/usb/devices//1-3:1.0/.. | grep lp0\n"
                                 "led 1 0\n");
}

// ---- the status of the queue

TEST_F(Printer, StatusIsToldByTheText)
{
    const std::vector<std::pair<std::string, int>> answers = {
        {"device for nalVEX_Printer: usb://Inkwell/Writer\n", 0},
        {"device for nalVEX_Printer: usb://Inkwell/Writer", 0},
        {"nalVEX_Printer", 0},
        {"device for Other: usb://Other\ndevice for nalVEX_Printer: usb://Inkwell/Writer\n", 0},
        {"device for nalVEX_Printer: usb://Inkwell/Writer\ndevice for Other: usb://Other\n", 0},
        {"device for nalVEX_Printer2: usb://Inkwell/Writer\n", 0},
        {"lpstat: No destinations added.\n", 1},
        {"lpstat: No destinations added.", 1},
        {"lpstat: No destinations added", 2},
        {"lpstat: No destinations added. \n", 2},
        {"lpstat: No destinations added..\n", 2},
        {" lpstat: No destinations added.\n", 2},
        {"lpstat: no destinations added.\n", 2},
        {"No destinations added.\n", 2},
        {"lpstat: Scheduler is not running.\n", 2},
        {"device for Other: usb://Other\n", 2},
        {"device for nalvex_printer: usb://Inkwell/Writer\n", 2},
        {"device for nalVEX_Printe: usb://Inkwell/Writer\n", 2},
        {"device for nalVEX\n_Printer: usb://Inkwell/Writer\n", 2},
        {"\n", 2},
        {"", 2},
    };
    for (const auto &[text, status] : answers) {
        for (const int exit_status : {0, 1})
            EXPECT_EQ(status_of(text, exit_status), status) << text << exit_status;
    }
}

TEST_F(Printer, TextIsReadUpTo1023Characters)
{
    const std::string name = "nalVEX_Printer";
    EXPECT_EQ(status_of(std::string(1023 - name.size(), 'x') + name + "\n"), 0);
    EXPECT_EQ(status_of(std::string(1024 - name.size(), 'x') + name + "\n"), 2);
    EXPECT_EQ(status_of(std::string(5000, 'x') + name + "\n"), 2);
    EXPECT_EQ(status_of(name + std::string(100000, 'x')), 0);
}

TEST_F(Printer, StatusAloneRunsOneCommand)
{
    EXPECT_EQ(status_of("lpstat: No destinations added.\n"), 1);
    EXPECT_EQ(host.transcript(), "unlink /tmp/cupsd_ret -> failed\n"
                                 "unlink /tmp/cupsd_ret -> failed\n"
                                 "run /bin/lpstat -v > /tmp/cups_ret 2>&1 -> 0\n");
    EXPECT_EQ(read_file("/tmp/cups_ret"), "lpstat: No destinations added.\n");
}

TEST_F(Printer, StatusAndNameRunTwo)
{
    leaves(list_names, "/tmp/cups_ret", "Other\n");
    leaves(list_queues, "/tmp/cups_ret", "device for Other: usb://Other\n");
    sandbox.put_file("/tmp/cupsd_ret", "old");
    const GuardedBuffer name(NAS_PRINTER_NAME_SIZE);
    EXPECT_EQ(host.call(get_cupsd_printer_status, name.data()), 2);
    EXPECT_STREQ(name.data(), "Other");
    EXPECT_EQ(host.transcript(), "unlink /tmp/cupsd_ret\n"
                                 "run /bin/lpstat -v | cut -d ' ' -f 3 | cut -d ':' -f 1 > /tmp/cups_ret 2>&1 -> 0\n"
                                 "unlink /tmp/cupsd_ret -> failed\n"
                                 "run /bin/lpstat -v > /tmp/cups_ret 2>&1 -> 0\n");
    EXPECT_FALSE(exists("/tmp/cupsd_ret"));
}

// The file that the command writes is never taken away.
TEST_F(Printer, OldAnswerCountsWhereTheCommandWritesNone)
{
    sandbox.put_file("/tmp/cups_ret", "device for nalVEX_Printer: usb://Inkwell/Writer\n");
    EXPECT_EQ(host.call(get_cupsd_printer_status, static_cast<char *>(nullptr)), 0);
    EXPECT_EQ(read_file("/tmp/cups_ret"), "device for nalVEX_Printer: usb://Inkwell/Writer\n");
}

TEST_F(Printer, NameIsTheFirstQueues)
{
    EXPECT_EQ(name_of("nalVEX_Printer\n"), "nalVEX_Printer");
    EXPECT_EQ(name_of("nalVEX_Printer"), "nalVEX_Printer");
    EXPECT_EQ(name_of("Other\nnalVEX_Printer\nThird\n"), "Other");
    EXPECT_EQ(name_of("destinations\n"), "destinations");
    EXPECT_EQ(name_of("100%s%n$(x)`\"\\\n"), "100%s%n$(x)`\"\\");
    EXPECT_EQ(name_of(""), "");
    EXPECT_EQ(name_of("\n"), "");
}

// The print server allows no longer ones.
TEST_F(Printer, NameIsCutAt127Characters)
{
    EXPECT_EQ(name_of(std::string(127, 'n') + "\n"), std::string(127, 'n'));
    EXPECT_EQ(name_of(std::string(128, 'n') + "\n"), std::string(127, 'n'));
    EXPECT_EQ(name_of(std::string(3000, 'n') + "\n"), std::string(127, 'n'));
    EXPECT_EQ(name_of("Other\n" + std::string(3000, 'n')), "Other");
}

// The name's text is not taken for the status's.
TEST_F(Printer, WithoutAnAnswerThereIsNoNameAndNoStatus)
{
    const GuardedBuffer name(NAS_PRINTER_NAME_SIZE);
    EXPECT_EQ(host.call(get_cupsd_printer_status, name.data()), 2);
    EXPECT_STREQ(name.data(), "");
    leaves(list_names, "/tmp/cups_ret", "nalVEX_Printer\n");
    host.commands.push_back({.text = list_queues, .effect = [this] { sandbox.remove_file("/tmp/cups_ret"); }});
    EXPECT_EQ(host.call(get_cupsd_printer_status, name.data()), 2);
    EXPECT_STREQ(name.data(), "nalVEX_Printer");
}

// ---- from run to run

// A print server and its printer on the port.
struct Recognition : Printer {
    Recognition()
    {
        host.device.silent_leds = LedSilentControl{.mode = 0, .start_hour = 0, .end_hour = 0};
        host.add_process({.name = "cupsd"});
        host.commands.push_back(
            {.text = list_printers, .effect = [this] { sandbox.put_file("/tmp/cups_printer", printers); }});
        host.commands.push_back({.text = "/bin/lpstat -v > /dev/null 2>&1", .exit_statuses = {1}});
        host.commands.push_back({.text = "/bin/lpadmin ", .is_prefix = true});
        host.commands.push_back({.text = list_queues, .effect = [this] { sandbox.put_file("/tmp/cups_ret", queues); }});
        nas_test::plug(sandbox, host, usb::printer);
    }
    void set_destination_check(int exit_status)
    {
        host.commands[1].exit_statuses = {exit_status};
    }
    void set_lpadmin(int exit_status)
    {
        host.commands[2].exit_statuses = {exit_status};
    }

    // One periodic run; what is not the callback's stays.
    std::string run(int run_count)
    {
        host.forget();
        std::memset(&record, 0x5a, sizeof record);
        record.run_count = run_count;
        EXPECT_EQ(host.call(lp_callback, &record), 0);
        EXPECT_EQ(std::string(record.host_data, sizeof record.host_data), std::string(60, '\x5a'));
        EXPECT_EQ(record.run_count, run_count);
        return host.transcript();
    }
    // Whether it wants to be called again: "every 4".
    std::string wish() const
    {
        if (record.active == 0)
            return record.interval == 0 ? "never" : "never, but an interval";
        return record.active == 1 ? "every " + std::to_string(record.interval) : "neither";
    }

    std::string printers = "usb://Inkwell/Writer\n";
    std::string queues = "device for nalVEX_Printer: usb://Inkwell/Writer\n";
    PeriodicCallbackRecord record;
};

const std::string find_printer = "popen /usr/bin/find /sys/bus/usb/devices//1-3:1.0/.. | grep lp0\n";

// Looking for a printer: the first time there is no file of an earlier run.
std::string looked(bool first)
{
    return std::string("run /bin/pidof cupsd -> 0\n"
                       "sync\n"
                       "unlink /tmp/cups_printer") +
           (first ? " -> failed" : "") +
           "\nrun /bin/lpinfo -v | grep direct | cut -d ' ' -f 2 > /tmp/cups_printer -> 0\n";
}

const std::string registered = "run /bin/lpstat -v > /dev/null 2>&1 -> 1\n"
                               "run /bin/lpadmin -p \"nalVEX_Printer\" -v \"usb://Inkwell/Writer\" -E -> 0\n"
                               "unlink /tmp/cupsd_ret -> failed\n"
                               "unlink /tmp/cupsd_ret -> failed\n"
                               "run /bin/lpstat -v > /tmp/cups_ret 2>&1 -> 0\n"
                               "log 1 @{83}\n" +
                               find_printer + "led 1 1\n";

const std::string timed_out = "run /bin/pidof cupsd -> 0\n"
                              "stderr: Timeout for Printer Recognization\n" +
                              find_printer + "run /bin/rm -rf /tmp/var/spool/cups/* -> 0\n";

TEST_F(Recognition, PrinterThatNeverShowsUpTimesOut)
{
    printers = "";
    for (const int count : {0, 1, 2, 3, 4, 5}) {
        EXPECT_EQ(run(count), looked(count == 0) + "stderr: No USB Printer by lpinfo\n" + find_printer) << count;
        EXPECT_EQ(wish(), "every 4") << count;
    }
    EXPECT_EQ(run(6), timed_out);
    EXPECT_EQ(wish(), "never");
}

TEST_F(Recognition, PrinterIsRegisteredInTheRunThatFindsIt)
{
    for (const int found : {0, 1, 2, 3, 4, 5}) {
        sandbox.put_file("/tmp/cups_printer", "");
        printers = "";
        for (int count = 0; count < found; ++count) {
            EXPECT_EQ(run(count), looked(false) + "stderr: No USB Printer by lpinfo\n" + find_printer) << count;
            EXPECT_EQ(wish(), "every 4") << count;
        }
        printers = "usb://Inkwell/Writer\n";
        EXPECT_EQ(run(found), looked(false) + registered) << found;
        EXPECT_EQ(wish(), "never") << found;
    }
}

TEST_F(Recognition, PrinterOfTheSixthRunComesTooLate)
{
    for (const int count : {6, 7, 100, INT_MAX}) {
        EXPECT_EQ(run(count), timed_out) << count;
        EXPECT_EQ(wish(), "never") << count;
    }
}

TEST_F(Recognition, CountBelowZeroIsNoTimeout)
{
    EXPECT_EQ(run(-1), looked(true) + registered);
    EXPECT_EQ(wish(), "never");
}

TEST_F(Recognition, OtherDestinationIsNeverJoined)
{
    set_destination_check(0);
    for (const int count : {0, 1, 2, 3, 4, 5}) {
        EXPECT_EQ(run(count), looked(count == 0) +
                                  "run /bin/lpstat -v > /dev/null 2>&1 -> 0\n"
                                  "stderr: Printer is already registered\n" +
                                  find_printer)
            << count;
        EXPECT_EQ(wish(), "every 4") << count;
    }
    EXPECT_EQ(run(6), timed_out);
    EXPECT_EQ(wish(), "never");
}

TEST_F(Recognition, DestinationCheckThatCannotBeRunCountsAsNone)
{
    for (const int exit_status : {2, 127}) {
        set_destination_check(exit_status);
        run(0);
        EXPECT_EQ(host.count_lines("run /bin/lpadmin "), 1) << exit_status;
        EXPECT_EQ(wish(), "never") << exit_status;
    }
    set_destination_check(-1);
    run(0);
    EXPECT_EQ(host.count_lines("run /bin/lpadmin "), 1);
}

TEST_F(Recognition, FailedRegistrationIsTriedAgain)
{
    const std::string refused = "run /bin/lpstat -v > /dev/null 2>&1 -> 1\n"
                                "run /bin/lpadmin -p \"nalVEX_Printer\" -v \"usb://Inkwell/Writer\" -E -> 1\n";
    set_lpadmin(1);
    EXPECT_EQ(run(0), looked(true) + refused + find_printer);
    EXPECT_EQ(wish(), "every 4");
    EXPECT_EQ(run(1), looked(false) + refused + find_printer);
    EXPECT_EQ(wish(), "every 4");
    set_lpadmin(0);
    EXPECT_EQ(run(2), looked(false) + registered);
    EXPECT_EQ(wish(), "never");
}

TEST_F(Recognition, QueueThatIsNotThereIsMadeAgain)
{
    const std::string made = "run /bin/lpstat -v > /dev/null 2>&1 -> 1\n"
                             "run /bin/lpadmin -p \"nalVEX_Printer\" -v \"usb://Inkwell/Writer\" -E -> 0\n"
                             "unlink /tmp/cupsd_ret -> failed\n"
                             "unlink /tmp/cupsd_ret -> failed\n"
                             "run /bin/lpstat -v > /tmp/cups_ret 2>&1 -> 0\n";
    bool first = true;
    for (const char *text : {"", "lpstat: No destinations added.\n", "device for Other: usb://Other\n"}) {
        queues = text;
        EXPECT_EQ(run(0), looked(first) + made + find_printer) << text;
        EXPECT_EQ(wish(), "every 4") << text;
        first = false;
    }
    queues = "device for Other: usb://Other\ndevice for nalVEX_Printer: usb://Inkwell/Writer\n";
    EXPECT_EQ(run(1), looked(false) + registered);
    EXPECT_EQ(wish(), "never");
}

TEST_F(Recognition, DaemonThatEndsEndsIt)
{
    printers = "";
    run(0);
    EXPECT_EQ(wish(), "every 4");
    host.processes.clear();
    for (const int count : {1, 5, 6, 7}) {
        EXPECT_EQ(run(count), "run /bin/pidof cupsd -> 1\n"
                              "stderr: No Cupsd Running\n")
            << count;
        EXPECT_EQ(wish(), "never") << count;
    }
    EXPECT_TRUE(exists("/tmp/cups_printer"));
}

TEST_F(Recognition, LedFollowsTheSettingAfterEveryFailure)
{
    host.set_config("cupsd_conf", "0");
    printers = "";
    run(0);
    EXPECT_EQ(host.lines().back(), "led 1 0");
    printers = "usb://Inkwell/Writer\n";
    set_destination_check(0);
    run(1);
    EXPECT_EQ(host.lines().back(), "led 1 0");
    set_destination_check(1);
    set_lpadmin(1);
    run(2);
    EXPECT_EQ(host.lines().back(), "led 1 0");
    set_lpadmin(0);
    queues = "";
    run(3);
    EXPECT_EQ(host.lines().back(), "led 1 0");
    run(6);
    EXPECT_EQ(host.count_lines("led 1 0"), 1);
    EXPECT_EQ(host.lines().back(), "run /bin/rm -rf /tmp/var/spool/cups/* -> 0");
}

// ---- what the printer says

TEST_F(Recognition, AddressThatTheShellWouldReadIsRefused)
{
    const std::vector<std::string> addresses = {"$(reboot)",
                                                "usb://Ink$HOME",
                                                "usb://Ink`reboot`",
                                                "usb://Ink\" -E; reboot; \"",
                                                "\"",
                                                "`",
                                                "$",
                                                "\\",
                                                "usb://Ink\\",
                                                "usb://Ink\\x41",
                                                "usb://Inkwell/Writer?serial=$",
                                                "usb://Inkwell/Writer?serial=\""};
    bool first = true;
    for (const std::string &address : addresses) {
        printers = address + "\n";
        EXPECT_EQ(run(0), looked(first) + "stderr: Printer address refused\n" + find_printer) << address;
        EXPECT_EQ(wish(), "every 4") << address;
        first = false;
    }
    for (const int count : {1, 5}) {
        run(count);
        EXPECT_EQ(wish(), "every 4") << count;
    }
    printers = "usb://Inkwell/Writer\n";
    EXPECT_EQ(run(5), looked(false) + registered);
    EXPECT_EQ(wish(), "never");
}

TEST_F(Recognition, RefusedAddressLeavesTheLedToTheRule)
{
    host.set_config("cupsd_conf", "0");
    printers = "usb://Ink$(reboot)\n";
    run(0);
    EXPECT_EQ(host.count_lines("led "), 1);
    EXPECT_EQ(host.lines().back(), "led 1 0");
    EXPECT_EQ(wish(), "every 4");
    run(6);
    EXPECT_EQ(host.count_lines("stderr: Timeout for Printer Recognization"), 1);
    EXPECT_EQ(wish(), "never");
}

TEST_F(Recognition, FirstPrinterCounts)
{
    printers = "usb://Inkwell/Writer\nusb://Toner/Laser\n";
    EXPECT_EQ(run(0), looked(true) + registered);
    printers = "usb://Inkwell/Writer\nusb://Toner/`reboot`\"\\\n";
    EXPECT_EQ(run(0), looked(false) + registered);
    printers = "usb://Toner/$(reboot)\nusb://Inkwell/Writer\n";
    run(0);
    EXPECT_EQ(host.count_lines("run /bin/lpadmin"), 0);
    EXPECT_EQ(wish(), "every 4");
}

TEST_F(Recognition, EmptyFirstLineIsNoPrinter)
{
    bool first = true;
    for (const char *text : {"\n", "\n\n", "\nusb://Inkwell/Writer\n"}) {
        printers = text;
        EXPECT_EQ(run(0), looked(first) + "stderr: No USB Printer by lpinfo\n" + find_printer) << text;
        EXPECT_EQ(wish(), "every 4");
        first = false;
    }
}

TEST_F(Recognition, OtherCharactersPass)
{
    for (const std::string &address :
         std::vector<std::string>{"usb://Ink%20well/W%s%n'r'i;t|e&r?<serial>=(1)*~#!\xc3\xbc", "\xc3\xbc://Inkwell"}) {
        printers = address + "\n";
        run(0);
        EXPECT_EQ(host.count_lines("run /bin/lpadmin -p \"nalVEX_Printer\" -v \"" + address + "\" -E -> 0"), 1);
        EXPECT_EQ(wish(), "never");
    }
}

TEST_F(Recognition, CommandIsCutAt1023Characters)
{
    const std::string begin = "/bin/lpadmin -p \"nalVEX_Printer\" -v \"";
    const std::string end = "\" -E";
    const std::string fits(1023 - begin.size() - end.size(), 'u');
    printers = fits + "\n";
    run(0);
    EXPECT_EQ(host.count_lines("run " + begin + fits + end + " -> 0"), 1);
    printers = fits + "u\n";
    set_lpadmin(2); // as the shell says of a quote without its end
    run(0);
    EXPECT_EQ(host.count_lines("run " + begin + fits + "u\" - -> 2"), 1);
    EXPECT_EQ(wish(), "every 4");
    printers = std::string(3000, 'u') + "\n";
    run(0);
    EXPECT_EQ(host.count_lines("run " + begin + std::string(1023 - begin.size(), 'u') + " -> 2"), 1);
    EXPECT_EQ(wish(), "every 4");
}

} // namespace
