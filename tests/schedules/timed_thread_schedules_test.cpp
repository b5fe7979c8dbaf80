// Timed threads and their factory, in every order of the steps of work and clients.
#include <gpal/TimedThread.h>
#include <memory>

#include "schedule_expectations.h"

using namespace schedules;

namespace
{

class Work : public RunnerIfc
{
public:
    explicit Work(std::function<void()> body = step) : m_body(std::move(body)) {}

    void run() override
    {
        m_body();
        m_isDone = true;
    }

    bool isDone() const { return m_isDone; }

private:
    std::function<void()> m_body;
    bool m_isDone = false;
};

/// A factory, with timed threads that are all deleted before it.
class Factory : public TimedThreadFactory
{
public:
    TimedThreadIfc* make(RunnerIfc* work)
    {
        TimedThreadIfc* const made = getNewTimedThread(work);
        m_made.push_back(made);
        return made;
    }

    void deleteAll()
    {
        for (TimedThreadIfc* made : m_made) {
            deleteTimedThread(made);
        }
        require(!killAllTimedThread(), "the list is not empty");
    }

private:
    std::vector<TimedThreadIfc*> m_made;
};

} // namespace

TEST(TimedThreadSchedules, workIsDoneOrTheTimeIsUp)
{
    expectHolds([] {
        Factory factory;
        Work work;
        TimedThreadIfc* const timed = factory.make(&work);
        const Thread client = start(
            [&] { require(timed->runForAMaximumOf(100) == 0 || work.isDone(), "done too early"); });
        requireEnd({client});
        require(work.isDone(), "the work was not done");
        factory.deleteAll();
    });
}

TEST(TimedThreadSchedules, workWithoutLimitIsWaitedFor)
{
    expectHolds([] {
        Factory factory;
        Work work;
        TimedThreadIfc* const timed = factory.make(&work);
        const Thread client = start(
            [&] { require(timed->runForAMaximumOf(-1) == 1 && work.isDone(), "done too early"); });
        requireEnd({client});
        factory.deleteAll();
    });
}

TEST(TimedThreadSchedules, forcedEndLetsTheClientGo)
{
    expectHolds([] {
        Factory factory;
        Work work;
        TimedThreadIfc* const timed = factory.make(&work);
        const Thread client =
            start([&] { require(timed->runForAMaximumOf(-1) == 1, "a wait without limit fails"); });
        const Thread forcer = start([&] { timed->forceTimeoutToExpire(); });
        requireEnd({client, forcer});
        factory.deleteAll();
    });
}

TEST(TimedThreadSchedules, deletionEndsTheWorkWhereverItIs)
{
    expectHolds([] {
        Factory factory;
        std::unique_ptr<WaitIfc> never(WaitFactory().getNewWait());
        Work work([&] { never->wait(); });
        TimedThreadIfc* const timed = factory.make(&work);
        const Thread client = start([&] {
            timed->runForAMaximumOf(100);
            require(factory.deleteTimedThread(timed), "it is not in the list");
        });
        requireEnd({client});
        require(!work.isDone(), "the work was done");
    });
}

TEST(TimedThreadSchedules, allAreWokenWhileOneIsRun)
{
    expectHolds([] {
        Factory factory;
        Work work;
        TimedThreadIfc* const timed = factory.make(&work);
        const Thread client = start([&] { timed->runForAMaximumOf(100); });
        const Thread killer = start([&] { factory.killAllTimedThread(); });
        requireEnd({client, killer});
        factory.deleteAll();
    });
}

// While a factory deletes a timed thread it waits for the work, which may want the list, too.
TEST(TimedThreadSchedules, workUsesItsFactoryWhileItIsDeleted)
{
    expectHolds(
        [] {
            Factory factory;
            Work work([&] { factory.make(nullptr); });
            TimedThreadIfc* const timed = factory.make(&work);
            timed->runForAMaximumOf(0);
            const Thread deleter = start([&] { factory.deleteTimedThread(timed); });
            const Thread other = start([&] { factory.make(nullptr); });
            requireEnd({deleter, other});
            factory.deleteAll();
        },
        usualBounds(1));
}

TEST(TimedThreadSchedules, twoWorksUseTheFactoryWhileOneIsDeleted)
{
    expectHolds(
        [] {
            Factory factory;
            Work work([&] { factory.make(nullptr); });
            TimedThreadIfc* const one = factory.make(&work);
            TimedThreadIfc* const two = factory.make(&work);
            one->runForAMaximumOf(0);
            two->runForAMaximumOf(0);
            const Thread deleter = start([&] { factory.deleteTimedThread(one); });
            requireEnd({deleter});
            factory.deleteAll();
        },
        usualBounds(1));
}
