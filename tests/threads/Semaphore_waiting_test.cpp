#include <gpal/Semaphore.h>

#include <atomic>
#include <cerrno>
#include <gmock/gmock.h>
#include <limits>
#include <sys/time.h>

#include "support/condition_signals.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "threads/dump.h"

using support::PlainThread;
using support::Replacement;
using testing::ElementsAre;
namespace calls = support::calls;

namespace
{

struct Deadline {
    time_t seconds;
    long nanoseconds;
    bool operator==(const Deadline& other) const
    {
        return seconds == other.seconds && nanoseconds == other.nanoseconds;
    }
};

void PrintTo(const Deadline& deadline, std::ostream* out)
{
    *out << deadline.seconds << " s " << deadline.nanoseconds << " ns";
}

/// A wall clock that the test sets, and timed waits that end with what the test says.
class WallClock
{
public:
    explicit WallClock(timeval now) : m_now(now) {}

    void endWaitsWith(std::vector<int> results) { m_results = std::move(results); }
    void afterEachWait(std::function<void(pthread_mutex_t*)> action)
    {
        m_afterWait = std::move(action);
    }
    void pass(int seconds) { m_now.tv_sec += seconds; }

    const std::vector<Deadline>& deadlines() const { return m_deadlines; }

private:
    int wait(pthread_mutex_t* mutex, const timespec* deadline)
    {
        EXPECT_EQ(pthread_mutex_trylock(mutex), EBUSY) << "waits with the state locked";
        m_deadlines.push_back({deadline->tv_sec, deadline->tv_nsec});
        const std::size_t index = m_deadlines.size() - 1;
        m_afterWait(mutex);
        return index < m_results.size() ? m_results[index] : ETIMEDOUT;
    }

    timeval m_now;
    std::vector<int> m_results;
    std::function<void(pthread_mutex_t*)> m_afterWait = [](pthread_mutex_t*) {};
    std::vector<Deadline> m_deadlines;
    Replacement<int(timeval*, void*)> m_gettimeofday{calls::gettimeofday,
                                                     [this](timeval* time, void*) {
                                                         *time = m_now;
                                                         return 0;
                                                     }};
    Replacement<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> m_timedWait{
        calls::pthread_cond_timedwait,
        [this](pthread_cond_t*, pthread_mutex_t* mutex, const timespec* deadline) {
            return wait(mutex, deadline);
        }};
};

/// What a client may do while a thread is inside the semaphore's wait, which releases the lock.
void giveInsideTheWait(Semaphore& semaphore, pthread_mutex_t* mutex)
{
    pthread_mutex_unlock(mutex);
    semaphore.give();
    pthread_mutex_lock(mutex);
}

} // namespace

TEST(SemaphoreWaiting, waitsUntilTheWallClockReachesNowPlusTheTimeout)
{
    struct {
        timeval now;
        int timeoutMs;
        Deadline deadline;
    } const cases[] = {
        {{1000, 0}, 1, {1000, 1000000}},
        {{1000, 999999}, 1, {1001, 999000}},
        {{1000, 999000}, 1, {1001, 0}},
        {{1000, 998999}, 1, {1000, 999999000}},
        {{1000, 1}, 1000, {1001, 1000}},
        {{1000, 500000}, 1500, {1002, 0}},
        {{1000, 999999}, 999, {1001, 998999000}},
        {{1000, 999999}, 2999, {1003, 998999000}},
        {{1000, 999999}, 2147483647, {2148484, 646999000}},
    };
    for (const auto& each : cases) {
        Semaphore semaphore(0, 1, false);
        const WallClock clock(each.now);
        EXPECT_EQ(semaphore.take(each.timeoutMs), Semaphore::NOT_AVAILABLE);
        EXPECT_THAT(clock.deadlines(), ElementsAre(each.deadline)) << each.timeoutMs;
    }
}

TEST(SemaphoreWaiting, asksForNoTimeThatIsNoneWhenTheTimeHasPassedAlready)
{
    for (const int timeout : {0, -2, -999, -1001, std::numeric_limits<int>::min()}) {
        Semaphore semaphore(0, 1, false);
        const WallClock clock({1000, 0});
        EXPECT_EQ(semaphore.take(timeout), Semaphore::NOT_AVAILABLE);
        for (const Deadline& deadline : clock.deadlines()) {
            EXPECT_LE(deadline.seconds, 1000) << timeout;
            EXPECT_GE(deadline.nanoseconds, 0) << timeout;
            EXPECT_LT(deadline.nanoseconds, 1000000000) << timeout;
        }
    }
}

TEST(SemaphoreWaiting, startsTheTimeoutAnewAfterEachWakeUpThatFindsNoUnit)
{
    Semaphore semaphore(0, 1, false);
    WallClock clock({1000, 250000});
    clock.endWaitsWith({0, 0, ETIMEDOUT});
    clock.afterEachWait([&](pthread_mutex_t*) { clock.pass(7); });
    EXPECT_EQ(semaphore.take(500), Semaphore::NOT_AVAILABLE);
    EXPECT_THAT(clock.deadlines(), ElementsAre(Deadline{1000, 750000000}, Deadline{1007, 750000000},
                                               Deadline{1014, 750000000}));
    EXPECT_EQ(dumpOf(semaphore).number("take() timeout count"), 1);
    EXPECT_EQ(dumpOf(semaphore).number("take() count"), 1);
}

TEST(SemaphoreWaiting, takesNoResultButTheTimeoutForATimeout)
{
    Semaphore semaphore(0, 1, false);
    WallClock clock({1000, 0});
    clock.endWaitsWith({EINVAL, EINTR, EPERM, -1, ETIMEDOUT});
    EXPECT_EQ(semaphore.take(100), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(clock.deadlines().size(), 5U);
    EXPECT_EQ(dumpOf(semaphore).number("take() timeout count"), 1);
}

TEST(SemaphoreWaiting, takesTheUnitThatAWakeUpFinds)
{
    Semaphore semaphore(0, 1, false);
    WallClock clock({1000, 0});
    clock.endWaitsWith({EINVAL});
    clock.afterEachWait([&](pthread_mutex_t* mutex) { giveInsideTheWait(semaphore, mutex); });
    EXPECT_EQ(semaphore.take(100), Semaphore::AVAILABLE);
    const Dump dump = dumpOf(semaphore);
    EXPECT_EQ(dump.count(), 0);
    EXPECT_EQ(dump.owner(), pthread_self());
    EXPECT_EQ(dump.number("take() timeout count"), 0);
    EXPECT_EQ(dump.waitingCount(), 0);
    EXPECT_TRUE(dump.waitingThreads().empty());
}

TEST(SemaphoreWaiting, timesOutEvenWhenAUnitCameWithTheTimeout)
{
    Semaphore semaphore(0, 1, false);
    WallClock clock({1000, 0});
    clock.afterEachWait([&](pthread_mutex_t* mutex) { giveInsideTheWait(semaphore, mutex); });
    EXPECT_EQ(semaphore.take(100), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).owner(), 0UL);
}

TEST(SemaphoreWaiting, waitsWithoutAClockWhenThereIsNoLimit)
{
    Semaphore semaphore(0, 1, false);
    const WallClock clock({1000, 0});
    int waits = 0;
    const Replacement wait(calls::pthread_cond_wait, [&](pthread_cond_t*, pthread_mutex_t* mutex) {
        if (++waits == 3) {
            giveInsideTheWait(semaphore, mutex);
        }
        return 0;
    });
    EXPECT_EQ(semaphore.take(WITHOUT_LIMIT), Semaphore::AVAILABLE);
    EXPECT_EQ(waits, 3);
    EXPECT_TRUE(clock.deadlines().empty());
}

TEST(SemaphoreWaiting, doesNotReturnBeforeItsTimeHasPassed)
{
    Semaphore semaphore(0, 1, false);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(semaphore.take(50), Semaphore::NOT_AVAILABLE);
    EXPECT_GE(support::millisecondsSince(start), 49);
}

TEST(SemaphoreWaiting, wakesExactlyOneThreadForEachGive)
{
    Semaphore semaphore(0, -1, false);
    std::atomic<int> through{0};
    int signals = 0;
    int broadcasts = 0;
    const Replacement signal(calls::pthread_cond_signal, [&](pthread_cond_t* condition) {
        ++signals;
        return calls::pthread_cond_signal.original(condition);
    });
    const Replacement broadcast(calls::pthread_cond_broadcast, [&](pthread_cond_t* condition) {
        ++broadcasts;
        return calls::pthread_cond_broadcast.original(condition);
    });
    const auto taker = [&] { through += semaphore.take(WITHOUT_LIMIT); };
    PlainThread first(taker);
    PlainThread second(taker);
    ASSERT_TRUE(areQueued(semaphore, 2));
    semaphore.give();
    EXPECT_TRUE(support::eventually([&] { return through == 1; }));
    ASSERT_TRUE(areQueued(semaphore, 1));
    EXPECT_EQ(signals, 1);
    semaphore.give();
    first.join();
    second.join();
    EXPECT_EQ(through, 2);
    semaphore.give();
    EXPECT_EQ(signals, 2) << "a give with nobody waiting wakes nobody";
    EXPECT_EQ(broadcasts, 0);
}

TEST(SemaphoreWaiting, passesTheUnitToTheWaitingThread)
{
    Semaphore semaphore(1, 1, false);
    semaphore.take(0);
    PlainThread other([&] { EXPECT_EQ(semaphore.take(60000), Semaphore::AVAILABLE); });
    ASSERT_TRUE(areQueued(semaphore, 1));
    EXPECT_EQ(dumpOf(semaphore).owner(), pthread_self());
    semaphore.give();
    other.join();
    EXPECT_EQ(dumpOf(semaphore).count(), 0);
    EXPECT_EQ(dumpOf(semaphore).owner(), other.id());
    EXPECT_EQ(dumpOf(semaphore).waitingCount(), 0);
    EXPECT_TRUE(dumpOf(semaphore).waitingThreads().empty());
}

TEST(SemaphoreWaiting, keepsAStrangerOutUntilTheReentrantOwnersLastGive)
{
    Semaphore semaphore(1, 1, true);
    semaphore.take(0);
    semaphore.take(0);
    std::atomic<bool> through{false};
    PlainThread stranger([&] { through = semaphore.take(WITHOUT_LIMIT) == Semaphore::AVAILABLE; });
    ASSERT_TRUE(areQueued(semaphore, 1));
    EXPECT_EQ(semaphore.take(WITHOUT_LIMIT), 1) << "the owner nests past the queue";
    semaphore.give();
    semaphore.give();
    EXPECT_FALSE(through);
    EXPECT_EQ(dumpOf(semaphore).waitingCount(), 1);
    semaphore.give();
    stranger.join();
    EXPECT_TRUE(through);
}

TEST(SemaphoreWaiting, queuesANewcomerBehindAWaitingThreadThoughAUnitIsFree)
{
    Semaphore semaphore(0, 1, false);
    PlainThread waiting([&] { EXPECT_EQ(semaphore.take(WITHOUT_LIMIT), Semaphore::AVAILABLE); });
    ASSERT_TRUE(areQueued(semaphore, 1));
    {
        const Replacement asleep(calls::pthread_cond_signal, [](pthread_cond_t*) { return 0; });
        semaphore.give();
    }
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(semaphore.take(0), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(semaphore.take(5), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).number("take() timeout count"), 2);
    semaphore.give();
    waiting.join();
    EXPECT_EQ(dumpOf(semaphore).count(), 0);
    EXPECT_EQ(dumpOf(semaphore).owner(), waiting.id());
}
