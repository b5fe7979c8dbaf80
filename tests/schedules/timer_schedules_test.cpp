// Timers and their monitor, in every order of the steps of its thread and one or two clients'.
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <memory>
#include <pthread.h>

#include "schedule_expectations.h"

using namespace schedules;

namespace
{

/// Counts the calls, of which there must be none any more at some time.
class Callback : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override
    {
        require(!m_isOver, "a callback comes too late");
        ++m_calls;
        step();
        require(!m_isOver, "a callback is still going on");
        return 0;
    }

    void mustBeOver() { m_isOver = true; }
    int calls() const { return m_calls; }

private:
    bool m_isOver = false;
    int m_calls = 0;
};

struct StartedMonitor : osTimerThread {
    StartedMonitor() { start(); }
};

} // namespace

TEST(TimerSchedules, stopMeansNoLaterCallback)
{
    expectHolds([] {
        StartedMonitor monitor;
        Callback callback;
        osTimer timer(&callback, 50);
        const Thread client = start([&] {
            timer.start();
            const bool wasArmed = timer.stop();
            callback.mustBeOver();
            require(callback.calls() <= (wasArmed ? 0 : 1), "stop does not say what it did");
        });
        requireEnd({client});
        require(monitor.numItems() == 0 && !timer.isRunning(), "the timer is not idle");
    });
}

TEST(TimerSchedules, destructionMeansNoLaterCallback)
{
    expectHolds([] {
        StartedMonitor monitor;
        Callback callback;
        const Thread client = start([&] {
            auto timer = std::make_unique<osTimer>(&callback, 50);
            timer->start();
            timer.reset();
            callback.mustBeOver();
        });
        requireEnd({client});
        require(monitor.numItems() == 0, "a timer is served that is gone");
    });
}

TEST(TimerSchedules, armedTimersExpireOnceEach)
{
    expectHolds(
        [] {
            StartedMonitor monitor;
            Callback callback;
            osTimer first(&callback, 50);
            osTimer second(&callback, 60);
            const Thread one = start([&] { first.start(); });
            const Thread two = start([&] { second.start(); });
            requireEnd({one, two});
            require(callback.calls() == 2, "a timer has not expired");
            require(monitor.numItems() == 0, "a timer that has expired is armed");
        },
        usualBounds(1));
}

// A timer that falls due while it is being stopped is dropped without a callback, and was not armed
// any more: one that is being reset is not armed again either.
TEST(TimerSchedules, resetExtendsOrComesTooLate)
{
    bool wasExtended = false;
    bool wasDropped = false;
    expectHolds([&] {
        StartedMonitor monitor;
        Callback callback;
        osTimer timer(&callback, 50);
        timer.start();
        const Thread client = start([&] {
            timer.reset();
            wasExtended = wasExtended || monitor.numItems() == 1;
        });
        requireEnd({client});
        require(callback.calls() <= 1, "a reset makes another expiry");
        require(monitor.numItems() == 0 && !timer.isRunning(), "the timer is not idle");
        wasDropped = wasDropped || callback.calls() == 0;
    });
    EXPECT_TRUE(wasExtended);
    EXPECT_TRUE(wasDropped);
}

TEST(TimerSchedules, armingAgainMovesTheExpiryOrComesTooLate)
{
    expectHolds([] {
        StartedMonitor monitor;
        Callback callback;
        osTimer timer(&callback, 50);
        const Thread client = start([&] {
            timer.start();
            timer.start();
        });
        requireEnd({client});
        require(callback.calls() == 1 || callback.calls() == 2, "the timer has not expired");
        require(monitor.numItems() == 0, "a timer that has expired is armed");
    });
}

TEST(TimerSchedules, startAndStopOfTwoThreadsLeaveNothingArmed)
{
    expectHolds([] {
        StartedMonitor monitor;
        Callback callback;
        osTimer timer(&callback, 50);
        bool wasArmed = false;
        const Thread one = start([&] { timer.start(); });
        const Thread two = start([&] { wasArmed = timer.stop(); });
        requireEnd({one, two});
        require(callback.calls() <= (wasArmed ? 0 : 1), "a stopped timer has expired");
        require(monitor.numItems() == 0, "a timer stays armed");
    });
}

TEST(TimerSchedules, timersOfBeforeTheStartAreServed)
{
    expectHolds(
        [] {
            osTimerThread monitor;
            Callback callback;
            osTimer timer(&callback, 50);
            const Thread client = start([&] { timer.start(); });
            const Thread starter = start([&] { monitor.start(); });
            requireEnd({client, starter});
            require(callback.calls() == 1, "the timer has not expired");
        },
        usualBounds(1));
}

TEST(TimerSchedules, endOfTheMonitorMeansNoLaterCallback)
{
    expectHolds([] {
        auto monitor = std::make_unique<StartedMonitor>();
        Callback callback;
        auto timer = std::make_unique<osTimer>(&callback, 50);
        timer->start();
        osTimerThread successor; // which the timer turns to when it goes itself
        const Thread ender = start([&] {
            monitor.reset();
            callback.mustBeOver();
        });
        requireEnd({ender});
        timer.reset();
        require(callback.calls() <= 1, "the timer has expired twice");
    });
}

TEST(TimerSchedules, monitorEndsThoughItsStarterWasCancelled)
{
    expectHolds([] {
        auto monitor = std::make_unique<osTimerThread>();
        const Thread starter = start([&] { monitor->start(); });
        const Thread ender = start([&] {
            pthread_cancel(starter);
            pthread_join(starter, nullptr);
            monitor.reset();
        });
        requireEnd({starter, ender});
    });
}
