// A timer's own lock, as dumps of all semaphores show it to maintainers.
#include <gpal/osThreadBasedTimer.h>

#include <atomic>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/replaceable.h"
#include "threads/dump.h"
#include "timers/timer_helpers.h"
#include "timers/virtual_time.h"

using timertest::Gate;
using timertest::Monitor;
using timertest::Receiver;
using timertest::soon;
using timertest::VirtualTime;

namespace
{

/// One timer, and a monitor that has no thread unless it is started. The monitor's own semaphore is
/// told from the timer's lock by its age.
class TimerLock : public testing::Test
{
protected:
    TimerLock()
    {
        const std::string before = dumpTextOfAll();
        m_timer.emplace(&m_receiver, 50, nullptr);
        for (const Dump& dump : dumpOfAll()) {
            if (before.find(dump.text("id") + "\n") == std::string::npos) {
                m_id = dump.text("id");
            }
        }
    }

    Dump dump() const
    {
        for (const Dump& dump : dumpOfAll()) {
            if (dump.text("id") == m_id) {
                return dump;
            }
        }
        ADD_FAILURE() << "the lock is not among the live semaphores";
        return {};
    }

    /// Has the monitor call back, where it stays until the gate opens.
    bool isCalledBack()
    {
        m_receiver.m_during = [this](osTimerIfc*) { m_gate.enter(); };
        m_time.sleepAfter([this] { m_monitor.start(); });
        m_time.sleepAfter([this] { m_timer->start(); });
        m_time.setMonotonic({11, 0});
        m_monitor.add(&m_waker);
        return soon([this] { return m_gate.isOccupied(); });
    }

    void expectFreeAfter(int uses)
    {
        const Dump lock = dump();
        EXPECT_EQ(lock.number("take() count"), uses);
        EXPECT_EQ(lock.number("give() count"), uses);
        EXPECT_EQ(lock.count(), 1);
        EXPECT_EQ(lock.owner(), 0UL);
    }

    Gate m_gate;
    VirtualTime m_time{{10, 100000000}, {500, 100000000}};
    Monitor m_monitor;
    Receiver m_receiver;
    osThreadBasedTimer m_waker;
    std::optional<osThreadBasedTimer> m_timer;
    std::string m_id;
};

/// Holds each thread that waits for a lock, until the test lets the one go on that came as the
/// n-th.
class HeldWaits
{
public:
    int arrived() const { return m_arrived; }
    void let(int number) { m_mayGo[number] = true; }

    /// The mutex that a wait gives back: others hold it for the moment that they need.
    pthread_mutex_t* mutex() const { return m_mutex; }

private:
    int hold(pthread_mutex_t* mutex)
    {
        m_mutex = mutex;
        pthread_mutex_unlock(mutex);
        const int number = ++m_arrived;
        EXPECT_TRUE(soon([this, number] { return m_mayGo[number].load(); })) << number;
        pthread_mutex_lock(mutex);
        return 0;
    }

    std::atomic<pthread_mutex_t*> m_mutex{nullptr};
    std::atomic<int> m_arrived{0};
    std::atomic<bool> m_mayGo[8] = {};
    support::Replacement<int(pthread_cond_t*, pthread_mutex_t*)> m_wait{
        support::calls::pthread_cond_wait,
        [this](pthread_cond_t*, pthread_mutex_t* mutex) { return hold(mutex); }};
};

/// A timer whose callback runs, on a thread of the test's own, until the gate opens.
class TimerInItsCallback : public testing::Test
{
protected:
    TimerInItsCallback()
    {
        m_receiver.m_during = [this](osTimerIfc*) { m_gate.enter(); };
        m_timer.start();
        m_server = std::thread([this] { EXPECT_TRUE(pass()); });
        EXPECT_TRUE(soon([this] { return m_gate.isOccupied(); }));
    }

    /// A pass over the timer, long after it was due.
    bool pass()
    {
        timespec now{std::numeric_limits<int>::max(), 0};
        timespec next{};
        return m_timer.timerEvent(&now, &next);
    }

    void endCallback()
    {
        m_gate.open();
        m_server.join();
    }

    Monitor m_monitor; ///< not started
    Receiver m_receiver;
    Gate m_gate;
    osThreadBasedTimer m_timer{&m_receiver, 50, nullptr};
    HeldWaits m_waits;
    std::thread m_server;
};

} // namespace

TEST_F(TimerLock, isTakenAndGivenOnceByEachOperationAndPass)
{
    expectFreeAfter(0);
    m_timer->start();
    expectFreeAfter(1);
    EXPECT_TRUE(m_timer->isRunning());
    expectFreeAfter(2);
    timespec now{10, 100000001};
    timespec next{};
    EXPECT_FALSE(m_timer->timerEvent(&now, &next));
    expectFreeAfter(3);
    now = {11, 0};
    EXPECT_TRUE(m_timer->timerEvent(&now, &next));
    EXPECT_EQ(m_receiver.calls(), 1);
    expectFreeAfter(4);
    EXPECT_TRUE(m_timer->stop());
    expectFreeAfter(5);
    EXPECT_TRUE(m_timer->reset());
    expectFreeAfter(6);
}

TEST_F(TimerLock, hasOneUnitWhichNobodyHoldsTwice)
{
    EXPECT_EQ(dump().number("max count"), 1);
    EXPECT_EQ(dump().number("reentrant"), 0);
}

TEST_F(TimerLock, isTheMonitorsDuringACallbackAndOthersQueueForIt)
{
    ASSERT_TRUE(isCalledBack());
    EXPECT_EQ(dump().count(), 0);
    EXPECT_EQ(dump().owner(), m_monitor.myThread());
    std::thread asker([this] { EXPECT_FALSE(m_timer->isRunning()); });
    const auto askersId = asker.native_handle();
    EXPECT_TRUE(soon([this] { return dump().waitingCount() == 1; }));
    EXPECT_EQ(dump().waitingThreads(), std::vector<unsigned long>{askersId});
    m_gate.open();
    asker.join();
    EXPECT_EQ(dump().count(), 1);
    EXPECT_EQ(dump().owner(), 0UL);
    EXPECT_EQ(dump().waitingCount(), 0);
}

TEST_F(TimerLock, isNobodysAfterItsUseThoughItWasGivenBackForAnOwnerThatStillUsesIt)
{
    ASSERT_TRUE(isCalledBack());
    Semaphore::threadExitSemaphoreCleanup(m_monitor.myThread());
    EXPECT_EQ(dump().owner(), m_monitor.myThread());
    EXPECT_TRUE(m_timer->isRunning());
    EXPECT_EQ(dump().owner(), 0UL);
    m_gate.open();
}

TEST_F(TimerInItsCallback, lendsItsLockToNobodyBeforeWhoWaitsForIt)
{
    std::thread first([this] { EXPECT_FALSE(m_timer.isRunning()); });
    ASSERT_TRUE(soon([this] { return m_waits.arrived() == 1; }));
    endCallback(); // The lock is free now, but the first has not gone on yet.
    std::thread second([this] { EXPECT_FALSE(m_timer.isRunning()); });
    EXPECT_TRUE(soon([this] { return m_waits.arrived() == 2; }));
    m_waits.let(1);
    first.join();
    m_waits.let(2);
    second.join();
}

TEST_F(TimerInItsCallback, isNotTouchedBeforeOthersAreDoneWithIt)
{
    std::thread waiting([this] { EXPECT_FALSE(m_timer.isRunning()); });
    ASSERT_TRUE(soon([this] { return m_waits.arrived() == 1; }));
    endCallback();
    m_waits.let(1);
    waiting.join();
    pthread_mutex_lock(m_waits.mutex());
    std::atomic<bool> isAsked{false};
    std::thread asking([&] {
        EXPECT_FALSE(m_timer.isRunning());
        isAsked = true;
    });
    usleep(50000);
    EXPECT_FALSE(isAsked);
    pthread_mutex_unlock(m_waits.mutex());
    asking.join();
}

TEST_F(TimerInItsCallback, isServedAgainByAPassThatWaitedLongerThanAStart)
{
    std::thread starter([this] { EXPECT_TRUE(m_timer.start()); });
    ASSERT_TRUE(soon([this] { return m_waits.arrived() == 1; }));
    std::thread server([this] { EXPECT_TRUE(pass()); });
    ASSERT_TRUE(soon([this] { return m_waits.arrived() == 2; }));
    endCallback();
    EXPECT_EQ(m_receiver.calls(), 1);
    m_waits.let(1);
    starter.join();
    m_waits.let(2);
    server.join();
    EXPECT_EQ(m_receiver.calls(), 2);
    EXPECT_FALSE(m_timer.isRunning());
}
