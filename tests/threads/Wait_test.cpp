#include <gpal/Wait.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <gmock/gmock.h>
#include <memory>
#include <new>
#include <type_traits>

#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/replaceable.h"
#include "support/slots.h"
#include "threads/dump.h"

using support::callSlot;
using support::PlainThread;
using testing::ElementsAre;
namespace calls = support::calls;

static_assert(std::is_abstract_v<WaitIfc> && std::is_abstract_v<WaitFactoryIfc>);
static_assert(std::has_virtual_destructor_v<WaitIfc> &&
              std::has_virtual_destructor_v<WaitFactoryIfc>);
static_assert(std::is_base_of_v<WaitIfc, Wait> && std::is_base_of_v<Semaphore, Wait>);
static_assert(std::is_base_of_v<WaitFactoryIfc, WaitFactory>);

namespace
{

/// A time-limited wait that only notes its limit.
class RecordingWait : public Wait
{
public:
    using Wait::wait;
    int wait(int timeoutMs) override
    {
        m_timeouts.push_back(timeoutMs);
        return 17;
    }
    const std::vector<int>& timeouts() const { return m_timeouts; }

private:
    std::vector<int> m_timeouts;
};

/// An event object whose semaphore interface a client has opened again.
class OpenedWait : public Wait
{
public:
    int give() override
    {
        ++m_gives;
        return 1;
    }
    int gives() const { return m_gives; }

private:
    int m_gives = 0;
};

} // namespace

TEST(Wait, hasItsVirtualFunctionsInTheOrderThatClientsWereBuiltFor)
{
    Wait wait;
    EXPECT_EQ(callSlot<int()>(&wait, 4), 1);
    EXPECT_EQ(dumpOf(wait).number("signal() count"), 1);
    EXPECT_EQ(callSlot<int()>(&wait, 2), 1);
    EXPECT_EQ(callSlot<int(int)>(&wait, 3, 0), 0);
    EXPECT_EQ(dumpOf(wait).number("wait() count"), 2);
    {
        const support::Captured output(1);
        callSlot<void()>(&wait, 5);
        EXPECT_EQ(output.text(), dumpTextOf(wait));
    }
    EXPECT_EQ(callSlot<int(int)>(&wait, 6, 0), 0);
    EXPECT_EQ(callSlot<int()>(&wait, 7), 0);
    EXPECT_EQ(dumpOf(wait).number("wait() count"), 2);
    EXPECT_EQ(dumpOf(wait).number("signal() count"), 1);
}

TEST(Wait, isTheSameObjectWhenSeenAsASemaphore)
{
    Wait wait;
    Semaphore* semaphore = &wait;
    EXPECT_NE(static_cast<void*>(semaphore), static_cast<void*>(&wait));
    wait.signal();
    const std::string before = dumpTextOf(wait);
    EXPECT_EQ(callSlot<int(int)>(semaphore, 2, 0), 0);
    EXPECT_EQ(callSlot<int()>(semaphore, 3), 0);
    EXPECT_EQ(dumpTextOf(wait), before) << "closed from this side too";
    {
        const support::Captured output(1);
        callSlot<void()>(semaphore, 4);
        EXPECT_EQ(output.text(), before);
    }
    Semaphore* deleted = new Wait;
    EXPECT_EQ(dumpOfAll().size(), 2U);
    delete deleted;
    EXPECT_EQ(dumpOfAll().size(), 1U);
}

TEST(Wait, startsWithoutASignal)
{
    Wait wait;
    EXPECT_EQ(dumpTextOf(wait), RULE + "Type                      = Wait\n" +
                                    "id                        = " + addressText(&wait) + "\n" +
                                    "max count                 = 1\n"
                                    "current count             = 0\n"
                                    "current owner             = 0\n"
                                    "signal() count            = 0\n"
                                    "wait() count              = 0\n"
                                    "Number of threads waiting = 0\n" +
                                    RULE);
}

TEST(Wait, remembersOneSignalAndNoMore)
{
    Wait wait;
    EXPECT_EQ(wait.signal(), 1);
    EXPECT_EQ(wait.signal(), 1);
    EXPECT_EQ(dumpOf(wait).count(), 1);
    EXPECT_EQ(wait.wait(0), 1);
    EXPECT_EQ(wait.wait(0), 0);
    EXPECT_EQ(dumpTextOf(wait), RULE + "Type                      = Wait\n" +
                                    "id                        = " + addressText(&wait) + "\n" +
                                    "max count                 = 1\n"
                                    "current count             = 0\n"
                                    "current owner             = " +
                                    std::to_string(pthread_self()) + "\n" +
                                    "signal() count            = 2\n"
                                    "wait() count              = 2\n"
                                    "Number of threads waiting = 0\n" +
                                    RULE);
}

TEST(Wait, isNotReentrant)
{
    Wait wait;
    wait.signal();
    EXPECT_EQ(wait.wait(0), 1);
    EXPECT_EQ(dumpOf(wait).owner(), pthread_self());
    EXPECT_EQ(wait.wait(0), 0);
}

TEST(Wait, returnsAfterItsTimeWithoutASignal)
{
    Wait wait;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wait.wait(100), 0);
    EXPECT_GE(support::millisecondsSince(start), 99);
    EXPECT_EQ(dumpOf(wait).number("wait() count"), 1);
}

TEST(Wait, waitsUntilSignalledWhenGivenNoLimit)
{
    for (const bool limited : {false, true}) {
        Wait wait;
        int result = 0;
        PlainThread waiter([&] { result = limited ? wait.wait(-1) : wait.wait(); });
        ASSERT_TRUE(areQueued(wait, 1));
        EXPECT_EQ(wait.signal(), 1);
        waiter.join();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(dumpOf(wait).count(), 0);
    }
}

TEST(Wait, waitsWithoutLimitThroughItsTimeLimitedWait)
{
    RecordingWait wait;
    EXPECT_EQ(wait.wait(), 17);
    EXPECT_THAT(wait.timeouts(), ElementsAre(-1));
}

TEST(Wait, releasesOneThreadForEachSignal)
{
    Wait wait;
    std::atomic<int> released{0};
    const auto waiting = [&] { released += wait.wait(); };
    PlainThread first(waiting);
    PlainThread second(waiting);
    ASSERT_TRUE(areQueued(wait, 2));
    wait.signal();
    EXPECT_TRUE(support::eventually([&] { return released == 1; }));
    ASSERT_TRUE(areQueued(wait, 1));
    EXPECT_EQ(dumpOf(wait).count(), 0);
    wait.signal();
    first.join();
    second.join();
    EXPECT_EQ(released, 2);
}

TEST(Wait, listsItsWaitingThreadsInItsDump)
{
    Wait wait;
    PlainThread first([&] { wait.wait(); });
    PlainThread second([&] { wait.wait(); });
    ASSERT_TRUE(areQueued(wait, 2));
    const std::string dump = dumpTextOf(wait);
    const unsigned long low = std::min(first.id(), second.id());
    const unsigned long high = std::max(first.id(), second.id());
    EXPECT_EQ(dump.substr(dump.find("Number")), "Number of threads waiting = 2\n0 - " +
                                                    std::to_string(low) + "\n1 - " +
                                                    std::to_string(high) + "\n" + RULE);
    wait.signal();
    EXPECT_TRUE(areQueued(wait, 1));
    wait.signal();
}

TEST(Wait, hasAClosedSemaphoreInterface)
{
    Wait wait;
    wait.signal();
    const std::string before = dumpTextOf(wait);
    EXPECT_EQ(wait.take(5), 0);
    EXPECT_EQ(wait.take(-1), 0);
    EXPECT_EQ(wait.give(), 0);
    EXPECT_EQ(dumpTextOf(wait), before);
}

TEST(Wait, isNotSignalledWhenTheThreadThatIsItsOwnerEnds)
{
    Wait wait;
    wait.signal();
    wait.wait();
    ASSERT_EQ(dumpOf(wait).owner(), pthread_self());
    const std::string before = dumpTextOf(wait);
    Semaphore::threadExitSemaphoreCleanup(pthread_self());
    EXPECT_EQ(dumpTextOf(wait), before);
}

TEST(Wait, isNotEvenGivenWhenTheThreadThatIsItsOwnerEnds)
{
    OpenedWait wait;
    wait.signal();
    wait.wait();
    Semaphore::threadExitSemaphoreCleanup(pthread_self());
    EXPECT_EQ(wait.gives(), 0);
}

TEST(Wait, releasesItsLocksWhenAWaitingThreadIsCancelled)
{
    Wait wait;
    PlainThread waiter([&] { wait.wait(); });
    ASSERT_TRUE(areQueued(wait, 1));
    waiter.cancel();
    EXPECT_TRUE(waiter.wasCancelled());
    EXPECT_EQ(wait.signal(), 1);
    EXPECT_EQ(dumpOf(wait).count(), 1);
    EXPECT_THAT(dumpOf(wait).waitingThreads(), ElementsAre(waiter.id()));
}

TEST(Wait, dumpsWithoutWaitingForItsState)
{
    Wait wait;
    std::string text;
    const support::Replacement timedWait(
        calls::pthread_cond_timedwait,
        [&](pthread_cond_t*, pthread_mutex_t* mutex, const timespec*) {
            EXPECT_EQ(pthread_mutex_trylock(mutex), EBUSY) << "the state is locked";
            text = dumpTextOf(wait);
            return ETIMEDOUT;
        });
    wait.wait(100);
    EXPECT_EQ(Dump::parse(text).at(0).waitingCount(), 1);
}

TEST(WaitFactory, makesANewEventObjectEachTimeForTheCallerToOwn)
{
    WaitFactory factory;
    WaitFactoryIfc& made = factory;
    const std::unique_ptr<WaitIfc> first(made.getNewWait());
    std::unique_ptr<WaitIfc> second(made.getNewWait());
    EXPECT_NE(first, second);
    EXPECT_EQ(dumpOfAll().size(), 2U);
    EXPECT_NE(dynamic_cast<Wait*>(second.get()), nullptr);
    first->signal();
    EXPECT_EQ(first->wait(), 1);
    EXPECT_EQ(second->wait(0), 0);
    second.reset();
    EXPECT_EQ(dumpOfAll().size(), 1U);
}
