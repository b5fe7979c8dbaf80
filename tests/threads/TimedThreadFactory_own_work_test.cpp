// Work that uses the factory of its own timed thread, also while that is being deleted.
#include <gpal/ProcessManager.h>
#include <gpal/TimedThread.h>

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

#include "support/observed.h"
#include "support/plain_thread.h"
#include "threads/dump.h"
#include "threads/work.h"

using support::eventually;
using support::PlainThread;

namespace
{

/// Lets the first thread that it hears of do something before it begins, which nothing cancels.
class HeldUpAtFirst : public ProcessManager
{
public:
    explicit HeldUpAtFirst(std::function<void()> before)
        : ProcessManager(nullptr), m_before(std::move(before))
    {
    }

    using ProcessManager::addThread;
    int addThread(Threadable& body, int kernelId) override
    {
        if (!m_isOver.exchange(true)) {
            Threader::protectFromDestroy();
            m_before();
            pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        }
        return ProcessManager::addThread(body, kernelId);
    }

private:
    std::function<void()> m_before;
    std::atomic<bool> m_isOver{false};
};

/// A factory, one of its timed threads at work, and a client that deletes it.
class OwnFactory : public testing::Test
{
protected:
    /// Lets the timed thread do \p work, which nothing cancels, and deletes it meanwhile: \p work
    /// is told when that has begun.
    void deleteDuring(std::function<void()> work)
    {
        Work protectedWork([&] {
            Threader::protectFromDestroy();
            m_started = true;
            work();
        });
        TimedThreadIfc* timedThread = m_factory.getNewTimedThread(&protectedWork);
        timedThread->runForAMaximumOf(0); // short work may even be done by then
        EXPECT_TRUE(eventually([&] { return m_started.load(); }));
        EXPECT_TRUE(m_factory.deleteTimedThread(timedThread));
        EXPECT_TRUE(protectedWork.done());
    }

    /// The units of the locks of all factories.
    static std::vector<long> unitsOfTheLocks()
    {
        std::vector<long> units;
        for (const Dump& dump : dumpOfAll()) {
            if (dump.text("Type") == "Semaphore") {
                units.push_back(dump.count());
            }
        }
        return units;
    }

    /// The units of the lock of the only factory.
    static long unitsOfTheLock() { return unitsOfTheLocks().at(0); }

    void expectThatOthersCanUseIt()
    {
        PlainThread other([&] {
            Work work;
            TimedThreadIfc* timedThread = m_factory.getNewTimedThread(&work);
            EXPECT_EQ(timedThread->runForAMaximumOf(-1), 1);
            EXPECT_TRUE(m_factory.deleteTimedThread(timedThread));
        });
        other.join();
    }

    TimedThreadFactory m_factory;
    std::atomic<bool> m_started{false};
};

} // namespace

TEST_F(OwnFactory, canBeUsedByWorkThatIsBeingDeleted)
{
    Work others;
    TimedThreadIfc* made = nullptr;
    deleteDuring([&] {
        EXPECT_TRUE(eventually([&] { return unitsOfTheLock() == 0; }));
        usleep(20000);
        made = m_factory.getNewTimedThread(&others);
        EXPECT_TRUE(m_factory.killAllTimedThread());
    });
    EXPECT_TRUE(m_factory.deleteTimedThread(made));
    EXPECT_FALSE(m_factory.killAllTimedThread());
    expectThatOthersCanUseIt();
}

TEST_F(OwnFactory, canBeUsedByWorkThatWaitsForItWhenItsDeletionBegins)
{
    Work others;
    TimedThreadIfc* made = nullptr;
    // Takes and gives the lock for as long as it lasts, so that the work has to wait for it again
    // and again, one of these times when the deletion takes it.
    std::atomic<bool> stop{false};
    PlainThread busy([&] {
        while (!stop) {
            m_factory.deleteTimedThread(reinterpret_cast<TimedThreadIfc*>(this));
        }
    });
    deleteDuring([&] {
        for (int i = 0; i < 1000; ++i) {
            made = m_factory.getNewTimedThread(&others);
            EXPECT_TRUE(m_factory.deleteTimedThread(made));
        }
    });
    stop = true;
    busy.join();
    expectThatOthersCanUseIt();
}

TEST_F(OwnFactory, canBeUsedByWorkThatBeginsWhenItsDeletionHasBegun)
{
    ProcessManagement::initialize(new HeldUpAtFirst([] {
        EXPECT_TRUE(eventually([] { return unitsOfTheLock() == 0; }));
        usleep(20000);
    }));
    Work others;
    TimedThreadIfc* made = nullptr;
    Work work([&] { made = m_factory.getNewTimedThread(&others); });
    TimedThreadIfc* timedThread = m_factory.getNewTimedThread(&work);
    timedThread->runForAMaximumOf(0);
    EXPECT_TRUE(m_factory.deleteTimedThread(timedThread));
    EXPECT_TRUE(m_factory.deleteTimedThread(made));
    expectThatOthersCanUseIt();
}

TEST_F(OwnFactory, canBeUsedByWorkThatOtherWorkDeletes)
{
    Work others;
    Wait timedOut;
    Work inner([&] {
        Threader::protectFromDestroy();
        m_started = true;
        timedOut.wait(-1);
        usleep(20000);
        EXPECT_TRUE(m_factory.deleteTimedThread(m_factory.getNewTimedThread(&others)));
    });
    TimedThreadIfc* innerThread = m_factory.getNewTimedThread(&inner);
    EXPECT_EQ(innerThread->runForAMaximumOf(0), 0);
    timedOut.signal();
    EXPECT_TRUE(eventually([&] { return m_started.load(); }));
    m_started = false;
    deleteDuring([&] { EXPECT_TRUE(m_factory.deleteTimedThread(innerThread)); });
    EXPECT_TRUE(inner.done());
    expectThatOthersCanUseIt();
}

TEST_F(OwnFactory, isLockedByWorkThatNobodyDeletesAsByAnybodyElse)
{
    Wait never;
    long unitsMeanwhile = -1;
    Work open([&] {
        pthread_cleanup_push([](void* units) { *static_cast<long*>(units) = unitsOfTheLock(); },
                             &unitsMeanwhile);
        never.wait(-1);
        pthread_cleanup_pop(0);
    });
    TimedThreadIfc* slow = m_factory.getNewTimedThread(&open);
    EXPECT_EQ(slow->runForAMaximumOf(0), 0);
    bool deleted = false;
    Work work([&] { deleted = m_factory.deleteTimedThread(slow); });
    TimedThreadIfc* timedThread = m_factory.getNewTimedThread(&work);
    EXPECT_EQ(timedThread->runForAMaximumOf(-1), 1);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(unitsMeanwhile, 0);
    EXPECT_EQ(unitsOfTheLock(), 1);
    EXPECT_TRUE(m_factory.deleteTimedThread(timedThread));
}

TEST_F(OwnFactory, isNotEnteredByWorkThatAnotherFactoryDeletes)
{
    TimedThreadFactory another;
    std::atomic<bool> isAskedFor{false};
    Work endless([&] {
        Threader::protectFromDestroy();
        m_started = true;
        EXPECT_TRUE(eventually([&] { return isAskedFor.load(); }));
        usleep(50000);
    });
    TimedThreadIfc* endlessThread = another.getNewTimedThread(&endless);
    EXPECT_EQ(endlessThread->runForAMaximumOf(0), 0);
    EXPECT_TRUE(eventually([&] { return m_started.load(); }));
    m_started = false;
    Work others;
    bool afterTheOther = false;
    PlainThread deleter([&] { EXPECT_TRUE(another.deleteTimedThread(endlessThread)); });
    deleteDuring([&] {
        EXPECT_TRUE(eventually([] { return unitsOfTheLocks() == std::vector<long>{0, 0}; }));
        isAskedFor = true;
        TimedThreadIfc* made = another.getNewTimedThread(&others);
        afterTheOther = endless.done();
        EXPECT_TRUE(another.deleteTimedThread(made));
    });
    EXPECT_TRUE(afterTheOther);
    deleter.join();
}
