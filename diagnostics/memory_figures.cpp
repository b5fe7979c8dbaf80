#include "diagnostics/memory_figures.h"

#include <cstdio>
#include <string>

namespace gpal::detail
{
namespace
{

/// Takes the figure of \p key, if it is asked for and the line is its own. A line that only
/// mentions the key, the swap cache's, is nobody else's either.
bool take(const std::string& line, const char* key, const char* format, unsigned long* figure)
{
    if (figure == nullptr || line.find(key) == std::string::npos) {
        return false;
    }
    std::sscanf(line.c_str(), format, figure);
    return true;
}

} // namespace

void readMemoryFigures(std::istream& report, const MemoryFigures& wanted)
{
    for (std::string line; std::getline(report, line);) {
        if (take(line, "MemTotal", "MemTotal: %lu", wanted.total) ||
            take(line, "MemFree", "MemFree: %lu", wanted.free)) {
            continue;
        }
        take(line, "Cached", "Cached: %lu", wanted.cached);
    }
}

} // namespace gpal::detail
