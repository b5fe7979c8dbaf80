// Threads cancelled wherever they are, and locks that many threads share.
#include <array>
#include <atomic>
#include <gtest/gtest.h>

#include "storms/storm.h"

using storms::Dice;
using storms::onThreads;
using storms::times;

namespace
{

constexpr int NO_TIME = 0;

/// A thread that goes about its work until it is cancelled. What it shares with others it locks
/// with cancellation held off, as clients have to.
class Worker : public Threadable
{
public:
    Worker(unsigned int seed, Semaphore& shared, int& counter)
        : m_dice(seed), m_shared(shared), m_counter(counter)
    {
    }

    void run() override
    {
        for (;;) {
            work();
            m_threader.unProtectFromDestroy();
        }
    }

    int counted() const { return m_counted; }

private:
    void work()
    {
        switch (m_dice.below(5)) {
        case 0:
            m_event.wait(m_dice.below(2));
            return;
        case 1:
            m_own.take(m_dice.below(2));
            m_own.give();
            return;
        case 2: {
            const CriticalSection section(m_own);
            GPALSleep().milliSleep(m_dice.below(2));
            return;
        }
        case 3:
            m_event.signal();
            return;
        default:
            m_threader.protectFromDestroy();
            m_shared.take(-1);
            m_counter += 1;
            m_counted += 1;
            m_shared.give();
        }
    }

    Dice m_dice;
    Semaphore& m_shared;
    int& m_counter;
    int m_counted = 0;
    Threader m_threader;
    Semaphore m_own{1, 1, true};
    Wait m_event;
};

} // namespace

using ThreadsStorm = storms::Storm;

TEST_F(ThreadsStorm, threadsAreCancelledWhereverTheyAre)
{
    constexpr int DRIVERS = 8;
    const int perDriver = times(2000, 100000) / DRIVERS;
    Semaphore shared(1, 1, false);
    int counter = 0;
    std::atomic<int> ended{0};
    std::atomic<int> counted{0};
    onThreads(DRIVERS, [&](int driver) {
        Dice dice(static_cast<unsigned int>(driver));
        for (int number = 0; number < perDriver; ++number) {
            Worker worker(static_cast<unsigned int>(driver * perDriver + number), shared, counter);
            Threader threader;
            unsigned long id = 0;
            threader.spawn(&id, &worker, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
            if (dice.below(4) != 0) {
                storms::waitUpTo(dice, 500);
            }
            ASSERT_TRUE(threader.destroy(id));
            ASSERT_EQ(0, threader.waitForThreadCompletion(id));
            ++ended;
            counted += worker.counted();
        }
    });
    EXPECT_EQ(perDriver * DRIVERS, ended);
    EXPECT_EQ(counted, counter);
    EXPECT_EQ(1, stress::figuresOf(shared).count);
    EXPECT_EQ(0, stress::figuresOf(shared).waiting);
    // One that was cancelled before it began has not been announced.
    EXPECT_LE(manager().added(), ended);
    say(std::to_string(ended) + " threads cancelled, " + std::to_string(manager().added()) +
        " of them begun, the lock taken " + std::to_string(counter) + " times");
}

TEST_F(ThreadsStorm, manyThreadsShareSemaphores)
{
    constexpr int THREADS = 64;
    constexpr int SEMAPHORES = 4;
    struct Shared {
        Semaphore lock{1, 1, false};
        int counter = 0; ///< what the lock guards
        std::atomic<int> taken{0};
        std::atomic<int> late{0};
    };
    std::array<Shared, SEMAPHORES> all;
    const auto end = storms::endOfStorm(std::chrono::milliseconds(700));
    onThreads(THREADS, [&](int thread) {
        Dice dice(static_cast<unsigned int>(thread));
        while (std::chrono::steady_clock::now() < end) {
            Shared& shared = all[static_cast<std::size_t>(dice.below(SEMAPHORES))];
            // Never without a limit: a signal that reaches a waiter whose time runs out is lost.
            if (shared.lock.take(dice.below(20)) == Semaphore::AVAILABLE) {
                shared.counter += 1;
                ++shared.taken;
                shared.lock.give();
            } else {
                ++shared.late;
            }
        }
    });
    int total = 0;
    for (Shared& shared : all) {
        const stress::Figures figures = stress::figuresOf(shared.lock);
        EXPECT_EQ(shared.taken, shared.counter);
        EXPECT_EQ(shared.taken, figures.gives);
        EXPECT_EQ(shared.taken + shared.late, figures.takes);
        EXPECT_EQ(shared.late, figures.timeouts);
        EXPECT_EQ(1, figures.count);
        EXPECT_EQ(NO_TIME, figures.waiting);
        total += shared.taken;
    }
    say(std::to_string(THREADS) + " threads took " + std::to_string(SEMAPHORES) + " semaphores " +
        std::to_string(total) + " times");
}
