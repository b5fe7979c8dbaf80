// A timer's own lock, as dumps of all semaphores show it to maintainers.
#include <gpal/osThreadBasedTimer.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

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

    void expectFreeAfter(int uses)
    {
        const Dump lock = dump();
        EXPECT_EQ(lock.number("take() count"), uses);
        EXPECT_EQ(lock.number("give() count"), uses);
        EXPECT_EQ(lock.count(), 1);
        EXPECT_EQ(lock.owner(), 0UL);
    }

    VirtualTime m_time{{10, 100000000}, {500, 100000000}};
    Monitor m_monitor;
    Receiver m_receiver;
    std::optional<osThreadBasedTimer> m_timer;
    std::string m_id;
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

TEST_F(TimerLock, isTheMonitorsDuringACallbackAndOthersQueueForIt)
{
    Gate gate;
    m_receiver.m_during = [&gate](osTimerIfc*) { gate.enter(); };
    m_time.sleepAfter([this] { m_monitor.start(); });
    m_time.sleepAfter([this] { m_timer->start(); });
    m_time.setMonotonic({11, 0});
    osThreadBasedTimer waker;
    m_monitor.add(&waker);
    ASSERT_TRUE(soon([&gate] { return gate.isOccupied(); }));
    EXPECT_EQ(dump().count(), 0);
    EXPECT_EQ(dump().owner(), m_monitor.myThread());
    std::thread asker([this] { EXPECT_FALSE(m_timer->isRunning()); });
    const auto askersId = asker.native_handle();
    EXPECT_TRUE(soon([this] { return dump().waitingCount() == 1; }));
    EXPECT_EQ(dump().waitingThreads(), std::vector<unsigned long>{askersId});
    gate.open();
    asker.join();
    EXPECT_EQ(dump().count(), 1);
    EXPECT_EQ(dump().owner(), 0UL);
    EXPECT_EQ(dump().waitingCount(), 0);
}
