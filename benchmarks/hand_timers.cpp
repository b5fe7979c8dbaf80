#include "hand_timers.h"

#include <algorithm>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace hand
{
namespace
{

timespec timeOn(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return time;
}

timespec normalised(time_t seconds, long nanoseconds)
{
    if (nanoseconds < 1000000000) {
        return {seconds, nanoseconds};
    }
    return {seconds + 1, nanoseconds - 1000000000};
}

bool isEarlier(const timespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

} // namespace

TimerMonitor::TimerMonitor()
{
    pthread_t thread{};
    pthread_create(&thread, nullptr, serve, this);
    pthread_detach(thread);
}

void TimerMonitor::arm(Timer& timer)
{
    const timespec now = timeOn(CLOCK_MONOTONIC);
    pthread_mutex_lock(&m_mutex);
    timer.m_expiry = normalised(now.tv_sec + timer.m_intervalMs / 1000,
                                now.tv_nsec + timer.m_intervalMs % 1000 * 1000000L);
    if (std::find(m_timers.begin(), m_timers.end(), &timer) == m_timers.end()) {
        m_timers.push_back(&timer);
    }
    pthread_cond_signal(&m_condition);
    pthread_mutex_unlock(&m_mutex);
}

void TimerMonitor::disarm(Timer& timer)
{
    pthread_mutex_lock(&m_mutex);
    const auto found = std::find(m_timers.begin(), m_timers.end(), &timer);
    if (found != m_timers.end()) {
        m_timers.erase(found);
        pthread_cond_signal(&m_condition);
    }
    pthread_mutex_unlock(&m_mutex);
}

void* TimerMonitor::serve(void* monitor)
{
    constexpr int NICE_VALUE = -10;
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), NICE_VALUE);
    auto& self = *static_cast<TimerMonitor*>(monitor);
    pthread_mutex_lock(&self.m_mutex);
    for (;;) {
        self.waitForWork();
        self.callBackDueTimers();
    }
    return nullptr;
}

void TimerMonitor::waitForWork()
{
    if (m_timers.empty()) {
        pthread_cond_wait(&m_condition, &m_mutex);
    } else {
        pthread_cond_timedwait(&m_condition, &m_mutex, &m_deadline);
    }
}

/// Leaves in m_deadline the wall-clock time of the earliest expiry that is still to come.
void TimerMonitor::callBackDueTimers()
{
    const timespec now = timeOn(CLOCK_MONOTONIC);
    const timespec wall = timeOn(CLOCK_REALTIME);
    const Timer* earliest = nullptr;
    for (std::size_t index = m_timers.size(); index-- > 0;) {
        Timer* timer = m_timers[index];
        if (!isEarlier(now, timer->m_expiry)) {
            timer->m_callback();
            m_timers.erase(m_timers.begin() + static_cast<std::ptrdiff_t>(index));
        } else if (earliest == nullptr || isEarlier(timer->m_expiry, earliest->m_expiry)) {
            earliest = timer;
        }
    }
    if (earliest != nullptr) {
        const timespec in = normalised(earliest->m_expiry.tv_sec - now.tv_sec - 1,
                                       earliest->m_expiry.tv_nsec - now.tv_nsec + 1000000000);
        m_deadline = normalised(wall.tv_sec + in.tv_sec, wall.tv_nsec + in.tv_nsec);
    }
}

Timer::Timer(TimerMonitor& monitor, int intervalMs, std::function<void()> callback)
    : m_monitor(monitor), m_intervalMs(intervalMs), m_callback(std::move(callback))
{
}

Timer::~Timer()
{
    stop();
}

void Timer::start()
{
    m_monitor.arm(*this);
}

void Timer::stop()
{
    m_monitor.disarm(*this);
}

} // namespace hand
