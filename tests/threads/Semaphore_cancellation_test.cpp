#include <gpal/Semaphore.h>

#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <limits>
#include <new>
#include <unistd.h>

#include "support/condition_signals.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "threads/dump.h"

using testing::ElementsAre;

namespace
{

/// Cancels a thread that waits in \p semaphore; returns its id.
unsigned long cancelAWaiterOf(Semaphore& semaphore)
{
    const long before = dumpOf(semaphore).waitingCount();
    support::PlainThread waiter([&] { semaphore.take(WITHOUT_LIMIT); });
    EXPECT_TRUE(areQueued(semaphore, before + 1));
    waiter.cancel();
    EXPECT_TRUE(waiter.wasCancelled());
    return waiter.id();
}

/// How often a condition is destroyed while \p work is done.
int conditionsDestroyedDuring(const std::function<void()>& work)
{
    int destroyed = 0;
    const support::Replacement destroy(
        support::calls::pthread_cond_destroy, [&](pthread_cond_t* condition) {
            ++destroyed;
            return support::calls::pthread_cond_destroy.original(condition);
        });
    work();
    return destroyed;
}

} // namespace

TEST(SemaphoreCancellation, leavesACancelledThreadCountedAndListedAsWaiting)
{
    Semaphore semaphore(0, 1, false);
    const unsigned long waiter = cancelAWaiterOf(semaphore);
    const Dump dump = dumpOf(semaphore);
    EXPECT_EQ(dump.waitingCount(), 1);
    EXPECT_THAT(dump.waitingThreads(), ElementsAre(waiter));
    EXPECT_EQ(dump.number("take() count"), 1);
    EXPECT_EQ(dump.number("take() timeout count"), 0);
    EXPECT_EQ(dump.count(), 0);
    EXPECT_EQ(dump.owner(), 0UL);
}

TEST(SemaphoreCancellation, strikesInEveryKindOfWait)
{
    for (const int timeout : {WITHOUT_LIMIT, 600000, 1, 0, -7, std::numeric_limits<int>::min()}) {
        Semaphore semaphore(0, 1, false);
        bool returned = false;
        support::PlainThread waiter([&] {
            pthread_cancel(pthread_self());
            semaphore.take(timeout);
            returned = true;
        });
        waiter.join();
        EXPECT_TRUE(waiter.wasCancelled()) << timeout;
        EXPECT_FALSE(returned) << timeout;
        EXPECT_EQ(dumpOf(semaphore).waitingCount(), 1) << timeout;
        EXPECT_THAT(dumpOf(semaphore).waitingThreads(), ElementsAre(waiter.id())) << timeout;
        EXPECT_EQ(dumpOf(semaphore).number("take() timeout count"), 0) << timeout;
        EXPECT_EQ(semaphore.give(), 1) << "the locks are free";
        EXPECT_EQ(dumpOf(semaphore).count(), 1);
    }
}

TEST(SemaphoreCancellation, doesNotStrikeWhereNothingWaits)
{
    Semaphore semaphore(1, 1, false);
    bool through = false;
    support::PlainThread caller([&] {
        const support::Captured output(1);
        pthread_cancel(pthread_self());
        EXPECT_EQ(semaphore.take(WITHOUT_LIMIT), Semaphore::AVAILABLE);
        EXPECT_EQ(semaphore.give(), 1);
        semaphore.displayInfo();
        Semaphore::info(nullptr);
        Semaphore::threadExitSemaphoreCleanup(pthread_self());
        through = true;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    });
    caller.join();
    EXPECT_TRUE(through);
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
}

TEST(SemaphoreCancellation, makesNewcomersQueueForTheNextGiveAfterAWaiterWasLost)
{
    Semaphore semaphore(0, 2, false);
    cancelAWaiterOf(semaphore);
    semaphore.give();
    EXPECT_EQ(semaphore.take(0), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(semaphore.take(5), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).count(), 1);

    int result = Semaphore::NOT_AVAILABLE;
    support::PlainThread newcomer([&] { result = semaphore.take(WITHOUT_LIMIT); });
    ASSERT_TRUE(areQueued(semaphore, 2));
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    semaphore.give();
    newcomer.join();
    EXPECT_EQ(result, Semaphore::AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).waitingCount(), 1);
}

TEST(SemaphoreCancellation, stillLetsAReentrantOwnerNestAfterAWaiterWasLost)
{
    Semaphore semaphore(1, 1, true);
    semaphore.take(0);
    cancelAWaiterOf(semaphore);
    EXPECT_EQ(semaphore.take(0), Semaphore::AVAILABLE);
    semaphore.give();
    semaphore.give();
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
}

TEST(SemaphoreCancellation, takesOneEntryOfAThreadOffTheListForEachWaitThatEnds)
{
    struct WaitAgain {
        static void run(void* semaphore) { static_cast<Semaphore*>(semaphore)->take(5); }
    };
    Semaphore semaphore(0, 1, false);
    support::PlainThread waiter([&] {
        pthread_cleanup_push(WaitAgain::run, &semaphore);
        pthread_cancel(pthread_self());
        semaphore.take(WITHOUT_LIMIT);
        pthread_cleanup_pop(0);
    });
    waiter.join();
    EXPECT_EQ(dumpOf(semaphore).number("take() timeout count"), 1);
    EXPECT_EQ(dumpOf(semaphore).waitingCount(), 1);
    EXPECT_THAT(dumpOf(semaphore).waitingThreads(), ElementsAre(waiter.id()));
}

TEST(SemaphoreCancellation, leavesOtherWaitingThreadsServed)
{
    Semaphore semaphore(0, 1, false);
    support::PlainThread first([&] { EXPECT_EQ(semaphore.take(WITHOUT_LIMIT), 1); });
    ASSERT_TRUE(areQueued(semaphore, 1));
    cancelAWaiterOf(semaphore);
    semaphore.give();
    first.join();
    EXPECT_EQ(dumpOf(semaphore).owner(), first.id());
    EXPECT_EQ(dumpOf(semaphore).waitingCount(), 1);
}

namespace
{

/// Destroys a semaphore in which a thread waits; ends the process with 0 when the destructor
/// returned and the thread was not woken.
[[noreturn]] void destroyUnderAWaitingThread()
{
    alignas(Semaphore) static unsigned char place[sizeof(Semaphore)];
    static std::atomic<bool> woken{false};
    auto* semaphore = new (place) Semaphore(0, 1, false);
    const support::PlainThread waiter([&] {
        semaphore->take(WITHOUT_LIMIT);
        woken = true;
    });
    const bool queued = areQueued(*semaphore, 1);
    semaphore->~Semaphore();
    const bool forgotten = dumpTextOfAll().empty();
    usleep(30000);
    _exit(queued && forgotten && !woken ? 0 : 1);
}

} // namespace

TEST(SemaphoreCancellation, isDestroyedUnderAThreadThatWaitsInItWithoutWakingIt)
{
    EXPECT_EXIT(destroyUnderAWaitingThread(), testing::ExitedWithCode(0), "");
}

TEST(SemaphoreCancellation, isDestroyedAfterAWaiterWasLost)
{
    {
        Semaphore semaphore(0, 1, false);
        cancelAWaiterOf(semaphore);
    }
    EXPECT_EQ(dumpTextOfAll(), "");
}

TEST(SemaphoreCancellation, leavesNothingBehindThatOutlastsTheSemaphore)
{
    auto* const semaphore = new Semaphore(0, 1, false);
    cancelAWaiterOf(*semaphore);
    EXPECT_EQ(conditionsDestroyedDuring([&] { delete semaphore; }), 1);
}

TEST(SemaphoreCancellation, doesNotMakeTheDestructorWaitForThoseWhoAreStillBlocked)
{
    alignas(Semaphore) static char place[sizeof(Semaphore)]; // in which they stay blocked
    auto* const semaphore = new (place) Semaphore(0, 1, false);
    cancelAWaiterOf(*semaphore);
    pthread_t blocked{};
    pthread_create(
        &blocked, nullptr,
        [](void* waitedFor) -> void* {
            static_cast<Semaphore*>(waitedFor)->take(WITHOUT_LIMIT);
            return nullptr;
        },
        semaphore);
    EXPECT_TRUE(areQueued(*semaphore, 2));
    EXPECT_EQ(conditionsDestroyedDuring([&] { semaphore->~Semaphore(); }), 0);
    pthread_detach(blocked);
}
