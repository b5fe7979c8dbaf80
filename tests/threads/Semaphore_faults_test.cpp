// Semaphores of processes that run out of memory, and of forked children.
#include <gpal/Semaphore.h>

#include <atomic>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gpal/semaphore_c_api.h>
#include <gpal/Wait.h>

#include "support/failing_allocations.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "threads/dump.h"

namespace calls = support::calls;
using support::FailingAllocations;
using support::PlainThread;

TEST(SemaphoreWithoutMemory, isWaitedForByAThreadThatCannotBeListed)
{
    Semaphore semaphore(0, 1, false);
    {
        const FailingAllocations memory;
        EXPECT_EQ(semaphore.take(1), Semaphore::NOT_AVAILABLE);
        EXPECT_TRUE(FailingAllocations::struck());
    }
    EXPECT_EQ(dumpOf(semaphore).waitingCount(), 0);
    EXPECT_EQ(dumpOf(semaphore).number("take() timeout count"), 1);
    semaphore.give();
    EXPECT_EQ(semaphore.take(0), Semaphore::AVAILABLE) << "nobody is counted as waiting";
}

TEST(SemaphoreWithoutMemory, isHandedToAThreadThatCannotBeListed)
{
    Semaphore semaphore(0, 1, false);
    std::atomic<int> result{-1};
    PlainThread taker([&] {
        const FailingAllocations memory;
        result = semaphore.take(-1);
    });
    EXPECT_TRUE(support::eventually([&] { return dumpOf(semaphore).waitingCount() == 1; }));
    EXPECT_TRUE(dumpOf(semaphore).waitingThreads().empty());
    semaphore.give();
    taker.join();
    EXPECT_EQ(result, Semaphore::AVAILABLE);
    EXPECT_EQ(dumpOf(semaphore).waitingCount(), 0);
}

TEST(SemaphoreWithoutMemory, isNotMadeAndLeavesNothing)
{
    const long before = support::blocksInUse();
    bool made = false;
    for (int successes = 0; !made; ++successes) {
        const FailingAllocations memory(successes);
        try {
            Wait wait;
            Semaphore semaphore(1, 1, false);
            made = true;
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(FailingAllocations::struck());
        }
        EXPECT_EQ(support::blocksInUse(), before);
    }
    EXPECT_EQ(dumpTextOfAll(), "");
}

TEST(SemaphoreForC, isNullWithoutMemoryForIt)
{
    for (void* (*const make)(int, int) : {new_Semaphore, new_RSemaphore}) {
        const long before = support::blocksInUse();
        void* made = nullptr;
        int successes = 0;
        for (; made == nullptr; ++successes) {
            EXPECT_EQ(support::blocksInUse(), before);
            try {
                const FailingAllocations memory(successes);
                made = make(1, 1);
            } catch (const std::bad_alloc&) {
                ADD_FAILURE() << "a program in C catches nothing";
            }
        }
        EXPECT_GT(successes, 1);
        delete_Semaphore(made);
    }
}

TEST(SemaphoreInAForkedChild, isDestroyedAlthoughAThreadOfTheParentHeldItsLock)
{
    auto* const semaphore = new Semaphore(0, 1, false);
    std::atomic<bool> locked{false};
    std::atomic<bool> mayGoOn{false};
    const support::Replacement clock(calls::gettimeofday, [&](timeval* time, void*) {
        locked = true; // which the time is asked for with
        while (!mayGoOn) {
            usleep(1000);
        }
        return calls::gettimeofday.original(time, nullptr);
    });
    PlainThread taker([&] { semaphore->take(1); });
    EXPECT_TRUE(support::eventually([&] { return locked.load(); }));
    const pid_t child = fork();
    if (child == 0) {
        alarm(5);
        delete semaphore;
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    mayGoOn = true;
    taker.join();
    delete semaphore;
}
