/// \file
/// Where a walk of the own stack starts: the runtime's unwinder finds that by itself.
#ifndef GPAL_DIAGNOSTICS_HERE_H
#define GPAL_DIAGNOSTICS_HERE_H

#include <cstddef>

namespace gpal::detail
{

/// Room that a description of the registers needs, with its terminator.
constexpr std::size_t REGISTERS_TEXT_SIZE = 64;

struct Here {
};

inline Here here()
{
    return {};
}

} // namespace gpal::detail

#endif
