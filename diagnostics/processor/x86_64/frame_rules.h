/// \file
/// How the registers of a function's caller are found, at one place in the function.
#ifndef GPAL_DIAGNOSTICS_X86_64_FRAME_RULES_H
#define GPAL_DIAGNOSTICS_X86_64_FRAME_RULES_H

#include <optional>

#include "diagnostics/processor/x86_64/registers.h"
#include "diagnostics/processor/x86_64/unwind_tables.h"

namespace gpal::detail
{

/// Where the caller's value of a register is.
struct RegisterRule {
    enum Kind : std::uint8_t {
        UNCHANGED,
        UNDEFINED,
        SAVED_AT_OFFSET,     ///< in the word that `operand` bytes from the frame's base
        BASE_PLUS_OFFSET,    ///< the frame's base plus `operand`
        SAVED_AT_EXPRESSION, ///< in the word whose address an expression gives
        EXPRESSION,          ///< the result of an expression
        IN_REGISTER          ///< in register `operand`
    };

    Kind kind = UNCHANGED;
    std::int64_t operand = 0;                 ///< an offset or a register
    const std::uint8_t* expression = nullptr; ///< starts with its length
};

struct FrameRules {
    /// The frame's base, which is the caller's stack pointer: an expression, or else a register
    /// plus an offset.
    std::uint64_t baseRegister = RSP;
    std::int64_t baseOffset = 0;
    const std::uint8_t* baseExpression = nullptr;

    RegisterRule registers[REGISTER_COUNT];
};

/// The rules at \p address in the function of \p entry; none when they are in a form that compilers
/// for this processor do not write.
std::optional<FrameRules> frameRulesAt(const UnwindEntry& entry, std::uintptr_t address);

} // namespace gpal::detail

#endif
