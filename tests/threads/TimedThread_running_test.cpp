#include <gpal/TimedThread.h>

#include <cerrno>
#include <gmock/gmock.h>
#include <stdexcept>
#include <syslog.h>
#include <unistd.h>

#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/replaceable.h"
#include "threads/work.h"

using support::eventually;
using support::PlainThread;
using support::Replacement;
using testing::ElementsAre;
namespace calls = support::calls;

TEST(TimedThread, completesInTimeWhenTheWorkIsShort)
{
    TimedThreadFactory factory;
    Work work([] { usleep(50000); });
    TimedThreadIfc* timedThread = factory.getNewTimedThread(&work);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(timedThread->runForAMaximumOf(60000), 1);
    EXPECT_GE(support::millisecondsSince(start), 50);
    EXPECT_LT(support::millisecondsSince(start), 30000);
    EXPECT_TRUE(work.done());
    EXPECT_TRUE(factory.deleteTimedThread(timedThread));
}

TEST(TimedThread, stopsWaitingWhenTheTimeRunsOutWhileTheWorkGoesOn)
{
    TimedThreadFactory factory;
    OpenEndedWork work;
    TimedThreadIfc* timedThread = factory.getNewTimedThread(work.runner());
    const support::RecordedLog log;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(timedThread->runForAMaximumOf(100), 0);
    EXPECT_GE(support::millisecondsSince(start), 99);
    EXPECT_FALSE(work.done());
    work.end();
    EXPECT_EQ(timedThread->waitForCompletion(-1), 1);
    EXPECT_TRUE(work.done());
    EXPECT_TRUE(factory.deleteTimedThread(timedThread));
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST(TimedThread, returnsFromAWaitWithoutLimitWhenForcedWhileTheWorkGoesOn)
{
    TimedThreadFactory factory;
    OpenEndedWork work;
    TimedThreadIfc* timedThread = factory.getNewTimedThread(work.runner());
    int result = 0;
    PlainThread client([&] { result = timedThread->runForAMaximumOf(-1); });
    EXPECT_TRUE(eventually([&] { return work.started(); }));
    timedThread->forceTimeoutToExpire();
    client.join();
    EXPECT_EQ(result, 1);
    EXPECT_FALSE(work.done());
    EXPECT_EQ(timedThread->waitForCompletion(0), 0) << "the signal was used up";
    work.end();
    EXPECT_EQ(timedThread->waitForCompletion(-1), 1);
    factory.deleteTimedThread(timedThread);
}

TEST(TimedThread, remembersAForcedEndForTheNextWait)
{
    TimedThreadFactory factory;
    Work work;
    TimedThreadIfc* timedThread = factory.getNewTimedThread(&work);
    timedThread->forceTimeoutToExpire();
    EXPECT_EQ(timedThread->waitForCompletion(0), 1);
    EXPECT_EQ(timedThread->waitForCompletion(0), 0);
    factory.deleteTimedThread(timedThread);
}

TEST(TimedThread, waitsItsTimeOutWhenTheSystemHasNoThreadLeft)
{
    TimedThreadFactory factory;
    Work work;
    TimedThreadIfc* timedThread = factory.getNewTimedThread(&work);
    {
        const Replacement create(
            calls::pthread_create,
            [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return EAGAIN; });
        EXPECT_EQ(timedThread->runForAMaximumOf(20), 0);
    }
    EXPECT_TRUE(factory.deleteTimedThread(timedThread));
    EXPECT_FALSE(work.done());
}

TEST(TimedThread, reportsAnExceptionOfTheWorkAsFatal)
{
    const support::RecordedLog log;
    const support::RecordedCommands commands;
    TimedThreadFactory factory;
    Work work([] { throw std::runtime_error("lost"); });
    TimedThreadIfc* timedThread = factory.getNewTimedThread(&work);
    EXPECT_EQ(timedThread->runForAMaximumOf(0), 0);
    EXPECT_TRUE(eventually([&] { return !commands.commands().empty(); }));
    EXPECT_EQ(timedThread->waitForCompletion(0), 0);
    factory.deleteTimedThread(timedThread);
    EXPECT_THAT(log.lines(),
                ElementsAre(support::LogLine{
                    LOG_EMERG, "****** GPALThread - exception caught - TimedThread - lost"}));
    EXPECT_THAT(commands.commands(), ElementsAre("reboot"));
}
