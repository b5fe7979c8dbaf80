#include "base/console.h"

#include <iostream>

#include "base/cancellation.h"

namespace gpal::detail
{

void writeToConsole(const std::string& text)
{
    const CancellationHeldOff whileWriting;
    std::cout << text << std::flush;
}

} // namespace gpal::detail
