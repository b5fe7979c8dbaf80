/// \file
/// One-shot millisecond timer served by the process's monitor thread.
#ifndef GPAL_OSTHREADBASEDTIMER_H
#define GPAL_OSTHREADBASEDTIMER_H

#include <atomic>
#include <time.h>

#include <gpal/export.h>
#include <gpal/Semaphore.h>

class osTimerIfc;
class osTimerThread;
class timeAble;

namespace gpal::detail
{
class TimerSlack;
}

/// The timer behind `osTimer`. Expiries are kept on the monotonic clock. The operations mean what
/// they mean in `osTimerIfc`; they use the monitor that `m_timerManager` points to, which must
/// exist before a timer is armed, stopped or destroyed.
///
/// A timer is in the monitor's list exactly while it is armed, but for the short moment between
/// `start`'s reading of the clock and the entry. Lock order: the timer's lock is given back before
/// the monitor's list is touched; the monitor takes the list's lock first, then the timer's.
class GPAL_API osThreadBasedTimer
{
public:
    /// An idle timer with id -1, interval 50 ms and nobody to call.
    osThreadBasedTimer();
    /// An idle timer, initialised.
    osThreadBasedTimer(timeAble* callback, int intervalMs, osTimerIfc* owner);
    osThreadBasedTimer(const osThreadBasedTimer&) = delete;
    osThreadBasedTimer& operator=(const osThreadBasedTimer&) = delete;
    /// Disarms the timer, waiting for a callback that is under way. Cancellation of the caller is
    /// held off meanwhile.
    virtual ~osThreadBasedTimer();

    /// Called by the monitor with its list locked and \p now on the monotonic clock: in each pass
    /// for a class of a client's own, otherwise when the timer has been armed and when it is due. A
    /// timer that is not due yet lowers `*next` to its expiry ({0, 0} counts as not set) and
    /// returns false; one that is due calls back, if it is still running, and returns true: the
    /// monitor then drops it. With a null pointer: false, nothing is touched.
    virtual bool timerEvent(timespec* now, timespec* next);

    /// As `osTimerIfc::init`; \p owner is what the callback is given. Ids are handed out from a
    /// counter without a lock: concurrent calls may get the same one.
    int init(timeAble* callback, int intervalMs, osTimerIfc* owner);
    bool start();     ///< as `osTimerIfc::start`
    bool stop();      ///< as `osTimerIfc::stop`
    bool isRunning(); ///< as `osTimerIfc::isRunning`
    bool reset();     ///< as `osTimerIfc::reset`
    int id() const;   ///< as `osTimerIfc::id`

    /// The last id handed out. Ids run from 1 to 0xFFFFFFFF, then from 1 again.
    static unsigned int nextID;
    /// The monitor that serves every timer: the one constructed last, null before the first.
    static osTimerThread* m_timerManager;

private:
    friend class osTimerThread;

    GPAL_INTERNAL void setRunning(bool running);
    GPAL_INTERNAL bool serve(const timespec& now, timespec& next, gpal::detail::TimerSlack* slack);

    std::atomic<int> m_id;
    Semaphore m_lock; ///< held over m_running and m_expiry, and during a callback
    std::atomic<timeAble*> m_callback;
    std::atomic<bool> m_running;
    std::atomic<int> m_intervalMs;
    timespec m_expiry;
    std::atomic<osTimerIfc*> m_owner;
};

#endif
