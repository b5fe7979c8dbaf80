#include <gpal/GPALException.h>

#include <cstdlib>

#include <gpal/syslogger.h>

#include "base/cancellation.h"

bool gpalThread_exceptionOccured = false;

int handleException(const char* where, const char* what)
{
    const gpal::detail::CancellationHeldOff untilReported;
    syslogger_emergency("****** GPALThread - exception caught - %s - %s",
                        where != nullptr ? where : "", what != nullptr ? what : "");
    return std::system("reboot");
}
