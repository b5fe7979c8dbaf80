// Bodies in the test's own thread and on threads of the layer: the same scenes are played with
// both.
#include <atomic>
#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

#include <gpal/testing/ManualThreads.h>
#include <gpal/Threader.h>

namespace
{

class OnDemand : public gpal::testing::ManualThreads
{
public:
    OnDemand() : ManualThreads(ON_DEMAND) {}
};

class RunCounter : public Threadable
{
public:
    void run() override { runs += 1; }
    std::atomic<int> runs{0};
};

template <typename Factory>
class ThreadersAlike : public testing::Test
{
protected:
    bool spawn(unsigned long* id, Threadable* threadable)
    {
        return m_threader->spawn(id, threadable, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    }

    Factory m_factory;
    const std::unique_ptr<ThreaderIfc> m_threader{m_factory.createNewThreader()};
    RunCounter m_body;
    unsigned long m_thread = 0;
};

using Factories = testing::Types<ThreaderFactory, gpal::testing::ManualThreads, OnDemand>;
TYPED_TEST_SUITE(ThreadersAlike, Factories);

TYPED_TEST(ThreadersAlike, haveRunTheBodyOnceItIsJoined)
{
    EXPECT_TRUE(this->spawn(&this->m_thread, &this->m_body));
    EXPECT_NE(this->m_thread, 0U);
    EXPECT_EQ(this->m_body.threadId(), this->m_thread);
    EXPECT_EQ(this->m_threader->waitForThreadCompletion(this->m_thread), 0);
    EXPECT_EQ(this->m_body.runs, 1);
}

TYPED_TEST(ThreadersAlike, refuseWhatIsMissing)
{
    EXPECT_FALSE(this->spawn(nullptr, &this->m_body));
    EXPECT_FALSE(this->spawn(&this->m_thread, nullptr));
    EXPECT_EQ(this->m_thread, 0U);
    EXPECT_FALSE(this->m_threader->destroy(0));
    EXPECT_EQ(this->m_threader->waitForThreadCompletion(0), ESRCH);
}

TYPED_TEST(ThreadersAlike, giveIdsThatTheBodyCanBeJoinedBy)
{
    EXPECT_TRUE(this->spawn(&this->m_thread, &this->m_body));
    EXPECT_EQ(this->m_body.waitForThreadCompletion(), 0);
}

TYPED_TEST(ThreadersAlike, destroyAThreadThatIsJoinedAfterwards)
{
    EXPECT_TRUE(this->spawn(&this->m_thread, &this->m_body));
    EXPECT_TRUE(this->m_threader->destroy(this->m_thread));
    EXPECT_EQ(this->m_threader->waitForThreadCompletion(this->m_thread), 0);
}

} // namespace
