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
            hotplug::drain_events([&](const hotplug::Event &) { any = true; });
            if (!any)
                break;
        }
    }
};

std::vector<std::string> drained()
{
    std::vector<std::string> handled;
    hotplug::drain_events([&](const hotplug::Event &event) { handled.push_back(event.action + " " + event.path); });
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
    nashost::Texts waiting;
    for (const hotplug::NumberedEvent &event : {
             hotplug::NumberedEvent{12, {"remove", "/block/sda"}},
             hotplug::NumberedEvent{9, {"remove", "/block/sda/sda1"}},
             hotplug::NumberedEvent{100, {"add", "/block/sda"}},
         })
        waiting.push_back(hotplug::line_of(event));
    EXPECT_EQ(9U, hotplug::take_first_event(waiting)->number);
    EXPECT_EQ(12U, hotplug::take_first_event(waiting)->number);
    EXPECT_EQ(100U, hotplug::take_first_event(waiting)->number);
    EXPECT_FALSE(hotplug::take_first_event(waiting));
}

TEST(EventRules, WithoutNumbersTheFirstComesFirst)
{
    nashost::Texts waiting = {"0 add /block/sdb", "not an event", "0 remove /block/sda", "0 add /block/sdc"};
    EXPECT_EQ("/block/sdb", hotplug::take_first_event(waiting)->event.path);
    EXPECT_EQ("/block/sda", hotplug::take_first_event(waiting)->event.path);
    EXPECT_EQ("/block/sdc", hotplug::take_first_event(waiting)->event.path);
    EXPECT_FALSE(hotplug::take_first_event(waiting));
}

TEST(EventRules, APathMayHoldBlanks)
{
    nashost::Texts waiting = {hotplug::line_of({3, {"add", "/a b /block/sda"}})};
    EXPECT_EQ("/a b /block/sda", hotplug::take_first_event(waiting)->event.path);
}

TEST_F(EventQueue, HandlesWhatComesWhileItHandles)
{
    hotplug::add_event({1, {"add", "/block/sda"}});
    Lines handled;
    hotplug::drain_events([&](const hotplug::Event &event) {
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
    hotplug::drain_events([&](const hotplug::Event &event) {
        handled.push_back(event.path);
        if (handled.size() == 1) {
            hotplug::add_event({2, {"add", "/block/sdb"}});
            of_the_other = drained();
        }
    });
    EXPECT_EQ((Lines{"/block/sda", "/block/sdb"}), handled);
    EXPECT_EQ(Lines(), of_the_other);
}

TEST_F(EventQueue, WhatAKilledDrainLeavesIsHandledWithTheNextEvent)
{
    hotplug::add_event({1, {"add", "/block/sda"}});
    hotplug::add_event({2, {"add", "/block/sdb"}});
    const pid_t child = fork();
    if (child == 0) {
        hotplug::drain_events([](const hotplug::Event &) { raise(SIGKILL); });
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    hotplug::add_event({3, {"add", "/block/sdc"}});
    EXPECT_EQ((Lines{"add /block/sdb", "add /block/sdc"}), drained());
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
            hotplug::drain_events([&](const hotplug::Event &event) {
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
