// POSIX timers served by the kernel's timers and the C library's own threads.
#include <gpal/osPOSIXTimer.h>
#include <gpal/osTimer.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "device/booted.h"
#include "support/c_library.h"
#include "support/kernel_id.h"
#include "support/observed.h"
#include "support/replaceable.h"

namespace calls = support::calls;
using devicetest::sleepFor;
using support::Captured;
using support::eventually;
using support::millisecondsSince;

namespace
{

/// Notes which threads its callbacks run on, and can keep them there.
class Receiver : public timeAble
{
public:
    int timerExpired(osTimerIfc*) override
    {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_threads.insert(support::ownKernelId());
        }
        ++m_calls;
        ++m_inside;
        eventually([this] { return !m_held; });
        --m_inside;
        return 0;
    }

    void hold(bool held) { m_held = held; }
    int calls() const { return m_calls; }
    int inside() const { return m_inside; }
    std::set<int> threads() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_threads;
    }

private:
    mutable std::mutex m_mutex;
    std::set<int> m_threads;
    std::atomic<bool> m_held{false};
    std::atomic<int> m_calls{0};
    std::atomic<int> m_inside{0};
};

class NotificationThread : public devicetest::OnTheDevice
{
protected:
    void prepare() override { GPAL_SKIP_BECAUSE(support::whyNoNotificationThreads()); }
};

} // namespace

TEST_F(NotificationThread, servesAnExpiryOnceAndNotBeforeItIsDue)
{
    const Captured console(1);
    Receiver receiver;
    osPOSIXTimer timer(&receiver, 200, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(eventually([&] { return receiver.calls() == 1; }));
    EXPECT_GE(millisecondsSince(start), 200);
    sleepFor(600);
    EXPECT_EQ(receiver.calls(), 1);
    EXPECT_EQ(receiver.threads().count(support::ownKernelId()), 0U);
}

TEST_F(NotificationThread, servesEachArmingAgainFromThen)
{
    const Captured console(1);
    Receiver receiver;
    osPOSIXTimer timer(&receiver, 150, nullptr);
    for (int expected = 1; expected <= 5; ++expected) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(timer.start());
        sleepFor(100);
        EXPECT_TRUE(timer.reset());
        EXPECT_TRUE(eventually([&] { return receiver.calls() == expected; }));
        EXPECT_GE(millisecondsSince(start), 250);
    }
    sleepFor(300);
    EXPECT_EQ(receiver.calls(), 5);
}

TEST_F(NotificationThread, servesNoTimerThatWasStoppedOrHasGone)
{
    const Captured console(1);
    Receiver receiver;
    osPOSIXTimer stopped(&receiver, 300, nullptr);
    osPOSIXTimer endless(&receiver, 0, nullptr);
    auto gone = std::make_unique<osPOSIXTimer>(&receiver, 300, nullptr);
    EXPECT_TRUE(stopped.start());
    EXPECT_TRUE(endless.start());
    EXPECT_TRUE(gone->start());
    EXPECT_TRUE(stopped.stop());
    gone.reset();
    sleepFor(600);
    EXPECT_EQ(receiver.calls(), 0);
    EXPECT_TRUE(stopped.start()) << "a stopped one can be armed again";
    EXPECT_TRUE(eventually([&] { return receiver.calls() == 1; }));
}

TEST_F(NotificationThread, servesManyTimersAtOnceEachOnAThreadOfItsOwn)
{
    constexpr int TIMERS = 60;
    const Captured console(1);
    Receiver receiver;
    receiver.hold(true);
    std::vector<std::unique_ptr<osPOSIXTimer>> timers;
    for (int i = 0; i < TIMERS; ++i) {
        timers.push_back(std::make_unique<osPOSIXTimer>(&receiver, 50 + i, nullptr));
    }
    for (const auto& timer : timers) {
        EXPECT_TRUE(timer->start());
    }
    EXPECT_TRUE(eventually([&] { return receiver.inside() == TIMERS; }))
        << receiver.inside() << " callbacks at a time";
    EXPECT_EQ(receiver.threads().size(), static_cast<std::size_t>(TIMERS));
    receiver.hold(false);
    EXPECT_TRUE(eventually([&] { return receiver.inside() == 0; }));
    EXPECT_EQ(receiver.calls(), TIMERS);
}

TEST_F(NotificationThread, servesTheNextExpiryOfATimerThoughThePreviousIsStillBeingServed)
{
    const Captured console(1);
    Receiver receiver;
    receiver.hold(true);
    osPOSIXTimer timer(&receiver, 50, nullptr);
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(eventually([&] { return receiver.inside() == 1; }));
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(eventually([&] { return receiver.inside() == 2; }));
    EXPECT_EQ(receiver.threads().size(), 2U);
    receiver.hold(false);
    EXPECT_TRUE(eventually([&] { return receiver.inside() == 0; }));
}

TEST_F(NotificationThread, asksForTheOverrunsOfWhichAOneShotTimerHasNone)
{
    const Captured console(1);
    std::atomic<int> overruns{99};
    const support::Replacement asked(calls::timer_getoverrun, [&](timer_t timer) {
        return overruns = calls::timer_getoverrun.original(timer);
    });
    Receiver receiver;
    osPOSIXTimer timer(&receiver, 20, nullptr);
    EXPECT_TRUE(timer.start());
    EXPECT_TRUE(eventually([&] { return receiver.calls() == 1; }));
    EXPECT_EQ(overruns, 0);
}

TEST_F(NotificationThread, servesAnExpiryThatAClientsOwnSettingRepeats)
{
    const Captured console(1);
    Receiver receiver;
    osPOSIXTimer timer(&receiver, 60000, nullptr);
    itimerspec repeating{};
    timer.setInterval(40, &repeating.it_value);
    timer.setInterval(40, &repeating.it_interval);
    EXPECT_TRUE(timer.setTimer(&repeating, nullptr));
    EXPECT_TRUE(eventually([&] { return receiver.calls() >= 5; }));
    itimerspec former{};
    itimerspec disarmed{};
    EXPECT_TRUE(timer.setTimer(&disarmed, &former));
    EXPECT_EQ(former.it_interval.tv_nsec, 40000000);
    sleepFor(100);
    const int calls = receiver.calls();
    sleepFor(200);
    EXPECT_EQ(receiver.calls(), calls);
}
