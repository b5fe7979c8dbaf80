/// \file
/// Diagnostics for the device's maintainers: one `printf`-style function for each severity.
///
/// The message goes to the system log (RFC 3164 severities, `syslog(3)`) exactly as formatted:
/// no prefix, no facility, no line end is added. The layer never calls `openlog`, `closelog` or
/// `setlogmask`; identity, facility and mask are those of the hosting process.
///
/// All functions may be called from any thread, report no errors, and are cancellation points
/// where `syslog` is one. A null format logs nothing. They can be used from C.
#ifndef GPAL_SYSLOGGER_H
#define GPAL_SYSLOGGER_H

#include <stdarg.h>

#include <gpal/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Logs at LOG_EMERG (0): the device is about to become unusable.
GPAL_API void syslogger_emergency(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs at LOG_ERR (3).
GPAL_API void syslogger_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs at LOG_WARNING (4).
GPAL_API void syslogger_warning(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs at LOG_NOTICE (5).
GPAL_API void syslogger_notice(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs at LOG_INFO (6).
GPAL_API void syslogger_info(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs at LOG_DEBUG (7).
GPAL_API void syslogger_debug(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs at LOG_DEBUG (7) with the arguments in \p arguments, which is used up by the call as with
/// `vprintf`; the caller still ends it with `va_end`.
GPAL_API void vsyslogger_debug(const char* format, va_list arguments)
    __attribute__((format(printf, 1, 0)));

#ifdef __cplusplus
}
#endif

#endif
