// Timer calls in a callback: they block the monitor for ever, and the log says so.

#include <functional>
#include <string>
#include <syslog.h>

#include <gmock/gmock.h>

#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/ProcessManager.h>
#include <gpal/Wait.h>

#include "support/observed.h"
#include "support/plain_thread.h"
#include "timers/timer_helpers.h"

using support::eventually;
using support::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;
using timertest::Receiver;

namespace
{

/// A callback that uses timers. The monitor may never come back from it, so it and what it uses
/// stay until the process ends.
class TimerCallback : public testing::Test
{
protected:
    TimerCallback()
    {
        m_expiring.init(&m_receiver, 50);
        m_other.init(nullptr, 60000);
        m_monitor.start();
    }

    /// Makes \p call in the callback of the expiring timer.
    void calls(const std::function<void()>& call)
    {
        m_receiver.m_during = [this, call](osTimerIfc*) {
            call();
            m_returned.signal();
        };
        m_expiring.start();
    }

    void expectBlocked(int timerId) const
    {
        EXPECT_TRUE(eventually([this] { return !m_log.lines().empty(); }));
        EXPECT_THAT(m_log.lines(),
                    ElementsAre(LogLine{LOG_ERR, "Timer " + std::to_string(timerId) +
                                                     ": call in a timer callback blocks all "
                                                     "timers for ever"}));
    }

    support::RecordedLog& m_log = *new support::RecordedLog;
    osTimerThread& m_monitor = *new osTimerThread;
    Receiver& m_receiver = *new Receiver;
    osTimer& m_expiring = *new osTimer;
    osTimer& m_other = *new osTimer;
    Wait& m_returned = *new Wait;
};

} // namespace

TEST_F(TimerCallback, isReportedBeforeItStartsItsOwnTimer)
{
    calls([this] { m_expiring.start(); });
    expectBlocked(m_expiring.id());
}

TEST_F(TimerCallback, isReportedBeforeItStopsItsOwnTimer)
{
    calls([this] { m_expiring.stop(); });
    expectBlocked(m_expiring.id());
}

TEST_F(TimerCallback, isReportedBeforeItAsksWhetherItsOwnTimerIsRunning)
{
    calls([this] { m_expiring.isRunning(); });
    expectBlocked(m_expiring.id());
}

TEST_F(TimerCallback, isReportedBeforeItDeletesItsOwnTimer)
{
    calls([this] { delete &m_expiring; });
    expectBlocked(m_expiring.id());
}

TEST_F(TimerCallback, isReportedBeforeItStartsAnotherTimer)
{
    calls([this] { m_other.start(); });
    expectBlocked(m_other.id());
}

TEST_F(TimerCallback, isReportedBeforeItStopsAnotherTimer)
{
    calls([this] { m_other.stop(); });
    expectBlocked(m_other.id());
}

TEST_F(TimerCallback, isReportedBeforeItResetsAnotherTimer)
{
    calls([this] { m_other.reset(); });
    expectBlocked(m_other.id());
}

TEST_F(TimerCallback, isReportedBeforeItDeletesAnotherTimer)
{
    const int id = m_other.id();
    calls([this] { delete &m_other; });
    expectBlocked(id);
}

TEST_F(TimerCallback, isReportedBeforeItUsesTheListItself)
{
    calls([this] { m_monitor.remove(nullptr); });
    expectBlocked(-1);
}

TEST_F(TimerCallback, isNotReportedForWhatItMayDo)
{
    osThreadBasedTimer unlisted;
    calls([&] {
        m_expiring.id();
        m_other.init(nullptr, 100);
        m_other.isRunning();
        m_monitor.numItems();
        m_monitor.add(nullptr);
        m_monitor.remove_locked(&unlisted);
    });
    EXPECT_EQ(m_returned.wait(10000), 1);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(TimerCallback, isNotReportedForWhatOtherThreadsDoMeanwhile)
{
    timertest::Gate gate;
    calls([&gate] { gate.enter(); });
    ASSERT_TRUE(eventually([&gate] { return gate.isOccupied(); }));
    support::onAnotherThread([this] { EXPECT_FALSE(m_other.isRunning()); });
    gate.open();
    m_other.start();
    EXPECT_TRUE(m_other.stop());
    EXPECT_EQ(m_returned.wait(10000), 1);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

namespace
{

/// Arms a timer on each thread that it is told of.
class ArmingManager : public ProcessManager
{
public:
    ArmingManager() : ProcessManager(nullptr) {}

    int addThread(Threadable& /*thread*/, int /*threadId*/) override
    {
        m_timer.init(nullptr, 60000);
        m_timer.start();
        return 1;
    }
    using ProcessManager::addThread;

    osTimer m_timer;
};

} // namespace

TEST(TimerMonitorsThread, mayArmTimersBeforeItServesAny)
{
    const support::RecordedLog log;
    auto* manager = new ArmingManager;
    ProcessManagement::initialize(manager);
    osTimerThread monitor;
    monitor.start();
    EXPECT_TRUE(manager->m_timer.isRunning());
    EXPECT_THAT(log.lines(), IsEmpty());
    ProcessManagement::uninitialize();
}
