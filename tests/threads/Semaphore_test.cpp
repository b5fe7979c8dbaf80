#include <gpal/Semaphore.h>

#include <gmock/gmock.h>
#include <gpal/Wait.h>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "support/layer_threads.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/thread_calls.h"
#include "threads/dump.h"

namespace
{

unsigned long thisThread()
{
    return pthread_self();
}

/// Counts the calls that come in through the virtual functions.
class CountingSemaphore : public Semaphore
{
public:
    using Semaphore::Semaphore;
    int give() override
    {
        ++m_gives;
        return Semaphore::give();
    }
    int gives() const { return m_gives; }

private:
    int m_gives = 0;
};

} // namespace

static_assert(!std::is_copy_constructible_v<Semaphore> && !std::is_copy_assignable_v<Semaphore>);
static_assert(std::has_virtual_destructor_v<Semaphore>);

TEST(Semaphore, exportsTheTwoResultsOfTakeAsObjects)
{
    const int* available = &Semaphore::AVAILABLE;
    const int* notAvailable = &Semaphore::NOT_AVAILABLE;
    EXPECT_EQ(*available, 1);
    EXPECT_EQ(*notAvailable, 0);
}

TEST(Semaphore, startsWithItsUnitsAndNothingElse)
{
    Semaphore semaphore(2, 5, false);
    const Dump fresh = dumpOf(semaphore);
    EXPECT_EQ(fresh.count(), 2);
    EXPECT_EQ(fresh.number("max count"), 5);
    EXPECT_EQ(fresh.number("reentrant"), 0);
    EXPECT_EQ(fresh.owner(), 0UL);
    EXPECT_EQ(fresh.number("give() count"), 0);
    EXPECT_EQ(fresh.number("take() count"), 0);
    EXPECT_EQ(fresh.number("take() timeout count"), 0);
    EXPECT_EQ(fresh.waitingCount(), 0);
    EXPECT_TRUE(fresh.waitingThreads().empty());
}

TEST(Semaphore, isBinaryWhenReentrantWhateverBoundIsAsked)
{
    for (const int asked : {-1, 0, 1, 5}) {
        Semaphore semaphore(1, asked, true);
        EXPECT_EQ(dumpOf(semaphore).number("max count"), 1) << asked;
        EXPECT_EQ(dumpOf(semaphore).number("reentrant"), 1);
        semaphore.give();
        EXPECT_EQ(dumpOf(semaphore).count(), 1) << asked;
    }
}

TEST(Semaphore, keepsABoundBelowMinusOneAsItIsAndThenNeverRises)
{
    Semaphore semaphore(0, -2, false);
    semaphore.give();
    EXPECT_EQ(dumpOf(semaphore).number("max count"), -2);
    EXPECT_EQ(dumpOf(semaphore).count(), 0);
}

TEST(Semaphore, doesNotClampItsInitialCountToTheBound)
{
    Semaphore semaphore(3, 2, false);
    EXPECT_EQ(dumpOf(semaphore).count(), 3);
    semaphore.give();
    EXPECT_EQ(dumpOf(semaphore).count(), 3);
    for (int unit = 0; unit < 3; ++unit) {
        EXPECT_EQ(semaphore.take(0), Semaphore::AVAILABLE);
    }
    EXPECT_EQ(semaphore.take(0), Semaphore::NOT_AVAILABLE);

    Semaphore reentrant(4, 1, true);
    EXPECT_EQ(dumpOf(reentrant).count(), 4);
}

TEST(Semaphore, startsBelowZeroWhenAskedTo)
{
    Semaphore semaphore(-1, 5, false);
    semaphore.give();
    EXPECT_EQ(semaphore.take(0), Semaphore::NOT_AVAILABLE);
    semaphore.give();
    EXPECT_EQ(semaphore.take(0), Semaphore::AVAILABLE);
}

TEST(Semaphore, countsUpToItsBoundAndAbsorbsSurplusGives)
{
    Semaphore unbounded(0, -1, false);
    Semaphore bounded(0, 3, false);
    for (int give = 0; give < 10; ++give) {
        EXPECT_EQ(unbounded.give(), 1);
        EXPECT_EQ(bounded.give(), 1);
    }
    EXPECT_EQ(dumpOf(unbounded).count(), 10);
    EXPECT_EQ(dumpOf(bounded).count(), 3);
    EXPECT_EQ(dumpOf(bounded).number("give() count"), 10);
}

TEST(Semaphore, handsOutEachFreeUnitAtOnceToTheCaller)
{
    Semaphore semaphore(2, 2, false);
    EXPECT_EQ(semaphore.take(WITHOUT_LIMIT), Semaphore::AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).owner(), thisThread());
    EXPECT_EQ(semaphore.take(0), Semaphore::AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).count(), 0);
    EXPECT_EQ(dumpOf(semaphore).number("take() count"), 2);
}

TEST(Semaphore, timesOutAtOnceWhenNothingIsFreeAndNoTimeIsGiven)
{
    for (const int timeout : {0, -2, -1000, std::numeric_limits<int>::min()}) {
        Semaphore semaphore(0, 1, false);
        EXPECT_EQ(semaphore.take(timeout), Semaphore::NOT_AVAILABLE) << timeout;
        const Dump dump = dumpOf(semaphore);
        EXPECT_EQ(dump.number("take() timeout count"), 1);
        EXPECT_EQ(dump.number("take() count"), 1);
        EXPECT_EQ(dump.count(), 0);
        EXPECT_EQ(dump.owner(), 0UL);
        EXPECT_EQ(dump.waitingCount(), 0);
        EXPECT_TRUE(dump.waitingThreads().empty());
    }
}

TEST(Semaphore, leavesCountAndOwnerAloneWhenATakeTimesOut)
{
    Semaphore semaphore(1, 1, false);
    unsigned long owner = 0;
    support::onAnotherThread([&] {
        owner = thisThread();
        semaphore.take(0);
    });
    EXPECT_EQ(semaphore.take(1), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).owner(), owner);
    EXPECT_EQ(dumpOf(semaphore).count(), 0);
}

TEST(Semaphore, makesItsOwnerWaitLikeEverybodyUnlessReentrant)
{
    Semaphore semaphore(1, 1, false);
    semaphore.take(0);
    EXPECT_EQ(semaphore.take(0), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).owner(), thisThread());
}

TEST(Semaphore, belongsToTheThreadThatTookItLast)
{
    Semaphore semaphore(2, 2, false);
    semaphore.take(0);
    unsigned long second = 0;
    support::onAnotherThread([&] {
        second = thisThread();
        semaphore.take(0);
    });
    EXPECT_EQ(dumpOf(semaphore).owner(), second);
}

TEST(Semaphore, isGivenByAnyThreadWhileOnlyTheOwnersGiveEndsOwnership)
{
    Semaphore semaphore(1, 1, false);
    semaphore.take(0);
    support::onAnotherThread([&] { EXPECT_EQ(semaphore.give(), 1); });
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).owner(), thisThread());
    semaphore.give();
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).owner(), 0UL);
}

TEST(Semaphore, staysOwnedWhenTheOwnersGiveLeavesNoUnit)
{
    Semaphore withoutRoom(1, 0, false);
    withoutRoom.take(0);
    withoutRoom.give();
    EXPECT_EQ(dumpOf(withoutRoom).count(), 0);
    EXPECT_EQ(dumpOf(withoutRoom).owner(), thisThread());
}

TEST(Semaphore, letsItsReentrantOwnerNestWithoutBlocking)
{
    Semaphore semaphore(1, 1, true);
    for (int depth = 0; depth < 3; ++depth) {
        EXPECT_EQ(semaphore.take(WITHOUT_LIMIT), Semaphore::AVAILABLE);
    }
    EXPECT_EQ(dumpOf(semaphore).count(), -2);
    EXPECT_EQ(dumpOf(semaphore).owner(), thisThread());
    semaphore.give();
    EXPECT_EQ(dumpOf(semaphore).count(), -1);
    semaphore.give();
    EXPECT_EQ(dumpOf(semaphore).count(), 0);
    EXPECT_EQ(dumpOf(semaphore).owner(), thisThread());
    semaphore.give();
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).owner(), 0UL);
    EXPECT_EQ(dumpOf(semaphore).number("take() count"), 3);
    EXPECT_EQ(dumpOf(semaphore).number("give() count"), 3);
}

TEST(Semaphore, givesNoUnitToAStrangerWhileAReentrantOwnerHoldsIt)
{
    Semaphore semaphore(1, 1, true);
    semaphore.take(0);
    semaphore.take(0);
    semaphore.give();
    int result = 1;
    support::onAnotherThread([&] { result = semaphore.take(0); });
    EXPECT_EQ(result, Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).owner(), thisThread());
}

TEST(Semaphore, isGivenBackOncePerSemaphoreWhenAThreadThatOwnsItEnds)
{
    CountingSemaphore plain(1, 1, false);
    CountingSemaphore twice(2, 2, false);
    CountingSemaphore nested(1, 1, true);
    CountingSemaphore untouched(1, 1, false);
    unsigned long thread = 0;
    support::LayerThread([&] {
        thread = thisThread();
        plain.take(0);
        twice.take(0);
        twice.take(0);
        nested.take(0);
        nested.take(0);
        nested.take(0);
    }).join();
    EXPECT_EQ(plain.gives(), 1);
    EXPECT_EQ(dumpOf(plain).count(), 1);
    EXPECT_EQ(dumpOf(plain).owner(), 0UL);
    EXPECT_EQ(twice.gives(), 1);
    EXPECT_EQ(dumpOf(twice).count(), 1);
    EXPECT_EQ(nested.gives(), 1);
    EXPECT_EQ(dumpOf(nested).count(), -1);
    EXPECT_EQ(dumpOf(nested).owner(), thread);
    EXPECT_EQ(untouched.gives(), 0);
}

TEST(Semaphore, isGivenBackWhenTheThreadThatOwnsItIsCancelledInAnother)
{
    Semaphore owned(1, 1, false);
    Semaphore awaited(0, 1, false);
    support::LayerThread thread([&] {
        owned.take(0);
        awaited.take(WITHOUT_LIMIT);
    });
    ASSERT_TRUE(areQueued(awaited, 1));
    thread.cancel();
    thread.join();
    EXPECT_EQ(dumpOf(owned).count(), 1);
    EXPECT_EQ(dumpOf(owned).owner(), 0UL);
    EXPECT_EQ(dumpOf(awaited).number("give() count"), 0);
}

TEST(Semaphore, cleansUpForAGivenThreadOnly)
{
    CountingSemaphore mine(1, 1, false);
    CountingSemaphore nobodys(1, 1, false);
    CountingSemaphore others(1, 1, false);
    mine.take(0);
    support::onAnotherThread([&] { others.take(0); });
    Semaphore::threadExitSemaphoreCleanup(thisThread());
    EXPECT_EQ(mine.gives(), 1);
    EXPECT_EQ(nobodys.gives(), 0);
    EXPECT_EQ(others.gives(), 0);
}

TEST(Semaphore, leavesAnEventObjectAloneWhenTheThreadThatUsedItEnds)
{
    Wait waitedOn;
    Wait signalled;
    waitedOn.signal();
    unsigned long thread = 0;
    support::LayerThread([&] {
        thread = thisThread();
        EXPECT_EQ(waitedOn.wait(0), 1);
        signalled.signal();
    }).join();
    EXPECT_EQ(dumpOf(waitedOn).owner(), thread);
    EXPECT_EQ(dumpOf(waitedOn).number("signal() count"), 1);
    EXPECT_EQ(dumpOf(waitedOn).count(), 0);
    EXPECT_EQ(dumpOf(signalled).number("signal() count"), 1);
}

TEST(Semaphore, cleansUpWithNoSemaphoreAlive)
{
    Semaphore::threadExitSemaphoreCleanup(thisThread());
    EXPECT_EQ(dumpTextOfAll(), "");
}

TEST(Semaphore, destroysItsLocksAsNobodyHoldsThem)
{
    auto semaphore = std::make_unique<Semaphore>(1, 1, false);
    std::vector<int> results;
    const support::Replacement destroy(
        support::calls::pthread_mutex_destroy, [&](pthread_mutex_t* mutex) {
            results.push_back(support::calls::pthread_mutex_destroy.original(mutex));
            return results.back();
        });
    semaphore.reset();
    EXPECT_THAT(results, testing::ElementsAre(0, 0));
}

TEST(Semaphore, isListedFromItsConstructionToItsDestruction)
{
    EXPECT_EQ(dumpTextOfAll(), "");
    {
        Semaphore first(1, 1, false);
        EXPECT_EQ(dumpOfAll().size(), 1U);
        {
            Semaphore second(1, 1, false);
            EXPECT_EQ(dumpOfAll().size(), 2U);
        }
        EXPECT_EQ(dumpOfAll().size(), 1U);
        EXPECT_EQ(dumpOfAll().at(0).text("id"), addressText(&first));
    }
    EXPECT_EQ(dumpTextOfAll(), "");
    Semaphore afterTheLast(1, 1, false);
    EXPECT_EQ(dumpOfAll().size(), 1U);
}
