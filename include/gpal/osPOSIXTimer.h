/// \file
/// One-shot timer served by the operating system's POSIX timers.
#ifndef GPAL_OSPOSIXTIMER_H
#define GPAL_OSPOSIXTIMER_H

#include <memory>
#include <signal.h>
#include <time.h>

#include <gpal/export.h>

class osTimerIfc;
class timeAble;

/// A POSIX timer (`timer_create(2)`) on the wall clock whose expiries call a `timeAble` on a thread
/// that the C library makes for each. A class of its own, not an `osTimerIfc`; no minimum interval.
///
/// Every operation writes a trace line to standard output, `std::cout`, which must therefore stay
/// synchronised with stdio: `timerEvent` writes on the C library's thread. Failures of the system
/// calls are reported with `perror` under the call's name. The object has no lock: one thread at a
/// time uses it, and it must not be destroyed while an expiry may still be delivered. A timer that
/// could not be made fails every further operation with EINVAL, reported in the same way.
class GPAL_API osPOSIXTimer
{
public:
    /// A disarmed timer with an interval in milliseconds. \p callback and \p owner, which is what
    /// the callback is given, are not owned; both may be null.
    osPOSIXTimer(timeAble* callback, int intervalMs, osTimerIfc* owner);
    osPOSIXTimer(const osPOSIXTimer&) = delete;
    osPOSIXTimer& operator=(const osPOSIXTimer&) = delete;
    /// Deletes the POSIX timer. Cancellation of the caller is held off meanwhile.
    virtual ~osPOSIXTimer();

    /// Converts \p ms milliseconds into `*ts`. Returns the whole seconds of it, in milliseconds.
    int setInterval(int ms, timespec* ts);

    /// Sets the POSIX timer to `*value`, relative to now, and stores the former setting in
    /// `*oldValue` unless that is null. Returns whether the call succeeded.
    bool setTimer(itimerspec* value, itimerspec* oldValue);

    /// Arms the timer from now; with an interval of 0 it disarms it. Returns whether it could.
    bool start();

    /// The same as `start`. Returns whether it could.
    bool reset();

    /// Disarms the timer. Returns whether it could.
    bool stop();

    /// Serves an expiry: calls the callback, if there is one.
    void timerEvent();

private:
    timeAble* m_callback;
    timer_t m_timerId;
    sigevent m_event;
    std::unique_ptr<itimerspec> m_setting;
    osTimerIfc* m_owner;
};

/// The notification function of every `osPOSIXTimer`, called on a thread of the C library with the
/// object in `sival_ptr`; with a null pointer it only says so on standard output.
GPAL_API void timerEventNotify(sigval value);

#endif
