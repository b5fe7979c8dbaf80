/// \file
/// Where stacks end, which is told differently by different C libraries and threads libraries.
#ifndef GPAL_DIAGNOSTICS_STACK_TOP_H
#define GPAL_DIAGNOSTICS_STACK_TOP_H

#include <cstdint>

namespace gpal::detail
{

/// Where the C library keeps its description of the calling thread, at the top of the thread's
/// stack (of the first thread's: elsewhere, below the stack). 0 where it does not tell.
std::uintptr_t threadDescription();

/// An address above all frames of the first thread's stack.
std::uintptr_t firstStackTop();

} // namespace gpal::detail

#endif
