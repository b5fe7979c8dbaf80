/// \file
/// The registers of a frame, numbered as in the unwind tables of 64-bit ARM.
#ifndef GPAL_DIAGNOSTICS_REGISTERS_H
#define GPAL_DIAGNOSTICS_REGISTERS_H

#include <cstdint>

namespace gpal::detail
{

/// General registers go by their own numbers.
enum RegisterNumber {
    FRAME_POINTER = 29,
    RETURN_ADDRESS = 30, ///< where a call puts it
    STACK_POINTER = 31,
    PC = 32,
    REGISTER_COUNT
};

struct Registers {
    std::uint64_t value[REGISTER_COUNT];
};

constexpr bool SIGNS_RETURN_ADDRESSES = true;

/// The address that \p pointer points to: a function may have signed its return address in the bits
/// that addresses do not use.
inline std::uint64_t withoutSignature(std::uint64_t pointer)
{
    // "xpaclri", by the number under which processors that sign nothing pass over it.
    register std::uint64_t address asm("x30") = pointer;
    asm("hint #7" : "+r"(address));
    return address;
}

} // namespace gpal::detail

#endif
