// What the monitor does from one sleep to the next.

#include <gpal/osTimerThread.h>

#include <gmock/gmock.h>

#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>

#include "timers/monitor_fixture.h"

using testing::ElementsAre;
using timertest::ScriptedTimer;

namespace
{

using MonitorPass = timertest::MonitorFixture;

} // namespace

TEST_F(MonitorPass, sleepsWithoutLimitWhileNothingIsArmed)
{
    start();
    EXPECT_THAT(m_time.sleeps(), ElementsAre("without limit"));
    EXPECT_EQ(m_time.wakeMonitor(), "without limit");
    osTimer timer(&m_receiver, 50);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.pass({0, 50000000});
    EXPECT_EQ(m_receiver.calls(), 1);
    EXPECT_THAT(m_time.sleeps(), ElementsAre("without limit", "without limit",
                                             "until 501.020000000", "without limit"));
}

TEST_F(MonitorPass, servesWhatWasArmedBeforeItStartedOnItsFirstPass)
{
    osTimer due(&m_receiver, 50);
    osTimer pending(&m_receiver, 900);
    due.start();
    pending.start();
    m_time.setMonotonic({11, 30000000});
    start();
    EXPECT_THAT(m_time.sleeps(), ElementsAre("until 500.970000000", "until 501.820000000"));
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&due));
    EXPECT_EQ(m_monitor.numItems(), 1);
}

TEST_F(MonitorPass, readsTheMonotonicClockAndThenTheWallClockOncePerWakeUp)
{
    start();
    m_time.wakeMonitor();
    EXPECT_THAT(m_time.readings(),
                ElementsAre(CLOCK_MONOTONIC, CLOCK_REALTIME, CLOCK_MONOTONIC, CLOCK_REALTIME));
}

TEST_F(MonitorPass, sleepsUntilTheEarliestExpiryOnTheWallClock)
{
    start();
    osTimer late(&m_receiver, 2000);
    osTimer early(&m_receiver, 50);
    osTimer middle(&m_receiver, 333);
    EXPECT_EQ(m_time.sleepAfter([&] { late.start(); }), "until 502.970000000");
    EXPECT_EQ(m_time.sleepAfter([&] { early.start(); }), "until 501.020000000") << "carry, borrow";
    EXPECT_EQ(m_time.sleepAfter([&] { middle.start(); }), "until 501.020000000");
    EXPECT_EQ(m_time.sleepAfter([&] { early.stop(); }), "until 501.303000000");
    EXPECT_EQ(m_time.sleepAfter([&] { middle.stop(); }), "until 502.970000000");
}

TEST_F(MonitorPass, makesNanosecondsThatAddUpToASecondAWholeOne)
{
    start();
    osTimer timer(&m_receiver, 50);
    m_time.setWall({500, 950000000});
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 501.000000000");
    m_time.setWall({500, 949999999});
    EXPECT_EQ(m_time.wakeMonitor(), "until 500.999999999");
}

TEST_F(MonitorPass, firesAfterFiftyMillisecondsAtTenNinetyEightAtElevenThree)
{
    start();
    osTimer timer(&m_receiver, 50);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.setMonotonic({11, 29999999});
    m_time.wakeMonitor();
    EXPECT_EQ(m_receiver.calls(), 0);
    m_time.setMonotonic({11, 30000000});
    m_time.wakeMonitor();
    EXPECT_EQ(m_receiver.calls(), 1);
}

TEST_F(MonitorPass, leavesAnExpiryOnAWholeSecondToTheNextWakeUp)
{
    m_time.setMonotonic({10, 950000000});
    start();
    osTimer timer(&m_receiver, 50);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 511.970000000");
    EXPECT_FALSE(m_time.pass({10, 999999999}));
    EXPECT_EQ(m_receiver.calls(), 0);
    osTimer other(&m_receiver, 300);
    m_time.sleepAfter([&] { other.start(); });
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&timer));
}

TEST_F(MonitorPass, leavesAnExpiryOnAWholeSecondToTheRemovalOfAnother)
{
    m_time.setMonotonic({10, 950000000});
    start();
    osTimer other(&m_receiver, 900000);
    osTimer timer(&m_receiver, 50);
    m_time.sleepAfter([&] { other.start(); });
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 511.970000000");
    EXPECT_FALSE(m_time.pass({1, 10000000}));
    m_time.sleepAfter([&] { other.stop(); });
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&timer));
}

TEST_F(MonitorPass, leavesAnExpiryInTheFirstSecondToTheNextWakeUp)
{
    m_time.setMonotonic({0, 100000000});
    start();
    osTimer timer(&m_receiver, 50);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 501.120000000");
    EXPECT_FALSE(m_time.pass({0, 149999999}));
    EXPECT_TRUE(m_time.pass({0, 1}));
    EXPECT_EQ(m_receiver.calls(), 1);
}

TEST_F(MonitorPass, aWholeSecondCountsOnlyWhenItIsTheEarliestExpiry)
{
    m_time.setMonotonic({10, 950000000});
    start();
    osTimer whole(&m_receiver, 1050);
    osTimer earlier(&m_receiver, 1000);
    m_time.sleepAfter([&] { whole.start(); });
    EXPECT_EQ(m_time.sleepAfter([&] { earlier.start(); }), "until 501.970000000");
}

TEST_F(MonitorPass, servesTheNewestFirstAndKeepsWhatIsNotDue)
{
    start();
    osTimer a(&m_receiver, 50);
    osTimer b(&m_receiver, 200);
    osTimer c(&m_receiver, 60);
    osTimer d(&m_receiver, 50);
    for (osTimer* timer : {&a, &b, &c, &d}) {
        m_time.sleepAfter([timer] { timer->start(); });
    }
    m_time.setMonotonic({11, 80000000});
    EXPECT_EQ(m_time.wakeMonitor(), "until 501.070000000");
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&d, &c, &a));
    EXPECT_EQ(m_monitor.numItems(), 1);
    EXPECT_TRUE(b.isRunning());
}

TEST_F(MonitorPass, armingAgainKeepsTheEntryAndItsPlace)
{
    start();
    osTimer a(&m_receiver, 50);
    osTimer b(&m_receiver, 50);
    m_time.sleepAfter([&] { a.start(); });
    m_time.sleepAfter([&] { b.start(); });
    m_time.sleepAfter([&] { a.start(); });
    EXPECT_EQ(m_monitor.numItems(), 2);
    m_time.pass({0, 50000000});
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&b, &a));
    EXPECT_EQ(m_monitor.numItems(), 0);
}

TEST_F(MonitorPass, armingAgainWithAShorterIntervalBringsTheExpiryForward)
{
    start();
    osTimer timer(&m_receiver, 2000);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 502.970000000");
    timer.init(&m_receiver, 50);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 501.020000000");
    m_time.pass({0, 50000000});
    EXPECT_EQ(m_receiver.calls(), 1);
}

TEST_F(MonitorPass, removalKeepsTheOrderOfTheRest)
{
    start();
    osTimer a(&m_receiver, 50);
    osTimer b(&m_receiver, 50);
    osTimer c(&m_receiver, 50);
    osTimer d(&m_receiver, 50);
    for (osTimer* timer : {&a, &b, &c, &d}) {
        m_time.sleepAfter([timer] { timer->start(); });
    }
    m_time.sleepAfter([&] { b.stop(); });
    m_time.pass({0, 50000000});
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&d, &c, &a));
}

TEST_F(MonitorPass, handsEachTimerTheTimeAndTheEarliestExpirySoFar)
{
    ScriptedTimer first;
    ScriptedTimer second;
    ScriptedTimer third;
    third.m_next = {20, 5};
    second.m_next = {15, 7};
    second.m_due = true;
    first.m_next = {12, 500000000};
    m_monitor.add(&first);
    m_monitor.add(&second);
    m_monitor.add(&third);
    start();
    EXPECT_EQ(third.m_seen, "10.980000000, next 0.000000000");
    EXPECT_EQ(second.m_seen, "10.980000000, next 20.000000005");
    EXPECT_EQ(first.m_seen, "10.980000000, next 15.000000007");
    EXPECT_EQ(m_time.sleeps().back(), "until 502.490000000");
    EXPECT_EQ(m_monitor.numItems(), 2);
    EXPECT_FALSE(m_monitor.remove(&second));
}

TEST_F(MonitorPass, handsOnTheExpiryOfATimerWhetherOrNotItWasAskedBefore)
{
    ScriptedTimer asked;
    osTimer timer(&m_receiver, 50);
    m_monitor.add(&asked);
    timer.start();
    start();
    EXPECT_EQ(asked.m_seen, "10.980000000, next 11.030000000");
    asked.m_seen.clear();
    m_time.wakeMonitor();
    EXPECT_EQ(asked.m_seen, "10.980000000, next 11.030000000");
}

TEST_F(MonitorPass, collectsTheEarliestExpiryAnewOnEachPass)
{
    ScriptedTimer timer;
    timer.m_next = {20, 5};
    m_monitor.add(&timer);
    start();
    m_time.setMonotonic({11, 5});
    m_time.wakeMonitor();
    EXPECT_EQ(timer.m_seen, "11.000000005, next 0.000000000");
    timer.m_next = {0, 0};
    timer.m_due = true;
    EXPECT_EQ(m_time.wakeMonitor(), "without limit");
}

TEST_F(MonitorPass, goesOnWithWhatIsLeftWhenACallbackTakesTimersOut)
{
    osThreadBasedTimer a(&m_receiver, 50, nullptr);
    osThreadBasedTimer b(&m_receiver, 50, nullptr);
    osThreadBasedTimer c(&m_receiver, 50, nullptr);
    osTimer last(&m_receiver, 50);
    start();
    for (osThreadBasedTimer* timer : {&a, &b, &c}) {
        m_time.sleepAfter([timer] { timer->start(); });
    }
    m_time.sleepAfter([&] { last.start(); });
    m_receiver.m_during = [&](osTimerIfc* expired) {
        if (expired == &last) { // the first to be called
            EXPECT_TRUE(m_monitor.remove_locked(&a));
            EXPECT_TRUE(m_monitor.remove_locked(&c));
        }
    };
    EXPECT_TRUE(m_time.pass({0, 60000000}));
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&last, nullptr));
    EXPECT_EQ(m_monitor.numItems(), 0);
    EXPECT_FALSE(b.isRunning());
}

TEST_F(MonitorPass, asksNoTimerThatACallbackHasTakenOut)
{
    ScriptedTimer scripted;
    osThreadBasedTimer timer(&m_receiver, 50, nullptr);
    start();
    m_time.sleepAfter([&] { m_monitor.add(&scripted); });
    m_time.sleepAfter([&] { timer.start(); });
    m_receiver.m_during = [&](osTimerIfc*) {
        m_monitor.remove_locked(&timer); // itself
        m_monitor.remove_locked(&scripted);
        scripted.m_seen = "";
    };
    m_time.setMonotonic({12, 0});
    EXPECT_EQ(m_time.wakeMonitor(), "without limit");
    EXPECT_EQ(m_receiver.calls(), 1);
    EXPECT_EQ(scripted.m_seen, "");
}
