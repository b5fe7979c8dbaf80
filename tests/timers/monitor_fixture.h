/// \file
/// A monitor on clocks that stand still, and a timer that answers it as the test says.
#ifndef GPAL_TESTS_TIMERS_MONITOR_FIXTURE_H
#define GPAL_TESTS_TIMERS_MONITOR_FIXTURE_H

#include <string>
#include <time.h>

#include <gtest/gtest.h>

#include <gpal/osThreadBasedTimer.h>

#include "timers/timer_helpers.h"
#include "timers/virtual_time.h"

namespace timertest
{

/// A monitor that is not started yet, on clocks that the test sets.
class MonitorFixture : public testing::Test
{
protected:
    explicit MonitorFixture(const timespec& monotonic = {10, 980000000},
                            const timespec& wall = {500, 970000000})
        : m_time(monotonic, wall)
    {
    }

    void start()
    {
        m_time.sleepAfter([this] { m_monitor.start(); });
    }

    VirtualTime m_time;
    Monitor m_monitor;
    Receiver m_receiver;
};

/// A timer whose part in a pass the test plays.
class ScriptedTimer : public osThreadBasedTimer
{
public:
    ~ScriptedTimer() override { stop(); }

    bool timerEvent(timespec* now, timespec* next) override
    {
        m_seen = text(*now) + ", next " + text(*next);
        *next = m_next;
        return m_due;
    }

    std::string m_seen;
    timespec m_next{1000, 1};
    bool m_due = false;
};

} // namespace timertest

#endif
