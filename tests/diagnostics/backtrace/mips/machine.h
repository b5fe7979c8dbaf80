/// \file
/// What tests have to know of this processor.
#ifndef GPAL_TESTS_DIAGNOSTICS_MACHINE_H
#define GPAL_TESTS_DIAGNOSTICS_MACHINE_H

#include <ucontext.h>

inline void setStackPointer(ucontext_t& context, unsigned long value)
{
    context.uc_mcontext.gregs[29] = value;
}

/// Walks need none.
inline void setFramePointer(ucontext_t& /*context*/, unsigned long /*value*/) {}

#endif
