/// \file
/// The root of the layer's exceptions and the policy for an exception that escapes a thread.
#ifndef GPAL_GPALEXCEPTION_H
#define GPAL_GPALEXCEPTION_H

#include <gpal/export.h>

/// Root of the layer's own exception classes. It is deliberately no `std::exception`: a handler
/// written for standard exceptions does not catch it.
class GPAL_API GPALException
{
};

/// Left for other components to set and to read; the layer does neither. False in a fresh process.
/// The spelling is part of the interface.
extern GPAL_API bool gpalThread_exceptionOccured;

extern "C" {

/// Reports an exception that escaped a thread, at emergency severity, and reboots the device: a
/// telephone that has lost a worker thread is beyond recovery. \p where names the thread's body,
/// \p what is the exception's text or ""; null counts as "".
///
/// Returns the result of running the shell command "reboot" (see `system(3)`), and does return when
/// the reboot is asynchronous or fails. Callable from any thread. Cancellation is held off until it
/// returns, so that a thread that is being cancelled still gets its report out.
GPAL_API int handleException(const char* where, const char* what);
}

#endif
