/// \file
/// Errors that go both to standard error and to the system log.
#ifndef GPAL_NETWORK_REPORTS_H
#define GPAL_NETWORK_REPORTS_H

namespace gpal::detail
{

/// Prints the formatted text on standard error and logs the same with `syslogger_error`.
/// `errno` stays as it is.
void reportError(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same at information severity in the log.
void reportInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace gpal::detail

#endif
