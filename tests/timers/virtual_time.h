/// \file
/// Clocks that stand still until a test moves them, for the program and for the monitor's sleep.
#ifndef GPAL_TESTS_TIMERS_VIRTUAL_TIME_H
#define GPAL_TESTS_TIMERS_VIRTUAL_TIME_H

#include <functional>
#include <mutex>
#include <string>
#include <time.h>
#include <vector>

#include "support/replaceable.h"

namespace timertest
{

/// Puts both clocks of the program into the test's hands. The monitor (a `timertest::Monitor`)
/// sleeps as it asks for: until the wall clock has reached its deadline or somebody signals its
/// condition, with its list unlocked meanwhile. Every sleep is recorded.
///
/// To be constructed before the monitor and destroyed after it.
class VirtualTime
{
public:
    VirtualTime(const timespec& monotonic, const timespec& wall);

    /// Sets the clocks, with nobody noticing.
    void setMonotonic(const timespec& time);
    void setWall(const timespec& time);

    /// Lets time go by on both clocks; wakes the monitor when that brings it to its deadline, and
    /// waits until it sleeps again. Returns whether it woke.
    bool pass(const timespec& time);

    /// Sets the wall clock as an operator does; the rest as in `pass`.
    bool jumpTo(const timespec& wall);

    /// Wakes the monitor for no reason and returns how it sleeps afterwards.
    std::string wakeMonitor();

    /// Does something that wakes the monitor and returns how it sleeps afterwards.
    std::string sleepAfter(const std::function<void()>& action);

    /// All sleeps of the monitor: "until 501.020000000" (on the wall clock) or "without limit".
    std::vector<std::string> sleeps() const;

    /// Which clocks the monitor has read.
    std::vector<clockid_t> readings() const;

    /// How often threads other than the monitor's have read the monotonic clock.
    int othersReadings() const;

    /// How often conditions were signalled.
    int signals() const;

    /// How often that happened while the monitor's list was not locked.
    int unlockedSignals() const;

    /// Whether nobody has locked the monitor's list.
    bool isListUnlocked();

    /// Does something with the monitor's list locked by the calling thread.
    void withListLocked(const std::function<void()>& action);

private:
    int read(clockid_t clock, timespec* time);
    int wait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
    int sleepOnList(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
    int signal(pthread_cond_t* condition);
    bool fallAsleep(const timespec* deadline);
    bool wakeIfDue();
    bool isAwakened() const;
    int sleepCount() const;
    bool isAsleepSince(int count) const;

    mutable std::mutex m_state;
    timespec m_monotonic;
    timespec m_wall;
    std::vector<clockid_t> m_readings;
    int m_othersReadings = 0;
    std::vector<std::string> m_sleeps;
    int m_sleepCount = 0; ///< of those that lasted
    bool m_limited = false;
    timespec m_deadline{};
    bool m_awakened = false;
    int m_signals = 0;
    int m_unlockedSignals = 0;
    pthread_cond_t* m_condition = nullptr;
    pthread_mutex_t* m_mutex = nullptr;
    support::Replacement<int(clockid_t, timespec*)> m_clock;
    support::Replacement<int(pthread_cond_t*, pthread_mutex_t*)> m_wait;
    support::Replacement<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> m_timedWait;
    support::Replacement<int(pthread_cond_t*)> m_signal;
};

} // namespace timertest

#endif
