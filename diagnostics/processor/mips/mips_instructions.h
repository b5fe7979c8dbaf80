/// \file
/// The MIPS instructions that a walk of the stack looks for.
#ifndef GPAL_DIAGNOSTICS_MIPS_INSTRUCTIONS_H
#define GPAL_DIAGNOSTICS_MIPS_INSTRUCTIONS_H

#include <cstdint>

namespace gpal::detail
{

/// A kind of instruction: all words that have this value under this mask.
struct MipsPattern {
    std::uint32_t mask;
    std::uint32_t value;

    constexpr bool matches(std::uint32_t word) const { return (word & mask) == value; }
};

constexpr MipsPattern LOAD_GP{0xFFFF0000, 0x3C1C0000};        ///< lui gp, hi
constexpr MipsPattern ALLOCATE_FRAME{0xFFFF8000, 0x27BD8000}; ///< addiu sp, sp, -N
constexpr MipsPattern ADJUST_STACK{0xFFFF0000, 0x27BD0000};   ///< addiu sp, sp, any
constexpr MipsPattern SAVE_RA{0xFFFF0000, 0xAFBF0000};        ///< sw ra, offset(sp)
constexpr MipsPattern RETURN{0xFFFFFFFF, 0x03E00008};         ///< jr ra
constexpr MipsPattern BRANCH{0xFFFF0000, 0x10000000};         ///< b offset
constexpr MipsPattern SYSTEM_CALL{0xFC00003F, 0x0000000C};    ///< syscall
constexpr MipsPattern CALL_REGISTER{0xFC00003F, 0x00000009};  ///< jalr

/// The signed 16-bit immediate of \p word as a 32-bit number to add, wrapping.
constexpr std::uint32_t immediateOf(std::uint32_t word)
{
    return ((word & 0xFFFF) ^ 0x8000) - 0x8000;
}

} // namespace gpal::detail

#endif
