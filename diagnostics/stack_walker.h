/// \file
/// What a processor contributes to back traces. Each folder in processor/ fills this in, beside
/// `here.h`, which defines `Here`, the registers that a walk of the caller's stack starts from, and
/// `here()`, which takes them where it stands.
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

/// Room that a description of the registers needs, with its terminator.
constexpr std::size_t REGISTERS_TEXT_SIZE = 560;

/// Describes the registers in \p context.
void describeRegisters(const ucontext_t& context, int signal, char (&text)[REGISTERS_TEXT_SIZE]);

} // namespace gpal::detail

#endif
