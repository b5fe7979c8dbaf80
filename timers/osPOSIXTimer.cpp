#include <gpal/osPOSIXTimer.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <gpal/osTimer.h>

#include "base/cancellation.h"
#include "base/console.h"
#include "base/time_math.h"

using gpal::detail::printToConsole;

namespace
{

/// A trace line: the operation, the timer's handle as a number, and the rest.
void trace(const char* operation, timer_t handle, const char* rest)
{
    printToConsole("%s(%ld%s\n", operation, (long)handle, rest);
}

/// Reports a failed system call under its name; returns whether it succeeded.
bool succeeded(int result, const char* call)
{
    if (result == -1) {
        gpal::detail::printReason(call);
        return false;
    }
    return true;
}

/// The result of a call for a timer that could not be made, or without a setting. A null handle is
/// not shown to the C library, which may know another timer by it; nor is a null setting, which
/// some look into.
int refused()
{
    errno = EINVAL;
    return -1;
}

} // namespace

osPOSIXTimer::osPOSIXTimer(timeAble* callback, int intervalMs, osTimerIfc* owner)
    : m_callback(callback),
      m_timerId(nullptr),
      m_event{},
      m_setting(std::make_unique<itimerspec>()),
      m_owner(owner)
{
    printToConsole("osPOSIXTimer::osPOSIXTimer()\n");
    m_event.sigev_value.sival_ptr = this;
    m_event.sigev_signo = 0;
    m_event.sigev_notify = SIGEV_THREAD;
    m_event.sigev_notify_function = timerEventNotify;
    m_event.sigev_notify_attributes = nullptr;
    errno = ENOTSUP; // a C library without notification threads does not say why it fails
    if (!succeeded(timer_create(CLOCK_REALTIME, &m_event, &m_timerId), "timer_create")) {
        m_timerId = nullptr;
    }
    setInterval(intervalMs, &m_setting->it_value);
    trace("osPOSIXTimer::osPOSIXTimer", m_timerId, ") OK");
}

osPOSIXTimer::~osPOSIXTimer()
{
    const gpal::detail::CancellationHeldOff untilDeleted;
    trace("osPOSIXTimer::~osPOSIXTimer", m_timerId, ")");
    succeeded(m_timerId == nullptr ? refused() : timer_delete(m_timerId), "timer_delete");
}

int osPOSIXTimer::setInterval(int ms, timespec* ts)
{
    using namespace gpal::detail;
    if (ts != nullptr) {
        *ts = fromMilliseconds(ms);
    }
    return ms / MILLISECONDS_PER_SECOND * MILLISECONDS_PER_SECOND;
}

bool osPOSIXTimer::setTimer(itimerspec* value, itimerspec* oldValue)
{
    const bool possible = m_timerId != nullptr && value != nullptr;
    return succeeded(possible ? timer_settime(m_timerId, 0, value, oldValue) : refused(),
                     "timer_settime");
}

bool osPOSIXTimer::start()
{
    trace("osPOSIXTimer::start", m_timerId, ")");
    return setTimer(m_setting.get(), nullptr);
}

bool osPOSIXTimer::reset()
{
    trace("osPOSIXTimer::reset", m_timerId, ")");
    return setTimer(m_setting.get(), nullptr);
}

bool osPOSIXTimer::stop()
{
    trace("osPOSIXTimer::stop", m_timerId, ")");
    itimerspec disarmed{};
    return setTimer(&disarmed, nullptr);
}

void osPOSIXTimer::timerEvent()
{
    // This one line has "osPosix" in lower case: kept, the lines are part of the interface.
    trace("osPosixTimer::timerEvent", m_timerId, ")");
    if (m_timerId != nullptr) {
        timer_getoverrun(m_timerId);
    }
    if (m_callback != nullptr) {
        m_callback->timerExpired(m_owner);
    }
}

void timerEventNotify(sigval value)
{
    if (value.sival_ptr == nullptr) {
        printToConsole("posixTimerNotify Bad sigval Ref=0\n");
        return;
    }
    static_cast<osPOSIXTimer*>(value.sival_ptr)->timerEvent();
}
