#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

#include <memory>

#include <gmock/gmock.h>

#include "support/observed.h"
#include "timers/timer_helpers.h"
#include "timers/virtual_time.h"

using support::Captured;
using timertest::Monitor;
using timertest::Receiver;
using timertest::VirtualTime;

namespace
{

/// A started monitor with nothing to do; the wall clock stands at 1000.5 s.
class ClockJump : public testing::Test
{
protected:
    ClockJump()
    {
        m_time.sleepAfter([this] { m_monitor->start(); });
    }

    /// What a wake-up after setting the wall clock prints.
    std::string printedAfterJumpTo(const timespec& wall)
    {
        const Captured console(1);
        m_time.setWall(wall);
        m_time.wakeMonitor();
        return console.text();
    }

    VirtualTime m_time{{100, 300000000}, {1000, 500000000}};
    std::unique_ptr<Monitor> m_monitor = std::make_unique<Monitor>();
};

} // namespace

TEST_F(ClockJump, forwardByTwoSecondsAndMoreIsReportedInWholeSeconds)
{
    EXPECT_EQ(printedAfterJumpTo({1002, 500000000}), "Time forward( 2 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({1005, 499999999}), "Time forward( 2 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({1008, 499999999}), "Time forward( 3 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({87408, 600000000}), "Time forward( 86400 ) secs\n");
}

TEST_F(ClockJump, backByTwoSecondsAndMoreIsReportedInWholeSeconds)
{
    EXPECT_EQ(printedAfterJumpTo({998, 500000000}), "Time back   ( 2 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({995, 500000001}), "Time back   ( 2 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({992, 500000001}), "Time back   ( 3 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({500, 0}), "Time back   ( 492 ) secs\n");
}

TEST_F(ClockJump, ofLessThanTwoSecondsIsSilent)
{
    EXPECT_EQ(printedAfterJumpTo({1002, 499999999}), "");
    EXPECT_EQ(printedAfterJumpTo({1000, 500000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1002, 400000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1000, 500000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1000, 500000001}), "");
}

TEST_F(ClockJump, isMeasuredFromTheLastWakeUpReportedOrNot)
{
    EXPECT_EQ(printedAfterJumpTo({1002, 400000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1004, 300000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1009, 300000000}), "Time forward( 5 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({1009, 300000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1007, 400000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1005, 500000000}), "");
}

TEST_F(ClockJump, isSeenWhereverTheWallClockStandsAgainstTheMonotonic)
{
    EXPECT_EQ(printedAfterJumpTo({3, 100000000}), "Time back   ( 997 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({5, 100000000}), "Time forward( 2 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({3, 900000000}), "");
    EXPECT_EQ(printedAfterJumpTo({1, 900000000}), "Time back   ( 2 ) secs\n");
    EXPECT_EQ(printedAfterJumpTo({203, 899999999}), "Time forward( 201 ) secs\n");
}

TEST_F(ClockJump, isNotSeenInTimeThatPassesOnBothClocks)
{
    const Captured console(1);
    m_time.pass({3600, 900000000});
    m_time.wakeMonitor();
    EXPECT_EQ(console.text(), "");
}

TEST_F(ClockJump, goesToTheConsoleAndNotToTheSystemLog)
{
    const support::RecordedLog log;
    EXPECT_EQ(printedAfterJumpTo({2000, 0}), "Time forward( 999 ) secs\n");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(ClockJump, beforeAMonitorStartsIsNoneOfItsBusiness)
{
    m_monitor.reset();
    const Captured console(1);
    m_time.setWall({5000, 0});
    m_monitor = std::make_unique<Monitor>();
    m_time.sleepAfter([this] { m_monitor->start(); });
    m_time.wakeMonitor();
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(printedAfterJumpTo({5002, 0}), "Time forward( 2 ) secs\n");
}

TEST_F(ClockJump, isReportedBeforeTheTimersAreServed)
{
    const Captured console(1);
    std::string atCallback;
    Receiver receiver;
    receiver.m_during = [&](osTimerIfc*) { atCallback = console.text(); };
    osTimer timer(&receiver, 50);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.setMonotonic({100, 350000000});
    EXPECT_TRUE(m_time.jumpTo({1007, 550000000}));
    EXPECT_EQ(receiver.calls(), 1);
    EXPECT_EQ(atCallback, "Time forward( 7 ) secs\n");
}

TEST_F(ClockJump, backDuringASleepStretchesItAndTheDueTimerFiresAtTheWakeUp)
{
    const Captured console(1);
    Receiver receiver;
    osTimer timer(&receiver, 1100);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 1001.600000000");
    m_time.setWall({995, 500000000});
    EXPECT_FALSE(m_time.pass({1, 100000000}));
    EXPECT_FALSE(m_time.pass({4, 999999999}));
    EXPECT_EQ(receiver.calls(), 0);
    EXPECT_EQ(console.text(), "");
    EXPECT_TRUE(m_time.pass({0, 1}));
    EXPECT_EQ(receiver.calls(), 1);
    EXPECT_EQ(console.text(), "Time back   ( 5 ) secs\n");
}

TEST_F(ClockJump, backDuringASleepFiresTheDueTimerAtWhateverWakesTheMonitor)
{
    const Captured console(1);
    Receiver receiver;
    osTimer timer(&receiver, 1100);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.setWall({995, 500000000});
    EXPECT_FALSE(m_time.pass({1, 200000000}));
    osTimer other(nullptr, 600);
    EXPECT_EQ(m_time.sleepAfter([&] { other.start(); }), "until 997.300000000");
    EXPECT_EQ(receiver.calls(), 1);
    EXPECT_EQ(console.text(), "Time back   ( 5 ) secs\n");
}

TEST_F(ClockJump, movesNoExpiry)
{
    const Captured console(1);
    Receiver receiver;
    osTimer timer(&receiver, 1100);
    m_time.sleepAfter([&] { timer.start(); });
    EXPECT_TRUE(m_time.jumpTo({9000, 200000000})) << "the sleep is over, the timer not due";
    EXPECT_EQ(m_time.sleeps().back(), "until 9001.300000000");
    EXPECT_FALSE(m_time.jumpTo({700, 200000000}));
    EXPECT_EQ(m_time.wakeMonitor(), "until 701.300000000");
    EXPECT_FALSE(m_time.pass({1, 99999999}));
    EXPECT_EQ(receiver.calls(), 0);
    EXPECT_TRUE(m_time.pass({0, 1}));
    EXPECT_EQ(receiver.calls(), 1);
}
