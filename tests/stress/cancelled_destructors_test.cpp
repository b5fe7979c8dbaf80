#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include <gpal/gpal.h>

#include "stress/layer.h"
#include "support/observed.h"

using stress::expectNewcomersAreServed;
using stress::expectNewTimersAreServed;
using stress::HeldWork;
using stress::HoldingReceiver;
using stress::LayerThread;
using support::eventually;

namespace
{

using CancelledDestructor = stress::LayerTest;

/// A thread blocks in \p destruction until \p letGo and is cancelled meanwhile: the destructor
/// comes to its end, and the thread to its own right after it.
void cancelIn(const std::function<void()>& destruction, const std::function<void()>& letGo)
{
    std::atomic<bool> destroyed{false};
    std::atomic<bool> survived{false};
    LayerThread thread([&] {
        destruction();
        destroyed = true;
        pthread_testcancel();
        survived = true;
    });
    EXPECT_TRUE(eventually([&] { return thread.isAsleep(); }));
    thread.cancel();
    EXPECT_TRUE(eventually([&] { return thread.isAsleep(); }));
    EXPECT_FALSE(destroyed);
    letGo();
    thread.join();
    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(survived);
    expectNewcomersAreServed();
}

class CancelledTimerDestructor : public stress::MonitorTest
{
protected:
    void SetUp() override
    {
        MonitorTest::SetUp();
        m_monitor->start();
    }

    HoldingReceiver m_receiver;
};

} // namespace

TEST_F(CancelledTimerDestructor, ofATimerBehindItsCallbackComesToItsEnd)
{
    auto timer = std::make_unique<osTimer>(&m_receiver, 50);
    timer->start();
    m_receiver.awaitCall();
    cancelIn([&] { timer.reset(); }, [this] { m_receiver.letGo(); });
    expectNewTimersAreServed();
}

TEST_F(CancelledTimerDestructor, ofAnInnerTimerBehindItsCallbackComesToItsEnd)
{
    auto timer = std::make_unique<osThreadBasedTimer>(&m_receiver, 50, nullptr);
    timer->start();
    m_receiver.awaitCall();
    cancelIn([&] { timer.reset(); }, [this] { m_receiver.letGo(); });
    expectNewTimersAreServed();
}

TEST_F(CancelledTimerDestructor, ofTheMonitorBehindACallbackComesToItsEnd)
{
    osTimer timer(&m_receiver, 50);
    timer.start();
    m_receiver.awaitCall();
    cancelIn([this] { m_monitor.reset(); }, [this] { m_receiver.letGo(); });
    m_monitor = std::make_unique<osTimerThread>();
    m_monitor->start();
    expectNewTimersAreServed();
}

TEST_F(CancelledDestructor, ofATimedThreadWaitsForItsWork)
{
    Threader threader;
    WaitFactory waits;
    HeldWork work(false);
    auto timed = std::make_unique<TimedThread>(&work, &threader, &waits);
    EXPECT_EQ(timed->runForAMaximumOf(0), 0);
    work.awaitStart();
    cancelIn([&] { timed.reset(); }, [&] { work.letGo(); });
}

TEST_F(CancelledDestructor, ofATimedThreadInItsFactoryLeavesTheListFree)
{
    TimedThreadFactory factory;
    HeldWork work(false);
    TimedThreadIfc* timed = factory.getNewTimedThread(&work);
    EXPECT_EQ(timed->runForAMaximumOf(0), 0);
    work.awaitStart();
    cancelIn([&] { EXPECT_TRUE(factory.deleteTimedThread(timed)); }, [&] { work.letGo(); });
    EXPECT_FALSE(factory.killAllTimedThread()) << "the timed thread is still in the list";
}

TEST_F(CancelledDestructor, ofAFactoryGivesTheWorkItsLastChance)
{
    auto factory = std::make_unique<TimedThreadFactory>();
    HeldWork work(false);
    // The factory forgets its timed threads, which can't be deleted after it.
    static auto* const forgotten = new std::vector<TimedThreadIfc*>;
    TimedThreadIfc* timed = factory->getNewTimedThread(&work);
    forgotten->push_back(timed);
    LayerThread client([&] { EXPECT_EQ(timed->runForAMaximumOf(-1), 1); });
    work.awaitStart();
    EXPECT_TRUE(eventually([&] { return client.isAsleep(); }));
    cancelIn([&] { factory.reset(); }, [&] { work.letGo(); });
    client.join();
    EXPECT_EQ(dynamic_cast<TimedThread*>(timed)->waitForThreadCompletion(), 0);
}

namespace
{

/// An object of each class of the layer that has a destructor worth the name, with idle threads.
void makeAndDestroyOneOfEach()
{
    {
        const Semaphore semaphore(0, -1, true);
        const Wait event;
        const GPALMutex mutex(GPAL_MUTEX_UNLOCKED);
        const GPALSleep sleep;
        const ThreaderFactory threads;
        const WaitFactory waits;
        osTimerThread monitor;
        osTimer timer(nullptr, 50);
        timer.start();
        delete OSTimerFactory().getTimer();
    }
    TimedThreadFactory factory;
    RunnerIfc* nothing = nullptr;
    factory.deleteTimedThread(factory.getNewTimedThread(nothing));
}

} // namespace

TEST_F(CancelledDestructor, ofEveryClassLeavesARequestForLater)
{
    Semaphore requested(0, 1, false);
    std::atomic<bool> destroyed{false};
    LayerThread thread([&] {
        Threader::protectFromDestroy();
        requested.take(-1);
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        makeAndDestroyOneOfEach();
        destroyed = true;
        pthread_testcancel();
    });
    stress::awaitWaiting(requested, 1);
    thread.cancel();
    requested.give();
    thread.join();
    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(thread.isFinished());
    expectNewcomersAreServed();
}
