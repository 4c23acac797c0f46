#include "event_queue.h"
#include "filter.h"

#include "private_world.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace
{

#define USB_DEVICE "/devices/pci0000:00/0000:00:12.0/usb4/4-1"
#define USB_DISK USB_DEVICE "/4-1:1.0/host0/target0:0:0/0:0:0:0"

/* "action path", or "dropped". */
std::string passed(const char *action, const std::string &path)
{
    const std::optional<hotplug::Event> event = hotplug::accepted_event(action, path);
    return event ? event->action + " " + event->path : "dropped";
}

struct Case {
    const char *action;
    const char *path;
    const char *expected;
};

constexpr Case cases[] = {
    // disks and partitions
    {"add", USB_DISK "/block/sda", "add " USB_DISK "/block/sda"},
    {"add", USB_DISK "/block/sda/sda1", "add " USB_DISK "/block/sda/sda1"},
    {"remove", USB_DISK "/block/sda/sda15", "remove " USB_DISK "/block/sda/sda15"},
    {"remove", USB_DISK "/block/sdz", "remove " USB_DISK "/block/sdz"},
    {"add", "/block/sda/sda1", "add /block/sda/sda1"},
    {"change", USB_DISK "/block/sda", "dropped"},
    {"bind", USB_DISK "/block/sda", "dropped"},
    {"", USB_DISK "/block/sda", "dropped"},
    {"Add", USB_DISK "/block/sda", "dropped"},
    // other block devices, and other things of a disk
    {"add", "/devices/virtual/block/loop0", "dropped"},
    {"add", "/devices/virtual/block/ram0", "dropped"},
    {"remove", "/devices/pci0000:00/0000:00:1f.2/block/sr0", "dropped"},
    {"add", "/devices/platform/mmc/block/mmcblk0/mmcblk0p1", "dropped"},
    {"add", USB_DISK "/block/sdaa", "dropped"},
    {"add", USB_DISK "/block/sda/queue", "dropped"},
    {"add", USB_DISK "/block/sda/sdb1", "dropped"},
    {"add", USB_DISK "/block/sda/sda0", "dropped"},
    {"add", USB_DISK "/block/sda/sda1/holders", "dropped"},
    {"add", USB_DISK "/block/sda;reboot", "dropped"},
    {"add", "/block/x/block/sda", "dropped"},
    {"add", USB_DISK "/block/", "dropped"},
    {"remove", USB_DISK "/scsi_disk/0:0:0:0", "dropped"},
    {"add", USB_DISK, "dropped"},
    {"remove", "/devices/virtual/bdi/8:0", "dropped"},
    // printers
    {"add", USB_DEVICE "/4-1:1.0/usbmisc/lp0", "add " USB_DEVICE "/4-1:1.0/usbmisc/lp0"},
    {"remove", USB_DEVICE "/4-1:1.0/usb/lp0", "remove " USB_DEVICE "/4-1:1.0/usb/lp0"},
    {"add", "/class/usb/lp0", "add /class/usb/lp0"},
    {"add", USB_DEVICE "/4-1:1.0/usbmisc/lp1", "dropped"},
    {"add", USB_DEVICE "/4-1:1.0/usbmisc/lp0/power", "dropped"},
    {"unbind", USB_DEVICE "/4-1:1.0/usbmisc/lp0", "dropped"},
    // phones
    {"add", USB_DEVICE "/4-1:1.0/net/usb0", "add /class/net/usb0"},
    {"remove", USB_DEVICE "/4-1:1.0/net/usb0", "remove /class/net/usb0"},
    {"add", "/class/net/usb0", "add /class/net/usb0"},
    {"add", USB_DEVICE "/4-1:1.0/net/usb0/queues/rx-0", "dropped"},
    {"add", USB_DEVICE "/4-1:1.0/net/usb1", "dropped"},
    {"add", "/devices/virtual/net/br-lan", "dropped"},
    {"move", USB_DEVICE "/4-1:1.0/net/usb0", "dropped"},
    {"add", "/class/usb_device/usbdev1.2", "add /class/usb_device/usbdev1.2"},
    {"add", USB_DEVICE, "dropped"},
    {"bind", USB_DEVICE "/4-1:1.0", "dropped"},
    // texts that are no paths
    {"add", "", "dropped"},
    {"add", "/a\n/block/sda", "dropped"},
    {"add", "block/sda", "dropped"},
};

struct EventQueue : testing::Test {
    EventQueue()
    {
        while (true) {
            bool any = false;
            hotplug::drain_events([&](const hotplug::Event &, hotplug::Attempt) { any = true; });
            if (!any)
                break;
        }
    }
};

std::vector<std::string> drained()
{
    std::vector<std::string> handled;
    hotplug::drain_events([&](const hotplug::Event &event, hotplug::Attempt attempt) {
        constexpr const char *seen[] = {"", "again ", "given up "};
        handled.push_back(seen[static_cast<int>(attempt)] + event.action + " " + event.path);
    });
    return handled;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(Filter, PassesOnWhatTheLibraryHandles)
{
    for (const Case &each : cases)
        EXPECT_EQ(each.expected, passed(each.action, each.path)) << each.action << " " << each.path;
}

TEST(Filter, PathsAreBounded)
{
    const std::string end = "/block/sda";
    EXPECT_NE("dropped", passed("add", "/" + std::string(1023 - 1 - end.size(), 'x') + end));
    EXPECT_EQ("dropped", passed("add", "/" + std::string(1024 - 1 - end.size(), 'x') + end));
}

TEST(Filter, KnowsWhatRemovesAVolume)
{
    EXPECT_TRUE(hotplug::removes_volume({"remove", USB_DISK "/block/sda/sda1"}));
    EXPECT_TRUE(hotplug::removes_volume({"remove", USB_DISK "/block/sda"}));
    EXPECT_FALSE(hotplug::removes_volume({"add", USB_DISK "/block/sda"}));
    EXPECT_FALSE(hotplug::removes_volume({"remove", "/class/net/usb0"}));
}

TEST(EventRules, TheKernelsNumbersGiveTheOrder)
{
    const nashost::Texts waiting = {"12 0 0 remove /block/sda", "9 0 0 remove /block/sda/sda1",
                                    "100 0 0 add /block/sda"};
    EXPECT_EQ(9U, hotplug::first_event(waiting)->number);
    EXPECT_FALSE(hotplug::first_event({}));
}

TEST(EventRules, WithoutNumbersTheFirstComesFirst)
{
    const nashost::Texts waiting = {"not an event", "0 70 0 add /block/sdb", "0 60 0 remove /block/sda"};
    EXPECT_EQ("/block/sdb", hotplug::first_event(waiting)->event.path);
}

TEST(EventRules, ALineHoldsEverything)
{
    const hotplug::NumberedEvent event = {3, {"add", "/a b /block/sda"}, 4000, 1};
    EXPECT_EQ("3 4000 1 add /a b /block/sda", hotplug::line_of(event));
    const auto read = hotplug::parsed("3 4000 1 add /a b /block/sda");
    EXPECT_EQ("/a b /block/sda", read->event.path);
    EXPECT_EQ(4000, read->arrived);
    EXPECT_EQ(1, read->attempts);
}

TEST(EventRules, AMomentIsWaitedForTheOneBefore)
{
    const hotplug::NumberedEvent event = {12, {"add", "/block/sda"}, 5000, 0};
    EXPECT_EQ(100, hotplug::time_to_wait(event, 0, 5000));
    EXPECT_EQ(40, hotplug::time_to_wait(event, 10, 5060));
    EXPECT_EQ(0, hotplug::time_to_wait(event, 11, 5000)); // it was there
    EXPECT_EQ(0, hotplug::time_to_wait(event, 10, 5100));
    EXPECT_EQ(0, hotplug::time_to_wait(event, 20, 5000)); // too late in any case
    EXPECT_EQ(0, hotplug::time_to_wait({0, {"add", "/block/sda"}, 5000, 0}, 0, 5000));
    EXPECT_EQ(0, hotplug::time_to_wait({12, {"add", "/block/sda"}, 5000, 1}, 0, 5000));
}

/* Whichever handler is the quicker one. */
TEST_F(EventQueue, AnEventThatComesAMomentLaterIsNotOvertaken)
{
    Lines handled;
    int in_order = 0;
    for (uint64_t number = 100; in_order < 8 && number < 1000; number += 4) {
        hotplug::add_event({number + 2, {"add", "/later"}});
        const pid_t other = fork();
        if (other == 0) {
            usleep(5000);
            hotplug::add_event({number, {"add", "/earlier"}});
            _exit(0);
        }
        handled = drained();
        waitpid(other, nullptr, 0);
        const Lines left = drained(); // on a busy machine the child may need longer than the moment
        in_order += handled == Lines{"add /earlier", "add /later"} ? 1 : 0;
        EXPECT_EQ(2U, handled.size() + left.size());
    }
    EXPECT_EQ(8, in_order);
}

TEST_F(EventQueue, HandlesWhatComesWhileItHandles)
{
    hotplug::add_event({1, {"add", "/block/sda"}});
    Lines handled;
    hotplug::drain_events([&](const hotplug::Event &event, hotplug::Attempt) {
        handled.push_back(event.path);
        if (event.path == "/block/sda")
            hotplug::add_event({2, {"add", "/block/sdb"}});
    });
    EXPECT_EQ((Lines{"/block/sda", "/block/sdb"}), handled);
    EXPECT_EQ(Lines(), drained());
}

TEST_F(EventQueue, OneHandlesTheOthersLeave)
{
    hotplug::add_event({1, {"add", "/block/sda"}});
    Lines handled, of_the_other;
    hotplug::drain_events([&](const hotplug::Event &event, hotplug::Attempt) {
        handled.push_back(event.path);
        if (handled.size() == 1) {
            hotplug::add_event({2, {"add", "/block/sdb"}});
            of_the_other = drained();
        }
    });
    EXPECT_EQ((Lines{"/block/sda", "/block/sdb"}), handled);
    EXPECT_EQ(Lines(), of_the_other);
}

TEST_F(EventQueue, WhatAKilledDrainLeavesIsHandledOnceMore)
{
    hotplug::add_event({1, {"add", "/block/sda"}});
    hotplug::add_event({2, {"add", "/block/sdb"}});
    const pid_t child = fork();
    if (child == 0) {
        hotplug::drain_events([](const hotplug::Event &, hotplug::Attempt) { raise(SIGKILL); });
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    hotplug::add_event({3, {"add", "/block/sdc"}});
    EXPECT_EQ((Lines{"again add /block/sda", "add /block/sdb", "add /block/sdc"}), drained());
    EXPECT_EQ(Lines(), drained());
}

TEST_F(EventQueue, AnEventThatEndsItsDrainTwiceIsGivenUp)
{
    hotplug::add_event({1, {"add", "/block/sda"}});
    for (int i = 0; i < 2; i++) {
        EXPECT_TRUE(hotplug::events_are_left());
        const pid_t child = fork();
        if (child == 0) {
            hotplug::drain_events([](const hotplug::Event &, hotplug::Attempt) { raise(SIGKILL); });
            _exit(0);
        }
        waitpid(child, nullptr, 0);
    }
    EXPECT_EQ((Lines{"given up add /block/sda"}), drained());
    EXPECT_FALSE(hotplug::events_are_left());
}

TEST_F(EventQueue, WhatIsNoEventIsDropped)
{
    private_world::put_contents(private_world::folder() + "/run/events", std::string("nonsense\0", 9));
    EXPECT_EQ(Lines(), drained());
    EXPECT_FALSE(hotplug::events_are_left());
}

TEST_F(EventQueue, NothingIsLeftWhileSomebodyHandles)
{
    hotplug::add_event({1, {"add", "/block/sda"}});
    EXPECT_TRUE(hotplug::events_are_left());
    hotplug::drain_events([](const hotplug::Event &, hotplug::Attempt) { EXPECT_FALSE(hotplug::events_are_left()); });
    EXPECT_FALSE(hotplug::events_are_left());
}

/* Hundreds of handlers at once, as the kernel starts them: every event is handled once, and never two at a time. */
TEST_F(EventQueue, LosesNothingWhenHundredsComeAtOnce)
{
    const std::string journal = private_world::folder() + "/journal";
    private_world::put_contents(journal, "");
    std::vector<pid_t> handlers;
    for (int i = 1; i <= 300; i++) {
        const pid_t child = fork();
        if (child == 0) {
            hotplug::add_event({static_cast<uint64_t>(i), {"add", "/" + std::to_string(i)}});
            hotplug::drain_events([&](const hotplug::Event &event, hotplug::Attempt) {
                FILE *file = fopen(journal.c_str(), "a");
                fprintf(file, "begin %s\n", event.path.c_str());
                fflush(file);
                usleep(500);
                fprintf(file, "end %s\n", event.path.c_str());
                fclose(file);
            });
            _exit(0);
        }
        handlers.push_back(child);
    }
    for (pid_t handler : handlers)
        waitpid(handler, nullptr, 0);

    std::istringstream lines(private_world::contents(journal));
    std::vector<bool> seen(301);
    std::string begin, begin_path, end, end_path;
    int count = 0;
    for (; lines >> begin >> begin_path >> end >> end_path; count++) {
        ASSERT_EQ("begin", begin);
        ASSERT_EQ("end", end);
        ASSERT_EQ(begin_path, end_path);
        seen.at(std::stoul(begin_path.substr(1))) = true;
    }
    EXPECT_EQ(300, count);
    EXPECT_EQ(300, std::count(seen.begin(), seen.end(), true));
}
