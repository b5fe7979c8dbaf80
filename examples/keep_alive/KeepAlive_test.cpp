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
        waits.whenWaiting(
            [=](WaitIfc&, int) { timers.advance(timers.now() < intervals * 1000 ? 1000 : 0); });
        keepAlive.start();
    }

    gpal::testing::ManualThreads threads;
    gpal::testing::VirtualTimers timers;
    gpal::testing::FakeWaits waits;
    gpal::testing::RecordingSleep sleep;
    testing::NiceMock<testing::MockFunction<bool()>> report;
    KeepAlive keepAlive{threads, timers, waits, 1000, report.AsStdFunction()};
};

TEST_F(KeepAliveTest, reportsOnceASecond)
{
    std::vector<long long> times;
    ON_CALL(report, Call).WillByDefault([&] {
        times.push_back(timers.now());
        return true;
    });
    runFor(3);
    EXPECT_THAT(times, ElementsAre(1000, 2000, 3000));
    EXPECT_THAT(sleep.asked(), ElementsAre());
}

TEST_F(KeepAliveTest, triesAgainAfterAPause)
{
    EXPECT_CALL(report, Call).WillOnce(testing::Return(false)).WillOnce(testing::Return(true));
    runFor(1);
    EXPECT_THAT(sleep.asked(), ElementsAre(KeepAlive::PAUSE_MS));
}

TEST_F(KeepAliveTest, givesUpUntilTheNextTime)
{
    EXPECT_CALL(report, Call).Times(2 * KeepAlive::ATTEMPTS); // each of which fails
    runFor(2);
}

TEST_F(KeepAliveTest, canBeStoppedAndStartedAnew)
{
    EXPECT_CALL(report, Call).Times(2).WillRepeatedly(testing::Return(true));
    runFor(1);
    keepAlive.stop();
    EXPECT_EQ(timers.armed(), 0U);
    runFor(2);
}

} // namespace
