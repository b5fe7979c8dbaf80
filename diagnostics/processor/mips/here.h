/// \file
/// Where a walk of the own stack starts on MIPS.
#ifndef GPAL_DIAGNOSTICS_HERE_H
#define GPAL_DIAGNOSTICS_HERE_H

#include <cstddef>

namespace gpal::detail
{

/// Room that a description of the registers needs, with its terminator.
constexpr std::size_t REGISTERS_TEXT_SIZE = 560;

struct Here {
    unsigned long pc;
    unsigned long sp;
};

/// The place in the function that this is inlined into: the address just after a call to a label in
/// it, which also makes the function save its return address.
__attribute__((always_inline)) inline Here here()
{
    Here place{};
    asm volatile(".set push\n\t"
                 ".set noreorder\n\t"
                 "bal 1f\n\t"
                 "nop\n"
                 "1:\tmove %0, $31\n\t"
                 "move %1, $29\n\t"
                 ".set pop"
                 : "=&r"(place.pc), "=r"(place.sp)
                 :
                 : "$31");
    return place;
}

} // namespace gpal::detail

#endif
