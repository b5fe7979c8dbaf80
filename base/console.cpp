#include "base/console.h"

#include <iostream>

#include "base/cancellation.h"

namespace gpal::detail
{

void writeToConsole(const std::string& text)
{
    const CancellationHeldOff whileWriting;
    // Not "<<": a width or fill that the client has set is meant for the client's own next output.
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
}

} // namespace gpal::detail
