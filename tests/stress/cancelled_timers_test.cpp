#include <atomic>
#include <functional>
#include <memory>

#include "stress/layer.h"
#include "support/observed.h"

using stress::CountingReceiver;
using stress::expectNewcomersAreServed;
using stress::expectNewTimersAreServed;
using stress::HoldingReceiver;
using stress::LayerThread;
using support::eventually;

namespace
{

constexpr int FAR_AWAY_MS = 600000;

class CancelledTimer : public stress::MonitorTest
{
protected:
    /// A thread is cancelled that waits in \p operation for the callback of the same timer.
    void cancelBehindACallback(const std::function<void(osTimer&)>& operation)
    {
        m_monitor->start();
        HoldingReceiver receiver;
        osTimer timer(&receiver, 50);
        timer.start();
        receiver.awaitCall();
        LayerThread blocked([&] {
            operation(timer);
            pthread_testcancel();
        });
        EXPECT_TRUE(eventually([&] { return blocked.isAsleep(); }));
        blocked.cancel();
        receiver.letGo();
        blocked.join();
        EXPECT_FALSE(blocked.isFinished());

        timer.stop();
        EXPECT_FALSE(timer.isRunning());
        EXPECT_EQ(m_monitor->numItems(), 0);
        expectToFireAgain(timer, receiver);
        expectNewTimersAreServed();
        expectNewcomersAreServed();
    }

    static void expectToFireAgain(osTimer& timer, HoldingReceiver& receiver)
    {
        timer.init(&receiver, 50);
        EXPECT_TRUE(timer.start());
        receiver.awaitCall();
        receiver.letGo();
    }

    void cancelMonitor()
    {
        Threader threader;
        EXPECT_TRUE(threader.destroy(m_monitor->myThread()));
        EXPECT_TRUE(eventually([this] { return manager().removed() == manager().added(); }));
    }

    void expectAFreshMonitorServes()
    {
        m_monitor = std::make_unique<osTimerThread>();
        m_monitor->start();
        expectNewTimersAreServed();
        expectNewcomersAreServed();
    }
};

} // namespace

TEST_F(CancelledTimer, stopBehindACallbackLeavesTheTimerUsable)
{
    cancelBehindACallback([](osTimer& timer) { timer.stop(); });
}

TEST_F(CancelledTimer, startBehindACallbackLeavesTheTimerUsable)
{
    cancelBehindACallback([](osTimer& timer) {
        timer.init(nullptr, FAR_AWAY_MS); // so that a late arming calls nobody
        timer.start();
    });
}

TEST_F(CancelledTimer, resetBehindACallbackLeavesTheTimerUsable)
{
    cancelBehindACallback([](osTimer& timer) { timer.reset(); });
}

TEST_F(CancelledTimer, isRunningBehindACallbackLeavesTheTimerUsable)
{
    cancelBehindACallback([](osTimer& timer) { timer.isRunning(); });
}

TEST_F(CancelledTimer, monitorWithNothingToDoLeavesItsListToOthers)
{
    m_monitor->start();
    cancelMonitor();
    CountingReceiver receiver;
    osTimer timer(&receiver, 50);
    EXPECT_TRUE(timer.start());
    EXPECT_EQ(m_monitor->numItems(), 1);
    EXPECT_TRUE(timer.stop());
    EXPECT_EQ(m_monitor->numItems(), 0);
    expectAFreshMonitorServes();
    EXPECT_EQ(receiver.expiries(), 0);
}

TEST_F(CancelledTimer, monitorWithArmedTimersLeavesItsListToOthers)
{
    m_monitor->start();
    CountingReceiver receiver;
    osTimer timer(&receiver, FAR_AWAY_MS);
    timer.start();
    cancelMonitor();
    EXPECT_EQ(m_monitor->numItems(), 1);
    EXPECT_TRUE(timer.isRunning());
    EXPECT_TRUE(timer.reset());
    EXPECT_TRUE(timer.stop());
    EXPECT_FALSE(timer.stop());
    expectAFreshMonitorServes();
    EXPECT_EQ(receiver.expiries(), 0);
}

namespace
{

class SleepingReceiver : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override
    {
        m_called = true;
        GPALSleep().milliSleep(600000);
        return 0;
    }
    bool isCalled() const { return m_called; }

private:
    std::atomic<bool> m_called{false};
};

} // namespace

TEST_F(CancelledTimer, monitorInACallbackLeavesListAndTimerToOthers)
{
    m_monitor->start();
    SleepingReceiver receiver;
    osTimer timer(&receiver, 50);
    timer.start();
    EXPECT_TRUE(eventually([&] { return receiver.isCalled(); }));
    cancelMonitor();
    EXPECT_TRUE(timer.isRunning());
    EXPECT_TRUE(timer.stop());
    EXPECT_FALSE(timer.isRunning());
    expectAFreshMonitorServes();
}

namespace
{

/// Keeps the first thread that is announced from its body.
class CancelledStart : public CancelledTimer
{
protected:
    void SetUp() override
    {
        CancelledTimer::SetUp();
        manager().whenAdded = [this] {
            if (++m_announced == 2) {
                m_letGo.wait();
            }
        };
    }

    /// The first thread starts the monitor, the second is the monitor, which is held.
    void cancelTheStarter()
    {
        LayerThread starter([this] { m_monitor->start(); });
        EXPECT_TRUE(eventually([this] { return m_announced == 2; }));
        EXPECT_TRUE(eventually([&] { return starter.isAsleep(); }));
        starter.cancel();
        starter.join();
        EXPECT_FALSE(starter.isFinished());
    }

    std::atomic<int> m_announced{0};
    Wait m_letGo;
};

} // namespace

TEST_F(CancelledStart, leavesAMonitorThatServes)
{
    cancelTheStarter();
    m_letGo.signal();
    expectNewTimersAreServed();
    expectNewcomersAreServed();
}

TEST_F(CancelledStart, leavesAMonitorThatCanBeDestroyedBeforeItRuns)
{
    cancelTheStarter();
    CountingReceiver receiver;
    osTimer timer(&receiver, 50);
    timer.start();
    LayerThread destroying([this] { m_monitor.reset(); });
    // The list is emptied by the destructor, right before it wakes the monitor's thread.
    const osTimerThread& monitor = *osThreadBasedTimer::m_timerManager;
    EXPECT_TRUE(eventually([&] { return monitor.numItems() == 0; }));
    EXPECT_TRUE(eventually([&] { return destroying.isAsleep(); }));
    m_letGo.signal();
    destroying.join();
    expectAFreshMonitorServes();
    EXPECT_EQ(receiver.expiries(), 0);
}
