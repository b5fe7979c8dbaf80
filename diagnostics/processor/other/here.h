/// \file
/// Where a walk of the own stack starts: the runtime's unwinder finds that by itself.
#ifndef GPAL_DIAGNOSTICS_HERE_H
#define GPAL_DIAGNOSTICS_HERE_H

namespace gpal::detail
{

struct Here {
};

inline Here here()
{
    return {};
}

} // namespace gpal::detail

#endif
