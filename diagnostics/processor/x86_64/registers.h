/// \file
/// The registers of a frame, numbered as in the unwind tables of x86-64.
#ifndef GPAL_DIAGNOSTICS_REGISTERS_H
#define GPAL_DIAGNOSTICS_REGISTERS_H

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
    REGISTER_COUNT,

    STACK_POINTER = RSP,
    RETURN_ADDRESS = PC ///< what tables know the caller's program counter by
};

struct Registers {
    std::uint64_t value[REGISTER_COUNT];
};

constexpr bool SIGNS_RETURN_ADDRESSES = false;

/// The address that \p pointer points to.
inline std::uint64_t withoutSignature(std::uint64_t pointer)
{
    return pointer;
}

} // namespace gpal::detail

#endif
