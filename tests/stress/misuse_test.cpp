#include <atomic>
#include <climits>
#include <memory>
#include <thread>

#include "stress/layer.h"
#include "support/observed.h"

using stress::CountingReceiver;
using stress::expectNewcomersAreServed;
using stress::expectNewTimersAreServed;
using stress::figuresOf;
using stress::LayerThread;
using support::eventually;

namespace
{

constexpr unsigned long NO_THREAD = 0;

class Misuse : public stress::LayerTest
{
protected:
    void TearDown() override
    {
        expectNewcomersAreServed();
        LayerTest::TearDown();
    }
};

void neverRuns()
{
    ADD_FAILURE() << "spawned without a place for its id";
}

void* neverCalled(void* argument)
{
    neverRuns();
    return argument;
}

} // namespace

TEST_F(Misuse, ofNullBodiesAndIdPointersCreatesNothing)
{
    Threader threader;
    support::Body body(neverRuns);
    unsigned long thread = 77;
    EXPECT_FALSE(threader.spawn(&thread, static_cast<Threadable*>(nullptr), "", {}, 0));
    EXPECT_FALSE(threader.spawn(nullptr, &body, "", {}, 0));
    EXPECT_FALSE(threader.spawn(nullptr, static_cast<Threadable*>(nullptr), "", {}, 0));
    EXPECT_FALSE(threader.spawn(&thread, nullptr, nullptr, "", {}, 0));
    EXPECT_FALSE(threader.spawn(nullptr, neverCalled, nullptr, "", {}, 0));
    EXPECT_EQ(thread, 77U);
    EXPECT_EQ(body.threadId(), NO_THREAD);
    EXPECT_EQ(manager().added(), 0);
}

TEST_F(Misuse, ofThreadIdZeroFails)
{
    Threader threader;
    EXPECT_FALSE(threader.destroy(NO_THREAD));
    EXPECT_NE(threader.waitForThreadCompletion(NO_THREAD), 0);
    EXPECT_NE(threader.detach(NO_THREAD), 0);
    support::Body neverSpawned(neverRuns);
    EXPECT_NE(neverSpawned.waitForThreadCompletion(), 0);
    Semaphore::threadExitSemaphoreCleanup(NO_THREAD);
}

using UnknownThread = stress::LayerTest;

TEST_F(UnknownThread, getsNoPriorityHoweverOftenItIsAsked)
{
    LayerThread joined([] {});
    joined.join();
    for (int times = 0; times < 2; ++times) {
        EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, joined.id()));
        EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, 1));
        EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, ULONG_MAX));
    }
    std::thread foreign(
        [] { EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, NO_THREAD)); });
    foreign.join();
}

TEST_F(UnknownThread, thatWasAskedForLeavesItsEntryToTheNextOwnerOfItsId)
{
    LayerThread asked([] {});
    asked.join();
    EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, asked.id()));

    // Ids are handed out again, mostly to the next thread. That one keeps the entry it finds, and
    // its clean-up takes the entry away.
    bool entryLeft = true;
    for (int i = 0; i < 3; ++i) {
        std::atomic<bool> known{false};
        LayerThread next(
            [&] { known = Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, NO_THREAD); });
        next.join();
        const bool foundTheEntry = entryLeft && next.id() == asked.id();
        EXPECT_EQ(known, !foundTheEntry);
        entryLeft = entryLeft && !foundTheEntry;
    }
}

TEST_F(Misuse, ofTheCSemaphoresWithNullFails)
{
    EXPECT_EQ(take_Semaphore(nullptr, -1), 0);
    EXPECT_EQ(give_Semaphore(nullptr), 0);
    delete_Semaphore(nullptr);
}

TEST_F(Misuse, ofGivesIsAbsorbedByTheBound)
{
    Semaphore bounded(0, 3, false);
    Semaphore overfull(7, 3, false);
    Semaphore closed(0, 0, false);
    Semaphore reentrant(1, 5, true);
    for (int i = 0; i < 10; ++i) {
        for (Semaphore* semaphore : {&bounded, &overfull, &closed, &reentrant}) {
            EXPECT_EQ(semaphore->give(), 1);
        }
    }
    EXPECT_EQ(figuresOf(bounded).count, 3);
    EXPECT_EQ(figuresOf(bounded).gives, 10);
    EXPECT_EQ(figuresOf(overfull).count, 7);
    EXPECT_EQ(figuresOf(closed).count, 0);
    EXPECT_EQ(closed.take(0), Semaphore::NOT_AVAILABLE);
    EXPECT_EQ(figuresOf(reentrant).count, 1);
}

TEST_F(Misuse, ofGivesBeyondTheGreatestCountWraps)
{
    Semaphore full(INT_MAX, -1, false);
    EXPECT_EQ(full.give(), 1);
    EXPECT_EQ(figuresOf(full).count, INT_MIN);
    EXPECT_EQ(full.take(0), Semaphore::NOT_AVAILABLE);
}

TEST_F(Misuse, ofTimeLimitsBelowTheUnlimitedOneFindsThemPassed)
{
    Semaphore semaphore(0, 1, false);
    Wait event;
    for (const int passed : {0, -2, -1000, INT_MIN + 1, INT_MIN}) {
        EXPECT_EQ(semaphore.take(passed), Semaphore::NOT_AVAILABLE);
        EXPECT_EQ(event.wait(passed), 0);
    }
    EXPECT_EQ(figuresOf(semaphore).timeouts, 5);
    EXPECT_EQ(figuresOf(event).takes, 5);
    semaphore.give();
    event.signal();
    EXPECT_EQ(semaphore.take(INT_MIN), Semaphore::AVAILABLE);
    EXPECT_EQ(event.wait(INT_MIN), 1);
    GPALSleep().milliSleep(INT_MIN);
}

TEST_F(Misuse, ofHugeTimeLimitsWaitsForTheUnit)
{
    for (const int huge : {INT_MAX, INT_MAX - 1, INT_MAX / 1000 * 1000}) {
        Semaphore semaphore(0, 1, false);
        Wait event;
        LayerThread thread([&] {
            EXPECT_EQ(semaphore.take(huge), Semaphore::AVAILABLE);
            EXPECT_EQ(event.wait(huge), 1);
        });
        EXPECT_TRUE(eventually([&] { return thread.isAsleep(); }));
        semaphore.give();
        EXPECT_TRUE(eventually([&] { return thread.isAsleep(); }));
        event.signal();
    }
}

TEST_F(Misuse, ofTimedThreadsIsRefusedOrHarmless)
{
    TimedThreadFactory factory;
    TimedThreadFactory other;
    EXPECT_FALSE(factory.killAllTimedThread());
    EXPECT_FALSE(factory.deleteTimedThread(nullptr));
    TimedThreadIfc* idle = factory.getNewTimedThread(nullptr);
    EXPECT_FALSE(other.deleteTimedThread(idle));
    EXPECT_EQ(idle->waitForCompletion(INT_MIN), 0);
    EXPECT_EQ(idle->waitForCompletion(0), 0);
    EXPECT_EQ(idle->runForAMaximumOf(INT_MAX), 1);
    EXPECT_TRUE(factory.deleteTimedThread(idle));
    EXPECT_FALSE(factory.deleteTimedThread(idle));
}

namespace
{

class MisusedTimer : public stress::MonitorTest
{
protected:
    void SetUp() override
    {
        MonitorTest::SetUp();
        m_monitor->start();
    }

    void TearDown() override
    {
        expectNewTimersAreServed();
        MonitorTest::TearDown();
    }

    /// All that fell due up to now has been served: a newer timer has, and the list is empty.
    void awaitAnExpiry() { expectNewTimersAreServed(); }
    CountingReceiver m_receiver;
};

} // namespace

TEST_F(MisusedTimer, deletedWhileArmedCallsNobody)
{
    for (int i = 0; i < 20; ++i) {
        osTimerIfc* timer = OSTimerFactory().getTimer();
        timer->init(&m_receiver, i);
        EXPECT_TRUE(timer->start());
        EXPECT_EQ(m_monitor->numItems(), 1);
        delete timer;
        EXPECT_EQ(m_monitor->numItems(), 0);
    }
    awaitAnExpiry();
    EXPECT_EQ(m_receiver.expiries(), 0);
}

TEST_F(MisusedTimer, thatLosesItsMonitorWhileArmedCallsNobodyAndServesTheNextOne)
{
    osTimer early(&m_receiver, 60);
    osTimer late(&m_receiver, INT_MAX);
    early.start();
    late.start();
    m_monitor.reset();
    m_monitor = std::make_unique<osTimerThread>();
    m_monitor->start();
    awaitAnExpiry();
    EXPECT_EQ(m_receiver.expiries(), 0);
    EXPECT_TRUE(early.isRunning());
    EXPECT_FALSE(early.stop());
    EXPECT_FALSE(early.isRunning());
    EXPECT_TRUE(early.start());
    EXPECT_TRUE(eventually([this] { return m_receiver.expiries() == 1; }));
}

TEST_F(MisusedTimer, withoutAReceiverExpiresInSilence)
{
    osTimer timer(nullptr, 50);
    osTimer neverInitialised;
    EXPECT_EQ(neverInitialised.id(), -1);
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(neverInitialised.start());
    EXPECT_TRUE(eventually([this] { return m_monitor->numItems() == 0; }));
    EXPECT_FALSE(timer.stop());
    EXPECT_FALSE(neverInitialised.stop());
}

TEST_F(MisusedTimer, withExtremeIntervalsIsRaisedOrWaits)
{
    osTimer lowest(&m_receiver, INT_MIN);
    osTimer none(&m_receiver, 0);
    osTimer highest(&m_receiver, INT_MAX);
    for (osTimer* timer : {&lowest, &none, &highest}) {
        EXPECT_TRUE(timer->start());
    }
    EXPECT_TRUE(eventually([this] { return m_receiver.expiries() == 2; }));
    EXPECT_TRUE(highest.isRunning());
    EXPECT_TRUE(highest.reset());
    EXPECT_TRUE(highest.stop());
    EXPECT_EQ(m_receiver.expiries(), 2);
}

TEST_F(MisusedTimer, initialisedWhileArmedPassesWithoutACall)
{
    osTimer timer(&m_receiver, 50);
    timer.start();
    const int id = timer.id();
    EXPECT_NE(timer.init(&m_receiver, INT_MAX), id);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_TRUE(eventually([this] { return m_monitor->numItems() == 0; }));
    EXPECT_EQ(m_receiver.expiries(), 0);
}

TEST_F(MisusedTimer, ofNullIsNeitherAddedNorRemoved)
{
    EXPECT_FALSE(m_monitor->add(nullptr));
    EXPECT_FALSE(m_monitor->remove(nullptr));
    EXPECT_EQ(m_monitor->numItems(), 0);
}
