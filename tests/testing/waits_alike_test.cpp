// Event objects that block and those that never do: the same scenes are played with both.
#include <memory>

#include <gtest/gtest.h>

#include <gpal/testing/FakeWaits.h>
#include <gpal/Wait.h>

namespace
{

template <typename Factory>
class WaitsAlike : public testing::Test
{
protected:
    Factory m_factory;
    const std::unique_ptr<WaitIfc> m_event{m_factory.getNewWait()};
};

using WaitFactories = testing::Types<WaitFactory, gpal::testing::FakeWaits>;
TYPED_TEST_SUITE(WaitsAlike, WaitFactories);

TYPED_TEST(WaitsAlike, rememberOneSignalAtMost)
{
    EXPECT_EQ(this->m_event->signal(), 1);
    EXPECT_EQ(this->m_event->signal(), 1);
    EXPECT_EQ(this->m_event->wait(), 1);
    EXPECT_EQ(this->m_event->wait(0), 0);
}

TYPED_TEST(WaitsAlike, sayWhenTheTimeHasRunOut)
{
    EXPECT_EQ(this->m_event->wait(20), 0);
    EXPECT_EQ(this->m_event->wait(-2), 0);
}

TYPED_TEST(WaitsAlike, consumeASignalWithinTheLimit)
{
    this->m_event->signal();
    EXPECT_EQ(this->m_event->wait(20), 1);
    EXPECT_EQ(this->m_event->wait(20), 0);
}

} // namespace
