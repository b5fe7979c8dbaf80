/// \file
/// What a processor contributes to back traces. Each folder in processor/ fills this in, or leaves
/// the walks to unwind_tables/, beside `here.h`. That defines `Here`, the registers that a walk of
/// the caller's stack starts from, and `here()`, which takes them where it stands; and how much
/// text a description of all registers is.
#ifndef GPAL_DIAGNOSTICS_STACK_WALKER_H
#define GPAL_DIAGNOSTICS_STACK_WALKER_H

#include <cstddef>
#include <ucontext.h>

namespace gpal::detail
{

struct Here;

/// What stands in place of a program counter of null.
constexpr unsigned long NULL_CALLED = 0xDEAD0000;

// The walks record at most `max` addresses, at least 1, in `buffer` and return how many. They run
// in signal handlers: no allocation, no locks.

/// From a place in a function that has not returned.
int walkFromHere(const Here& here, void** buffer, int max);

/// From a place of which only program counter and stack pointer are known.
int walkFrom(unsigned long pc, unsigned long sp, void** buffer, int max);

/// From where \p signal interrupted the thread.
int walkFromContext(ucontext_t& context, int signal, void** buffer, int max);

/// Describes the registers in \p context, in \p size characters at most.
void describeRegisters(const ucontext_t& context, int signal, char* text, std::size_t size);

} // namespace gpal::detail

#endif
