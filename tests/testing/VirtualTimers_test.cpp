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
        Timer timer(m_timers.getTimer());
        timer->init(&m_expiries, intervalMs);
        return timer;
    }

    VirtualTimers m_timers;
    Expiries m_expiries;
};

TEST_F(VirtualTimersTest, expireWhenTheTestLetsTheTimePass)
{
    const Timer timer = newTimer(200);
    timer->start();
    m_timers.advance(199);
    EXPECT_TRUE(timer->isRunning());
    EXPECT_THAT(m_expiries.ids, ElementsAre());

    m_timers.advance(1);
    EXPECT_FALSE(timer->isRunning());
    EXPECT_THAT(m_expiries.ids, ElementsAre(timer->id()));
}

TEST_F(VirtualTimersTest, expireOnceAndAreArmedAnewByTheApplication)
{
    const Timer timer = newTimer(100);
    timer->start();
    m_timers.advance(1000);
    EXPECT_EQ(m_expiries.ids.size(), 1U);

    timer->start();
    m_timers.advance(100);
    EXPECT_EQ(m_expiries.ids.size(), 2U);
}

TEST_F(VirtualTimersTest, callBackInTheOrderOfTheirExpiries)
{
    const Timer late = newTimer(300);
    const Timer early = newTimer(100);
    late->start();
    early->start();
    m_timers.advance(300);
    EXPECT_THAT(m_expiries.ids, ElementsAre(early->id(), late->id()));
}

TEST_F(VirtualTimersTest, callBackTheLastArmedFirstOfThoseDueTogether)
{
    const Timer first = newTimer(100);
    const Timer second = newTimer(100);
    first->start();
    second->start();
    m_timers.advance(100);
    EXPECT_THAT(m_expiries.ids, ElementsAre(second->id(), first->id()));
}

TEST_F(VirtualTimersTest, callBackInTheThreadThatAdvancesTheClock)
{
    std::thread::id thread;
    m_expiries.also = [&](osTimerIfc&) { thread = std::this_thread::get_id(); };
    const Timer timer = newTimer(50);
    timer->start();
    m_timers.advance(50);
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(VirtualTimersTest, tellTheTimeThatHasPassed)
{
    std::vector<long long> times;
    m_expiries.also = [&](osTimerIfc&) { times.push_back(m_timers.now()); };
    const Timer one = newTimer(60);
    const Timer other = newTimer(70);
    one->start();
    other->start();
    m_timers.advance(100);
    EXPECT_THAT(times, ElementsAre(60, 70));
    EXPECT_EQ(m_timers.now(), 100);
    m_timers.advance(-5);
    EXPECT_EQ(m_timers.now(), 100);
}

TEST_F(VirtualTimersTest, canBeUsedByOtherThreads)
{
    const Timer timer = newTimer(50);
    std::thread([&] { timer->start(); }).join();
    EXPECT_EQ(m_timers.armed(), 1U);
    m_timers.advance(50);
    EXPECT_THAT(m_expiries.ids, ElementsAre(timer->id()));
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
    m_expiries.also = [](osTimerIfc&) { throw std::string("escaped"); };
    timer->start();
    EXPECT_THROW(m_timers.advance(50), std::string);
    EXPECT_FALSE(timer->isRunning());
    EXPECT_EQ(m_timers.armed(), 0U);
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
            m_expiries.also = deed;
            m_expiring->start();
            m_timers.advance(50);
            m_expiries.also = [](osTimerIfc&) {};
        }
        ASSERT_EQ(failures.size(), 1);
        EXPECT_THAT(failures.GetTestPartResult(0).message(), testing::HasSubstr(message));
        EXPECT_EQ(m_expiries.ids.size(), 1U);
    }

    Timer m_expiring = newTimer(50); // timer 1
    Timer m_other = newTimer(100);   // timer 2
};

TEST_F(InACallback, noTimerIsStarted)
{
    expectRefusal([](osTimerIfc& timer) { EXPECT_FALSE(timer.start()); },
                  "start() of timer 1 in the callback of timer 1");
    EXPECT_EQ(m_timers.armed(), 0U);
}

TEST_F(InACallback, noTimerIsStopped)
{
    m_other->start();
    expectRefusal([this](osTimerIfc&) { EXPECT_FALSE(m_other->stop()); },
                  "stop() of timer 2 in the callback of timer 1");
    EXPECT_TRUE(m_other->isRunning());
}

TEST_F(InACallback, noTimerIsReset)
{
    m_other->start();
    expectRefusal([this](osTimerIfc&) { m_other->reset(); },
                  "reset() of timer 2 in the callback of timer 1");
    m_timers.advance(50); // and it is due when it was
    EXPECT_EQ(m_expiries.ids.size(), 2U);
}

TEST_F(InACallback, noTimerIsDestroyed)
{
    m_other->start();
    expectRefusal([this](osTimerIfc&) { m_other = nullptr; },
                  "destruction of timer 2 in the callback of timer 1");
    EXPECT_EQ(m_timers.armed(), 0U);
}

TEST_F(InACallback, theExpiringTimerIsNotDestroyedEither)
{
    expectRefusal([this](osTimerIfc&) { m_expiring = nullptr; },
                  "destruction of timer 1 in the callback of timer 1");
    EXPECT_EQ(m_timers.armed(), 0U);
}

TEST_F(InACallback, theExpiringTimerIsNotAskedWhetherItRuns)
{
    expectRefusal([](osTimerIfc& timer) { timer.isRunning(); },
                  "isRunning() of timer 1 in the callback of timer 1");
}

TEST_F(InACallback, theClockIsNotAdvanced)
{
    expectRefusal([this](osTimerIfc&) { m_timers.advance(1000); },
                  "advance() in the callback of timer 1");
    EXPECT_EQ(m_timers.now(), 50);
}

TEST_F(InACallback, otherTimersMayBeAskedAndInitialised)
{
    m_other->start();
    m_expiries.also = [this](osTimerIfc& timer) {
        EXPECT_TRUE(m_other->isRunning());
        EXPECT_EQ(m_timers.armed(), 2U);
        timer.init(&m_expiries, 500);
        EXPECT_EQ(timer.id(), 3);
    };
    m_expiring->start();
    m_timers.advance(50);
    EXPECT_FALSE(m_expiring->isRunning());
}

} // namespace
