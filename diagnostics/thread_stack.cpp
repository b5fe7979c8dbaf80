#include "diagnostics/thread_stack.h"

#include <pthread.h>
#include <signal.h>
#include <sys/auxv.h>

namespace gpal::detail
{

namespace
{

/// The end of the stack that \p address lies on. The C library keeps a thread's description, which
/// its id points to, at the top of the thread's stack. The first thread's is elsewhere, below its
/// stack; that stack ends with what the kernel hands to a program.
std::uintptr_t stackTopAbove(std::uintptr_t address)
{
    const std::uintptr_t description = static_cast<std::uintptr_t>(pthread_self());
    if (address < description) {
        return description;
    }
    const std::uintptr_t fromKernel = getauxval(AT_RANDOM);
    return address < fromKernel ? fromKernel : UINTPTR_MAX;
}

bool onAlternateStack()
{
    stack_t alternate{};
    return sigaltstack(nullptr, &alternate) == 0 && (alternate.ss_flags & SS_ONSTACK) != 0;
}

} // namespace

StackRange stackInUse(std::uintptr_t stackPointer)
{
    // What is in use lies above this very function's frame.
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    const std::uintptr_t top = stackTopAbove(here);
    if (here <= stackPointer && stackPointer < top) {
        return {here, top};
    }
    if (onAlternateStack()) {
        return {stackPointer, stackTopAbove(stackPointer)};
    }
    return {0, 0};
}

} // namespace gpal::detail
