/// \file
/// Takes any text for the kernel's memory report.
#include "diagnostics/memory_figures.h"

#include <cstdint>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::istringstream report(std::string(reinterpret_cast<const char*>(data), size));
    unsigned long total = 0;
    unsigned long free = 0;
    unsigned long cached = 0;
    gpal::detail::readMemoryFigures(report, {&total, &free, &cached});
    report.clear();
    report.seekg(0);
    gpal::detail::readMemoryFigures(report, {nullptr, nullptr, nullptr});
    return 0;
}
