#include <gpal/syslogger.h>

#include <syslog.h>

namespace
{

void logAt(int severity, const char* format, va_list arguments)
{
    if (format != nullptr) {
        vsyslog(severity, format, arguments);
    }
}

} // namespace

// A va_list can only be started in the function that has the "...", hence one body per severity.

void syslogger_emergency(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    logAt(LOG_EMERG, format, arguments);
    va_end(arguments);
}

void syslogger_error(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    logAt(LOG_ERR, format, arguments);
    va_end(arguments);
}

void syslogger_warning(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    logAt(LOG_WARNING, format, arguments);
    va_end(arguments);
}

void syslogger_notice(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    logAt(LOG_NOTICE, format, arguments);
    va_end(arguments);
}

void syslogger_info(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    logAt(LOG_INFO, format, arguments);
    va_end(arguments);
}

void syslogger_debug(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    logAt(LOG_DEBUG, format, arguments);
    va_end(arguments);
}

void vsyslogger_debug(const char* format, va_list arguments)
{
    logAt(LOG_DEBUG, format, arguments);
}
