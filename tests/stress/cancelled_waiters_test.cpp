#include <atomic>
#include <climits>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <string>
#include <unistd.h>

#include "stress/layer.h"
#include "support/full_pipe.h"
#include "support/observed.h"

using stress::awaitWaiting;
using stress::expectNewcomersAreServed;
using stress::Figures;
using stress::figuresOf;
using stress::LayerThread;
using support::eventually;

namespace
{

/// Semaphores of which a thread owns one and waits for the other until it is cancelled.
class CancelledWaiter : public stress::LayerTest
{
protected:
    void cancelOneThatOwnsALockAnd(const std::function<void(Semaphore&)>& waitFor)
    {
        LayerThread thread([&] {
            EXPECT_EQ(m_owned.take(-1), Semaphore::AVAILABLE);
            waitFor(m_awaited);
        });
        awaitWaiting(m_awaited, 1);
        thread.cancel();
        thread.join();
        EXPECT_FALSE(thread.isFinished());
    }

    void expectTheLockGivenBackAndTheWaiterStillCounted()
    {
        const Figures owned = figuresOf(m_owned);
        EXPECT_EQ(owned.count, 1);
        EXPECT_EQ(owned.owner, 0U);
        EXPECT_EQ(owned.gives, 1);

        EXPECT_EQ(m_awaited.give(), 1);
        const Figures awaited = figuresOf(m_awaited);
        EXPECT_EQ(awaited.count, 1);
        EXPECT_EQ(awaited.owner, 0U);
        EXPECT_EQ(awaited.gives, 1);
        EXPECT_EQ(awaited.takes, 1);
        EXPECT_EQ(awaited.timeouts, 0);
        EXPECT_EQ(awaited.waiting, 1);
        expectNewcomersAreServed();
    }

    Semaphore m_owned{1, 1, false};
    Semaphore m_awaited{0, 1, false};
};

} // namespace

TEST_F(CancelledWaiter, withoutATimeLimitHoldsNoLockAndGivesBackWhatItOwned)
{
    cancelOneThatOwnsALockAnd([](Semaphore& awaited) { awaited.take(-1); });
    expectTheLockGivenBackAndTheWaiterStillCounted();
}

TEST_F(CancelledWaiter, withATimeLimitHoldsNoLockAndGivesBackWhatItOwned)
{
    cancelOneThatOwnsALockAnd([](Semaphore& awaited) { awaited.take(INT_MAX); });
    expectTheLockGivenBackAndTheWaiterStillCounted();
}

TEST_F(CancelledWaiter, ofTheCFunctionsHoldsNoLockAndGivesBackWhatItOwned)
{
    cancelOneThatOwnsALockAnd([](Semaphore& awaited) { take_Semaphore(&awaited, -1); });
    expectTheLockGivenBackAndTheWaiterStillCounted();
}

TEST_F(CancelledWaiter, onItsWayIntoASectionDoesNotGiveTheSemaphoreThatItNeverGot)
{
    cancelOneThatOwnsALockAnd([](Semaphore& awaited) { const CriticalSection section(awaited); });
    expectTheLockGivenBackAndTheWaiterStillCounted();
}

TEST_F(CancelledWaiter, insideASectionGivesItsSemaphoreOnce)
{
    Semaphore section(1, -1, false);
    cancelOneThatOwnsALockAnd([&](Semaphore& awaited) {
        const CriticalSection inside(section);
        awaited.take(-1);
    });
    EXPECT_EQ(figuresOf(section).count, 1);
    EXPECT_EQ(figuresOf(section).gives, 1);
    EXPECT_EQ(figuresOf(section).owner, 0U);
    expectTheLockGivenBackAndTheWaiterStillCounted();
}

TEST_F(CancelledWaiter, givesANestedSemaphoreBackOnce)
{
    Semaphore nested(1, 1, true);
    cancelOneThatOwnsALockAnd([&](Semaphore& awaited) {
        nested.take(-1);
        nested.take(-1);
        nested.take(-1);
        awaited.take(-1);
    });
    EXPECT_EQ(figuresOf(nested).count, -1);
    EXPECT_EQ(figuresOf(nested).gives, 1);
}

TEST_F(CancelledWaiter, withTimeThatHasPassedAlreadyIsCancelledInTheTakeToo)
{
    Semaphore armed(0, 1, false);
    LayerThread thread([&] {
        Threader::protectFromDestroy();
        armed.take(-1);
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        m_awaited.take(0);
    });
    awaitWaiting(armed, 1);
    thread.cancel();
    armed.give();
    thread.join();
    EXPECT_FALSE(thread.isFinished());
    EXPECT_EQ(m_awaited.give(), 1);
    EXPECT_EQ(figuresOf(m_awaited).timeouts, 0);
}

TEST_F(CancelledWaiter, leavesTheUnitsToThoseWhoWaitWithIt)
{
    LayerThread first([this] { m_awaited.take(-1); });
    awaitWaiting(m_awaited, 1);
    LayerThread second([this] { m_awaited.take(-1); });
    awaitWaiting(m_awaited, 2);
    first.cancel();
    first.join();
    m_awaited.give();
    second.join();
    EXPECT_TRUE(second.isFinished());
    EXPECT_EQ(figuresOf(m_awaited).waiting, 1);
}

TEST_F(CancelledWaiter, thatIsProtectedWaitsOn)
{
    LayerThread thread([this] {
        Threader::protectFromDestroy();
        m_awaited.take(-1);
    });
    awaitWaiting(m_awaited, 1);
    thread.cancel();
    m_awaited.give();
    thread.join();
    EXPECT_TRUE(thread.isFinished());
    EXPECT_EQ(figuresOf(m_awaited).waiting, 0);
}

using WaitingTooLong = CancelledWaiter;

TEST_F(WaitingTooLong, leavesTheUnitOfAMissedWakeUpToTheNextGive)
{
    // The time of the first thread runs out while a unit has just been given to it. Only a give
    // wakes the one that queued up behind it meanwhile.
    std::atomic<bool> timeIsUp{false};
    const support::Replacement wait(
        support::calls::pthread_cond_timedwait,
        [&](pthread_cond_t* /*condition*/, pthread_mutex_t* mutex, const timespec* /*deadline*/) {
            pthread_mutex_unlock(mutex);
            EXPECT_TRUE(eventually([&] { return timeIsUp.load(); }));
            pthread_mutex_lock(mutex);
            return ETIMEDOUT;
        });
    LayerThread impatient([this] { EXPECT_EQ(m_awaited.take(1000), Semaphore::NOT_AVAILABLE); });
    awaitWaiting(m_awaited, 1);
    m_awaited.give();
    LayerThread patient([this] { EXPECT_EQ(m_awaited.take(-1), Semaphore::AVAILABLE); });
    awaitWaiting(m_awaited, 2);
    EXPECT_TRUE(eventually([&] { return patient.isAsleep(); }));
    timeIsUp = true;
    impatient.join();
    EXPECT_TRUE(patient.isAsleep());
    EXPECT_EQ(figuresOf(m_awaited).count, 1);
    EXPECT_EQ(figuresOf(m_awaited).waiting, 1);
    m_awaited.give();
    patient.join();
    EXPECT_EQ(figuresOf(m_awaited).waiting, 0);
}

using CancelledInWait = stress::LayerTest;

TEST_F(CancelledInWait, holdsNoLockAndSignalsNothing)
{
    Wait event;
    LayerThread thread([&] { event.wait(-1); });
    awaitWaiting(event, 1);
    thread.cancel();
    thread.join();
    EXPECT_FALSE(thread.isFinished());

    Figures figures = figuresOf(event);
    EXPECT_EQ(figures.count, 0);
    EXPECT_EQ(figures.gives, 0);
    EXPECT_EQ(figures.waiting, 1);

    LayerThread next([&] { EXPECT_EQ(event.wait(60000), 1); });
    awaitWaiting(event, 2);
    EXPECT_EQ(event.signal(), 1);
    next.join();
    figures = figuresOf(event);
    EXPECT_EQ(figures.count, 0);
    EXPECT_EQ(figures.waiting, 1);
    expectNewcomersAreServed();
}

TEST_F(CancelledInWait, afterItWasTheLastToBeSignalledSignalsNothing)
{
    Wait event;
    Semaphore never(0, 1, false);
    LayerThread thread([&] {
        event.wait();
        never.take(-1);
    });
    event.signal();
    awaitWaiting(never, 1);
    thread.cancel();
    thread.join();
    EXPECT_EQ(figuresOf(event).gives, 1);
    EXPECT_EQ(figuresOf(event).count, 0);
}

namespace
{

void expectConsoleToSurviveCancellationOf(const std::function<void()>& dump)
{
    std::atomic<bool> dumped{false};
    {
        const support::FullInPlace console(STDOUT_FILENO);
        LayerThread thread([&] {
            dump();
            dumped = true;
            pthread_testcancel();
        });
        EXPECT_TRUE(eventually([&] { return thread.isAsleep(); }));
        thread.cancel();
        console.drain();
        thread.join();
        EXPECT_FALSE(thread.isFinished());
        EXPECT_TRUE(dumped) << "cancellation unwound out of the stream";
    }
    EXPECT_TRUE(std::cout.good());
    expectNewcomersAreServed();
}

} // namespace

using CancelledInADump = stress::LayerTest;

TEST_F(CancelledInADump, ofASemaphoreLeavesTheConsoleInOrderAndNothingLocked)
{
    Semaphore semaphore(1, 1, false);
    expectConsoleToSurviveCancellationOf([&] { semaphore.displayInfo(); });
    EXPECT_EQ(semaphore.take(0), Semaphore::AVAILABLE);
}

TEST_F(CancelledInADump, ofAnEventLeavesTheConsoleInOrderAndNothingLocked)
{
    Wait event;
    expectConsoleToSurviveCancellationOf([&] { event.displayInfo(); });
    event.signal();
    EXPECT_EQ(event.wait(0), 1);
}

TEST_F(CancelledInADump, ofAllSemaphoresLeavesTheConsoleInOrderAndNothingLocked)
{
    const Semaphore semaphore(1, 1, false);
    expectConsoleToSurviveCancellationOf([] { Semaphore::info(nullptr); });
}
