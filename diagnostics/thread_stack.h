/// \file
/// Which memory a walk may believe to be the calling thread's stack.
#ifndef GPAL_DIAGNOSTICS_THREAD_STACK_H
#define GPAL_DIAGNOSTICS_THREAD_STACK_H

#include <cstdint>

namespace gpal::detail
{

/// Addresses from `low` up to, not including, `top`.
struct StackRange {
    std::uintptr_t low;
    std::uintptr_t top;

    /// Whether the word at \p address is aligned and lies in the range.
    bool holdsWord(std::uintptr_t address, std::uintptr_t wordSize) const
    {
        return address % wordSize == 0 && address >= low && address < top &&
               top - address >= wordSize;
    }
};

/// The part of the calling thread's stack that is in use and that \p stackPointer points into; an
/// empty range when it points elsewhere. May be called in signal handlers, on an alternate stack
/// too.
StackRange stackInUse(std::uintptr_t stackPointer);

} // namespace gpal::detail

#endif
