/// \file
/// How the registers of a MIPS processor are described. Nothing here needs such a processor.
#ifndef GPAL_DIAGNOSTICS_MIPS_REGISTERS_H
#define GPAL_DIAGNOSTICS_MIPS_REGISTERS_H

#include <cstddef>
#include <cstdint>

namespace gpal::detail
{

/// The number of SIGBUS on MIPS.
constexpr int MIPS_SIGBUS = 10;

struct MipsRegisters {
    std::uint32_t pc;
    std::uint32_t hi;
    std::uint32_t lo;
    std::uint32_t status;
    std::uint32_t cause;
    std::uint32_t badAddress;
    std::uint32_t general[32];
};

/// Writes the description into \p text, which has room for \p size characters.
void describeMipsRegisters(const MipsRegisters& registers, int signal, char* text,
                           std::size_t size);

/// The program counter that a walk starts from when \p signal came at \p pc.
std::uint64_t mipsWalkStart(std::uint64_t pc, int signal);

} // namespace gpal::detail

#endif
