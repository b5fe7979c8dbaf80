#include <gpal/CriticalSection.h>

#include <gmock/gmock.h>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "support/plain_thread.h"
#include "threads/dump.h"

using testing::ElementsAre;

static_assert(!std::is_copy_constructible_v<CriticalSection>);
static_assert(!std::is_copy_assignable_v<CriticalSection>);
static_assert(std::has_virtual_destructor_v<CriticalSection>);

namespace
{

/// Notes what is called on it, and does none of it.
class RecordingSemaphore : public Semaphore
{
public:
    RecordingSemaphore() : Semaphore(0, 1, false) {}
    int take(int timeoutMs) override
    {
        m_calls.push_back("take " + std::to_string(timeoutMs));
        return AVAILABLE;
    }
    int give() override
    {
        m_calls.emplace_back("give");
        return 1;
    }
    const std::vector<std::string>& calls() const { return m_calls; }

private:
    std::vector<std::string> m_calls;
};

} // namespace

TEST(CriticalSection, holdsTheSemaphoreForTheLifeOfABlock)
{
    Semaphore semaphore(1, 1, false);
    {
        const CriticalSection section(semaphore);
        EXPECT_EQ(dumpOf(semaphore).count(), 0);
        EXPECT_EQ(dumpOf(semaphore).owner(), pthread_self());
    }
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).owner(), 0UL);
}

TEST(CriticalSection, takesWithoutLimitAndGivesThroughTheObjectsOwnFunctions)
{
    RecordingSemaphore semaphore;
    {
        const CriticalSection section(semaphore);
        EXPECT_THAT(semaphore.calls(), ElementsAre("take -1"));
    }
    EXPECT_THAT(semaphore.calls(), ElementsAre("take -1", "give"));
}

TEST(CriticalSection, givesTheSemaphoreBackWhenAnExceptionLeavesTheBlock)
{
    Semaphore semaphore(1, 1, false);
    const auto fail = [&] {
        const CriticalSection section(semaphore);
        throw std::runtime_error("on the way");
    };
    EXPECT_THROW(fail(), std::runtime_error);
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
}

TEST(CriticalSection, givesTheSemaphoreBackWhenTheThreadIsCancelled)
{
    if (!support::unwindsWhenCancelled()) {
        GTEST_SKIP() << support::NO_UNWINDING; // threads of the layer give it back all the same
    }
    Semaphore semaphore(1, 1, false);
    support::PlainThread holder([&] {
        const CriticalSection section(semaphore);
        pthread_cancel(pthread_self());
        pthread_testcancel();
    });
    holder.join();
    EXPECT_TRUE(holder.wasCancelled());
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
    EXPECT_EQ(dumpOf(semaphore).number("give() count"), 1);
    EXPECT_EQ(dumpOf(semaphore).owner(), 0UL);
}

TEST(CriticalSection, givesNothingBackWhenTheThreadIsCancelledBeforeItGotTheSemaphore)
{
    Semaphore semaphore(0, 1, false);
    support::PlainThread waiter([&] { const CriticalSection section(semaphore); });
    ASSERT_TRUE(areQueued(semaphore, 1));
    waiter.cancel();
    EXPECT_TRUE(waiter.wasCancelled());
    EXPECT_EQ(dumpOf(semaphore).number("give() count"), 0);
}

TEST(CriticalSection, nestsOnAReentrantSemaphore)
{
    Semaphore semaphore(1, 1, true);
    {
        const CriticalSection outer(semaphore);
        const CriticalSection inner(semaphore);
        EXPECT_EQ(dumpOf(semaphore).count(), -1);
    }
    EXPECT_EQ(dumpOf(semaphore).count(), 1);
}

TEST(CriticalSection, keepsThreadsFromEachOther)
{
    constexpr int ROUNDS = 500;
    Semaphore semaphore(1, 1, false);
    int unguarded = 0;
    const auto work = [&] {
        for (int round = 0; round < ROUNDS; ++round) {
            const CriticalSection section(semaphore);
            ++unguarded;
        }
    };
    support::PlainThread first(work);
    support::PlainThread second(work);
    first.join();
    second.join();
    EXPECT_EQ(unguarded, 2 * ROUNDS);
}
