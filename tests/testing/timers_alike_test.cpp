// Virtual timers mean what the real ones mean: the same scenes are played with both.
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/testing/VirtualTimers.h>

namespace
{

using testing::ElementsAre;

/// The real timers, and time that passes by itself.
class RealTime
{
public:
    RealTime() { m_monitor.start(); }
    OSTimerFactoryIfc& timers() { return m_timers; }
    static void pass(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

private:
    osTimerThread m_monitor;
    OSTimerFactory m_timers;
};

class VirtualTime
{
public:
    gpal::testing::VirtualTimers& timers() { return m_timers; }
    void pass(int ms) { m_timers.advance(ms); }

private:
    gpal::testing::VirtualTimers m_timers;
};

template <typename Time>
class TimersAlike : public testing::Test
{
protected:
    class Receiver : public timeAble
    {
    public:
        int timerExpired(osTimerIfc* timer) override
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_ids.push_back(timer->id());
            if (timer->id() == m_sleeper) {
                RealTime::pass(m_sleepMs);
            }
            return 0;
        }
        /// Lets the callback of a timer take its time.
        void sleepFor(int id, int ms)
        {
            m_sleeper = id;
            m_sleepMs = ms;
        }
        std::vector<int> ids() const
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            return m_ids;
        }

    private:
        mutable std::mutex m_mutex;
        std::vector<int> m_ids;
        int m_sleeper = 0;
        int m_sleepMs = 0;
    };

    std::unique_ptr<osTimerIfc> newTimer()
    {
        return std::unique_ptr<osTimerIfc>(m_time.timers().getTimer());
    }
    std::unique_ptr<osTimerIfc> newTimer(int intervalMs)
    {
        auto timer = newTimer();
        timer->init(&m_receiver, intervalMs);
        return timer;
    }

    static constexpr int LONG = 60000; ///< in no test does so much time pass

    Time m_time;
    Receiver m_receiver;
};

using Times = testing::Types<RealTime, VirtualTime>;
TYPED_TEST_SUITE(TimersAlike, Times);

TYPED_TEST(TimersAlike, haveConsecutiveIdsFromTheirInitialisationOn)
{
    const auto timer = this->newTimer();
    EXPECT_EQ(timer->id(), -1);
    const int id = timer->init(&this->m_receiver, 100);
    EXPECT_EQ(timer->id(), id);
    EXPECT_EQ(timer->init(&this->m_receiver, 100), id + 1);
    EXPECT_EQ(this->newTimer(100)->id(), id + 2);
}

TYPED_TEST(TimersAlike, areIdleUntilArmed)
{
    const auto timer = this->newTimer(TestFixture::LONG);
    EXPECT_FALSE(timer->isRunning());
    EXPECT_FALSE(timer->stop());
    EXPECT_TRUE(timer->start());
    EXPECT_TRUE(timer->isRunning());
    EXPECT_TRUE(timer->start());
    EXPECT_TRUE(timer->stop());
    EXPECT_FALSE(timer->isRunning());
    EXPECT_FALSE(timer->stop());
}

TYPED_TEST(TimersAlike, areResetOnlyWhileTheyAreArmed)
{
    const auto timer = this->newTimer(TestFixture::LONG);
    EXPECT_TRUE(timer->reset());
    EXPECT_FALSE(timer->isRunning());
    timer->start();
    EXPECT_TRUE(timer->reset());
    EXPECT_TRUE(timer->isRunning());
}

TYPED_TEST(TimersAlike, expireOnceAndAreIdleThen)
{
    const auto timer = this->newTimer(60);
    timer->start();
    this->m_time.pass(250);
    EXPECT_THAT(this->m_receiver.ids(), ElementsAre(timer->id()));
    EXPECT_FALSE(timer->isRunning());
    EXPECT_FALSE(timer->stop());
}

TYPED_TEST(TimersAlike, takeFiftyMillisecondsAtLeast)
{
    for (const int interval : {0, -20, 49}) {
        const auto timer = this->newTimer(interval);
        timer->start();
        this->m_time.pass(5);
        EXPECT_TRUE(timer->isRunning()) << interval;
        this->m_time.pass(200);
        EXPECT_FALSE(timer->isRunning()) << interval;
    }
}

// Several are due together for the real monitor when a callback has kept it from them.
TYPED_TEST(TimersAlike, serveTheLastArmedFirstOfThoseDueTogether)
{
    std::vector<std::unique_ptr<osTimerIfc>> timers;
    for (int count = 0; count < 3; ++count) {
        timers.push_back(this->newTimer(TestFixture::LONG));
        timers.back()->start();
    }
    timers[1]->init(&this->m_receiver, 400);
    timers[1]->start(); // it was in the list and keeps its place
    timers[0]->init(&this->m_receiver, 400);
    timers[0]->start();
    timers[0]->reset(); // is now the one that was armed last
    timers[2]->init(&this->m_receiver, 400);
    timers[2]->start();
    const auto blocker = this->newTimer(50);
    this->m_receiver.sleepFor(blocker->id(), 450);
    blocker->start();
    this->m_time.pass(600);
    EXPECT_THAT(this->m_receiver.ids(),
                ElementsAre(blocker->id(), timers[0]->id(), timers[2]->id(), timers[1]->id()));
}

TYPED_TEST(TimersAlike, passSilentlyWhenTheyAreInitialisedWhileArmed)
{
    const auto timer = this->newTimer(60);
    timer->start();
    timer->init(&this->m_receiver, TestFixture::LONG);
    EXPECT_FALSE(timer->isRunning());
    this->m_time.pass(200);
    EXPECT_THAT(this->m_receiver.ids(), ElementsAre());
    EXPECT_FALSE(timer->stop()); // it has left the list
}

TYPED_TEST(TimersAlike, areInTheListStillWhenTheyAreInitialisedWhileArmed)
{
    const auto timer = this->newTimer(TestFixture::LONG);
    timer->start();
    timer->init(&this->m_receiver, TestFixture::LONG);
    EXPECT_TRUE(timer->stop());
}

TYPED_TEST(TimersAlike, callNobodyWithoutAReceiver)
{
    const auto timer = this->newTimer();
    timer->init(nullptr, 50);
    timer->start();
    this->m_time.pass(150);
    EXPECT_FALSE(timer->isRunning());
}

TYPED_TEST(TimersAlike, doNotExpireOnceTheyAreDestroyed)
{
    auto timer = this->newTimer(50);
    timer->start();
    timer = nullptr;
    this->m_time.pass(150);
    EXPECT_THAT(this->m_receiver.ids(), ElementsAre());
}

} // namespace
