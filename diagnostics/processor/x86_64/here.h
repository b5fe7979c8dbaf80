/// \file
/// Where a walk of the own stack starts on x86-64.
#ifndef GPAL_DIAGNOSTICS_HERE_H
#define GPAL_DIAGNOSTICS_HERE_H

#include <cstddef>

#include "registers.h"

namespace gpal::detail
{

/// Room that a description of the registers needs, with its terminator.
constexpr std::size_t REGISTERS_TEXT_SIZE = 400;

struct Here {
    Registers registers;
};

/// The place in the function that this is inlined into. Only what a function keeps for its caller
/// is taken; the rest is 0.
__attribute__((always_inline)) inline Here here()
{
    Here place{};
    std::uint64_t(&value)[REGISTER_COUNT] = place.registers.value;
    asm volatile("0:\tleaq 0b(%%rip), %%rax\n\t"
                 "movq %%rax, %0\n\t"
                 "movq %%rsp, %1\n\t"
                 "movq %%rbp, %2\n\t"
                 "movq %%rbx, %3\n\t"
                 "movq %%r12, %4\n\t"
                 "movq %%r13, %5\n\t"
                 "movq %%r14, %6\n\t"
                 "movq %%r15, %7"
                 : "=m"(value[PC]), "=m"(value[RSP]), "=m"(value[RBP]), "=m"(value[RBX]),
                   "=m"(value[R12]), "=m"(value[R13]), "=m"(value[R14]), "=m"(value[R15])
                 :
                 : "rax");
    return place;
}

} // namespace gpal::detail

#endif
