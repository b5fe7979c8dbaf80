#include <pthread.h>

#include "diagnostics/stack_top.h"

namespace gpal::detail
{

/// A thread's id is the address of its description.
std::uintptr_t threadDescription()
{
    return static_cast<std::uintptr_t>(pthread_self());
}

} // namespace gpal::detail
