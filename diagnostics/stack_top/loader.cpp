#include "diagnostics/stack_top.h"

/// Where the loader found the stack when the program began.
extern "C" void* __libc_stack_end; // NOLINT: the name is the loader's

namespace gpal::detail
{

std::uintptr_t firstStackTop()
{
    return reinterpret_cast<std::uintptr_t>(__libc_stack_end);
}

} // namespace gpal::detail
