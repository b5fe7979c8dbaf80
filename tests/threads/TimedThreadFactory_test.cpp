#include <gpal/TimedThread.h>

#include <cerrno>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <new>
#include <string>
#include <sys/time.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

#include "support/condition_signals.h"
#include "support/layer_threads.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "threads/dump.h"
#include "threads/work.h"

using support::eventually;
using support::PlainThread;
using support::Replacement;
using testing::ElementsAre;
namespace calls = support::calls;

static_assert(std::is_abstract_v<TimedThreadFactoryIfc>);
static_assert(std::has_virtual_destructor_v<TimedThreadFactoryIfc>);
static_assert(std::is_base_of_v<TimedThreadFactoryIfc, TimedThreadFactory>);

namespace
{

/// The dumps of the live event objects or, else, semaphores.
std::vector<Dump> liveOnes(const std::string& type)
{
    std::vector<Dump> found;
    for (const Dump& dump : dumpOfAll()) {
        if (dump.text("Type") == type) {
            found.push_back(dump);
        }
    }
    return found;
}

/// The lock of the only factory, while there is no other semaphore.
Dump listLock()
{
    return liveOnes("Semaphore").at(0);
}

/// How many threads wait in event objects, those that were cancelled there included.
std::size_t waitingThreads()
{
    std::size_t count = 0;
    for (const Dump& dump : liveOnes("Wait")) {
        count += dump.waitingThreads().size();
    }
    return count;
}

/// Leaves behind a wait on \p timedThread that was cancelled, so that later waits have to queue.
void loseAWaiterOf(TimedThreadIfc& timedThread)
{
    const std::size_t before = waitingThreads();
    PlainThread client([&] { timedThread.waitForCompletion(-1); });
    EXPECT_TRUE(eventually([&] { return waitingThreads() == before + 1; }));
    client.cancel();
}

/// A wall clock at 1000 s, at which every timed wait ends at once; notes what is signalled and
/// waited for.
class StoppedClock
{
public:
    struct Event {
        pthread_cond_t* condition;
        long waitsUntil; ///< in milliseconds; 0: a signal
        bool operator==(const Event& other) const
        {
            return condition == other.condition && waitsUntil == other.waitsUntil;
        }
    };
    const std::vector<Event>& events() const { return m_events; }
    void clear() { m_events.clear(); }
    void duringWaits(std::function<void()> action) { m_duringWaits = std::move(action); }

private:
    std::vector<Event> m_events;
    std::function<void()> m_duringWaits = [] {};
    Replacement<int(timeval*, void*)> m_now{calls::gettimeofday, [](timeval* time, void*) {
                                                *time = {1000, 0};
                                                return 0;
                                            }};
    Replacement<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> m_wait{
        calls::pthread_cond_timedwait,
        [this](pthread_cond_t* condition, pthread_mutex_t*, const timespec* deadline) {
            m_events.push_back({condition, static_cast<long>(deadline->tv_sec * 1000 +
                                                             deadline->tv_nsec / 1000000)});
            m_duringWaits();
            return ETIMEDOUT;
        }};
    Replacement<int(pthread_cond_t*)> m_signal{calls::pthread_cond_signal,
                                               [this](pthread_cond_t* condition) {
                                                   m_events.push_back({condition, 0});
                                                   return 0;
                                               }};
};

} // namespace

TEST(TimedThreadFactory, servesTheInterface)
{
    TimedThreadFactoryIfc* factory = new TimedThreadFactory;
    Work work;
    auto* timedThread = factory->getNewTimedThread(&work);
    EXPECT_NE(dynamic_cast<TimedThread*>(timedThread), nullptr);
    EXPECT_TRUE(factory->killAllTimedThread());
    EXPECT_TRUE(factory->deleteTimedThread(timedThread));
    EXPECT_FALSE(factory->killAllTimedThread());
    delete factory;
    EXPECT_EQ(dumpTextOfAll(), "");
}

TEST(TimedThreadFactory, makesAnIdleTimedThreadEachTime)
{
    TimedThreadFactory factory;
    Work work;
    TimedThreadIfc* first = factory.getNewTimedThread(&work);
    TimedThreadIfc* second = factory.getNewTimedThread(&work);
    EXPECT_NE(first, second);
    EXPECT_EQ(liveOnes("Wait").size(), 2U);
    EXPECT_FALSE(work.done());
    factory.deleteTimedThread(first);
    EXPECT_EQ(liveOnes("Wait").size(), 1U);
    factory.deleteTimedThread(second);
}

TEST(TimedThreadFactory, guardsItsListWithOneBinaryLock)
{
    TimedThreadFactory factory;
    Work work;
    EXPECT_EQ(listLock().number("max count"), 1);
    EXPECT_EQ(listLock().number("reentrant"), 0);
    EXPECT_EQ(listLock().count(), 1);
    TimedThreadIfc* timedThread = factory.getNewTimedThread(&work);
    EXPECT_EQ(listLock().number("take() count"), 1);
    factory.killAllTimedThread();
    EXPECT_EQ(listLock().number("take() count"), 2);
    EXPECT_FALSE(factory.deleteTimedThread(nullptr));
    EXPECT_EQ(listLock().number("take() count"), 2);
    EXPECT_TRUE(factory.deleteTimedThread(timedThread));
    EXPECT_EQ(listLock().number("take() count"), 3);
    EXPECT_FALSE(factory.deleteTimedThread(timedThread));
    EXPECT_FALSE(factory.killAllTimedThread());
    EXPECT_EQ(listLock().number("take() count"), 5);
    EXPECT_EQ(listLock().number("give() count"), 5);
    EXPECT_EQ(listLock().count(), 1);
}

TEST(TimedThreadFactory, deletesOnlyWhatItMadeAndOnlyOnce)
{
    TimedThreadFactory factory;
    TimedThreadFactory another;
    Work work;
    Threader threader;
    WaitFactory waitFactory;
    TimedThread foreign(&work, &threader, &waitFactory);
    TimedThreadIfc* others = another.getNewTimedThread(&work);
    TimedThreadIfc* own = factory.getNewTimedThread(&work);
    EXPECT_FALSE(factory.deleteTimedThread(nullptr));
    EXPECT_FALSE(factory.deleteTimedThread(&foreign));
    EXPECT_FALSE(factory.deleteTimedThread(others));
    EXPECT_EQ(liveOnes("Wait").size(), 3U);
    EXPECT_TRUE(factory.deleteTimedThread(own));
    EXPECT_FALSE(factory.deleteTimedThread(own));
    EXPECT_EQ(foreign.runForAMaximumOf(-1), 1);
    EXPECT_TRUE(another.deleteTimedThread(others));
}

TEST(TimedThreadFactory, cancelsAndJoinsTheWorkThatItDeletesUnderItsLock)
{
    TimedThreadFactory factory;
    std::atomic<bool> cleanedUp{false};
    long unitsOfTheLock = -1;
    std::function<void()> noteTheEnd = [&] {
        unitsOfTheLock = listLock().count();
        cleanedUp = true;
    };
    Work work([&] {
        pthread_cleanup_push([](void* note) { (*static_cast<std::function<void()>*>(note))(); },
                             &noteTheEnd);
        support::stayUntilCancelled();
        pthread_cleanup_pop(0);
    });
    TimedThreadIfc* timedThread = factory.getNewTimedThread(&work);
    EXPECT_EQ(timedThread->runForAMaximumOf(20), 0);
    EXPECT_TRUE(factory.deleteTimedThread(timedThread));
    EXPECT_TRUE(cleanedUp);
    EXPECT_EQ(unitsOfTheLock, 0);
    EXPECT_FALSE(work.done());
    EXPECT_EQ(listLock().count(), 1);
}

TEST(TimedThreadFactory, killsNothingWhenItHasNone)
{
    TimedThreadFactory factory;
    EXPECT_FALSE(factory.killAllTimedThread());
    Work work;
    factory.deleteTimedThread(factory.getNewTimedThread(&work));
    EXPECT_FALSE(factory.killAllTimedThread());
}

TEST(TimedThreadFactory, forcesEachWaitAndConsumesTheSignalWhenNobodyWaited)
{
    TimedThreadFactory factory;
    Work work;
    TimedThreadIfc* first = factory.getNewTimedThread(&work);
    TimedThreadIfc* second = factory.getNewTimedThread(&work);
    EXPECT_TRUE(factory.killAllTimedThread());
    EXPECT_TRUE(factory.killAllTimedThread()) << "they stay listed";
    for (const Dump& dump : liveOnes("Wait")) {
        EXPECT_EQ(dump.number("signal() count"), 2);
        EXPECT_EQ(dump.number("wait() count"), 2);
        EXPECT_EQ(dump.count(), 0);
    }
    EXPECT_FALSE(work.done());
    EXPECT_TRUE(factory.deleteTimedThread(first));
    EXPECT_TRUE(factory.deleteTimedThread(second));
}

TEST(TimedThreadFactory, wakesAClientAndThenWaitsForTheWork)
{
    TimedThreadFactory factory;
    OpenEndedWork work;
    TimedThreadIfc* timedThread = factory.getNewTimedThread(work.runner());
    std::atomic<int> result{0};
    PlainThread client([&] {
        result = timedThread->runForAMaximumOf(-1);
        work.end();
    });
    EXPECT_TRUE(eventually([&] { return work.started() && waitingThreads() == 1; }));
    EXPECT_TRUE(factory.killAllTimedThread());
    client.join();
    EXPECT_EQ(result, 1);
    factory.deleteTimedThread(timedThread);
}

TEST(TimedThreadFactory, forcesThenWaitsTenSecondsForOneAfterTheOtherUnderItsLock)
{
    TimedThreadFactory factory;
    Work work;
    std::vector<TimedThreadIfc*> timedThreads;
    for (int number = 0; number < 3; ++number) {
        timedThreads.push_back(factory.getNewTimedThread(&work));
    }
    StoppedClock clock;
    std::vector<StoppedClock::Event> expected;
    for (TimedThreadIfc* timedThread : timedThreads) {
        timedThread->waitForCompletion(1000);
        ASSERT_EQ(clock.events().size(), 1U);
        pthread_cond_t* condition = clock.events()[0].condition;
        EXPECT_EQ(clock.events()[0].waitsUntil, 1001000);
        expected.push_back({condition, 0});
        expected.push_back({condition, 1010000});
        loseAWaiterOf(*timedThread);
        clock.clear();
    }
    std::vector<long> unitsOfTheLock;
    clock.duringWaits([&] { unitsOfTheLock.push_back(listLock().count()); });
    EXPECT_TRUE(factory.killAllTimedThread());
    EXPECT_EQ(clock.events(), expected);
    EXPECT_THAT(unitsOfTheLock, ElementsAre(0, 0, 0));
    for (TimedThreadIfc* timedThread : timedThreads) {
        EXPECT_TRUE(factory.deleteTimedThread(timedThread));
    }
}

// A timed thread that was never started uses nothing of its factory, and may go after it.

TEST(TimedThreadFactory, forcesAllWaitsWhenItGoesButDeletesNoTimedThread)
{
    Work work;
    auto factory = std::make_unique<TimedThreadFactory>();
    const std::unique_ptr<TimedThreadIfc> leftOver(factory->getNewTimedThread(&work));
    factory.reset();
    const std::vector<Dump> left = dumpOfAll();
    ASSERT_EQ(left.size(), 1U) << "the event object of the timed thread";
    EXPECT_EQ(left[0].text("Type"), "Wait");
    EXPECT_EQ(left[0].number("signal() count"), 1);
    EXPECT_EQ(left[0].number("wait() count"), 1);
}

TEST(TimedThreadFactory, isDestroyedWholeByAThreadThatIsBeingCancelled)
{
    Work work;
    auto factory = std::make_unique<TimedThreadFactory>();
    const std::unique_ptr<TimedThreadIfc> leftOver(factory->getNewTimedThread(&work));
    StoppedClock clock;
    loseAWaiterOf(*leftOver);
    clock.duringWaits([] { pthread_testcancel(); });
    bool destroyed = false;
    PlainThread client([&] {
        pthread_cancel(pthread_self());
        factory.reset();
        destroyed = true;
        pthread_testcancel();
    });
    client.join();
    EXPECT_TRUE(client.wasCancelled());
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(liveOnes("Semaphore").size(), 0U);
}

TEST(TimedThreadFactory, deletesATimedThreadWholeForAThreadThatIsBeingCancelled)
{
    TimedThreadFactory factory;
    OpenEndedWork work;
    TimedThreadIfc* timedThread = factory.getNewTimedThread(work.runner());
    timedThread->runForAMaximumOf(0);
    bool deleted = false;
    PlainThread client([&] {
        pthread_cancel(pthread_self());
        deleted = factory.deleteTimedThread(timedThread);
        pthread_testcancel();
    });
    client.join();
    EXPECT_TRUE(client.wasCancelled());
    EXPECT_TRUE(deleted);
    EXPECT_EQ(liveOnes("Wait").size(), 0U);
    EXPECT_FALSE(factory.killAllTimedThread());
}
