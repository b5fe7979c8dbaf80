/// \file
/// The monitor thread that serves all thread-based timers of a process.
#ifndef GPAL_OSTIMERTHREAD_H
#define GPAL_OSTIMERTHREAD_H

#include <atomic>
#include <memory>
#include <pthread.h>
#include <string>
#include <time.h>

#include <gpal/export.h>
#include <gpal/Semaphore.h>
#include <gpal/Threadable.h>

class osThreadBasedTimer;

namespace gpal::detail
{
class TimerList;
}

/// Sleeps until the earliest expiry of the armed timers and calls back those that are due. The
/// application constructs and starts one, before it arms its first timer, and keeps it as long as
/// the process lives: timers go on using it after it is destroyed.
///
/// Expiries are monotonic, so setting the wall clock moves none of them. The wait itself is against
/// the wall clock: setting that back stretches a sleep that is under way. Jumps of two whole
/// seconds and more are reported on standard output.
///
/// Meant for tens of timers: the list is searched linearly. `add` and `remove` may be called from
/// any thread but in no callback, which runs with the list locked: they block for ever there, and
/// say so in the system log before. `numItems` may be called anywhere.
///
/// The thread sleeps with the smallest timer slack (`PR_SET_TIMERSLACK`), so that timers expire as
/// exactly as the kernel can make them. While callbacks run it has the slack of the thread that
/// started it, and so have threads and processes that callbacks start.
class GPAL_API osTimerThread : public Threadable
{
public:
    /// Registers itself with `osThreadBasedTimer::m_timerManager`; no thread yet.
    osTimerThread();
    osTimerThread(const osTimerThread&) = delete;
    osTimerThread& operator=(const osTimerThread&) = delete;
    /// Drops all armed timers without callbacks, ends the thread and joins it; one that was never
    /// started joins nothing. Cancellation of the caller is held off meanwhile.
    ~osTimerThread() override;

    /// Starts the monitor's thread, once; later calls return at once. Timers armed before are
    /// served by its first pass. Returns when the thread has read its clocks and holds the list: if
    /// the system can't make the thread, that is never. A cancellation point when it has to wait.
    void start();

    /// Appends a timer to the list and wakes the monitor. Returns false for null, and for a timer
    /// that is in the list already (the monitor is woken all the same). No cancellation point.
    bool add(osThreadBasedTimer* timer);

    /// Takes a timer out of the list and wakes the monitor. Returns false, waking nobody, if it was
    /// not in it. No cancellation point.
    bool remove(osThreadBasedTimer* timer);

    /// As `remove`, without the wake-up, for a caller that holds the list's lock: a callback, and
    /// nobody else. The timer's running flag stays as it is.
    bool remove_locked(osThreadBasedTimer* timer);

    /// Number of armed timers, read without the list's lock. In a callback the timer that expires
    /// still counts.
    int numItems() const;

    /// POSIX thread id of the monitor's thread; 0 before `start`.
    unsigned long myThread() const;

    /// The body of the monitor's thread.
    void run() override;

    /// One pass of the monitor: waits, then serves what is due. Runs with the list locked, on the
    /// monitor's thread only. Returns true when the thread must end. A cancellation point.
    bool monitor();

    /// 3, `GPAL_THREAD_PRIORITY_TIMER`.
    int getThreadPriorityForPlatform() override;

    /// `ProcessTypeString::OS_TIMER_THREAD`.
    std::string type() override;

private:
    GPAL_INTERNAL void waitForWork();
    GPAL_INTERNAL void serveTimers();
    GPAL_INTERNAL bool serve(osThreadBasedTimer& timer, timespec& notDueBefore);
    GPAL_INTERNAL void reportIfCallback(const osThreadBasedTimer* timer) const;

    std::unique_ptr<gpal::detail::TimerList>
        m_timers; ///< armed timers in the order in which they were added
    /// Guards the list, m_now and m_deadline. Held while callbacks run; taken before a timer's
    /// lock.
    pthread_mutex_t m_mutex;
    pthread_cond_t m_condition;
    timespec m_now;      ///< monotonic time of the last wake-up
    timespec m_deadline; ///< wall-clock time up to which the next wait may sleep
    unsigned long m_thread;
    std::atomic<int> m_stopping;
    std::unique_ptr<Semaphore> m_started;
};

#endif
