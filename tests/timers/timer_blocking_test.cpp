// What waits for whom: timers used from other threads while a callback is under way, and threads
// that are asked to end.

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include <gmock/gmock.h>

#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/Threader.h>

#include "timers/timer_helpers.h"
#include "timers/virtual_time.h"

using timertest::allowForMistakes;
using timertest::completesWhenCancelled;
using timertest::Gate;
using timertest::Monitor;
using timertest::Receiver;
using timertest::soon;
using timertest::VirtualTime;

namespace
{

/// A timer whose callback is under way, for as long as the test keeps the gate closed.
class DuringCallback : public testing::Test
{
protected:
    DuringCallback()
    {
        m_slow.m_during = [this](osTimerIfc*) {
            m_gate.enter();
            m_callbackOver = true;
        };
        m_expiring = std::make_unique<osTimer>(&m_slow, 50);
        m_time.sleepAfter([this] { m_monitor->start(); });
    }

    ~DuringCallback() override { m_gate.open(); }

    void beginCallback()
    {
        m_time.sleepAfter([this] { m_expiring->start(); });
        m_time.setMonotonic({10, 200000000});
        m_monitor->add(m_waker.get());
        ASSERT_TRUE(soon([this] { return m_gate.isOccupied(); }));
    }

    /// Does something on another thread while the callback is under way, tells whether it waited
    /// for the callback to be over, and lets the monitor go on.
    bool waitsForCallback(const std::function<void()>& action)
    {
        std::atomic<bool> begun{false};
        bool waited = false;
        std::thread other([&] {
            begun = true;
            action();
            waited = m_callbackOver;
        });
        EXPECT_TRUE(soon([&begun] { return begun.load(); }));
        allowForMistakes();
        m_gate.open();
        other.join();
        return waited;
    }

    VirtualTime m_time{{10, 100000000}, {500, 100000000}};
    std::unique_ptr<Monitor> m_monitor = std::make_unique<Monitor>();
    Receiver m_slow;
    Receiver m_quick;
    Gate m_gate;
    std::atomic<bool> m_callbackOver{false};
    std::unique_ptr<osTimer> m_expiring;
    /// Never armed, so due and dropped on the first pass: adding it is how a pass is brought about.
    std::unique_ptr<osThreadBasedTimer> m_waker = std::make_unique<osThreadBasedTimer>();
};

} // namespace

TEST_F(DuringCallback, theExpiringTimerIsRunningUntilTheCallbackHasReturned)
{
    beginCallback();
    bool running = true;
    EXPECT_TRUE(waitsForCallback([&] { running = m_expiring->isRunning(); }));
    EXPECT_FALSE(running);
}

TEST_F(DuringCallback, stoppingTheExpiringTimerWaitsAndComesTooLate)
{
    beginCallback();
    bool stopped = true;
    EXPECT_TRUE(waitsForCallback([&] { stopped = m_expiring->stop(); }));
    EXPECT_FALSE(stopped);
    EXPECT_EQ(m_slow.calls(), 1);
}

TEST_F(DuringCallback, stoppingAnArmedTimerWaitsForTheScanAndSucceeds)
{
    osTimer armed(&m_quick, 5000);
    m_time.sleepAfter([&] { armed.start(); });
    beginCallback();
    bool stopped = false;
    EXPECT_TRUE(waitsForCallback([&] { stopped = armed.stop(); }));
    EXPECT_TRUE(stopped);
    EXPECT_EQ(m_monitor->numItems(), 0);
}

TEST_F(DuringCallback, aDueTimerThatIsBeingStoppedIsDroppedSilently)
{
    osTimer due(&m_quick, 50);
    m_time.sleepAfter([&] { due.start(); });
    beginCallback();
    bool stopped = true;
    bool waited = false;
    std::thread stopper([&] {
        stopped = due.stop();
        waited = m_callbackOver;
    });
    EXPECT_TRUE(soon([&] { return !due.isRunning(); })) << "its own lock is free";
    m_gate.open();
    stopper.join();
    EXPECT_TRUE(waited);
    EXPECT_FALSE(stopped);
    EXPECT_EQ(m_quick.calls(), 0);
}

TEST_F(DuringCallback, armingAnotherTimerWaitsForTheScan)
{
    beginCallback();
    osTimer other(&m_quick, 5000);
    EXPECT_TRUE(waitsForCallback([&] { other.start(); }));
    EXPECT_TRUE(other.isRunning());
    EXPECT_EQ(m_monitor->numItems(), 1);
}

TEST_F(DuringCallback, armingTheExpiringTimerCountsFromTheCallNotFromItsTurn)
{
    beginCallback();
    const int before = m_time.othersReadings();
    std::thread other([this] { m_expiring->start(); });
    EXPECT_TRUE(soon([&] { return m_time.othersReadings() > before; }));
    m_time.setMonotonic({60, 500000000});
    m_gate.open();
    other.join();
    EXPECT_TRUE(soon([this] { return m_slow.calls() == 2; })) << "due since 10.25";
}

TEST_F(DuringCallback, destroyingTheExpiringTimerWaitsForTheCallback)
{
    beginCallback();
    EXPECT_TRUE(waitsForCallback([this] { m_expiring.reset(); }));
    EXPECT_EQ(m_slow.calls(), 1);
    EXPECT_EQ(m_monitor->numItems(), 0);
}

TEST_F(DuringCallback, aThreadAskedToEndDestroysTheExpiringTimerFirst)
{
    beginCallback();
    EXPECT_TRUE(waitsForCallback(
        [this] { EXPECT_TRUE(completesWhenCancelled([this] { m_expiring.reset(); })); }));
    EXPECT_EQ(m_monitor->numItems(), 0);
    osTimer next(&m_quick, 50);
    m_time.sleepAfter([&] { next.start(); });
    EXPECT_TRUE(next.stop()) << "all is as usable as before";
}

TEST_F(DuringCallback, numberOfTimersAndIdsCanBeReadAllTheSame)
{
    osTimer armed(&m_quick, 5000);
    m_time.sleepAfter([&] { armed.start(); });
    beginCallback();
    std::atomic<int> count{-1};
    std::atomic<int> id{0};
    std::thread reader([&] {
        count = m_monitor->numItems();
        id = m_expiring->id();
    });
    EXPECT_TRUE(soon([&] { return id != 0; }));
    EXPECT_FALSE(m_callbackOver);
    EXPECT_GE(count, 2);
    EXPECT_EQ(id, m_expiring->id());
    m_gate.open();
    reader.join();
}

TEST_F(DuringCallback, initWaitsForNothing)
{
    beginCallback();
    std::atomic<bool> initialised{false};
    std::thread other([&] {
        m_expiring->init(&m_quick, 60);
        initialised = true;
    });
    EXPECT_TRUE(soon([&] { return initialised.load(); }));
    EXPECT_FALSE(m_callbackOver);
    m_gate.open();
    other.join();
}

TEST_F(DuringCallback, allOtherTimersWait)
{
    osTimer due(&m_quick, 50);
    m_time.sleepAfter([&] { due.start(); });
    beginCallback();
    allowForMistakes();
    EXPECT_EQ(m_quick.calls(), 0);
    m_gate.open();
    EXPECT_TRUE(soon([this] { return m_quick.calls() == 1; }));
}

TEST_F(DuringCallback, destroyingTheMonitorWaitsAndCallsNobodyAfterwards)
{
    beginCallback();
    EXPECT_TRUE(waitsForCallback([this] { m_monitor.reset(); }));
    m_monitor = std::make_unique<Monitor>();
    EXPECT_EQ(m_slow.calls(), 1);
}

TEST(TimerMonitorCancellation, ofAThreadThatDestroysTheMonitorWaitsUntilItIsJoined)
{
    auto monitor = std::make_unique<Monitor>();
    monitor->start();
    EXPECT_TRUE(completesWhenCancelled([&] { monitor.reset(); }));
}

TEST(TimerMonitorCancellation, ofAThreadThatDestroysATimerLetsTheMonitorGoOn)
{
    Monitor monitor;
    monitor.start();
    Receiver receiver;
    auto doomed = std::make_unique<osTimer>(&receiver, 60000);
    doomed->start();
    EXPECT_TRUE(completesWhenCancelled([&] { doomed.reset(); }));
    osTimer timer(&receiver, 50);
    timer.start();
    EXPECT_TRUE(soon([&] { return receiver.calls() == 1; }));
}

TEST(TimerMonitorCancellation, ofTheMonitorLeavesItsListUnlocked)
{
    VirtualTime time({10, 100000000}, {500, 100000000});
    Monitor monitor;
    time.sleepAfter([&] { monitor.start(); });
    ASSERT_TRUE(Threader().destroy(monitor.myThread()));
    ASSERT_TRUE(soon([&] { return monitor.hasEnded(); }));
    ASSERT_TRUE(time.isListUnlocked());
    osTimer timer;
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(timer.stop());
}

TEST(TimerMonitorCancellation, insideACallbackLeavesListAndTimerUnlocked)
{
    VirtualTime time({10, 100000000}, {500, 100000000});
    Monitor monitor;
    time.sleepAfter([&] { monitor.start(); });
    Receiver receiver;
    receiver.m_during = [](osTimerIfc*) { pthread_exit(nullptr); };
    osTimer timer(&receiver, 50);
    time.sleepAfter([&] { timer.start(); });
    time.setMonotonic({11, 0});
    osThreadBasedTimer waker;
    monitor.add(&waker);
    ASSERT_TRUE(soon([&] { return monitor.hasEnded(); }));
    ASSERT_TRUE(time.isListUnlocked());
    EXPECT_TRUE(timer.isRunning());
    EXPECT_TRUE(timer.stop());
}
