/// \file
/// What tests have to know of this processor.
#ifndef GPAL_TESTS_DIAGNOSTICS_MACHINE_H
#define GPAL_TESTS_DIAGNOSTICS_MACHINE_H

#include <ucontext.h>

constexpr bool CALLS_KEEP_THE_RETURN_ADDRESS_IN_A_REGISTER = true;

/// Sets the two variables to the program counter and the stack pointer here.
#define TAKE_PLACE(pc, sp) asm volatile("adr %0, .\n\tmov %1, sp" : "=r"(pc), "=r"(sp))

inline void setProgramCounter(ucontext_t& context, unsigned long value)
{
    context.uc_mcontext.pc = value;
}

/// Sets the stack pointer only.
inline void setStackPointer(ucontext_t& context, unsigned long value)
{
    context.uc_mcontext.sp = value;
}

inline void setFramePointer(ucontext_t& context, unsigned long value)
{
    context.uc_mcontext.regs[29] = value;
}

extern "C" {

/// Writes to the address \p argument; a leaf without unwind table, behind a function that has one.
int leafWithoutTable(void* argument);

/// Calls a null pointer. Its last instruction is the call: the return address is not its own any
/// more.
[[noreturn]] void neverReturns();
}

#endif
