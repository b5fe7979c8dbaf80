// How such a class is tested: in no time, in the test's own thread, without a device.
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/testing/FakeWaits.h>
#include <gpal/testing/ManualThreads.h>
#include <gpal/testing/RecordingSleep.h>
#include <gpal/testing/VirtualTimers.h>

#include "KeepAlive.h"

namespace
{

using testing::ElementsAre;

class KeepAliveTest : public testing::Test
{
protected:
    /// Runs the thread; whenever it waits for its timer an interval passes, \p intervals in all.
    void runFor(int intervals)
    {
        m_waits.whenWaiting([=](WaitIfc&, int) {
            m_timers.advance(m_timers.now() < intervals * 1000LL ? 1000 : 0);
        });
        m_keepAlive.start();
    }

    gpal::testing::ManualThreads m_threads;
    gpal::testing::VirtualTimers m_timers;
    gpal::testing::FakeWaits m_waits;
    gpal::testing::RecordingSleep m_sleep;
    testing::NiceMock<testing::MockFunction<bool()>> m_report;
    KeepAlive m_keepAlive{m_threads, m_timers, m_waits, 1000, m_report.AsStdFunction()};
};

TEST_F(KeepAliveTest, reportsOnceASecond)
{
    std::vector<long long> times;
    ON_CALL(m_report, Call).WillByDefault([&] {
        times.push_back(m_timers.now());
        return true;
    });
    runFor(3);
    EXPECT_THAT(times, ElementsAre(1000, 2000, 3000));
    EXPECT_THAT(m_sleep.asked(), ElementsAre());
}

TEST_F(KeepAliveTest, triesAgainAfterAPause)
{
    EXPECT_CALL(m_report, Call).WillOnce(testing::Return(false)).WillOnce(testing::Return(true));
    runFor(1);
    EXPECT_THAT(m_sleep.asked(), ElementsAre(KeepAlive::PAUSE_MS));
}

TEST_F(KeepAliveTest, givesUpUntilTheNextTime)
{
    EXPECT_CALL(m_report, Call).Times(2 * KeepAlive::ATTEMPTS); // each of which fails
    runFor(2);
}

TEST_F(KeepAliveTest, canBeStoppedAndStartedAnew)
{
    EXPECT_CALL(m_report, Call).Times(2).WillRepeatedly(testing::Return(true));
    runFor(1);
    m_keepAlive.stop();
    EXPECT_EQ(m_timers.armed(), 0U);
    runFor(2);
}

} // namespace
