#include <gpal/osTimerThread.h>

#include <atomic>
#include <memory>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>
#include <gpal/ProcessTypeString.h>

#include "support/condition_signals.h"
#include "support/kernel_id.h"
#include "support/replaceable.h"
#include "threads/dump.h"
#include "timers/monitor_fixture.h"

namespace calls = support::calls;
using testing::ElementsAre;
using timertest::Monitor;
using timertest::ScriptedTimer;

namespace
{

using TimerMonitor = timertest::MonitorFixture;

/// Notes the slack of the thread that serves it; is never due.
class SlackNotingTimer : public osThreadBasedTimer
{
public:
    ~SlackNotingTimer() override { stop(); }

    bool timerEvent(timespec* now, timespec* next) override
    {
        *next = {now->tv_sec + 1000, 1};
        m_slack = prctl(PR_GET_TIMERSLACK);
        m_passes += 1;
        return false;
    }

    std::atomic<int> m_slack{0};
    std::atomic<int> m_passes{0};
};

} // namespace

TEST_F(TimerMonitor, registersItselfAndHasNoThreadUntilStarted)
{
    EXPECT_EQ(osThreadBasedTimer::m_timerManager, &m_monitor);
    EXPECT_EQ(m_monitor.myThread(), 0UL);
    EXPECT_EQ(m_monitor.threadId(), 0UL);
    EXPECT_EQ(m_monitor.numItems(), 0);
    EXPECT_TRUE(m_time.sleeps().empty());
}

TEST_F(TimerMonitor, describesItselfToTheProcessManager)
{
    EXPECT_EQ(m_monitor.getThreadPriorityForPlatform(), 3);
    EXPECT_EQ(m_monitor.type(), ProcessTypeString::OS_TIMER_THREAD);
}

TEST_F(TimerMonitor, countsItsStartByASemaphoreOfOneUnit)
{
    expectOnlyOneUnitAnywhere(0);
}

TEST_F(TimerMonitor, startReturnsWithTheFirstClockReadingsTaken)
{
    m_monitor.start();
    EXPECT_THAT(m_time.readings(), ElementsAre(CLOCK_MONOTONIC, CLOCK_REALTIME));
    EXPECT_NE(m_monitor.myThread(), 0UL);
    EXPECT_EQ(m_monitor.threadId(), m_monitor.myThread());
}

TEST(TimerMonitorsPass, saysThatItIsTheLastWhenTheMonitorIsBeingDestroyed)
{
    const support::Replacement awake(calls::pthread_cond_wait,
                                     [](pthread_cond_t*, pthread_mutex_t*) { return 0; });
    auto destroyed = std::make_unique<osTimerThread>();
    osTimerThread& monitor = *destroyed;
    EXPECT_FALSE(monitor.monitor());
    bool last = false;
    const support::Replacement wakeUp(calls::pthread_cond_signal, [&](pthread_cond_t* condition) {
        last = monitor.monitor(); // with the list locked, as the destructor has it here
        return calls::pthread_cond_signal.original(condition);
    });
    destroyed.reset();
    EXPECT_TRUE(last);
}

TEST_F(TimerMonitor, startsOneThreadHoweverOftenItIsTold)
{
    int created = 0;
    const support::Replacement create(
        calls::pthread_create, [&created](pthread_t* thread, const pthread_attr_t* attributes,
                                          void* (*body)(void*), void* argument) {
            created += 1;
            return calls::pthread_create.original(thread, attributes, body, argument);
        });
    m_monitor.start();
    const unsigned long thread = m_monitor.myThread();
    m_monitor.start();
    EXPECT_EQ(created, 1);
    EXPECT_EQ(m_monitor.myThread(), thread);
}

TEST_F(TimerMonitor, runsAtTheNiceValueOfTimers)
{
    std::vector<std::string> settings;
    const support::Replacement set(calls::setpriority, [&](int which, id_t who, int value) {
        EXPECT_EQ(which, PRIO_PROCESS);
        settings.push_back(std::to_string(who) + " to " + std::to_string(value));
        return calls::setpriority.original(which, who, value);
    });
    id_t kernelId = 0;
    int niceValue = 0;
    m_receiver.m_during = [&](osTimerIfc*) {
        kernelId = static_cast<id_t>(support::ownKernelId());
        niceValue = calls::getpriority.original(PRIO_PROCESS, kernelId);
    };
    osTimer timer(&m_receiver, 50);
    start();
    m_time.sleepAfter([&] { timer.start(); });
    m_time.pass({0, 60000000});
    EXPECT_THAT(settings, ElementsAre(std::to_string(kernelId) + " to -10"));
    if (calls::setpriority.original(PRIO_PROCESS, 0, -10) != 0) {
        GTEST_SKIP() << "this user may not raise priorities";
    }
    EXPECT_EQ(niceValue, -10);
}

TEST(TimerSlack, isTheLeastWhileTheMonitorSleepsAndTheUsualOneForWhatCallbacksStart)
{
    constexpr int USUAL = 777777;
    if (prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(USUAL)) != 0 ||
        prctl(PR_GET_TIMERSLACK) != USUAL) {
        GTEST_SKIP() << "no timer slack here";
    }
    std::atomic<int> asleep{0};
    const support::Replacement sleep(
        calls::pthread_cond_timedwait,
        [&](pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
            if (Monitor::isCurrentThread()) {
                asleep = prctl(PR_GET_TIMERSLACK);
            }
            return calls::pthread_cond_timedwait.original(condition, mutex, deadline);
        });
    int ofThread = 0;
    int childStatus = -1;
    timertest::Receiver receiver;
    receiver.m_during = [&](osTimerIfc*) {
        std::thread([&] { ofThread = prctl(PR_GET_TIMERSLACK); }).join();
        const pid_t child = fork();
        if (child == 0) {
            _exit(prctl(PR_GET_TIMERSLACK) == USUAL ? 0 : 1);
        }
        waitpid(child, &childStatus, 0);
    };
    Monitor monitor;
    monitor.start();
    osTimer timer(&receiver, 50);
    timer.start();
    EXPECT_TRUE(timertest::soon([&] { return !timer.isRunning(); }));
    EXPECT_EQ(asleep, 1);
    EXPECT_EQ(ofThread, USUAL);
    EXPECT_EQ(childStatus, 0);
    EXPECT_EQ(prctl(PR_GET_TIMERSLACK), USUAL);
}

TEST(TimerSlack, isTheUsualOneForTimersOfClassesOfTheClientsOwn)
{
    constexpr int USUAL = 777777;
    if (prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(USUAL)) != 0 ||
        prctl(PR_GET_TIMERSLACK) != USUAL) {
        GTEST_SKIP() << "no timer slack here";
    }
    Monitor monitor;
    monitor.start();
    SlackNotingTimer timer;
    for (int pass = 1; pass <= 3; ++pass) {
        monitor.add(&timer);
        EXPECT_TRUE(timertest::soon([&] { return timer.m_passes >= pass; }));
        EXPECT_EQ(timer.m_slack, USUAL) << "in pass " << pass;
    }
}

TEST_F(TimerMonitor, addWakesTheMonitorAlsoForATimerThatIsInTheListAlready)
{
    start();
    osThreadBasedTimer timer;
    EXPECT_EQ(m_time.sleepAfter([&] { EXPECT_TRUE(m_monitor.add(&timer)); }), "without limit")
        << "a timer never armed is long due";
    ScriptedTimer pending;
    const int before = m_time.signals();
    m_time.sleepAfter([&] { EXPECT_TRUE(m_monitor.add(&pending)); });
    m_time.sleepAfter([&] { EXPECT_FALSE(m_monitor.add(&pending)); });
    EXPECT_EQ(m_time.signals(), before + 2);
    EXPECT_EQ(m_time.unlockedSignals(), 0);
    EXPECT_EQ(m_monitor.numItems(), 1);
}

TEST_F(TimerMonitor, addRefusesNullWithoutTouchingTheList)
{
    start();
    const int before = m_time.signals();
    m_time.withListLocked([&] { EXPECT_FALSE(m_monitor.add(nullptr)); });
    EXPECT_EQ(m_time.signals(), before);
    EXPECT_EQ(m_monitor.numItems(), 0);
}

TEST_F(TimerMonitor, removeWakesTheMonitorOnlyWhenItRemovedSomething)
{
    start();
    ScriptedTimer timer;
    m_time.sleepAfter([&] { m_monitor.add(&timer); });
    int before = m_time.signals();
    EXPECT_EQ(m_time.sleepAfter([&] { EXPECT_TRUE(m_monitor.remove(&timer)); }), "without limit");
    EXPECT_EQ(m_time.signals(), before + 1);
    EXPECT_EQ(m_time.unlockedSignals(), 0);
    before = m_time.signals();
    EXPECT_FALSE(m_monitor.remove(&timer));
    EXPECT_FALSE(m_monitor.remove(nullptr));
    EXPECT_EQ(m_time.signals(), before);
}

TEST_F(TimerMonitor, removeLockedIsForAHolderOfTheListAndWakesNobody)
{
    start();
    ScriptedTimer first;
    ScriptedTimer second;
    m_time.sleepAfter([&] { m_monitor.add(&first); });
    m_time.sleepAfter([&] { m_monitor.add(&second); });
    const int before = m_time.signals();
    m_time.withListLocked([&] {
        EXPECT_FALSE(m_monitor.remove_locked(nullptr));
        EXPECT_TRUE(m_monitor.remove_locked(&first));
        EXPECT_FALSE(m_monitor.remove_locked(&first));
        EXPECT_EQ(m_monitor.numItems(), 1);
        EXPECT_TRUE(m_monitor.remove_locked(&second));
    });
    EXPECT_EQ(m_time.signals(), before);
    EXPECT_EQ(m_monitor.numItems(), 0);
}

TEST_F(TimerMonitor, stoppingAnIdleTimerOrResettingItWakesNobody)
{
    start();
    osTimer timer(&m_receiver, 50);
    const int before = m_time.signals();
    timer.stop();
    timer.reset();
    EXPECT_EQ(m_time.signals(), before);
}

TEST_F(TimerMonitor, destroyedWithoutAStartJoinsNothing)
{
    auto timer = std::make_unique<osTimer>(&m_receiver, 50);
    {
        Monitor neverStarted;
        timer->start();
        m_time.setMonotonic({20, 0});
    }
    osThreadBasedTimer::m_timerManager = &m_monitor;
    EXPECT_EQ(m_receiver.calls(), 0);
    EXPECT_TRUE(timer->isRunning());
}

TEST_F(TimerMonitor, destroyedWithArmedTimersDropsThemWithoutCallbacks)
{
    auto monitor = std::make_unique<Monitor>();
    osTimer due(&m_receiver, 50);
    osTimer pending(&m_receiver, 5000);
    m_time.sleepAfter([&] { monitor->start(); });
    m_time.sleepAfter([&] { due.start(); });
    m_time.sleepAfter([&] { pending.start(); });
    m_time.setMonotonic({12, 0});
    monitor.reset();
    osThreadBasedTimer::m_timerManager = &m_monitor;
    EXPECT_EQ(m_receiver.calls(), 0);
    EXPECT_TRUE(due.isRunning()) << "the flags are left as they are";
    EXPECT_TRUE(pending.isRunning());
    EXPECT_TRUE(pending.reset());
    EXPECT_FALSE(pending.isRunning()) << "it was in no list any more";
}

TEST_F(TimerMonitor, destructorEndsTheThread)
{
    auto monitor = std::make_unique<Monitor>();
    m_time.sleepAfter([&] { monitor->start(); });
    const unsigned long readings = m_time.readings().size();
    monitor.reset();
    EXPECT_EQ(m_time.readings().size(), readings) << "no pass is made at the end";
    osThreadBasedTimer::m_timerManager = &m_monitor;
}
