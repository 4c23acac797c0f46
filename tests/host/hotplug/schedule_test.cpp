#include "schedule.h"

#include <gtest/gtest.h>

namespace
{

using serviced::Schedule;

PeriodicCallbackRecord wish(int active, int interval)
{
    PeriodicCallbackRecord record = {};
    record.active = active;
    record.interval = interval;
    return record;
}

} // namespace

TEST(Schedule, WhatIsAskedForIsDueAtOnce)
{
    Schedule schedule;
    EXPECT_EQ(std::nullopt, serviced::first_due(schedule));
    serviced::schedule_now(schedule, "fuse", 5000);
    EXPECT_EQ(5000, serviced::first_due(schedule));
    EXPECT_TRUE(serviced::is_scheduled(schedule, "fuse"));
    EXPECT_FALSE(serviced::is_scheduled(schedule, "lp"));
}

TEST(Schedule, CallbackIsCalledAgainAfterItsInterval)
{
    Schedule schedule;
    serviced::schedule_now(schedule, "fuse", 1000);
    EXPECT_EQ(1, serviced::begin_call(schedule, "fuse", 1000).run_count);
    serviced::end_call(schedule, "fuse", wish(1, 10), 1500);
    EXPECT_EQ(11500, serviced::first_due(schedule));

    const PeriodicCallbackRecord record = serviced::begin_call(schedule, "fuse", 11600);
    EXPECT_EQ(1, record.active);
    EXPECT_EQ(2, record.run_count);
    EXPECT_EQ(10, record.interval);
}

TEST(Schedule, CallbackThatWantsNoMoreIsForgotten)
{
    Schedule schedule;
    serviced::schedule_now(schedule, "fuse", 1000);
    serviced::schedule_now(schedule, "lp", 7000);
    serviced::begin_call(schedule, "fuse", 1000);
    serviced::end_call(schedule, "fuse", wish(0, 0), 1100);
    EXPECT_FALSE(serviced::is_scheduled(schedule, "fuse"));
    EXPECT_EQ(7000, serviced::first_due(schedule));
}

TEST(Schedule, CountBeginsAnewWhenItIsScheduledAnew)
{
    Schedule schedule;
    serviced::schedule_now(schedule, "fuse", 1000);
    serviced::begin_call(schedule, "fuse", 1000);
    serviced::end_call(schedule, "fuse", wish(1, 10), 1000);
    serviced::begin_call(schedule, "fuse", 11000);
    serviced::end_call(schedule, "fuse", wish(1, 10), 11000);
    serviced::schedule_now(schedule, "fuse", 15000);
    EXPECT_EQ(1, serviced::begin_call(schedule, "fuse", 15000).run_count);
}

TEST(Schedule, CallbackThatAsksForItselfRunsOnceASecondAtMost)
{
    Schedule schedule;
    serviced::schedule_now(schedule, "fuse", 20000);
    serviced::begin_call(schedule, "fuse", 20000);
    serviced::end_call(schedule, "fuse", wish(1, 10), 20010);
    serviced::schedule_now(schedule, "fuse", 20020);
    EXPECT_EQ(21000, serviced::first_due(schedule));
    serviced::schedule_now(schedule, "fuse", 25000);
    EXPECT_EQ(25000, serviced::first_due(schedule));
}

TEST(Schedule, IntervalIsNeverNothing)
{
    Schedule schedule;
    serviced::schedule_now(schedule, "lp", 1000);
    serviced::begin_call(schedule, "lp", 1000);
    serviced::end_call(schedule, "lp", wish(1, 0), 1000);
    EXPECT_EQ(2000, serviced::first_due(schedule));
    serviced::end_call(schedule, "lp", wish(1, -5), 1000);
    EXPECT_EQ(2000, serviced::first_due(schedule));
    serviced::end_call(schedule, "lp", wish(1, 2147483647), 1000);
    EXPECT_EQ(2147483648000, serviced::first_due(schedule));
}

TEST(Schedule, CallbackThatEndsItsWorkerIsCalledAgainLater)
{
    Schedule schedule;
    serviced::schedule_now(schedule, "lp", 1000);
    serviced::begin_call(schedule, "lp", 1000);
    EXPECT_EQ(11000, serviced::first_due(schedule));
}

TEST(Schedule, IsStored)
{
    EXPECT_TRUE(serviced::edit_schedule([](Schedule &schedule) {
        serviced::schedule_now(schedule, "fuse", 1000);
        serviced::begin_call(schedule, "fuse", 1000);
        serviced::end_call(schedule, "fuse", wish(1, 30), 2000);
    }));
    const Schedule schedule = serviced::read_schedule();
    ASSERT_EQ(1U, schedule.size());
    EXPECT_EQ("fuse", schedule[0].name);
    EXPECT_EQ(1, schedule[0].run_count);
    EXPECT_EQ(30, schedule[0].interval);
    EXPECT_EQ(32000, schedule[0].due);
    EXPECT_EQ(1000, schedule[0].last_call);
    serviced::edit_schedule([](Schedule &all) { all.clear(); });
    EXPECT_TRUE(serviced::read_schedule().empty());
}
