#include <atomic>
#include <cerrno>
#include <functional>
#include <pthread.h>

#include <gmock/gmock.h>

#include "stress/layer.h"
#include "support/observed.h"

using stress::awaitWaiting;
using stress::expectNewcomersAreServed;
using stress::figuresOf;
using stress::HeldWork;
using stress::LayerThread;
using support::eventually;
using testing::IsEmpty;

namespace
{

class CancelledThread : public stress::LayerTest
{
protected:
    /// A thread that owns a lock falls asleep in \p body and is cancelled there.
    void cancelAsleepIn(const std::function<void()>& body)
    {
        LayerThread thread([&] {
            m_owned.take(-1);
            body();
        });
        EXPECT_TRUE(eventually([&] { return figuresOf(m_owned).count == 0; }));
        EXPECT_TRUE(eventually([&] { return thread.isAsleep(); }));
        thread.cancel();
        thread.join();
        EXPECT_FALSE(thread.isFinished());
        expectLockGivenBack();
    }

    /// A thread that owns a lock runs into \p body with its cancellation requested.
    void cancelOnTheWayInto(const std::function<void()>& body)
    {
        Semaphore requested(0, 1, false);
        LayerThread thread([&] {
            m_owned.take(-1);
            Threader::protectFromDestroy();
            requested.take(-1);
            body();
        });
        awaitWaiting(requested, 1);
        thread.cancel();
        requested.give();
        thread.join();
        EXPECT_FALSE(thread.isFinished());
        expectLockGivenBack();
    }

    void expectLockGivenBack()
    {
        EXPECT_EQ(figuresOf(m_owned).count, 1);
        EXPECT_EQ(figuresOf(m_owned).owner, 0U);
        expectNewcomersAreServed();
    }

    Semaphore m_owned{1, 1, false};
};

void permitCancellation()
{
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

} // namespace

TEST_F(CancelledThread, asleepForMillisecondsCleansUp)
{
    cancelAsleepIn([] { GPALSleep().milliSleep(600000); });
}

TEST_F(CancelledThread, asleepForSecondsCleansUp)
{
    cancelAsleepIn([] { GPALSleep().secSleep(600); });
}

TEST_F(CancelledThread, asleepInTheWrapperCleansUp)
{
    cancelAsleepIn([] { OSWrappers::sleepFor(600); });
}

TEST_F(CancelledThread, joiningAnotherLeavesThatOneToBeJoined)
{
    if (stress::UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "the thread sanitizer loses track of a thread that is cancelled in a join";
    }
    if (!stress::unwindsOutOfJoin()) {
        GTEST_SKIP()
            << "this C library ends a thread that is cancelled in a join without unwinding";
    }
    Semaphore end(0, 1, false);
    LayerThread joined([&] { end.take(-1); });
    cancelAsleepIn([&] { joined.body().waitForThreadCompletion(); });
    cancelAsleepIn([&] { Threader().waitForThreadCompletion(joined.id()); });
    end.give();
    joined.join();
    EXPECT_TRUE(joined.isFinished());
}

TEST_F(CancelledThread, endsInUnProtectWhenTheRequestCameUnderProtection)
{
    cancelOnTheWayInto([] { Threader::unProtectFromDestroy(); });
}

TEST_F(CancelledThread, asksForAPriorityWithoutHoldingTheRegistry)
{
    manager().whenPriorityRequested = pthread_testcancel;
    cancelOnTheWayInto([] {
        permitCancellation();
        Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, 0);
    });
}

TEST_F(CancelledThread, thatIsBeingAnnouncedCleansUpToo)
{
    std::atomic<int> sleepers{0};
    manager().whenAdded = [&] {
        if (++sleepers == 1) {
            GPALSleep().milliSleep(600000);
        }
    };
    LayerThread thread([] {});
    EXPECT_TRUE(eventually([&] { return sleepers == 1; }));
    thread.cancel();
    thread.join();
    EXPECT_FALSE(thread.isFinished());
    expectNewcomersAreServed();
}

TEST_F(CancelledThread, atTheEndOfItsBodyFinishesItsCleanUp)
{
    // The request is out when the body returns; the first cancellation point is in the clean-up.
    manager().whenRemoved = pthread_testcancel;
    Semaphore requested(0, 1, false);
    LayerThread thread([&] {
        m_owned.take(-1);
        Threader::protectFromDestroy();
        requested.take(-1);
        permitCancellation();
    });
    awaitWaiting(requested, 1);
    thread.cancel();
    requested.give();
    thread.join();
    EXPECT_TRUE(thread.isFinished());
    expectLockGivenBack();
}

TEST_F(CancelledThread, isNoEscapedException)
{
    const support::RecordedLog log;
    const support::RecordedCommands commands;
    cancelAsleepIn([] {
        try {
            GPALSleep().milliSleep(600000);
        } catch (const std::exception&) {
            ADD_FAILURE() << "cancellation is no standard exception";
        }
    });
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(commands.commands(), IsEmpty());
}

TEST_F(CancelledThread, mayBeCancelledInItsFirstInstructions)
{
    constexpr int THREADS = 200;
    for (int i = 0; i < THREADS; ++i) {
        LayerThread thread([this] {
            const CriticalSection section(m_owned);
            GPALSleep().milliSleep(600000);
        });
        thread.cancel();
    }
    expectLockGivenBack();
}

namespace
{

void* sleepForEver(void* lock)
{
    static_cast<Semaphore*>(lock)->take(-1);
    GPALSleep().milliSleep(600000);
    return nullptr;
}

} // namespace

TEST_F(CancelledThread, ofAFunctionCleansUpToo)
{
    Threader threader;
    unsigned long thread = 0;
    EXPECT_TRUE(threader.spawn(&thread, sleepForEver, &m_owned, "", GPAL_THREAD_PRIORITY_VOICE, 0));
    EXPECT_TRUE(eventually([&] { return figuresOf(m_owned).count == 0; }));
    EXPECT_TRUE(threader.destroy(thread));
    EXPECT_EQ(threader.waitForThreadCompletion(thread), 0);
    expectLockGivenBack();
}

namespace
{

/// The factory runs another piece of work to its end.
void expectFactoryServes(TimedThreadFactory& factory)
{
    HeldWork work(true);
    work.letGo();
    TimedThreadIfc* thread = factory.getNewTimedThread(&work);
    EXPECT_EQ(thread->runForAMaximumOf(60000), 1);
    EXPECT_TRUE(factory.deleteTimedThread(thread));
}

} // namespace

TEST_F(CancelledThread, waitingForTimedWorkLeavesTheWorkAndTheFactoryInOrder)
{
    TimedThreadFactory factory;
    HeldWork work(true);
    TimedThreadIfc* thread = factory.getNewTimedThread(&work);
    cancelAsleepIn([&] { thread->runForAMaximumOf(-1); });
    work.awaitStart();
    EXPECT_TRUE(factory.deleteTimedThread(thread));
    expectFactoryServes(factory);
}

TEST_F(CancelledThread, givingAllTimedWorkItsLastChanceHoldsNoList)
{
    TimedThreadFactory factory;
    HeldWork work(true);
    TimedThreadIfc* thread = factory.getNewTimedThread(&work);
    LayerThread client([&] { EXPECT_EQ(thread->runForAMaximumOf(-1), 1); });
    work.awaitStart();
    EXPECT_TRUE(eventually([&] { return client.isAsleep(); }));
    cancelAsleepIn([&] { factory.killAllTimedThread(); });
    client.join();
    expectFactoryServes(factory);
    EXPECT_TRUE(factory.deleteTimedThread(thread));
}

TEST_F(CancelledThread, waitingForTheListOfTimedThreadsLeavesItToOthers)
{
    TimedThreadFactory factory;
    HeldWork work(false);
    TimedThreadIfc* thread = factory.getNewTimedThread(&work);
    LayerThread client([&] { EXPECT_EQ(thread->runForAMaximumOf(0), 0); });
    work.awaitStart();
    client.join();
    LayerThread deleting([&] { EXPECT_TRUE(factory.deleteTimedThread(thread)); });
    EXPECT_TRUE(eventually([&] { return deleting.isAsleep(); }));

    LayerThread blocked([&] { factory.killAllTimedThread(); });
    EXPECT_TRUE(eventually([&] { return blocked.isAsleep(); }));
    blocked.cancel();
    work.letGo();
    deleting.join();
    blocked.join();
    expectFactoryServes(factory);
}
