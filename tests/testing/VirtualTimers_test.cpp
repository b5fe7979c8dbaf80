// Timers that expire when the test says so.
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <gpal/testing/VirtualTimers.h>

namespace
{

using gpal::testing::VirtualTimers;
using testing::ElementsAre;
using Timer = std::unique_ptr<osTimerIfc>;

/// Writes down the ids of the timers that expire, and does what the test wants besides.
class Expiries : public timeAble
{
public:
    int timerExpired(osTimerIfc* timer) override
    {
        ids.push_back(timer->id());
        also(*timer);
        return 0;
    }

    std::vector<int> ids;
    std::function<void(osTimerIfc&)> also = [](osTimerIfc&) {};
};

class VirtualTimersTest : public testing::Test
{
protected:
    Timer newTimer(int intervalMs)
    {
        Timer timer(timers.getTimer());
        timer->init(&expiries, intervalMs);
        return timer;
    }

    VirtualTimers timers;
    Expiries expiries;
};

TEST_F(VirtualTimersTest, expireWhenTheTestLetsTheTimePass)
{
    const Timer timer = newTimer(200);
    timer->start();
    timers.advance(199);
    EXPECT_TRUE(timer->isRunning());
    EXPECT_THAT(expiries.ids, ElementsAre());

    timers.advance(1);
    EXPECT_FALSE(timer->isRunning());
    EXPECT_THAT(expiries.ids, ElementsAre(timer->id()));
}

TEST_F(VirtualTimersTest, expireOnceAndAreArmedAnewByTheApplication)
{
    const Timer timer = newTimer(100);
    timer->start();
    timers.advance(1000);
    EXPECT_EQ(expiries.ids.size(), 1U);

    timer->start();
    timers.advance(100);
    EXPECT_EQ(expiries.ids.size(), 2U);
}

TEST_F(VirtualTimersTest, callBackInTheOrderOfTheirExpiries)
{
    const Timer late = newTimer(300);
    const Timer early = newTimer(100);
    late->start();
    early->start();
    timers.advance(300);
    EXPECT_THAT(expiries.ids, ElementsAre(early->id(), late->id()));
}

TEST_F(VirtualTimersTest, callBackTheLastArmedFirstOfThoseDueTogether)
{
    const Timer first = newTimer(100);
    const Timer second = newTimer(100);
    first->start();
    second->start();
    timers.advance(100);
    EXPECT_THAT(expiries.ids, ElementsAre(second->id(), first->id()));
}

TEST_F(VirtualTimersTest, callBackInTheThreadThatAdvancesTheClock)
{
    std::thread::id thread;
    expiries.also = [&](osTimerIfc&) { thread = std::this_thread::get_id(); };
    const Timer timer = newTimer(50);
    timer->start();
    timers.advance(50);
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(VirtualTimersTest, tellTheTimeThatHasPassed)
{
    std::vector<long long> times;
    expiries.also = [&](osTimerIfc&) { times.push_back(timers.now()); };
    const Timer one = newTimer(60);
    const Timer other = newTimer(70);
    one->start();
    other->start();
    timers.advance(100);
    EXPECT_THAT(times, ElementsAre(60, 70));
    EXPECT_EQ(timers.now(), 100);
    timers.advance(-5);
    EXPECT_EQ(timers.now(), 100);
}

TEST_F(VirtualTimersTest, canBeUsedByOtherThreads)
{
    const Timer timer = newTimer(50);
    std::thread([&] { timer->start(); }).join();
    EXPECT_EQ(timers.armed(), 1U);
    timers.advance(50);
    EXPECT_THAT(expiries.ids, ElementsAre(timer->id()));
}

TEST_F(VirtualTimersTest, mayOutliveTheirFactory)
{
    auto factory = std::make_unique<VirtualTimers>();
    const Timer timer(factory->getTimer());
    factory.reset();
    EXPECT_TRUE(timer->start());
    EXPECT_TRUE(timer->stop());
}

TEST_F(VirtualTimersTest, leaveWithTheExceptionOfACallback)
{
    const Timer timer = newTimer(50);
    expiries.also = [](osTimerIfc&) { throw std::string("escaped"); };
    timer->start();
    EXPECT_THROW(timers.advance(50), std::string);
    EXPECT_FALSE(timer->isRunning());
    EXPECT_EQ(timers.armed(), 0U);
}

/// Lets a timer expire whose callback does what it must not, and expects the test to fail of it.
class InACallback : public VirtualTimersTest
{
protected:
    void expectRefusal(const std::function<void(osTimerIfc&)>& deed, const std::string& message)
    {
        testing::TestPartResultArray failures;
        {
            const testing::ScopedFakeTestPartResultReporter reporter(
                testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &failures);
            expiries.also = deed;
            expiring->start();
            timers.advance(50);
            expiries.also = [](osTimerIfc&) {};
        }
        ASSERT_EQ(failures.size(), 1);
        EXPECT_THAT(failures.GetTestPartResult(0).message(), testing::HasSubstr(message));
        EXPECT_EQ(expiries.ids.size(), 1U);
    }

    Timer expiring = newTimer(50); // timer 1
    Timer other = newTimer(100);   // timer 2
};

TEST_F(InACallback, noTimerIsStarted)
{
    expectRefusal([](osTimerIfc& timer) { EXPECT_FALSE(timer.start()); },
                  "start() of timer 1 in the callback of timer 1");
    EXPECT_EQ(timers.armed(), 0U);
}

TEST_F(InACallback, noTimerIsStopped)
{
    other->start();
    expectRefusal([this](osTimerIfc&) { EXPECT_FALSE(other->stop()); },
                  "stop() of timer 2 in the callback of timer 1");
    EXPECT_TRUE(other->isRunning());
}

TEST_F(InACallback, noTimerIsReset)
{
    other->start();
    expectRefusal([this](osTimerIfc&) { other->reset(); },
                  "reset() of timer 2 in the callback of timer 1");
    timers.advance(50); // and it is due when it was
    EXPECT_EQ(expiries.ids.size(), 2U);
}

TEST_F(InACallback, noTimerIsDestroyed)
{
    other->start();
    expectRefusal([this](osTimerIfc&) { other = nullptr; },
                  "destruction of timer 2 in the callback of timer 1");
    EXPECT_EQ(timers.armed(), 0U);
}

TEST_F(InACallback, theExpiringTimerIsNotDestroyedEither)
{
    expectRefusal([this](osTimerIfc&) { expiring = nullptr; },
                  "destruction of timer 1 in the callback of timer 1");
    EXPECT_EQ(timers.armed(), 0U);
}

TEST_F(InACallback, theExpiringTimerIsNotAskedWhetherItRuns)
{
    expectRefusal([](osTimerIfc& timer) { timer.isRunning(); },
                  "isRunning() of timer 1 in the callback of timer 1");
}

TEST_F(InACallback, theClockIsNotAdvanced)
{
    expectRefusal([this](osTimerIfc&) { timers.advance(1000); },
                  "advance() in the callback of timer 1");
    EXPECT_EQ(timers.now(), 50);
}

TEST_F(InACallback, otherTimersMayBeAskedAndInitialised)
{
    other->start();
    expiries.also = [this](osTimerIfc& timer) {
        EXPECT_TRUE(other->isRunning());
        EXPECT_EQ(timers.armed(), 2U);
        timer.init(&expiries, 500);
        EXPECT_EQ(timer.id(), 3);
    };
    expiring->start();
    timers.advance(50);
    EXPECT_FALSE(expiring->isRunning());
}

} // namespace
