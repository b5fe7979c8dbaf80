// What a wall clock that is really set does to timers, waits and sleeps.
#include <gpal/GPALSleep.h>
#include <gpal/osPOSIXTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/Semaphore.h>
#include <gpal/Wait.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <pthread.h>
#include <string>
#include <thread>
#include <time.h>
#include <vector>

#include "device/booted.h"
#include "support/c_library.h"
#include "support/observed.h"

using devicetest::sleepFor;
using support::Captured;
using support::eventually;
using support::millisecondsSince;

namespace
{

using Clock = std::chrono::steady_clock;

// Half a second more than five: the moments between two readings of a clock don't change the
// number of whole seconds.
constexpr int STEP_MS = 5500;

void setWallClock(std::chrono::system_clock::time_point time)
{
    using namespace std::chrono;
    const auto seconds = duration_cast<std::chrono::seconds>(time.time_since_epoch());
    const auto rest = duration_cast<nanoseconds>(time.time_since_epoch() - seconds);
    const timespec wall{static_cast<time_t>(seconds.count()), static_cast<long>(rest.count())};
    EXPECT_EQ(clock_settime(CLOCK_REALTIME, &wall), 0);
}

void stepWallClock(int step)
{
    setWallClock(std::chrono::system_clock::now() + std::chrono::milliseconds(step));
}

/// Notes how long after it was armed a timer expired.
class Stopwatch : public timeAble
{
public:
    explicit Stopwatch(int interval) : m_timer(this, interval) {}

    void arm()
    {
        m_start = Clock::now();
        m_timer.start();
    }
    int timerExpired(osTimerIfc*) override
    {
        m_passed = millisecondsSince(m_start);
        return ++m_calls;
    }

    bool hasExpired() const { return m_calls > 0; }
    int calls() const { return m_calls; }
    long passed() const { return m_passed; }

private:
    Clock::time_point m_start;
    std::atomic<long> m_passed{0};
    std::atomic<int> m_calls{0};
    osTimer m_timer;
};

class WallClock : public devicetest::OnTheDevice
{
protected:
    void prepare() override
    {
        m_before = std::chrono::system_clock::now();
        m_start = Clock::now();
        m_monitor = std::make_unique<osTimerThread>();
        m_monitor->start();
    }
    void restore() override { setWallClock(m_before + (Clock::now() - m_start)); }

    /// How long \p action takes when the wall clock is set meanwhile.
    long timeOf(const std::function<void()>& action, int step)
    {
        std::thread other([step] {
            sleepFor(100);
            stepWallClock(step);
        });
        const auto start = Clock::now();
        action();
        const long passed = millisecondsSince(start);
        other.join();
        return passed;
    }

    /// Some C libraries count a time-limited wait down from where it began.
    std::string whyStepsDoNothingToWaits()
    {
        pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
        pthread_cond_t never = PTHREAD_COND_INITIALIZER;
        timespec deadline{};
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += 2;
        pthread_mutex_lock(&mutex);
        const long passed =
            timeOf([&] { pthread_cond_timedwait(&never, &mutex, &deadline); }, STEP_MS);
        pthread_mutex_unlock(&mutex);
        stepWallClock(-STEP_MS);
        return passed < 1500 ? "" : "the C library's waits don't go by the wall clock once begun";
    }

    std::unique_ptr<osTimerThread> m_monitor;

private:
    std::chrono::system_clock::time_point m_before;
    Clock::time_point m_start;
};

} // namespace

TEST_F(WallClock, setForwardWakesTheMonitorWhichReportsItAndLetsNoTimerGoEarly)
{
    GPAL_SKIP_BECAUSE(whyStepsDoNothingToWaits());
    const Captured console(1);
    Stopwatch timer(3000);
    timer.arm();
    sleepFor(200);
    stepWallClock(STEP_MS);
    EXPECT_TRUE(eventually([&] { return console.text() == "Time forward( 5 ) secs\n"; }));
    EXPECT_FALSE(timer.hasExpired()) << "after " << timer.passed() << " ms";
    EXPECT_TRUE(eventually([&] { return timer.hasExpired(); }));
    EXPECT_GE(timer.passed(), 3000);
    EXPECT_LT(timer.passed(), 3000 + STEP_MS) << "it need not wait for the clock again";
    EXPECT_EQ(console.text(), "Time forward( 5 ) secs\n") << "the step was reported once";
}

TEST_F(WallClock, setBackStretchesTheMonitorsSleepAfterWhichItReportsItAndServesTheTimer)
{
    GPAL_SKIP_BECAUSE(whyStepsDoNothingToWaits());
    const Captured console(1);
    Stopwatch timer(500);
    timer.arm();
    sleepFor(100);
    stepWallClock(-STEP_MS);
    sleepFor(2000);
    EXPECT_FALSE(timer.hasExpired()) << "the sleep ends by the wall clock";
    EXPECT_EQ(console.text(), "");
    EXPECT_TRUE(eventually([&] { return timer.hasExpired(); }));
    EXPECT_GE(timer.passed(), STEP_MS);
    EXPECT_EQ(console.text(), "Time back   ( 5 ) secs\n");
}

TEST_F(WallClock, setBackServesADueTimerWhenAnotherIsArmed)
{
    GPAL_SKIP_BECAUSE(whyStepsDoNothingToWaits());
    const Captured console(1);
    Stopwatch timer(500);
    timer.arm();
    sleepFor(100);
    stepWallClock(-STEP_MS);
    sleepFor(1000);
    EXPECT_FALSE(timer.hasExpired());
    Stopwatch other(600);
    other.arm();
    EXPECT_TRUE(eventually([&] { return timer.hasExpired(); }));
    EXPECT_LT(timer.passed(), STEP_MS);
    EXPECT_EQ(console.text(), "Time back   ( 5 ) secs\n");
    EXPECT_TRUE(eventually([&] { return other.hasExpired(); }));
    EXPECT_GE(other.passed(), 600);
    EXPECT_LT(other.passed(), STEP_MS) << "its deadline is one of the clock as it is set now";
}

TEST_F(WallClock, setByLessThanTwoSecondsIsNotReported)
{
    const Captured console(1);
    Stopwatch timer(600);
    timer.arm();
    stepWallClock(1900);
    sleepFor(100);
    stepWallClock(-1900);
    EXPECT_TRUE(eventually([&] { return timer.hasExpired(); }));
    EXPECT_GE(timer.passed(), 600);
    EXPECT_EQ(console.text(), "");
}

TEST_F(WallClock, setForthAndBackAgainAndAgainNeitherLosesNorHurriesAnyTimer)
{
    const Captured console(1);
    std::vector<std::unique_ptr<Stopwatch>> timers;
    std::vector<int> intervals;
    for (int i = 0; i < 20; ++i) {
        intervals.push_back(50 + 113 * i);
        timers.push_back(std::make_unique<Stopwatch>(intervals.back()));
        timers.back()->arm();
    }
    for (int i = 0; i < 6; ++i) {
        stepWallClock(STEP_MS);
        sleepFor(150);
        stepWallClock(-STEP_MS);
        sleepFor(50);
    }
    for (std::size_t i = 0; i < timers.size(); ++i) {
        EXPECT_TRUE(eventually([&] { return timers[i]->hasExpired(); })) << intervals[i];
        EXPECT_GE(timers[i]->passed(), intervals[i]);
    }
    sleepFor(100);
    for (const auto& timer : timers) {
        EXPECT_EQ(timer->calls(), 1);
    }
    EXPECT_EQ(console.text().rfind("Time forward( 5 ) secs\n", 0), 0U) << console.text();
}

TEST_F(WallClock, setForwardEndsATimeLimitedTake)
{
    GPAL_SKIP_BECAUSE(whyStepsDoNothingToWaits());
    Semaphore semaphore(0, 1, false);
    int result = 99;
    const long passed = timeOf([&] { result = semaphore.take(30000); }, 40000);
    EXPECT_EQ(result, Semaphore::NOT_AVAILABLE);
    EXPECT_LT(passed, 20000);
}

TEST_F(WallClock, setBackStretchesATimeLimitedTakeWhichAGiveEndsAllTheSame)
{
    GPAL_SKIP_BECAUSE(whyStepsDoNothingToWaits());
    Semaphore semaphore(0, 1, false);
    int result = 99;
    EXPECT_GE(timeOf([&] { result = semaphore.take(300); }, -STEP_MS), STEP_MS);
    EXPECT_EQ(result, Semaphore::NOT_AVAILABLE);

    std::thread giver([&] {
        sleepFor(1000);
        semaphore.give();
    });
    EXPECT_LT(timeOf([&] { result = semaphore.take(300); }, -STEP_MS), STEP_MS);
    EXPECT_EQ(result, Semaphore::AVAILABLE);
    giver.join();
}

TEST_F(WallClock, setForwardOrBackDoesTheSameToATimeLimitedWait)
{
    GPAL_SKIP_BECAUSE(whyStepsDoNothingToWaits());
    Wait event;
    int result = 99;
    EXPECT_LT(timeOf([&] { result = event.wait(30000); }, 40000), 20000);
    EXPECT_EQ(result, 0);
    EXPECT_GE(timeOf([&] { result = event.wait(300); }, -STEP_MS), STEP_MS);
    EXPECT_EQ(result, 0);
    event.signal();
    stepWallClock(STEP_MS);
    EXPECT_EQ(event.wait(0), 1) << "a signal outlasts the step";
}

TEST_F(WallClock, setForwardOrBackIsNothingToASleep)
{
    GPALSleep sleeping;
    EXPECT_GE(timeOf([&] { sleeping.milliSleep(1500); }, STEP_MS), 1500);
    EXPECT_LT(timeOf([&] { sleeping.milliSleep(1500); }, -STEP_MS), STEP_MS);
    EXPECT_GE(timeOf([&] { sleeping.secSleep(1); }, STEP_MS), 1000);
    EXPECT_LT(timeOf([&] { sleeping.secSleep(1); }, -STEP_MS), STEP_MS);
}

TEST_F(WallClock, setForwardOrBackIsNothingToAPosixTimerWhichCountsFromItsStart)
{
    GPAL_SKIP_BECAUSE(support::whyNoNotificationThreads());
    std::atomic<bool> expired{false};
    struct Receiver : timeAble {
        explicit Receiver(std::atomic<bool>& expired) : m_expired(expired) {}
        int timerExpired(osTimerIfc*) override { return m_expired = true; }
        std::atomic<bool>& m_expired;
    } receiver(expired);
    osPOSIXTimer timer(&receiver, 1500, nullptr);
    for (const int step : {STEP_MS, -STEP_MS}) {
        expired = false;
        const long passed = timeOf(
            [&] {
                timer.start();
                EXPECT_TRUE(eventually([&] { return expired.load(); }));
            },
            step);
        EXPECT_GE(passed, 1500);
        EXPECT_LT(passed, STEP_MS);
    }
}
