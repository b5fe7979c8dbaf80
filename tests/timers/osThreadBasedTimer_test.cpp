#include <gpal/osThreadBasedTimer.h>

#include <climits>
#include <memory>

#include <gmock/gmock.h>

#include <gpal/osTimer.h>

#include "timers/monitor_fixture.h"
#include "timers/timer_helpers.h"

using testing::ElementsAre;
using timertest::Monitor;
using timertest::text;

namespace
{

const unsigned int nextIdAtLoad = osThreadBasedTimer::nextID;
const osTimerThread* const managerAtLoad = osThreadBasedTimer::m_timerManager;

/// A monitor without a thread: timers can be armed, and the tests do its part.
class ThreadBasedTimer : public timertest::MonitorFixture
{
protected:
    ThreadBasedTimer() : MonitorFixture({10, 980000000}, {500, 0}) {}

    /// The expiry of an armed timer, as the monitor learns it long before.
    static std::string expiryOf(osThreadBasedTimer& timer)
    {
        timespec longBefore{-1000, 0};
        timespec next{};
        EXPECT_FALSE(timer.timerEvent(&longBefore, &next));
        return text(next);
    }

    /// The expiry when armed for an interval at a monotonic time.
    std::string expiry(const timespec& armedAt, int interval)
    {
        m_time.setMonotonic(armedAt);
        osThreadBasedTimer timer(&m_receiver, interval, nullptr);
        timer.start();
        return expiryOf(timer);
    }

    osTimer m_owner;
};

} // namespace

TEST(ThreadBasedTimerAtLoad, hasHandedOutNoIdAndKnowsNoMonitor)
{
    EXPECT_EQ(nextIdAtLoad, 0U);
    EXPECT_EQ(managerAtLoad, nullptr);
}

TEST_F(ThreadBasedTimer, firstIdIsTheOneAfterTheLastHandedOut)
{
    osThreadBasedTimer::nextID = 0;
    osThreadBasedTimer timer;
    EXPECT_EQ(timer.id(), -1);
    EXPECT_EQ(timer.init(nullptr, 50, nullptr), 1);
    EXPECT_EQ(timer.id(), 1);
    EXPECT_EQ(osThreadBasedTimer::nextID, 1U);
    EXPECT_EQ(timer.init(nullptr, 50, nullptr), 2);
    EXPECT_EQ(osThreadBasedTimer::nextID, 2U);
}

TEST_F(ThreadBasedTimer, idsRunUpToAllOnesWhichReadsAsMinusOneAndThenFromOneAgain)
{
    osThreadBasedTimer::nextID = 0x7FFFFFFF;
    osThreadBasedTimer timer;
    EXPECT_EQ(timer.init(nullptr, 50, nullptr), INT_MIN);
    osThreadBasedTimer::nextID = 0xFFFFFFFE;
    EXPECT_EQ(timer.init(nullptr, 50, nullptr), -1);
    EXPECT_EQ(timer.id(), -1);
    EXPECT_EQ(osThreadBasedTimer::nextID, 0xFFFFFFFFU);
    EXPECT_EQ(timer.init(nullptr, 50, nullptr), 1);
    EXPECT_EQ(timer.id(), 1);
    EXPECT_EQ(osThreadBasedTimer::nextID, 1U);
}

TEST_F(ThreadBasedTimer, defaultConstructedTakesNoIdAndIsIdle)
{
    const unsigned int before = osThreadBasedTimer::nextID;
    osThreadBasedTimer timer;
    EXPECT_EQ(osThreadBasedTimer::nextID, before);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_FALSE(timer.stop());
}

TEST_F(ThreadBasedTimer, constructedWithReceiverIsInitialised)
{
    const unsigned int before = osThreadBasedTimer::nextID;
    osThreadBasedTimer timer(&m_receiver, 80, &m_owner);
    EXPECT_EQ(timer.id(), static_cast<int>(before + 1));
    EXPECT_FALSE(timer.isRunning());
    timer.start();
    EXPECT_EQ(expiryOf(timer), "11.060000000");
    timespec due{11, 60000000};
    timespec next{};
    EXPECT_TRUE(timer.timerEvent(&due, &next));
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&m_owner));
}

TEST_F(ThreadBasedTimer, expiresAnIntervalAfterItWasArmed)
{
    EXPECT_EQ(expiry({10, 980000000}, 50), "11.030000000");
    EXPECT_EQ(expiry({10, 980000000}, 20), "11.030000000");
    EXPECT_EQ(expiry({10, 0}, 50), "10.050000000");
    EXPECT_EQ(expiry({10, 1}, 999), "10.999000001");
    EXPECT_EQ(expiry({10, 950000000}, 50), "11.000000000");
    EXPECT_EQ(expiry({10, 949999999}, 50), "10.999999999");
    EXPECT_EQ(expiry({10, 0}, 1000), "11.000000000");
    EXPECT_EQ(expiry({10, 500000000}, 1500), "12.000000000");
    EXPECT_EQ(expiry({10, 999999999}, 1999), "12.998999999");
    EXPECT_EQ(expiry({0, 5}, 86400000), "86400.000000005");
    EXPECT_EQ(expiry({10, 500000000}, INT_MAX), "2147494.147000000");
}

TEST_F(ThreadBasedTimer, defaultIntervalIsFiftyMilliseconds)
{
    osThreadBasedTimer timer;
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(expiryOf(timer), "11.030000000");
}

TEST_F(ThreadBasedTimer, armedTwiceIsListedOnceAndExpiresFromTheSecondTime)
{
    osThreadBasedTimer timer(&m_receiver, 100, nullptr);
    EXPECT_TRUE(timer.start());
    m_time.setMonotonic({20, 1});
    EXPECT_TRUE(timer.start());
    EXPECT_EQ(m_monitor.numItems(), 1);
    EXPECT_EQ(expiryOf(timer), "20.100000001");
}

TEST_F(ThreadBasedTimer, notYetDueLowersTheNextExpiryToItsOwn)
{
    osThreadBasedTimer timer(&m_receiver, 50, nullptr);
    timer.start();
    const auto loweredFrom = [&timer](timespec next) {
        timespec now{11, 29999999};
        EXPECT_FALSE(timer.timerEvent(&now, &next));
        return text(next);
    };
    EXPECT_EQ(loweredFrom({0, 0}), "11.030000000");
    EXPECT_EQ(loweredFrom({12, 0}), "11.030000000");
    EXPECT_EQ(loweredFrom({11, 30000001}), "11.030000000");
    EXPECT_EQ(loweredFrom({11, 29999999}), "11.029999999");
    EXPECT_EQ(loweredFrom({10, 999999999}), "10.999999999");
    EXPECT_EQ(loweredFrom({11, 0}), "11.000000000") << "only seconds and nanoseconds 0 mean unset";
    EXPECT_EQ(loweredFrom({0, 1}), "0.000000001") << "only seconds and nanoseconds 0 mean unset";
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(m_receiver.calls(), 0);
}

TEST_F(ThreadBasedTimer, isDueFromTheVeryNanosecondOfItsExpiry)
{
    const auto dueAt = [this](timespec now) {
        m_time.setMonotonic({10, 980000000});
        osThreadBasedTimer timer(&m_receiver, 50, nullptr);
        timer.start();
        timespec next{};
        const bool due = timer.timerEvent(&now, &next);
        EXPECT_EQ(timer.isRunning(), !due);
        EXPECT_EQ(text(next), due ? "0.000000000" : "11.030000000");
        return due;
    };
    EXPECT_FALSE(dueAt({11, 29999999}));
    EXPECT_FALSE(dueAt({10, 999999999})) << "seconds are compared first";
    EXPECT_EQ(m_receiver.calls(), 0);
    EXPECT_TRUE(dueAt({11, 30000000}));
    EXPECT_TRUE(dueAt({11, 30000001}));
    EXPECT_TRUE(dueAt({12, 0})) << "seconds are compared first";
    EXPECT_EQ(m_receiver.calls(), 3);
}

TEST_F(ThreadBasedTimer, dueHandsItsOwnerToTheReceiverAndIsIdleAfterwards)
{
    osThreadBasedTimer timer(&m_receiver, 50, &m_owner);
    timer.start();
    timespec due{11, 30000000};
    timespec next{4, 5};
    EXPECT_TRUE(timer.timerEvent(&due, &next));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(text(next), "4.000000005");
    EXPECT_TRUE(timer.timerEvent(&due, &next));
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&m_owner)) << "once for one arming";
}

TEST_F(ThreadBasedTimer, handsOutANullOwner)
{
    osThreadBasedTimer timer(&m_receiver, 50, nullptr);
    timer.start();
    timespec due{12, 0};
    timespec next{};
    EXPECT_TRUE(timer.timerEvent(&due, &next));
    EXPECT_THAT(m_receiver.owners(), ElementsAre(nullptr));
}

TEST_F(ThreadBasedTimer, dueWithoutAReceiverIsDropped)
{
    osThreadBasedTimer timer(nullptr, 50, &m_owner);
    timer.start();
    timespec due{12, 0};
    timespec next{};
    EXPECT_TRUE(timer.timerEvent(&due, &next));
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(ThreadBasedTimer, dueButStoppedIsDroppedSilently)
{
    osThreadBasedTimer timer(&m_receiver, 50, &m_owner);
    timer.start();
    timer.stop();
    timespec due{12, 0};
    timespec next{};
    EXPECT_TRUE(timer.timerEvent(&due, &next));
    EXPECT_EQ(m_receiver.calls(), 0);
}

TEST_F(ThreadBasedTimer, initialisedWhileArmedStaysListedAndPassesSilently)
{
    osThreadBasedTimer timer(&m_receiver, 50, &m_owner);
    timer.start();
    timer.init(&m_receiver, 90, &m_owner);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 1);
    EXPECT_EQ(expiryOf(timer), "11.030000000");
    timespec due{11, 30000000};
    timespec next{};
    EXPECT_TRUE(timer.timerEvent(&due, &next));
    EXPECT_EQ(m_receiver.calls(), 0);
    EXPECT_TRUE(timer.stop()) << "the entry is the monitor's to drop";
}

TEST_F(ThreadBasedTimer, stopTakesItOutOfTheListAndTellsWhetherItWasIn)
{
    osThreadBasedTimer timer(&m_receiver, 50, nullptr);
    EXPECT_FALSE(timer.stop());
    timer.start();
    EXPECT_TRUE(timer.stop());
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 0);
    EXPECT_FALSE(timer.stop());
}

TEST_F(ThreadBasedTimer, resetArmsAnewOnlyWhatIsListed)
{
    osThreadBasedTimer timer(&m_receiver, 50, nullptr);
    EXPECT_TRUE(timer.reset());
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 0);
    timer.start();
    m_time.setMonotonic({30, 0});
    EXPECT_TRUE(timer.reset());
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(m_monitor.numItems(), 1);
    EXPECT_EQ(expiryOf(timer), "30.050000000");
}

TEST_F(ThreadBasedTimer, usesTheMonitorConstructedLast)
{
    osThreadBasedTimer timer(&m_receiver, 50, nullptr);
    Monitor newer;
    EXPECT_EQ(osThreadBasedTimer::m_timerManager, &newer);
    timer.start();
    EXPECT_EQ(newer.numItems(), 1);
    EXPECT_EQ(m_monitor.numItems(), 0);
    timer.stop();
    osThreadBasedTimer::m_timerManager = &m_monitor;
    timer.start();
    EXPECT_EQ(newer.numItems(), 0);
    EXPECT_EQ(m_monitor.numItems(), 1);
}

TEST_F(ThreadBasedTimer, destroyedWhileArmedLeavesTheList)
{
    auto timer = std::make_unique<osThreadBasedTimer>(&m_receiver, 50, nullptr);
    auto other = std::make_unique<osThreadBasedTimer>(&m_receiver, 50, nullptr);
    timer->start();
    other->start();
    timer.reset();
    EXPECT_EQ(m_monitor.numItems(), 1);
    EXPECT_TRUE(other->stop());
}
