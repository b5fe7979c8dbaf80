/// \file
/// One-shot millisecond timers as applications see them.
#ifndef GPAL_OSTIMER_H
#define GPAL_OSTIMER_H

#include <gpal/export.h>

class osTimerIfc;
class osThreadBasedTimer;

/// Receiver of expiries, implemented by the application.
class GPAL_API timeAble
{
public:
    virtual ~timeAble();

    /// Called once for each expiry of an armed timer; \p timer is the object that the application
    /// armed, so one receiver can serve several timers and tell them apart by `timer->id()`. The
    /// result is ignored.
    ///
    /// Runs on the timer monitor's thread with its locks held. It must not start, stop, reset or
    /// delete any timer, nor ask the expiring one `isRunning`: that blocks the monitor for ever,
    /// and a line at error severity in the system log, with the timer's id, is all that tells of
    /// it. It should hand the event to another thread: every other timer waits meanwhile.
    virtual int timerExpired(osTimerIfc* timer) = 0;
};

/// One-shot timer; tests substitute it.
///
/// Idle until armed, idle again on expiry (after the callback has returned), when stopped and when
/// destroyed. All operations may be called from any thread, but not from a callback (see
/// `timeAble`). `start`, `stop`, `reset` and `isRunning` may have to wait for a callback to return;
/// cancellation of the caller is held off meanwhile. None is a cancellation point.
class GPAL_API osTimerIfc
{
public:
    virtual ~osTimerIfc();

    /// Sets receiver and interval, in milliseconds; intervals below 50 are raised to 50. The
    /// receiver is not owned; with null nobody is called. Returns the timer's new id. On an armed
    /// timer the pending expiry passes without a callback. No cancellation point.
    virtual int init(timeAble* callback, int intervalMs) = 0;

    /// Arms the timer from now; an armed one is armed anew. Always returns true. With no memory to
    /// list the timer: `std::bad_alloc`, and it stays idle.
    virtual bool start() = 0;

    /// Disarms the timer. Returns true only if it was armed.
    virtual bool stop() = 0;

    /// Whether the timer is armed.
    virtual bool isRunning() = 0;

    /// Arms an armed timer anew, from now; leaves an idle one idle. Returns true.
    virtual bool reset() = 0;

    /// The id given by the last `init`; -1 before the first. Takes no lock, so callbacks may ask.
    virtual int id() = 0;
};

/// The timer that `OSTimerFactory` hands out: a facade over a timer that the process's monitor
/// (`osTimerThread`) serves. A monitor must have been constructed before a timer is armed, stopped
/// or destroyed.
class GPAL_API osTimer : public osTimerIfc
{
public:
    /// An idle timer with id -1, to be initialised with `init` before it is armed.
    osTimer();
    /// An idle timer, initialised.
    osTimer(timeAble* callback, int intervalMs);
    osTimer(const osTimer&) = delete;
    osTimer& operator=(const osTimer&) = delete;
    /// Disarms the timer; its callback is not called afterwards. Waits for a callback that is under
    /// way; cancellation of the caller is held off meanwhile.
    ~osTimer() override;

    int init(timeAble* callback, int intervalMs) override;
    bool start() override;
    bool stop() override;
    bool isRunning() override;
    bool reset() override;
    int id() override;

private:
    osThreadBasedTimer* m_timer;
};

/// Where applications get their timers from; tests substitute it.
class GPAL_API OSTimerFactoryIfc
{
public:
    virtual ~OSTimerFactoryIfc();

    /// A new idle timer, owned by the caller, to be initialised with `init` before it is armed.
    virtual osTimerIfc* getTimer() = 0;
};

/// Makes `osTimer` objects. Callable from any thread.
class GPAL_API OSTimerFactory : public OSTimerFactoryIfc
{
public:
    osTimerIfc* getTimer() override;
};

#endif
