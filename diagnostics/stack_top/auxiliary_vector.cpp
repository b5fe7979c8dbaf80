#include "diagnostics/stack_top.h"

#include <sys/auxv.h>

namespace gpal::detail
{

/// The first thread's stack ends with what the kernel hands to a program.
std::uintptr_t firstStackTop()
{
    return getauxval(AT_RANDOM);
}

} // namespace gpal::detail
