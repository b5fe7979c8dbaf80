#include "timers/virtual_time.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "support/condition_signals.h"
#include "support/per_thread.h"
#include "timers/timer_helpers.h"

namespace
{

/// The condition of the calling monitor's list: the first one that its thread waits for. The locks
/// of timers, for which it may have to wait too, have conditions of their own.
support::PerThread<pthread_cond_t> listCondition;

bool isReached(const timespec& now, const timespec& deadline)
{
    return now.tv_sec > deadline.tv_sec ||
           (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec);
}

timespec later(const timespec& time, const timespec& by)
{
    const long nanoseconds = time.tv_nsec + by.tv_nsec;
    return {time.tv_sec + by.tv_sec + nanoseconds / 1000000000, nanoseconds % 1000000000};
}

} // namespace

namespace timertest
{

using Guard = std::lock_guard<std::mutex>;
namespace calls = support::calls;

VirtualTime::VirtualTime(const timespec& monotonic, const timespec& wall)
    : m_monotonic(monotonic),
      m_wall(wall),
      m_clock(calls::clock_gettime,
              [this](clockid_t clock, timespec* time) { return read(clock, time); }),
      m_wait(calls::pthread_cond_wait,
             [this](pthread_cond_t* condition, pthread_mutex_t* mutex) {
                 return wait(condition, mutex, nullptr);
             }),
      m_timedWait(calls::pthread_cond_timedwait,
                  [this](pthread_cond_t* condition, pthread_mutex_t* mutex,
                         const timespec* deadline) { return wait(condition, mutex, deadline); }),
      m_signal(calls::pthread_cond_signal,
               [this](pthread_cond_t* condition) { return signal(condition); })
{
}

void VirtualTime::setMonotonic(const timespec& time)
{
    const Guard guard(m_state);
    m_monotonic = time;
}

void VirtualTime::setWall(const timespec& time)
{
    const Guard guard(m_state);
    m_wall = time;
}

bool VirtualTime::pass(const timespec& time)
{
    {
        const Guard guard(m_state);
        m_monotonic = later(m_monotonic, time);
        m_wall = later(m_wall, time);
    }
    return wakeIfDue();
}

bool VirtualTime::jumpTo(const timespec& wall)
{
    setWall(wall);
    return wakeIfDue();
}

bool VirtualTime::wakeIfDue()
{
    {
        const Guard guard(m_state);
        if (!m_limited || !isReached(m_wall, m_deadline)) {
            return false;
        }
    }
    wakeMonitor();
    return true;
}

std::string VirtualTime::wakeMonitor()
{
    return sleepAfter([this] { withListLocked([this] { signal(m_condition); }); });
}

std::string VirtualTime::sleepAfter(const std::function<void()>& action)
{
    const int before = sleepCount();
    action();
    EXPECT_TRUE(soon([this, before] { return isAsleepSince(before); }));
    return sleeps().back();
}

std::vector<std::string> VirtualTime::sleeps() const
{
    const Guard guard(m_state);
    return m_sleeps;
}

std::vector<clockid_t> VirtualTime::readings() const
{
    const Guard guard(m_state);
    return m_readings;
}

int VirtualTime::othersReadings() const
{
    const Guard guard(m_state);
    return m_othersReadings;
}

int VirtualTime::signals() const
{
    const Guard guard(m_state);
    return m_signals;
}

int VirtualTime::unlockedSignals() const
{
    const Guard guard(m_state);
    return m_unlockedSignals;
}

bool VirtualTime::isListUnlocked()
{
    if (pthread_mutex_trylock(m_mutex) != 0) {
        return false;
    }
    pthread_mutex_unlock(m_mutex);
    return true;
}

void VirtualTime::withListLocked(const std::function<void()>& action)
{
    pthread_mutex_lock(m_mutex);
    action();
    pthread_mutex_unlock(m_mutex);
}

int VirtualTime::sleepCount() const
{
    const Guard guard(m_state);
    return m_sleepCount;
}

/// Whether the monitor has fallen asleep again and nothing has awakened it since.
bool VirtualTime::isAsleepSince(int count) const
{
    const Guard guard(m_state);
    return m_sleepCount > count && !m_awakened;
}

bool VirtualTime::isAwakened() const
{
    const Guard guard(m_state);
    return m_awakened;
}

int VirtualTime::read(clockid_t clock, timespec* time)
{
    const Guard guard(m_state);
    if (clock != CLOCK_MONOTONIC && clock != CLOCK_REALTIME) {
        return calls::clock_gettime.original(clock, time);
    }
    *time = clock == CLOCK_MONOTONIC ? m_monotonic : m_wall;
    if (Monitor::isCurrentThread()) {
        m_readings.push_back(clock);
    } else if (clock == CLOCK_MONOTONIC) {
        m_othersReadings += 1;
    }
    return 0;
}

int VirtualTime::wait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline)
{
    if (Monitor::isCurrentThread()) {
        if (listCondition.get() == nullptr) {
            listCondition.set(condition);
        }
        if (condition == listCondition.get()) {
            return sleepOnList(condition, mutex, deadline);
        }
    }
    return deadline != nullptr ? calls::pthread_cond_timedwait.original(condition, mutex, deadline)
                               : calls::pthread_cond_wait.original(condition, mutex);
}

int VirtualTime::sleepOnList(pthread_cond_t* condition, pthread_mutex_t* mutex,
                             const timespec* deadline)
{
    m_condition = condition;
    m_mutex = mutex;
    if (!fallAsleep(deadline)) {
        return ETIMEDOUT;
    }
    // Also when the monitor's thread is cancelled in here.
    const struct SleepEnd {
        VirtualTime& time;
        ~SleepEnd()
        {
            const Guard guard(time.m_state);
            time.m_limited = false;
        }
    } end{*this};
    while (!isAwakened()) {
        calls::pthread_cond_wait.original(condition, mutex);
    }
    return 0;
}

/// Records the sleep; returns false when its deadline has passed already.
bool VirtualTime::fallAsleep(const timespec* deadline)
{
    const Guard guard(m_state);
    m_sleeps.push_back(deadline != nullptr ? "until " + text(*deadline) : "without limit");
    if (deadline != nullptr && isReached(m_wall, *deadline)) {
        return false;
    }
    m_limited = deadline != nullptr;
    m_deadline = m_limited ? *deadline : timespec{};
    m_awakened = false;
    m_sleepCount += 1;
    return true;
}

int VirtualTime::signal(pthread_cond_t* condition)
{
    {
        const Guard guard(m_state);
        m_signals += 1;
        if (condition == m_condition) {
            m_awakened = true;
            // Its holder can't lock it a second time either.
            m_unlockedSignals += isListUnlocked() ? 1 : 0;
        }
    }
    return calls::pthread_cond_signal.original(condition);
}

} // namespace timertest
