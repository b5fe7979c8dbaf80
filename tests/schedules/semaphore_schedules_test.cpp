// Semaphores and wait objects, in every order of the steps of two and three threads.
#include <gpal/Semaphore.h>
#include <gpal/Wait.h>
#include <pthread.h>

#include "schedule_expectations.h"

using namespace schedules;

namespace
{

/// A semaphore that shows its figures.
class Shown : public Semaphore
{
public:
    using Semaphore::Semaphore;

    int count() const { return m_count; }
    int waiting() const { return m_waitingCount; }
    unsigned long owner() const { return m_owner; }
};

/// A lock, and who is in.
struct Room {
    Shown lock{1, 1, false};
    int inside = 0;

    explicit Room(bool reentrant = false) : lock(1, 1, reentrant) {}

    void visit()
    {
        lock.take(-1);
        stay();
        lock.give();
    }

    void stay()
    {
        ++inside;
        step();
        require(inside == 1, "two threads are inside");
        --inside;
    }

    void requireEmpty() const
    {
        require(lock.count() == 1 && lock.waiting() == 0 && lock.owner() == 0,
                "the lock is not as it was");
    }
};

} // namespace

TEST(SemaphoreSchedules, lockLetsOneOfTwoInAtATime)
{
    expectHolds([] {
        Room room;
        const Thread one = start([&] {
            room.visit();
            room.visit();
        });
        const Thread two = start([&] {
            room.visit();
            room.visit();
        });
        requireEnd({one, two});
        room.requireEmpty();
    });
}

TEST(SemaphoreSchedules, lockLetsOneOfThreeInAtATime)
{
    expectHolds([] {
        Room room;
        const auto visit = [&] { room.visit(); };
        const Thread one = start(visit);
        const Thread two = start(visit);
        const Thread three = start(visit);
        requireEnd({one, two, three});
        room.requireEmpty();
    });
}

TEST(SemaphoreSchedules, reentrantLockIsFreeAfterItsOwnersLastGive)
{
    expectHolds([] {
        Room room(true);
        const auto visitTwice = [&] {
            room.lock.take(-1);
            room.visit();
            room.stay();
            room.lock.give();
        };
        const Thread one = start(visitTwice);
        const Thread two = start(visitTwice);
        requireEnd({one, two});
        room.requireEmpty();
    });
}

// Who comes while others wait waits for a signal, though a unit may be free: of several waiters and
// as many gives, late ones may be left with units. That is all that gets lost; each further give
// lets one go.
TEST(SemaphoreSchedules, unitsAreLeftOnlyToWhoCameWhileOthersWaited)
{
    expectHolds([] {
        Shown semaphore(0, -1, false);
        const auto takeOne = [&] {
            require(semaphore.take(-1) == Semaphore::AVAILABLE, "a take without limit fails");
        };
        const Thread one = start(takeOne);
        const Thread two = start(takeOne);
        start([&] {
            semaphore.give();
            semaphore.give();
        });
        rest();
        const int left = (isStuck(one) ? 1 : 0) + (isStuck(two) ? 1 : 0);
        require(left < 2, "both are left");
        require(semaphore.count() == left && semaphore.waiting() == left, "units are lost");
        if (left == 1) {
            semaphore.give();
            requireEnd({one, two});
            require(semaphore.count() == 1, "units are lost");
        }
    });
}

// The other side of it: nobody gets past those who were there before.
TEST(SemaphoreSchedules, unitThatIsGivenIsForWhoWaits)
{
    expectHolds([] {
        Shown semaphore(0, 1, false);
        const Thread waiter = start([&] { semaphore.take(-1); });
        rest();
        const Thread giver = start([&] { semaphore.give(); });
        const Thread newcomer = start([&] {
            require(semaphore.take(0) == Semaphore::NOT_AVAILABLE, "a newcomer gets the unit");
        });
        requireEnd({waiter, giver, newcomer});
    });
}

// Who runs out of time counts as waiting until it has locked the semaphore's state again.
TEST(SemaphoreSchedules, unitIsLeftToWhoCameWhileAnothersTimeRanOut)
{
    expectHolds([] {
        Shown semaphore(0, -1, false);
        int taken = 0;
        bool isTooLate = false;
        const Thread limited = start([&] {
            isTooLate = semaphore.take(10) == Semaphore::NOT_AVAILABLE;
            taken += isTooLate ? 0 : 1;
        });
        const Thread patient = start([&] { taken += semaphore.take(-1); });
        const Thread giver = start([&] { semaphore.give(); });
        requireEnd({limited, giver});
        require(taken + semaphore.count() == 1, "a unit is lost, or two were made of it");
        if (isStuck(patient)) {
            require(semaphore.count() == 0 || isTooLate, "a unit is there, and its waiter waits");
            semaphore.give();
            rest();
        }
        requireEnd({patient});
    });
}

TEST(SemaphoreSchedules, giveIsNeverLostOnTheOnlyWaiter)
{
    expectHolds([] {
        Shown semaphore(0, 1, false);
        const Thread taker = start([&] {
            semaphore.take(-1);
            semaphore.take(-1);
        });
        const auto give = [&] { semaphore.give(); };
        start(give);
        start(give);
        rest();
        // Two gives in a row are one, by the bound.
        if (isStuck(taker)) {
            require(semaphore.count() == 0, "a unit is there, and its only waiter waits");
            semaphore.give();
            rest();
        }
        requireEnd({taker});
        require(semaphore.count() == 0 && semaphore.waiting() == 0, "units are lost");
    });
}

TEST(SemaphoreSchedules, timeOutsLoseNoUnit)
{
    expectHolds([] {
        Shown semaphore(0, -1, false);
        int taken = 0;
        const auto tryToTake = [&] { taken += semaphore.take(10) == Semaphore::AVAILABLE ? 1 : 0; };
        const Thread one = start(tryToTake);
        const Thread two = start(tryToTake);
        start([&] { semaphore.give(); });
        requireEnd({one, two});
        require(taken + semaphore.count() == 1, "a unit is lost, or two were made of it");
        require(semaphore.waiting() == 0, "who has gone is counted");
    });
}

TEST(SemaphoreSchedules, takeThatHasNoTimeLooksAtTheCountOnly)
{
    expectHolds([] {
        Room room;
        int refused = 0;
        const auto lookIn = [&] {
            if (room.lock.take(0) == Semaphore::AVAILABLE) {
                room.stay();
                room.lock.give();
            } else {
                ++refused;
            }
        };
        const Thread one = start(lookIn);
        const Thread two = start(lookIn);
        const Thread three = start([&] { room.visit(); });
        requireEnd({one, two, three});
        require(refused <= 2, "nobody was let in");
        room.requireEmpty();
    });
}

// A waiter that is cancelled stays counted, and from then on units are handed over by signals only;
// but the unit is there, and the lock of the semaphore itself is free.
TEST(SemaphoreSchedules, cancelledWaiterStaysCountedAndTakesNothing)
{
    expectHolds([] {
        Shown semaphore(0, -1, false);
        bool took = false;
        bool waited = false;
        const Thread waiter = start([&] {
            semaphore.take(-1);
            took = true;
        });
        const Thread canceller = start([&] { pthread_cancel(waiter); });
        const Thread giver = start([&] {
            waited = semaphore.waiting() > 0;
            semaphore.give();
        });
        requireEnd({waiter, canceller, giver});
        require(semaphore.count() == (took ? 0 : 1), "a unit is lost");
        require(!took || semaphore.waiting() == 0, "who has taken is counted");
        require(took || semaphore.waiting() == 1, "who was cancelled is not counted");
        // The next one is queued behind whoever was cancelled, until a give signals it or it wakes
        // up for no reason.
        const Thread next = start([&] { semaphore.take(-1); });
        rest();
        require(isStuck(next) || semaphore.count() == 0, "a unit is lost");
        if (isStuck(next)) {
            semaphore.give();
            rest();
        }
        requireEnd({next});
    });
}

TEST(SemaphoreSchedules, lockThatAThreadDiesWithGoesToTheNext)
{
    expectHolds([] {
        Room room;
        const auto takeAndEnd = [&] {
            room.lock.take(-1);
            room.stay();
            Semaphore::threadExitSemaphoreCleanup(pthread_self());
        };
        const Thread one = start(takeAndEnd);
        const Thread two = start(takeAndEnd);
        requireEnd({one, two});
        room.requireEmpty();
    });
}

TEST(SemaphoreSchedules, semaphoreMayBeDestroyedByWhoWasLetGo)
{
    expectHolds([] {
        auto* const semaphore = new Shown(0, 1, false);
        const Thread giver = start([&] { semaphore->give(); });
        const Thread taker = start([&] {
            semaphore->take(-1);
            delete semaphore;
        });
        requireEnd({giver, taker});
    });
}

TEST(SemaphoreSchedules, listOfLiveOnesIsNeverInTheWay)
{
    expectHolds([] {
        Room room;
        const Thread one = start([&] {
            room.lock.take(-1);
            Semaphore::threadExitSemaphoreCleanup(pthread_self());
        });
        const Thread two = start([&] { const Shown another(1, 1, false); });
        const Thread three = start([&] { room.visit(); });
        requireEnd({one, two, three});
        room.requireEmpty();
    });
}

TEST(WaitSchedules, oneSignalLetsOneWaitGo)
{
    expectHolds([] {
        Wait wait;
        int let = 0;
        const auto waitFor = [&] { let += wait.wait(10); };
        const Thread one = start(waitFor);
        const Thread two = start(waitFor);
        start([&] { wait.signal(); });
        requireEnd({one, two});
        require(let + wait.wait(0) == 1, "a signal is lost, or lets two go");
    });
}

TEST(WaitSchedules, signalIsRememberedForTheOnlyWaiter)
{
    expectHolds([] {
        Wait wait;
        const Thread waiter = start([&] { require(wait.wait() == 1, "a wait fails"); });
        const auto signal = [&] { wait.signal(); };
        const Thread one = start(signal);
        const Thread two = start(signal);
        requireEnd({waiter, one, two});
    });
}
