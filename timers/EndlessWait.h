/// \file
/// What the log says of a timer call in a callback.
#ifndef GPAL_TIMERS_ENDLESSWAIT_H
#define GPAL_TIMERS_ENDLESSWAIT_H

#include <gpal/syslogger.h>

#include "base/cancellation.h"

namespace gpal::detail
{

/// The calling thread is about to wait for a lock that it holds: without this line, whoever looks
/// for the reason why no timer of the process expires any more finds nothing. Timer calls are no
/// cancellation points.
inline void reportEndlessWait(int timerId)
{
    const CancellationHeldOff whileLogging;
    syslogger_error("Timer %d: call in a timer callback blocks all timers for ever", timerId);
}

} // namespace gpal::detail

#endif
