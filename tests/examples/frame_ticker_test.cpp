#include <gtest/gtest.h>
#include <thread>

#include <gpal/osTimerThread.h>
#include <gpal/testing/FakeWaits.h>
#include <gpal/testing/VirtualTimers.h>

#include "frame_ticker.h"

#include "support/observed.h"

using support::millisecondsSince;

class FrameTicker : public testing::Test
{
protected:
    FrameTicker() { m_monitor.start(); }

    osTimerThread m_monitor;
    voicecall::FrameTicker m_ticker;
};

TEST_F(FrameTicker, givesEachTickAtItsTimeOrLaterNeverBefore)
{
    const auto start = std::chrono::steady_clock::now();
    m_ticker.start(20);
    for (int tick = 0; tick < 20; ++tick) {
        EXPECT_GE(m_ticker.waitForTick(), 0) << tick;
        EXPECT_GE(millisecondsSince(start), 60 + 20 * tick) << tick;
    }
    EXPECT_LT(millisecondsSince(start), 5000);
}

TEST_F(FrameTicker, returnsToTheScheduleAfterADelay)
{
    // A round of four ticks makes up for 30 ms, so this takes some 25 of them; a machine with other
    // work may delay the ticks that follow, too, and has ten seconds to become quiet.
    constexpr int TICKS = 500;
    m_ticker.start(TICKS);
    m_ticker.waitForTick();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    int late = m_ticker.waitForTick();
    EXPECT_GE(late, 170000); // it was due 20 ms after the first
    for (int tick = 2; tick < TICKS && late >= 50000; ++tick) {
        late = m_ticker.waitForTick();
    }
    // Ticks counted from the delayed ones would all be late by 100 ms and more.
    EXPECT_LT(late, 50000);
}

TEST_F(FrameTicker, armsNoTimerPastTheLastTick)
{
    m_ticker.start(5);
    for (int tick = 0; tick < 5; ++tick) {
        m_ticker.waitForTick();
    }
    EXPECT_LE(m_monitor.numItems(), 1); // the monitor may not have dropped the last one yet
}

TEST_F(FrameTicker, servesACallShorterThanARound)
{
    m_ticker.start(2);
    EXPECT_LE(m_monitor.numItems(), 2);
    m_ticker.waitForTick();
    m_ticker.waitForTick();
}

TEST(TickTimer, signalsItsExpiry)
{
    gpal::testing::VirtualTimers timers;
    gpal::testing::FakeWaits waits;
    voicecall::TickTimer timer(timers, waits);
    timer.expireIn(80);
    timers.advance(79);
    EXPECT_EQ(waits.signals(), 0);
    timers.advance(1);
    timer.wait(); // for nothing any more
    EXPECT_EQ(waits.signals(), 1);
}
