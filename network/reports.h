/// \file
/// Errors that go both to standard error and to the system log, which may be where a thread is
/// cancelled. `errno` stays as it is, and no memory is allocated here.
#ifndef GPAL_NETWORK_REPORTS_H
#define GPAL_NETWORK_REPORTS_H

namespace gpal::detail
{

/// Prints the formatted text on standard error and logs the same at error severity.
void reportError(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same at information severity in the log.
void reportInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Prints \p what and the reason in `errno` as `perror` does, and logs \p what, \p gap, the reason
/// and \p end as an error.
void reportFailure(const char* what, const char* gap, const char* end);

} // namespace gpal::detail

#endif
