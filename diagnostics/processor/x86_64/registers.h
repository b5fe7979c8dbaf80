/// \file
/// The registers of a frame, numbered as in the unwind tables of x86-64.
#ifndef GPAL_DIAGNOSTICS_X86_64_REGISTERS_H
#define GPAL_DIAGNOSTICS_X86_64_REGISTERS_H

#include <cstdint>

namespace gpal::detail
{

enum RegisterNumber {
    RAX,
    RDX,
    RCX,
    RBX,
    RSI,
    RDI,
    RBP,
    RSP,
    R8,
    R9,
    R10,
    R11,
    R12,
    R13,
    R14,
    R15,
    PC,
    REGISTER_COUNT
};

struct Registers {
    std::uint64_t value[REGISTER_COUNT];
};

} // namespace gpal::detail

#endif
