// Timers of a process that runs out of memory or of timers, and arguments that nobody should pass.
#include <gpal/osPOSIXTimer.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <limits>
#include <memory>
#include <optional>
#include <thread>

#include <gpal/osThreadBasedTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>

#include "support/failing_allocations.h"
#include "support/observed.h"
#include "timers/monitor_fixture.h"
#include "timers/sigev_thread_shim.h"

namespace calls = support::calls;
using support::FailingAllocations;
using TimerWithoutMemory = timertest::MonitorFixture;

namespace
{

constexpr int LARGEST = std::numeric_limits<int>::max();
constexpr int SMALLEST = std::numeric_limits<int>::min();

/// Has its callback leave the monitor's thread without memory.
class RunningOut : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override
    {
        m_memory.emplace();
        return 0;
    }

private:
    std::optional<FailingAllocations> m_memory;
};

/// Makes what \p make says again and again, each time with memory for one block more, until it
/// succeeds; each time everything is given back.
template <typename Make>
void expectNothingLeftWhenMemoryRunsOutIn(Make make)
{
    const long before = support::blocksInUse();
    bool made = false;
    for (int successes = 0; !made; ++successes) {
        {
            const FailingAllocations memory(successes);
            try {
                make();
                made = true;
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(FailingAllocations::struck());
            }
        }
        EXPECT_EQ(support::blocksInUse(), before) << "after " << successes;
    }
}

} // namespace

TEST_F(TimerWithoutMemory, isNotArmedWhenItCannotBeListed)
{
    osTimer timer(&m_receiver, 50);
    {
        const FailingAllocations memory;
        EXPECT_THROW(timer.start(), std::bad_alloc);
    }
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 0);
    start();
    m_time.sleepAfter([&] { EXPECT_TRUE(timer.start()); });
    m_time.pass({0, 60000000});
    EXPECT_EQ(m_receiver.calls(), 1);
}

TEST_F(TimerWithoutMemory, isAskedByThreadsThatHaveToWaitForItAllTheSame)
{
    osTimer timer(&m_receiver, 50);
    std::optional<FailingAllocations> memory;
    std::atomic<bool> called{false};
    std::atomic<bool> asked{false};
    m_receiver.m_during = [&](osTimerIfc*) {
        called = true;
        EXPECT_TRUE(timertest::soon([] { return FailingAllocations::struck(); }));
    };
    start();
    m_time.sleepAfter([&] { timer.start(); });
    std::thread asker([&] {
        EXPECT_TRUE(timertest::soon([&] { return called.load(); }));
        memory.emplace();
        EXPECT_FALSE(timer.isRunning());
        memory.reset();
        asked = true;
    });
    m_time.pass({0, 60000000});
    asker.join();
    EXPECT_TRUE(asked);
    EXPECT_FALSE(timer.isRunning());
}

TEST(MonitorWithoutMemory, reportsJumpsOfTheWallClock)
{
    const support::Captured output(1);
    std::atomic<long> ahead{0};
    const support::Replacement clock(calls::clock_gettime, [&](clockid_t which, timespec* time) {
        const int result = calls::clock_gettime.original(which, time);
        time->tv_sec += which == CLOCK_REALTIME ? ahead.load() : 0;
        return result;
    });
    RunningOut receiver;
    timertest::Monitor monitor;
    monitor.start();
    osTimer timer(&receiver, 50);
    timer.start();
    EXPECT_TRUE(timertest::soon([&] { return !timer.isRunning(); }));
    ahead = 99;
    osThreadBasedTimer another;
    monitor.add(&another);
    EXPECT_TRUE(
        timertest::soon([&] { return output.text().find(" ) secs\n") != std::string::npos; }));
    EXPECT_TRUE(timertest::soon([&] { return monitor.numItems() == 0; }));
}

TEST(TimerFacilitiesWithoutMemory, areNotMadeAndLeaveNothing)
{
    const support::Captured output(1);
    expectNothingLeftWhenMemoryRunsOutIn([] { osTimerThread(); });
    const osTimerThread monitor; // timers can't go without one
    expectNothingLeftWhenMemoryRunsOutIn([] { osTimer(); });
    expectNothingLeftWhenMemoryRunsOutIn([] { delete OSTimerFactory().getTimer(); });
}

TEST(PosixTimerWithoutMemory, isNotMadeAndLeavesNoTimerOfTheSystem)
{
    const support::Captured output(1);
    int timers = 0;
    const support::Replacement create(calls::timer_create,
                                      [&](clockid_t, sigevent*, timer_t* timer) {
                                          ++timers;
                                          std::memset(timer, 1, sizeof *timer);
                                          return 0;
                                      });
    const support::Replacement remove(calls::timer_delete, [&](timer_t) {
        --timers;
        return 0;
    });
    const FailingAllocations memory;
    try {
        osPOSIXTimer timer(nullptr, 100, nullptr);
    } catch (const std::bad_alloc&) {
    }
    EXPECT_EQ(timers, 0);
}

TEST(PosixTimerWithoutMemory, tracesStartsStopsServesAndGoesAllTheSame)
{
    const timertest::SigevThreadService service;
    const support::Captured output(1);
    auto timer = std::make_unique<osPOSIXTimer>(nullptr, 100, nullptr);
    const FailingAllocations memory;
    EXPECT_TRUE(timer->start());
    EXPECT_TRUE(timer->reset());
    timer->timerEvent();
    sigval nobody{};
    nobody.sival_ptr = nullptr;
    timerEventNotify(nobody);
    EXPECT_TRUE(timer->stop());
    timer.reset();
    EXPECT_FALSE(FailingAllocations::struck());
}

TEST(PosixTimerThatCouldNotBeMade, failsByItselfAndTouchesNobodyElsesTimer)
{
    const support::Captured output(1);
    const support::Captured errors(2);
    const support::Replacement create(
        calls::timer_create, [](clockid_t, sigevent*, timer_t* timer) {
            std::memset(timer, 1, sizeof *timer); // of no meaning after a failure
            errno = EAGAIN;
            return -1;
        });
    int calls = 0;
    const support::Replacement set(
        support::calls::timer_settime,
        [&](timer_t, int, const itimerspec*, itimerspec*) { return calls++; });
    const support::Replacement overrun(support::calls::timer_getoverrun,
                                       [&](timer_t) { return calls++; });
    const support::Replacement remove(support::calls::timer_delete,
                                      [&](timer_t) { return calls++; });
    {
        timertest::Receiver receiver;
        osPOSIXTimer timer(&receiver, 100, nullptr);
        EXPECT_FALSE(timer.start());
        EXPECT_EQ(errno, EINVAL);
        EXPECT_FALSE(timer.reset());
        EXPECT_FALSE(timer.stop());
        timer.timerEvent();
        EXPECT_EQ(receiver.calls(), 1);
    }
    EXPECT_EQ(calls, 0);
    const std::string invalid = std::string(": ") + std::strerror(EINVAL) + "\n";
    EXPECT_EQ(errors.text(), std::string("timer_create: ") + std::strerror(EAGAIN) +
                                 "\ntimer_settime" + invalid + "timer_settime" + invalid +
                                 "timer_settime" + invalid + "timer_delete" + invalid);
    EXPECT_THAT(output.text(), testing::HasSubstr("osPOSIXTimer::osPOSIXTimer(0) OK\n"));
}

TEST(TimersOddArguments, costTheCallAndNothingElse)
{
    const support::Captured output(1);
    const support::Captured errors(2);
    timertest::Receiver receiver;
    osTimerThread monitor;
    EXPECT_FALSE(monitor.add(nullptr));
    EXPECT_FALSE(monitor.remove(nullptr));
    EXPECT_FALSE(monitor.remove_locked(nullptr));

    osThreadBasedTimer due(&receiver, SMALLEST, nullptr);
    timespec now{LARGEST, 0};
    timespec next{7, 7};
    EXPECT_FALSE(due.timerEvent(nullptr, nullptr));
    EXPECT_FALSE(due.timerEvent(&now, nullptr));
    EXPECT_FALSE(due.timerEvent(nullptr, &next));
    EXPECT_EQ(next.tv_sec, 7);
    EXPECT_EQ(receiver.calls(), 0);

    osTimer timer(nullptr, LARGEST);
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(timer.isRunning());
    EXPECT_NE(timer.init(nullptr, SMALLEST), -1);
    EXPECT_TRUE(timer.reset());
    EXPECT_TRUE(timer.stop());

    osPOSIXTimer posix(nullptr, SMALLEST, nullptr);
    EXPECT_EQ(posix.setInterval(LARGEST, nullptr), LARGEST / 1000 * 1000);
    EXPECT_EQ(posix.setInterval(SMALLEST, nullptr), SMALLEST / 1000 * 1000);
    EXPECT_FALSE(posix.start()) << "a negative interval";
    EXPECT_FALSE(posix.setTimer(nullptr, nullptr));
}

TEST(PosixTimerWithoutNotificationThreads, complainsOnceAndIsNeverUsed)
{
    const support::Replacement creating(calls::timer_create,
                                        [](clockid_t, sigevent*, timer_t* timer) {
                                            *timer = reinterpret_cast<timer_t>(4711);
                                            return -1; // without a reason
                                        });
    int used = 0;
    const support::Replacement arming(
        calls::timer_settime, [&](timer_t, int, const itimerspec*, itimerspec*) { return ++used; });
    const support::Replacement asking(calls::timer_getoverrun, [&](timer_t) { return ++used; });
    const support::Replacement deleting(calls::timer_delete, [&](timer_t) { return ++used; });
    const support::Captured trace(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    errno = ENOENT; // of something else, long ago
    {
        osPOSIXTimer timer(nullptr, 100, nullptr);
        EXPECT_EQ(errors.text(), std::string("timer_create: ") + std::strerror(ENOTSUP) + "\n");
        EXPECT_FALSE(timer.start());
        EXPECT_FALSE(timer.stop());
        timer.timerEvent();
    }
    EXPECT_EQ(used, 0);
}

TEST(PosixTimerOfTheCLibrary, isMadeAndUsableOrRefusesEveryOperation)
{
    const support::Captured trace(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    osPOSIXTimer timer(nullptr, 60000, nullptr);
    const bool made = errors.text().empty();
    EXPECT_EQ(timer.start(), made);
    EXPECT_EQ(timer.reset(), made);
    EXPECT_EQ(timer.stop(), made);
}
