#include <gpal/osTimer.h>

#include <chrono>
#include <memory>
#include <thread>

#include <gmock/gmock.h>

#include <gpal/osThreadBasedTimer.h>

#include "support/observed.h"
#include "timers/monitor_fixture.h"
#include "timers/timer_helpers.h"

using testing::ElementsAre;
using timertest::Monitor;
using timertest::Receiver;
using timertest::soon;

namespace
{

constexpr timespec SIXTY_MILLISECONDS{0, 60000000};

/// Both clocks at moments from which short intervals reach no whole second; the monitor runs.
class OsTimer : public timertest::MonitorFixture
{
protected:
    OsTimer() : MonitorFixture({10, 100000000}, {500, 100000000}) { start(); }
};

} // namespace

TEST_F(OsTimer, isIdleWithoutAnIdUntilInitialised)
{
    osTimer timer;
    EXPECT_EQ(timer.id(), -1);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 0);
}

TEST_F(OsTimer, startedUninitialisedExpiresAfterFiftyMillisecondsWithNobodyCalled)
{
    osTimer timer;
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 500.150000000");
    EXPECT_TRUE(m_time.pass(SIXTY_MILLISECONDS));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.id(), -1);
}

TEST_F(OsTimer, initReturnsTheIdThatTheTimerThenHas)
{
    osTimer timer;
    const int id = timer.init(&m_receiver, 100);
    EXPECT_NE(id, -1);
    EXPECT_EQ(timer.id(), id);
    EXPECT_EQ(timer.id(), static_cast<int>(osThreadBasedTimer::nextID));
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(OsTimer, twoMadeOneAfterTheOtherGetConsecutiveIds)
{
    osTimer first(&m_receiver, 100);
    osTimer second(&m_receiver, 100);
    EXPECT_EQ(second.id(), first.id() + 1);
}

TEST_F(OsTimer, constructedWithReceiverAndIntervalCallsTheReceiverWithItself)
{
    osTimer timer(&m_receiver, 200);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_time.sleepAfter([&] { EXPECT_TRUE(timer.start()); }), "until 500.300000000");
    EXPECT_TRUE(timer.isRunning());
    EXPECT_FALSE(m_time.pass({0, 199999999}));
    EXPECT_EQ(m_receiver.calls(), 0);
    EXPECT_TRUE(m_time.pass({0, 1}));
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&timer));
}

TEST_F(OsTimer, initialisedThroughTheInterfaceCallsTheReceiverWithItself)
{
    osTimer timer;
    osTimerIfc& handedOut = timer;
    handedOut.init(&m_receiver, 50);
    m_time.sleepAfter([&] { handedOut.start(); });
    m_time.pass(SIXTY_MILLISECONDS);
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&handedOut));
}

TEST_F(OsTimer, initAgainGivesNewIdIntervalAndReceiver)
{
    Receiver other;
    osTimer timer(&m_receiver, 50);
    const int before = timer.id();
    EXPECT_EQ(timer.init(&other, 700), before + 1);
    EXPECT_EQ(timer.id(), before + 1);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 500.800000000");
    m_time.pass({0, 700000000});
    EXPECT_EQ(m_receiver.calls(), 0);
    EXPECT_EQ(other.calls(), 1);
}

TEST_F(OsTimer, initOnAnArmedTimerLetsThePendingExpiryPassWithoutACallback)
{
    osTimer timer(&m_receiver, 50);
    m_time.sleepAfter([&] { timer.start(); });
    timer.init(&m_receiver, 5000);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 1);
    EXPECT_TRUE(m_time.pass(SIXTY_MILLISECONDS));
    EXPECT_EQ(m_monitor.numItems(), 0);
    EXPECT_EQ(m_receiver.calls(), 0);
}

TEST_F(OsTimer, raisesIntervalsBelowFiftyMilliseconds)
{
    for (const int interval : {49, 1, 0, -1, -1000, 50}) {
        osTimer timer(&m_receiver, interval);
        EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 500.150000000") << interval;
        m_time.sleepAfter([&] { timer.stop(); });
    }
    osTimer timer(&m_receiver, 51);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 500.151000000");
}

TEST_F(OsTimer, stopTellsWhetherTheTimerWasArmed)
{
    osTimer timer(&m_receiver, 50);
    EXPECT_FALSE(timer.stop());
    m_time.sleepAfter([&] { timer.start(); });
    EXPECT_EQ(m_time.sleepAfter([&] { EXPECT_TRUE(timer.stop()); }), "without limit");
    EXPECT_FALSE(timer.isRunning());
    EXPECT_FALSE(timer.stop());
    m_time.pass(SIXTY_MILLISECONDS);
    m_time.wakeMonitor();
    EXPECT_EQ(m_receiver.calls(), 0);
}

TEST_F(OsTimer, resetArmsAnArmedTimerAnewFromNow)
{
    osTimer timer(&m_receiver, 100);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.pass({0, 30000000});
    m_time.sleepAfter([&] { EXPECT_TRUE(timer.reset()); });
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(m_time.wakeMonitor(), "until 500.230000000");
    m_time.pass({0, 70000000});
    EXPECT_EQ(m_receiver.calls(), 0);
    m_time.pass({0, 30000000});
    EXPECT_EQ(m_receiver.calls(), 1);
}

TEST_F(OsTimer, resetLeavesAnIdleTimerIdle)
{
    osTimer timer(&m_receiver, 50);
    EXPECT_TRUE(timer.reset());
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 0);
}

TEST_F(OsTimer, resetDoesNotBringAnExpiredTimerBack)
{
    osTimer timer(&m_receiver, 50);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.pass(SIXTY_MILLISECONDS);
    EXPECT_TRUE(timer.reset());
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 0);
}

TEST_F(OsTimer, startOnAnArmedTimerMovesItsExpiry)
{
    osTimer timer(&m_receiver, 100);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.pass({0, 60000000});
    EXPECT_EQ(m_time.sleepAfter([&] { EXPECT_TRUE(timer.start()); }), "until 500.260000000");
    m_time.pass({0, 99999999});
    EXPECT_EQ(m_receiver.calls(), 0);
    m_time.pass({0, 1});
    EXPECT_EQ(m_receiver.calls(), 1);
}

TEST_F(OsTimer, callsBackOncePerArmingWhateverTheReceiverReturns)
{
    osTimer timer(&m_receiver, 50);
    int expected = 0;
    for (const int result : {0, 1, -1}) {
        m_receiver.m_result = result;
        m_time.sleepAfter([&] { timer.start(); });
        EXPECT_TRUE(m_time.pass(SIXTY_MILLISECONDS));
        EXPECT_EQ(m_receiver.calls(), ++expected);
        EXPECT_FALSE(timer.isRunning());
        EXPECT_EQ(m_monitor.numItems(), 0);
        m_time.pass({5, 0});
        EXPECT_EQ(m_time.wakeMonitor(), "without limit");
        EXPECT_EQ(m_receiver.calls(), expected);
    }
}

TEST_F(OsTimer, oneReceiverTellsItsTimersApartByIdInsideTheCallback)
{
    std::vector<int> ids;
    m_receiver.m_during = [&](osTimerIfc* expired) { ids.push_back(expired->id()); };
    osTimer first(&m_receiver, 50);
    osTimer second(&m_receiver, 80);
    m_time.sleepAfter([&] { second.start(); });
    m_time.sleepAfter([&] { first.start(); });
    m_time.pass(SIXTY_MILLISECONDS);
    m_time.pass(SIXTY_MILLISECONDS);
    EXPECT_THAT(ids, ElementsAre(first.id(), second.id()));
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&first, &second));
}

TEST_F(OsTimer, canBeInitialisedInsideACallback)
{
    std::vector<int> ids;
    m_receiver.m_during = [&](osTimerIfc* expired) {
        ids.push_back(expired->init(&m_receiver, 90));
    };
    osTimer timer(&m_receiver, 50);
    const int before = timer.id();
    m_time.sleepAfter([&] { timer.start(); });
    EXPECT_TRUE(m_time.pass(SIXTY_MILLISECONDS));
    EXPECT_THAT(ids, ElementsAre(before + 1));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.id(), before + 1);
    EXPECT_EQ(m_time.sleepAfter([&] { timer.start(); }), "until 500.250000000");
}

TEST_F(OsTimer, callsBackOnTheMonitorsThread)
{
    osTimer timer(&m_receiver, 50);
    m_time.sleepAfter([&] { timer.start(); });
    m_time.pass(SIXTY_MILLISECONDS);
    EXPECT_TRUE(pthread_equal(m_receiver.lastThread(), m_monitor.myThread()));
}

TEST_F(OsTimer, deletingAnArmedOneDisarmsItForGood)
{
    osTimerIfc* timer = new osTimer(&m_receiver, 50);
    m_time.sleepAfter([&] { timer->start(); });
    EXPECT_EQ(m_time.sleepAfter([&] { delete timer; }), "without limit");
    EXPECT_EQ(m_monitor.numItems(), 0);
    m_time.pass(SIXTY_MILLISECONDS);
    m_time.wakeMonitor();
    EXPECT_EQ(m_receiver.calls(), 0);
}

TEST_F(OsTimer, canBeUsedFromAnyThread)
{
    osTimer timer;
    std::thread([&] { timer.init(&m_receiver, 50); }).join();
    m_time.sleepAfter([&] { std::thread([&] { timer.start(); }).join(); });
    EXPECT_TRUE(timer.isRunning());
    m_time.sleepAfter([&] { std::thread([&] { EXPECT_TRUE(timer.stop()); }).join(); });
    EXPECT_EQ(m_monitor.numItems(), 0);
}

TEST_F(OsTimer, factoryHandsOutANewUninitialisedOneEachTime)
{
    OSTimerFactory theFactory;
    OSTimerFactoryIfc& factory = theFactory;
    const std::unique_ptr<osTimerIfc> first(factory.getTimer());
    const std::unique_ptr<osTimerIfc> second(factory.getTimer());
    EXPECT_NE(dynamic_cast<osTimer*>(first.get()), nullptr);
    EXPECT_NE(dynamic_cast<osTimer*>(second.get()), nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->id(), -1);
    EXPECT_FALSE(first->isRunning());
    EXPECT_EQ(m_time.sleepAfter([&] { first->start(); }), "until 500.150000000");
}

TEST(OsTimerOnRealClocks, expiresNotBeforeItsIntervalHasPassed)
{
    Monitor monitor;
    monitor.start();
    Receiver receiver;
    osTimer quick(&receiver, 50);
    osTimer slow(&receiver, 75);
    const auto start = std::chrono::steady_clock::now();
    slow.start();
    quick.start();
    ASSERT_TRUE(soon([&] { return receiver.calls() > 0; }));
    EXPECT_GE(support::millisecondsSince(start), 50);
    ASSERT_TRUE(soon([&] { return receiver.calls() > 1; }));
    EXPECT_GE(support::millisecondsSince(start), 75);
    EXPECT_TRUE(soon([&] { return !slow.isRunning() && !quick.isRunning(); }));
    EXPECT_EQ(receiver.calls(), 2);
}
