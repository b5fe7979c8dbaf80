/// \file
/// What a processor contributes to walks by unwind tables. Each folder in processor/ for one that
/// has them fills this in, beside `registers.h`, which numbers its registers as the tables do.
#ifndef GPAL_DIAGNOSTICS_PROCESSOR_H
#define GPAL_DIAGNOSTICS_PROCESSOR_H

#include <optional>
#include <ucontext.h>

#include "diagnostics/thread_stack.h"
#include "registers.h"

namespace gpal::detail
{

/// The registers in a signal's context.
Registers registersIn(const ucontext_t& context);

/// Returns from a function that has done nothing yet: its registers become its caller's. Returns
/// whether there is a return address to be believed.
bool returnFromFirstInstruction(Registers& registers, MemoryRange& stack);

/// The registers of what a signal interrupted, when \p registers stand where its handler returns to
/// and tables are not needed to know that; otherwise none.
std::optional<Registers> registersBeforeSignal(const Registers& registers, MemoryRange& stack);

} // namespace gpal::detail

#endif
