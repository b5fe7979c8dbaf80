// Timed threads when threads or memory can't be had.
#include <gpal/TimedThread.h>

#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/failing_allocations.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "threads/dump.h"
#include "threads/work.h"

namespace calls = support::calls;
using support::FailingAllocations;
using support::PlainThread;

TEST(TimedThreadFactoryWithoutThreads, neitherCancelsNorJoinsWhoeverHasTheIdOfARefusedOne)
{
    std::atomic<bool> mayEnd{false};
    std::atomic<bool> ended{false};
    PlainThread stranger([&] {
        while (!mayEnd) {
            usleep(1000);
        }
        ended = true;
    });
    TimedThreadFactory factory;
    Work work;
    TimedThreadIfc* timedThread = factory.getNewTimedThread(&work);
    {
        const support::Replacement create(
            calls::pthread_create,
            [&](pthread_t* thread, const pthread_attr_t*, void* (*)(void*), void*) {
                *thread = stranger.id(); // stored before the kernel refuses, and used again
                return EAGAIN;
            });
        EXPECT_EQ(timedThread->runForAMaximumOf(1), 0);
    }
    EXPECT_TRUE(factory.deleteTimedThread(timedThread));
    mayEnd = true;
    stranger.join();
    EXPECT_TRUE(ended);
}

TEST(TimedThreadFactoryWithoutMemory, losesNoTimedThreadThatItCannotList)
{
    TimedThreadFactory factory;
    Work work;
    TimedThreadIfc* timedThread = nullptr;
    const long before = support::blocksInUse();
    for (int successes = 0; timedThread == nullptr; ++successes) {
        const FailingAllocations memory(successes);
        try {
            timedThread = factory.getNewTimedThread(&work);
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(support::blocksInUse(), before);
        }
    }
    EXPECT_EQ(timedThread->runForAMaximumOf(-1), 1);
    EXPECT_TRUE(factory.deleteTimedThread(timedThread));
    EXPECT_FALSE(factory.killAllTimedThread());
}

TEST(TimedThreadFactoryWithoutMemory, isNotMadeAndLeavesNothing)
{
    const long before = support::blocksInUse();
    bool made = false;
    for (int successes = 0; !made; ++successes) {
        const FailingAllocations memory(successes);
        try {
            TimedThreadFactory factory;
            made = true;
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(FailingAllocations::struck());
        }
        EXPECT_EQ(support::blocksInUse(), before);
    }
    EXPECT_EQ(dumpTextOfAll(), "");
}
