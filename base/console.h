/// \file
/// The one way in which the layer writes to the console.
#ifndef GPAL_BASE_CONSOLE_H
#define GPAL_BASE_CONSOLE_H

#include <string_view>

namespace gpal::detail
{

/// Writes \p text to standard output in one piece and flushes it, so that the lines of several
/// threads do not mix. Cancellation is held off meanwhile: unwinding out of the stream would leave
/// it in a failed state, and all later output of the process would be lost. A failing stream does
/// not throw out of it, though the client may have told it to: callers are destructors, too, and
/// the threads of timers, where that would end the process or reboot the device.
void writeToConsole(std::string_view text);

/// Writes one formatted line, at most 255 characters of it. Takes no memory from the heap, so it
/// serves where an exception must not arise: in destructors and on other libraries' threads.
void printToConsole(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Prints \p what and the reason in `errno` on standard error, as `perror` does. Cancellation is
/// held off meanwhile: the C library would leave standard error locked for good.
void printReason(const char* what);

} // namespace gpal::detail

#endif
