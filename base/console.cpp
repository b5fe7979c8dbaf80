#include "base/console.h"

#include <cstdarg>
#include <cstdio>
#include <cxxabi.h>
#include <ostream>

#include "base/cancellation.h"

/// `std::cout`. The header that declares it has the streams made whenever the library is loaded: a
/// twentieth of what a process that writes nothing takes to start.
extern std::ostream standardOutput __asm__("_ZSt4cout");

namespace gpal::detail
{

// A thread's end comes as an exception without an object, which the sanitizer would take the first
// handler's reference to miss.
__attribute__((no_sanitize("null"))) void writeToConsole(std::string_view text)
{
    const CancellationHeldOff whileWriting;
    static const std::ios_base::Init streamsAreReady;
    try {
        // Not "<<": a width or fill that the client has set is meant for the client's own output.
        standardOutput.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
    } catch (const abi::__forced_unwind&) {
        throw; // the client's buffer ends the thread
    } catch (...) {
        // The client has the stream throw when it fails, its buffer whatever it likes, which is no
        // business of ours.
    }
}

void printToConsole(const char* format, ...)
{
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    writeToConsole(line);
}

void printReason(const char* what)
{
    const CancellationHeldOff whilePrinting;
    std::perror(what);
}

} // namespace gpal::detail
