#include <gpal/osPOSIXTimer.h>

#include <chrono>
#include <pthread.h>
#include <thread>

#include <gmock/gmock.h>

#include "support/observed.h"
#include "timers/sigev_thread_shim.h"
#include "timers/timer_helpers.h"

using support::Captured;
using testing::ElementsAre;
using timertest::Owner;
using timertest::Receiver;
using timertest::soon;
using timertest::text;

TEST(PosixTimerOnTheSystem, callsBackOnceOnAnotherThreadAfterTheInterval)
{
    const timertest::SigevThreadService service;
    const Captured output(1);
    Receiver receiver;
    Owner owner;
    osPOSIXTimer timer(&receiver, 30, &owner);
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    EXPECT_EQ(receiver.calls(), 0) << "the constructor arms nothing";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(timer.start());
    ASSERT_TRUE(soon([&] { return receiver.calls() > 0; }));
    EXPECT_GE(support::millisecondsSince(start), 29);
    EXPECT_FALSE(pthread_equal(receiver.lastThread(), pthread_self()));
    std::this_thread::sleep_for(std::chrono::milliseconds(70));
    EXPECT_THAT(receiver.owners(), ElementsAre(&owner));
    EXPECT_THAT(output.text(),
                testing::ContainsRegex("\nosPosixTimer::timerEvent\\([-0-9]+\\)\n$"));
}

TEST(PosixTimerOnTheSystem, canBeArmedAgain)
{
    const timertest::SigevThreadService service;
    const Captured output(1);
    Receiver receiver;
    osPOSIXTimer timer(&receiver, 5, nullptr);
    for (int expected = 1; expected <= 3; ++expected) {
        EXPECT_TRUE(timer.start());
        ASSERT_TRUE(soon([&] { return receiver.calls() == expected; }));
    }
}

TEST(PosixTimerOnTheSystem, stoppedOrOfIntervalZeroNeverCallsBack)
{
    const timertest::SigevThreadService service;
    const Captured output(1);
    Receiver receiver;
    osPOSIXTimer stopped(&receiver, 2000, nullptr);
    osPOSIXTimer zero(&receiver, 0, nullptr);
    EXPECT_TRUE(stopped.start());
    EXPECT_TRUE(zero.start());
    EXPECT_TRUE(stopped.stop());
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    itimerspec disarmed{};
    itimerspec former{{1, 1}, {1, 1}};
    EXPECT_TRUE(stopped.setTimer(&disarmed, &former));
    EXPECT_EQ(text(former), "0.000000000 every 0.000000000");
    EXPECT_EQ(receiver.calls(), 0);
}

TEST(PosixTimerOnTheSystem, resetMovesTheExpiryToAWholeIntervalFromNow)
{
    constexpr long INTERVAL = 60000;
    const timertest::SigevThreadService service;
    const Captured output(1);
    osPOSIXTimer timer(nullptr, INTERVAL, nullptr);
    EXPECT_TRUE(timer.start());
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const auto beforeReset = std::chrono::steady_clock::now();
    EXPECT_TRUE(timer.reset());
    itimerspec disarmed{};
    itimerspec former{};
    EXPECT_TRUE(timer.setTimer(&disarmed, &former));
    const long left = former.it_value.tv_sec * 1000L + former.it_value.tv_nsec / 1000000L;
    EXPECT_GE(left, INTERVAL - support::millisecondsSince(beforeReset) - 5);
    EXPECT_LE(left, INTERVAL);
}
