/// \file
/// What a client without the layer would write for timers.
#ifndef GPAL_BENCHMARKS_HAND_TIMERS_H
#define GPAL_BENCHMARKS_HAND_TIMERS_H

#include <functional>
#include <pthread.h>
#include <time.h>
#include <vector>

namespace hand
{

class Timer;

/// A monitor thread over pthread calls, minimal: one list, one mutex, one condition, the nice value
/// of the layer's monitor, and the timer slack that the kernel gives to every thread. Expiries are
/// monotonic and waited for on the wall clock, as the layer does it. Lives as long as the process.
class TimerMonitor
{
public:
    TimerMonitor();

    void arm(Timer& timer);
    void disarm(Timer& timer);

private:
    static void* serve(void* monitor);
    void waitForWork();
    void callBackDueTimers();

    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t m_condition = PTHREAD_COND_INITIALIZER;
    std::vector<Timer*> m_timers;
    timespec m_deadline{};
};

/// A one-shot timer. The monitor's mutex guards its expiry.
class Timer
{
public:
    Timer(TimerMonitor& monitor, int intervalMs, std::function<void()> callback);
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer();

    void start();
    void stop();

private:
    friend class TimerMonitor;

    TimerMonitor& m_monitor;
    int m_intervalMs;
    std::function<void()> m_callback;
    timespec m_expiry{};
};

} // namespace hand

#endif
