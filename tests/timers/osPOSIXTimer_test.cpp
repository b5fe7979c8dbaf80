#include <gpal/osPOSIXTimer.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <iostream>
#include <memory>
#include <type_traits>

#include <gmock/gmock.h>

#include <gpal/osTimer.h>

#include "support/observed.h"
#include "timers/timer_helpers.h"

namespace calls = support::calls;
using support::Captured;
using support::Replacement;
using testing::ElementsAre;
using timertest::completesWhenCancelled;
using timertest::Owner;
using timertest::Receiver;
using timertest::text;

namespace
{

timer_t handle(long number)
{
    timer_t timer{};
    std::memcpy(&timer, &number, sizeof timer);
    return timer;
}

/// The system's timer calls, played by the test: noted in order, with what the console showed since
/// the call before in front of each.
class PosixTimer : public testing::Test
{
protected:
    /// The steps so far: console output and calls.
    std::string steps() const { return m_steps + m_output.text().substr(m_shown); }

    /// The calls that it stands in for are no cancellation points, so it must not be one.
    void note(const std::string& call)
    {
        int before = 0;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
        const std::string shown = m_output.text();
        m_steps += shown.substr(m_shown) + "[" + call + "]";
        m_shown = shown.size();
        pthread_setcancelstate(before, nullptr);
    }

    int answer(const std::string& call)
    {
        note(call);
        errno = m_error;
        return m_error == 0 ? 0 : -1;
    }

    /// Constructs a timer and forgets the steps that took.
    std::unique_ptr<osPOSIXTimer> made(int interval)
    {
        auto timer = std::make_unique<osPOSIXTimer>(&m_receiver, interval, &m_owner);
        m_steps.clear();
        m_shown = m_output.text().size();
        return timer;
    }

    Captured m_output{1};
    Captured m_errors{2};
    std::string m_steps;
    std::size_t m_shown = 0;
    int m_error = 0;
    timer_t m_handle = handle(4711);
    sigevent m_event{};
    std::string m_former = "not asked for";
    const itimerspec* m_value = nullptr;

    Receiver m_receiver;
    Owner m_owner;

    Replacement<int(clockid_t, sigevent*, timer_t*)> m_create{
        calls::timer_create, [this](clockid_t clock, sigevent* event, timer_t* timer) {
            m_event = *event;
            const std::string before = *timer == nullptr ? "null" : "not null";
            if (m_error == 0) {
                *timer = m_handle;
            }
            return answer("create " + std::to_string(clock) + " " + before);
        }};
    Replacement<int(timer_t, int, const itimerspec*, itimerspec*)> m_set{
        calls::timer_settime,
        [this](timer_t timer, int flags, const itimerspec* value, itimerspec* former) {
            EXPECT_EQ(timer, m_handle);
            m_value = value;
            if (former != nullptr) {
                *former = {{1, 2}, {3, 4}};
            }
            return answer("set " + std::to_string(flags) + " " + text(*value) +
                          (former != nullptr ? " former" : ""));
        }};
    Replacement<int(timer_t)> m_overrun{calls::timer_getoverrun, [this](timer_t timer) {
                                            EXPECT_EQ(timer, m_handle);
                                            return answer("overrun");
                                        }};
    Replacement<int(timer_t)> m_delete{calls::timer_delete, [this](timer_t timer) {
                                           EXPECT_EQ(timer, m_handle);
                                           return answer("delete");
                                       }};
};

std::string failure(const char* call, int error)
{
    return std::string(call) + ": " + std::strerror(error) + "\n";
}

} // namespace

TEST_F(PosixTimer, isCreatedOnTheWallClockAndTracedBeforeAndAfter)
{
    const osPOSIXTimer timer(&m_receiver, 100, &m_owner);
    EXPECT_EQ(steps(), "osPOSIXTimer::osPOSIXTimer()\n[create " + std::to_string(CLOCK_REALTIME) +
                           " null]osPOSIXTimer::osPOSIXTimer(4711) OK\n");
    EXPECT_EQ(m_errors.text(), "");
}

TEST_F(PosixTimer, asksForNotificationOnAThreadOfTheCLibrary)
{
    osPOSIXTimer timer(&m_receiver, 100, &m_owner);
    EXPECT_EQ(m_event.sigev_value.sival_ptr, &timer);
    EXPECT_EQ(m_event.sigev_signo, 0);
    EXPECT_EQ(m_event.sigev_notify, SIGEV_THREAD);
    EXPECT_EQ(m_event.sigev_notify_function, &timerEventNotify);
    EXPECT_EQ(m_event.sigev_notify_attributes, nullptr);
}

TEST_F(PosixTimer, goesOnWithoutAHandleWhenItCannotBeCreated)
{
    m_error = EAGAIN;
    m_handle = nullptr;
    const osPOSIXTimer timer(&m_receiver, 100, &m_owner);
    EXPECT_EQ(m_errors.text(), failure("timer_create", EAGAIN));
    EXPECT_EQ(steps(), "osPOSIXTimer::osPOSIXTimer()\n[create " + std::to_string(CLOCK_REALTIME) +
                           " null]osPOSIXTimer::osPOSIXTimer(0) OK\n");
}

TEST_F(PosixTimer, printsItsHandleAsADecimalLong)
{
    m_handle = handle(LONG_MIN);
    const osPOSIXTimer timer(&m_receiver, 100, &m_owner);
    EXPECT_THAT(steps(), testing::EndsWith("osPOSIXTimer(" + std::to_string(LONG_MIN) + ") OK\n"));
}

TEST_F(PosixTimer, startTracesAndArmsOnceFromNow)
{
    const auto timer = made(1500);
    EXPECT_TRUE(timer->start());
    EXPECT_EQ(steps(), "osPOSIXTimer::start(4711)\n[set 0 1.500000000 every 0.000000000]");
}

TEST_F(PosixTimer, resetTracesAndArmsOnceFromNow)
{
    const auto timer = made(1500);
    EXPECT_TRUE(timer->reset());
    EXPECT_EQ(steps(), "osPOSIXTimer::reset(4711)\n[set 0 1.500000000 every 0.000000000]");
}

TEST_F(PosixTimer, stopTracesAndDisarms)
{
    const auto timer = made(1500);
    EXPECT_TRUE(timer->stop());
    EXPECT_EQ(steps(), "osPOSIXTimer::stop(4711)\n[set 0 0.000000000 every 0.000000000]");
    EXPECT_TRUE(timer->start());
    EXPECT_THAT(steps(), testing::EndsWith("[set 0 1.500000000 every 0.000000000]"));
}

TEST_F(PosixTimer, hasNoShortestInterval)
{
    EXPECT_TRUE(made(1)->start());
    EXPECT_THAT(m_steps, testing::HasSubstr("[set 0 0.001000000 every 0.000000000]"));
}

TEST_F(PosixTimer, withAnIntervalOfZeroDisarmsWhenStarted)
{
    const auto timer = made(0);
    EXPECT_TRUE(timer->start());
    EXPECT_EQ(steps(), "osPOSIXTimer::start(4711)\n[set 0 0.000000000 every 0.000000000]");
}

TEST_F(PosixTimer, reportsEachArmingThatFails)
{
    const auto timer = made(1500);
    m_error = EINVAL;
    EXPECT_FALSE(timer->start());
    EXPECT_EQ(m_errors.text(), failure("timer_settime", EINVAL));
    EXPECT_FALSE(timer->reset());
    EXPECT_FALSE(timer->stop());
    m_error = EPERM;
    itimerspec value{};
    EXPECT_FALSE(timer->setTimer(&value, nullptr));
    EXPECT_EQ(m_errors.text(), failure("timer_settime", EINVAL) + failure("timer_settime", EINVAL) +
                                   failure("timer_settime", EINVAL) +
                                   failure("timer_settime", EPERM));
    m_error = 0;
}

TEST_F(PosixTimer, setTimerPassesItsArgumentsOn)
{
    const auto timer = made(1500);
    itimerspec value{{5, 6}, {7, 8}};
    itimerspec former{};
    EXPECT_TRUE(timer->setTimer(&value, &former));
    EXPECT_EQ(steps(), "[set 0 7.000000008 every 5.000000006 former]");
    EXPECT_EQ(m_value, &value);
    EXPECT_EQ(text(former), "3.000000004 every 1.000000002");
    EXPECT_TRUE(timer->setTimer(&value, nullptr));
    EXPECT_THAT(steps(), testing::EndsWith("[set 0 7.000000008 every 5.000000006]"));
}

TEST_F(PosixTimer, convertsMillisecondsAndReturnsTheWholeSecondsOfThem)
{
    const auto timer = made(0);
    const auto converted = [&timer](int milliseconds) {
        timespec time{9, 9};
        const int whole = timer->setInterval(milliseconds, &time);
        return std::to_string(whole) + ": " + std::to_string(time.tv_sec) + " s " +
               std::to_string(time.tv_nsec) + " ns";
    };
    EXPECT_EQ(converted(0), "0: 0 s 0 ns");
    EXPECT_EQ(converted(1), "0: 0 s 1000000 ns");
    EXPECT_EQ(converted(999), "0: 0 s 999000000 ns");
    EXPECT_EQ(converted(1000), "1000: 1 s 0 ns");
    EXPECT_EQ(converted(1500), "1000: 1 s 500000000 ns");
    EXPECT_EQ(converted(3999), "3000: 3 s 999000000 ns");
    EXPECT_EQ(converted(INT_MAX), "2147483000: 2147483 s 647000000 ns");
    EXPECT_EQ(converted(-1500), "-1000: -1 s -500000000 ns");
    EXPECT_EQ(timer->setInterval(2500, nullptr), 2000);
    EXPECT_EQ(steps(), "") << "the one operation without a trace line";
}

TEST_F(PosixTimer, servesAnExpiryByTraceThenOverrunThenCallback)
{
    const auto timer = made(100);
    m_receiver.m_during = [this](osTimerIfc*) { note("callback"); };
    timer->timerEvent();
    EXPECT_EQ(steps(), "osPosixTimer::timerEvent(4711)\n[overrun][callback]");
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&m_owner));
}

TEST_F(PosixTimer, ignoresWhatTheOverrunCallReturns)
{
    const auto timer = made(100);
    m_error = EINVAL;
    timer->timerEvent();
    m_error = 0;
    EXPECT_EQ(m_receiver.calls(), 1);
    EXPECT_EQ(m_errors.text(), "");
}

TEST_F(PosixTimer, withoutAReceiverOnlyTracesAndAsksForTheOverrun)
{
    osPOSIXTimer timer(nullptr, 100, &m_owner);
    timer.timerEvent();
    EXPECT_THAT(steps(), testing::EndsWith("osPosixTimer::timerEvent(4711)\n[overrun]"));
}

TEST_F(PosixTimer, handsOutANullOwner)
{
    osPOSIXTimer timer(&m_receiver, 100, nullptr);
    timer.timerEvent();
    EXPECT_THAT(m_receiver.owners(), ElementsAre(nullptr));
}

TEST_F(PosixTimer, notificationServesTheTimerThatItPointsTo)
{
    const auto timer = made(100);
    sigval value{};
    value.sival_ptr = timer.get();
    timerEventNotify(value);
    EXPECT_EQ(steps(), "osPosixTimer::timerEvent(4711)\n[overrun]");
    EXPECT_THAT(m_receiver.owners(), ElementsAre(&m_owner));
}

TEST_F(PosixTimer, notificationWithoutATimerOnlySaysSo)
{
    sigval value{};
    value.sival_ptr = nullptr;
    timerEventNotify(value);
    EXPECT_EQ(steps(), "posixTimerNotify Bad sigval Ref=0\n");
    EXPECT_EQ(m_errors.text(), "");
}

TEST_F(PosixTimer, destructorTracesAndDeletes)
{
    made(100).reset();
    EXPECT_EQ(m_steps, "osPOSIXTimer::~osPOSIXTimer(4711)\n[delete]");
    EXPECT_EQ(m_errors.text(), "");
}

TEST_F(PosixTimer, destructorReportsADeletionThatFails)
{
    auto timer = made(100);
    m_error = EINVAL;
    timer.reset();
    EXPECT_EQ(m_steps, "osPOSIXTimer::~osPOSIXTimer(4711)\n[delete]");
    EXPECT_EQ(m_errors.text(), failure("timer_delete", EINVAL));
}

TEST_F(PosixTimer, isNoTimerOfTheFacadesKind)
{
    EXPECT_FALSE((std::is_base_of_v<osTimerIfc, osPOSIXTimer>));
}

TEST_F(PosixTimer, isDestroyedByAThreadAskedToEndEvenWhenThatFails)
{
    auto timer = made(100);
    m_error = EINVAL;
    EXPECT_TRUE(completesWhenCancelled([&] { timer.reset(); }));
    EXPECT_EQ(m_errors.text(), failure("timer_delete", EINVAL));
}

TEST_F(PosixTimer, failuresOfAThreadAskedToEndAreReportedFirst)
{
    const auto timer = made(1500);
    m_error = EINVAL;
    EXPECT_TRUE(completesWhenCancelled([&] { timer->start(); }));
    EXPECT_EQ(m_errors.text(), failure("timer_settime", EINVAL));
    m_error = 0;
}

TEST_F(PosixTimer, tracesOfAThreadAskedToEndLeaveTheConsoleUsable)
{
    const auto timer = made(100);
    EXPECT_TRUE(completesWhenCancelled([&] { timer->start(); }));
    EXPECT_TRUE(std::cout.good());
    EXPECT_TRUE(timer->stop());
    EXPECT_THAT(steps(), testing::HasSubstr("osPOSIXTimer::stop(4711)\n"));
}
