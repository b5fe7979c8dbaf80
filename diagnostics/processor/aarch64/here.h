/// \file
/// Where a walk of the own stack starts on 64-bit ARM.
#ifndef GPAL_DIAGNOSTICS_HERE_H
#define GPAL_DIAGNOSTICS_HERE_H

#include <cstddef>

#include "registers.h"

namespace gpal::detail
{

/// Room that a description of the registers needs, with its terminator.
constexpr std::size_t REGISTERS_TEXT_SIZE = 760;

struct Here {
    Registers registers;
};

/// The place in the function that this is inlined into. Only what a function keeps for its caller
/// is taken; the rest is 0.
__attribute__((always_inline)) inline Here here()
{
    Here place{};
    std::uint64_t* const value = place.registers.value;
    std::uint64_t pc = 0;
    std::uint64_t sp = 0;
    asm volatile("stp x19, x20, [%2, #19 * 8]\n\t"
                 "stp x21, x22, [%2, #21 * 8]\n\t"
                 "stp x23, x24, [%2, #23 * 8]\n\t"
                 "stp x25, x26, [%2, #25 * 8]\n\t"
                 "stp x27, x28, [%2, #27 * 8]\n\t"
                 "stp x29, x30, [%2, #29 * 8]\n\t"
                 "mov %1, sp\n\t"
                 "adr %0, ."
                 : "=&r"(pc), "=&r"(sp)
                 : "r"(value)
                 : "memory");
    value[STACK_POINTER] = sp;
    value[PC] = pc;
    return place;
}

} // namespace gpal::detail

#endif
