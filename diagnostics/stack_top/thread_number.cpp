#include "diagnostics/stack_top.h"

namespace gpal::detail
{

/// Threads are numbered.
std::uintptr_t threadDescription()
{
    return 0;
}

} // namespace gpal::detail
