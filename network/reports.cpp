#include "network/reports.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <syslog.h>

#include <gpal/syslogger.h>

#include "base/console.h"
#include "base/errno_kept.h"

namespace gpal::detail
{
namespace
{

/// The text is formatted twice rather than stored: it may be long, and memory short.
void report(int severity, const char* format, va_list arguments)
{
    const ErrnoKept reason;
    va_list again;
    va_copy(again, arguments);
    std::vfprintf(stderr, format, arguments);
    vsyslog(severity, format, again);
    va_end(again);
}

} // namespace

void reportError(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(LOG_ERR, format, arguments);
    va_end(arguments);
}

void reportInfo(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    report(LOG_INFO, format, arguments);
    va_end(arguments);
}

void reportFailure(const char* what, const char* gap, const char* end)
{
    const ErrnoKept reason;
    const int error = errno;
    printReason(what);
    syslogger_error("%s%s%s%s", what, gap, std::strerror(error), end);
}

} // namespace gpal::detail
