/// \file
/// The figures of the kernel's memory report.
#ifndef GPAL_DIAGNOSTICS_MEMORY_FIGURES_H
#define GPAL_DIAGNOSTICS_MEMORY_FIGURES_H

#include <istream>

namespace gpal::detail
{

/// All in kB; null for a figure that is not asked for.
struct MemoryFigures {
    unsigned long* total;
    unsigned long* free;
    unsigned long* cached;
};

/// Reads the lines of \p report for the figures that are asked for. A figure that is not found
/// stays as it is.
void readMemoryFigures(std::istream& report, const MemoryFigures& wanted);

} // namespace gpal::detail

#endif
