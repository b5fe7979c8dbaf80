#include "base/console.h"

#include <cstdarg>
#include <cstdio>
#include <ostream>

#include "base/cancellation.h"

/// `std::cout`. The header that declares it gives each file that includes it a constructor to be
/// run when the library is loaded, in every process of the device.
extern std::ostream standardOutput __asm__("_ZSt4cout");

namespace gpal::detail
{

void writeToConsole(std::string_view text)
{
    const CancellationHeldOff whileWriting;
    static const std::ios_base::Init streamsAreReady;
    // Not "<<": a width or fill that the client has set is meant for the client's own next output.
    standardOutput.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
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

} // namespace gpal::detail
