#include "base/console.h"

#include <cstdarg>
#include <cstdio>
#include <iostream>

#include "base/cancellation.h"

namespace gpal::detail
{

void writeToConsole(std::string_view text)
{
    const CancellationHeldOff whileWriting;
    // Not "<<": a width or fill that the client has set is meant for the client's own next output.
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
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
