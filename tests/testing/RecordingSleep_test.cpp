// Sleeping that takes no time.
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/GPALSleep.h>
#include <gpal/testing/BodyCancelled.h>
#include <gpal/testing/RecordingSleep.h>

namespace
{

using gpal::testing::RecordingSleep;
using testing::ElementsAre;

TEST(RecordingSleep, remembersForHowLongTheApplicationWantedToSleep)
{
    GPALSleep sleep; // one that the application has already
    const RecordingSleep recorded;
    sleep.milliSleep(250);
    sleep.secSleep(3600);
    EXPECT_THAT(recorded.asked(), ElementsAre(250, 3600000));
}

TEST(RecordingSleep, doesWhatTheTestWantsMeanwhile)
{
    RecordingSleep recorded;
    long long slept = 0;
    recorded.whenSleeping([&](long long ms) {
        slept += ms;
        if (slept >= 300) {
            throw gpal::testing::BodyCancelled{};
        }
    });
    GPALSleep sleep;
    const auto forEver = [&] {
        while (true) {
            sleep.milliSleep(100);
        }
    };
    EXPECT_THROW(forEver(), gpal::testing::BodyCancelled);
    EXPECT_EQ(slept, 300);
}

TEST(RecordingSleep, leavesRealSleepingInForce)
{
    {
        const RecordingSleep recorded;
    }
    const auto start = std::chrono::steady_clock::now();
    GPALSleep().milliSleep(20);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

} // namespace
