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
#include <gpal/Wait.h>

namespace
{

using testing::ElementsAre;

/// The real timers, and time that passes by itself.
class RealTime
{
public:
    RealTime() { m_monitor.start(); }
    OSTimerFactoryIfc& timers() { return m_timers; }

    /// Lets at least \p ms milliseconds pass. What was due then has been served, however busy the
    /// machine is.
    void pass(int ms)
    {
        sleep(ms);
        // What was due before this timer is served before it or in the same pass, whose end its
        // being armed once more waits for.
        Signal expired;
        const std::unique_ptr<osTimerIfc> last(m_timers.getTimer());
        last->init(&expired, 50);
        last->start();
        expired.wait();
        last->start();
        last->stop();
    }

    static void sleep(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

    static long long now()
    {
        const auto time = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    }

private:
    class Signal : public timeAble
    {
    public:
        void wait() { m_event.wait(-1); }
        int timerExpired(osTimerIfc* /*timer*/) override
        {
            m_event.signal();
            return 0;
        }

    private:
        Wait m_event;
    };

    osTimerThread m_monitor;
    OSTimerFactory m_timers;
};

class VirtualTime
{
public:
    gpal::testing::VirtualTimers& timers() { return m_timers; }
    void pass(int ms) { m_timers.advance(ms); }
    long long now() const { return m_timers.now(); }

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
        explicit Receiver(const Time& time) : m_time(time) {}
        int timerExpired(osTimerIfc* timer) override
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_ids.push_back(timer->id());
            m_last = m_time.now();
            if (timer->id() == m_sleeper) {
                RealTime::sleep(m_sleepMs);
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
        /// When it was called last.
        long long last() const
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            return m_last;
        }

    private:
        const Time& m_time;
        mutable std::mutex m_mutex;
        std::vector<int> m_ids;
        long long m_last = 0;
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

    static constexpr int LATER = 1000; ///< no machine is so busy that this passes between two lines
    static constexpr int LONG = 60000; ///< in no test does so much time pass

    Time m_time;
    Receiver m_receiver{m_time};
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
    this->m_time.pass(100);
    EXPECT_THAT(this->m_receiver.ids(), ElementsAre(timer->id()));
    EXPECT_FALSE(timer->isRunning());
    EXPECT_FALSE(timer->stop());
}

TYPED_TEST(TimersAlike, takeFiftyMillisecondsAtLeast)
{
    for (const int interval : {0, -20, 49}) {
        const auto timer = this->newTimer(interval);
        const long long start = this->m_time.now();
        timer->start();
        this->m_time.pass(100);
        EXPECT_FALSE(timer->isRunning()) << interval;
        EXPECT_GE(this->m_receiver.last() - start, 50) << interval;
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
    timers[1]->init(&this->m_receiver, TestFixture::LATER);
    timers[1]->start(); // it was in the list and keeps its place
    timers[0]->init(&this->m_receiver, TestFixture::LATER);
    timers[0]->start();
    timers[0]->reset(); // is now the one that was armed last
    timers[2]->init(&this->m_receiver, TestFixture::LATER);
    timers[2]->start();
    const auto blocker = this->newTimer(50);
    this->m_receiver.sleepFor(blocker->id(), TestFixture::LATER + 10);
    blocker->start();
    this->m_time.pass(TestFixture::LATER + 10);
    EXPECT_THAT(this->m_receiver.ids(),
                ElementsAre(blocker->id(), timers[0]->id(), timers[2]->id(), timers[1]->id()));
}

TYPED_TEST(TimersAlike, passSilentlyWhenTheyAreInitialisedWhileArmed)
{
    const auto timer = this->newTimer(TestFixture::LATER);
    timer->start();
    timer->init(&this->m_receiver, TestFixture::LONG);
    EXPECT_FALSE(timer->isRunning());
    this->m_time.pass(TestFixture::LATER);
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
    this->m_time.pass(100);
    EXPECT_FALSE(timer->isRunning());
}

TYPED_TEST(TimersAlike, doNotExpireOnceTheyAreDestroyed)
{
    auto timer = this->newTimer(TestFixture::LATER);
    timer->start();
    timer = nullptr;
    this->m_time.pass(TestFixture::LATER);
    EXPECT_THAT(this->m_receiver.ids(), ElementsAre());
}

} // namespace
