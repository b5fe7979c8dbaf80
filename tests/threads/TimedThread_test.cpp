#include <gpal/TimedThread.h>

#include <gmock/gmock.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "support/layer_threads.h"
#include "support/plain_thread.h"

using support::PlainThread;
using testing::ElementsAre;

static_assert(std::is_abstract_v<RunnerIfc> && std::has_virtual_destructor_v<RunnerIfc>);
static_assert(std::is_abstract_v<TimedThreadIfc> && std::has_virtual_destructor_v<TimedThreadIfc>);
static_assert(std::is_base_of_v<Threadable, TimedThread>);
static_assert(std::is_base_of_v<TimedThreadIfc, TimedThread>);

namespace
{

constexpr unsigned long FIRST_ID = 4711;

/// What happened around a timed thread, in order.
using Journal = std::vector<std::string>;

class JournalRunner : public RunnerIfc
{
public:
    explicit JournalRunner(Journal& journal) : m_journal(journal) {}
    ~JournalRunner() override { m_journal.emplace_back("runner deleted"); }
    void run() override { m_journal.emplace_back("run"); }

private:
    Journal& m_journal;
};

class JournalWait : public WaitIfc
{
public:
    JournalWait(Journal& journal, int result) : m_journal(journal), m_result(result) {}
    ~JournalWait() override { m_journal.emplace_back("wait deleted"); }
    int wait() override
    {
        m_journal.emplace_back("wait");
        return 1;
    }
    int wait(int timeoutMs) override
    {
        m_journal.push_back("wait " + std::to_string(timeoutMs));
        return m_result;
    }
    int signal() override
    {
        m_journal.emplace_back("signal");
        return 1;
    }

private:
    Journal& m_journal;
    int m_result;
};

class JournalWaitFactory : public WaitFactoryIfc
{
public:
    explicit JournalWaitFactory(Journal& journal) : m_journal(journal) {}
    void letWaitsReturn(int result) { m_result = result; }
    WaitIfc* getNewWait() override
    {
        m_journal.emplace_back("new wait");
        return new JournalWait(m_journal, m_result);
    }

private:
    Journal& m_journal;
    int m_result = 1;
};

/// Numbers the threads that it is asked for and starts none of them.
class JournalThreader : public ThreaderIfc
{
public:
    explicit JournalThreader(Journal& journal) : m_journal(journal) {}

    bool spawn(unsigned long* threadId, Threadable* body, std::string name,
               GPALThreadPriority priority, int reserved) override
    {
        m_journal.push_back("spawn '" + name + "' " + std::to_string(priority) + " " +
                            std::to_string(reserved));
        m_body = body;
        if (m_fails) {
            return false;
        }
        *threadId = m_nextId++;
        return true;
    }
    bool destroy(unsigned long threadId) override
    {
        m_journal.push_back("destroy " + std::to_string(threadId));
        pthread_testcancel();
        return true;
    }
    int waitForThreadCompletion(unsigned long threadId) override
    {
        m_journal.push_back("join " + std::to_string(threadId));
        pthread_testcancel();
        return 0;
    }

    void fail() { m_fails = true; }
    Threadable* body() const { return m_body; }

private:
    Journal& m_journal;
    unsigned long m_nextId = FIRST_ID;
    Threadable* m_body = nullptr;
    bool m_fails = false;
};

class TimedThreadWithSubstitutes : public testing::Test
{
protected:
    std::unique_ptr<TimedThread> make()
    {
        auto made = std::make_unique<TimedThread>(&m_runner, &m_threader, &m_waitFactory);
        m_journal.clear();
        return made;
    }

    Journal m_journal;
    JournalRunner m_runner{m_journal};
    JournalThreader m_threader{m_journal};
    JournalWaitFactory m_waitFactory{m_journal};
};

/// Notes that it was asked to wait for completion.
class OwnCompletion : public TimedThread
{
public:
    using TimedThread::TimedThread;
    int waitForCompletion(int timeoutMs) override { return timeoutMs + 1; }
};

class ThrowingRunner : public RunnerIfc
{
public:
    void run() override { throw std::runtime_error("failed work"); }
};

} // namespace

TEST_F(TimedThreadWithSubstitutes, getsItsEventObjectWhenMadeAndStartsNothing)
{
    const TimedThread made(&m_runner, &m_threader, &m_waitFactory);
    EXPECT_THAT(m_journal, ElementsAre("new wait"));
    EXPECT_EQ(made.threadId(), 0UL);
}

TEST_F(TimedThreadWithSubstitutes, isABodyOfLowPriorityAndOrdinaryType)
{
    const auto made = make();
    EXPECT_EQ(made->getThreadPriorityForPlatform(), GPAL_THREAD_PRIORITY_LOW);
    EXPECT_EQ(made->type(), support::Body([] {}).type());
}

TEST_F(TimedThreadWithSubstitutes, servesTheInterface)
{
    TimedThreadIfc* made = make().release();
    EXPECT_EQ(made->runForAMaximumOf(30), 1);
    made->forceTimeoutToExpire();
    EXPECT_EQ(made->waitForCompletion(40), 1);
    delete made;
    EXPECT_THAT(m_journal, ElementsAre("spawn '' 1 0", "wait 30", "signal", "wait 40",
                                       "destroy 4711", "join 4711", "wait deleted"));
}

TEST_F(TimedThreadWithSubstitutes, spawnsItselfAndThenWaits)
{
    const auto made = make();
    EXPECT_EQ(made->runForAMaximumOf(250), 1);
    EXPECT_THAT(m_journal, ElementsAre("spawn '' 1 0", "wait 250"));
    EXPECT_EQ(m_threader.body(), made.get());
}

TEST_F(TimedThreadWithSubstitutes, returnsTheResultOfTheWait)
{
    m_waitFactory.letWaitsReturn(0);
    const auto late = make();
    EXPECT_EQ(late->runForAMaximumOf(1), 0);
    EXPECT_EQ(late->waitForCompletion(-1), 0);
    EXPECT_THAT(m_journal, ElementsAre("spawn '' 1 0", "wait 1", "wait -1"))
        << "nothing is cancelled when the time runs out";
}

TEST_F(TimedThreadWithSubstitutes, waitsThroughItsOwnWaitForCompletion)
{
    OwnCompletion made(&m_runner, &m_threader, &m_waitFactory);
    EXPECT_EQ(made.runForAMaximumOf(70), 71);
}

TEST_F(TimedThreadWithSubstitutes, runsTheWorkAndThenSignals)
{
    const auto made = make();
    made->run();
    EXPECT_THAT(m_journal, ElementsAre("run", "signal"));
}

TEST_F(TimedThreadWithSubstitutes, signalsAtOnceWhenThereIsNoWork)
{
    TimedThread made(nullptr, &m_threader, &m_waitFactory);
    made.run();
    EXPECT_THAT(m_journal, ElementsAre("new wait", "signal"));
}

TEST_F(TimedThreadWithSubstitutes, letsAnExceptionOfTheWorkPassWithoutASignal)
{
    ThrowingRunner runner;
    TimedThread made(&runner, &m_threader, &m_waitFactory);
    EXPECT_THROW(made.run(), std::runtime_error);
    EXPECT_THAT(m_journal, ElementsAre("new wait"));
}

TEST_F(TimedThreadWithSubstitutes, endsAWaitBySignalling)
{
    const auto made = make();
    made->forceTimeoutToExpire();
    EXPECT_THAT(m_journal, ElementsAre("signal"));
}

TEST_F(TimedThreadWithSubstitutes, cancelsThenJoinsThenDeletesTheEventObjectButNotTheWork)
{
    auto made = make();
    made->runForAMaximumOf(5);
    m_journal.clear();
    made.reset();
    EXPECT_THAT(m_journal, ElementsAre("destroy 4711", "join 4711", "wait deleted"));
}

TEST_F(TimedThreadWithSubstitutes, leavesTheSpawnerAloneWhenItWasNeverStarted)
{
    auto made = make();
    made.reset();
    EXPECT_THAT(m_journal, ElementsAre("wait deleted"));
}

TEST_F(TimedThreadWithSubstitutes, cancelsAndJoinsAThreadThatHasEndedToo)
{
    auto made = make();
    made->runForAMaximumOf(5);
    made->run();
    m_journal.clear();
    made.reset();
    EXPECT_THAT(m_journal, ElementsAre("destroy 4711", "join 4711", "wait deleted"));
}

TEST_F(TimedThreadWithSubstitutes, waitsItsTimeOutWhenNoThreadCouldBeStarted)
{
    m_threader.fail();
    m_waitFactory.letWaitsReturn(0);
    auto made = make();
    EXPECT_EQ(made->runForAMaximumOf(50), 0);
    made.reset();
    EXPECT_THAT(m_journal, ElementsAre("spawn '' 1 0", "wait 50", "wait deleted"));
}

TEST_F(TimedThreadWithSubstitutes, forgetsItsFirstThreadWhenStartedTwice)
{
    auto made = make();
    made->runForAMaximumOf(1);
    made->runForAMaximumOf(2);
    made.reset();
    EXPECT_THAT(m_journal, ElementsAre("spawn '' 1 0", "wait 1", "spawn '' 1 0", "wait 2",
                                       "destroy 4712", "join 4712", "wait deleted"));
}

TEST_F(TimedThreadWithSubstitutes, isDeletedWholeByAThreadThatIsBeingCancelled)
{
    auto made = make();
    made->runForAMaximumOf(5);
    m_journal.clear();
    PlainThread client([&] {
        pthread_cancel(pthread_self());
        made.reset();
        m_journal.emplace_back("deleted");
        pthread_testcancel();
        m_journal.emplace_back("not cancelled");
    });
    client.join();
    EXPECT_TRUE(client.wasCancelled());
    EXPECT_THAT(m_journal, ElementsAre("destroy 4711", "join 4711", "wait deleted", "deleted"));
}
