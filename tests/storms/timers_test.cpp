// Timers armed, stopped, reset and destroyed by many threads while the wall clock jumps.
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <sys/time.h>
#include <unistd.h>

#include "storms/storm.h"
#include "support/observed.h"

namespace calls = support::calls;
using storms::Dice;
using storms::onThreads;
using support::Replacement;

namespace
{

/// A wall clock that can be set, for the layer only.
class SettableClock
{
public:
    void jump(int seconds) { m_ahead = seconds; }

private:
    std::atomic<int> m_ahead{0};
    Replacement<int(clockid_t, timespec*)> m_clock{
        calls::clock_gettime, [this](clockid_t clock, timespec* time) {
            const int result = calls::clock_gettime.original(clock, time);
            time->tv_sec += clock == CLOCK_REALTIME ? m_ahead.load() : 0;
            return result;
        }};
    Replacement<int(timeval*, void*)> m_timeOfDay{
        calls::gettimeofday, [this](timeval* time, void* zone) {
            const int result = calls::gettimeofday.original(time, zone);
            time->tv_sec += m_ahead;
            return result;
        }};
    Replacement<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> m_wait{
        calls::pthread_cond_timedwait,
        [this](pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
            timespec real = *deadline;
            real.tv_sec -= m_ahead;
            return calls::pthread_cond_timedwait.original(condition, mutex, &real);
        }};
};

class Receiver : public timeAble
{
public:
    int timerExpired(osTimerIfc* /*timer*/) override { return ++m_expiries; }
    int expiries() const { return m_expiries; }

private:
    std::atomic<int> m_expiries{0};
};

/// A timer with its receiver, which outlives it.
struct Armed {
    Receiver receiver;
    std::unique_ptr<osTimer> timer;
    int starts = 0;
};

void treat(Armed& armed, Dice& dice)
{
    switch (dice.below(8)) {
    case 0:
        armed.timer->stop();
        return;
    case 1:
        armed.timer->reset();
        return;
    case 2:
        armed.timer = std::make_unique<osTimer>(&armed.receiver, 50 + dice.below(50));
        return;
    case 3:
        armed.timer->isRunning();
        return;
    default:
        armed.starts += 1;
        armed.timer->start();
    }
}

} // namespace

using TimersStorm = storms::Storm;

TEST_F(TimersStorm, timersAreExactWhileTheWallClockJumps)
{
    constexpr int THREADS = 8;
    constexpr int PER_THREAD = 125;
    int expiries = 0;
    int starts = 0;
    {
        const support::Captured output(STDOUT_FILENO); // each jump is reported
        SettableClock clock;
        osTimerThread monitor;
        monitor.start();
        std::vector<Armed> all(THREADS * PER_THREAD);
        for (Armed& armed : all) {
            armed.timer = std::make_unique<osTimer>(&armed.receiver, 50);
        }
        const auto end = storms::endOfStorm(std::chrono::milliseconds(500));
        onThreads(THREADS + 1, [&](int thread) {
            Dice dice(static_cast<unsigned int>(thread));
            while (std::chrono::steady_clock::now() < end) {
                if (thread == THREADS) {
                    clock.jump(dice.below(2000) - 1000);
                    storms::waitUpTo(dice, 20000);
                    continue;
                }
                treat(all[static_cast<std::size_t>(thread * PER_THREAD + dice.below(PER_THREAD))],
                      dice);
            }
        });
        clock.jump(0);
        for (Armed& armed : all) {
            armed.timer->stop();
        }
        EXPECT_EQ(0, monitor.numItems());
        for (Armed& armed : all) {
            EXPECT_LE(armed.receiver.expiries(), armed.starts);
            expiries += armed.receiver.expiries();
            starts += armed.starts;
            armed.starts = armed.receiver.expiries();
            armed.timer->start();
        }
        EXPECT_TRUE(support::eventually([&] { return monitor.numItems() == 0; }));
        for (Armed& armed : all) {
            EXPECT_EQ(armed.starts + 1, armed.receiver.expiries());
        }
    }
    say("1000 timers armed " + std::to_string(starts) + " times, expired " +
        std::to_string(expiries) + " times");
}
