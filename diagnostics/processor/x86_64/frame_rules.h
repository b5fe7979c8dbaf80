/// \file
/// How the registers of a function's caller are found, at one place in the function.
#ifndef GPAL_DIAGNOSTICS_X86_64_FRAME_RULES_H
#define GPAL_DIAGNOSTICS_X86_64_FRAME_RULES_H

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
        SAVED_AT_EXPRESSION, ///< in the word whose address the expression at `operand` gives
        EXPRESSION,          ///< the result of the expression at `operand`
        IN_REGISTER          ///< in register `operand`
    };

    Kind kind;
    std::uint8_t number;   ///< of the register
    std::uint64_t operand; ///< offsets wrap
};

/// The frame's base, which is the caller's stack pointer: an expression, or else a register plus an
/// offset.
struct FrameBase {
    std::uint64_t number = RSP; ///< of the register
    std::uint64_t offset = 0;
    const std::uint8_t* expression = nullptr;
};

/// The last rule about a register is the one that holds; without any it is unchanged.
struct FrameRules {
    static constexpr int ROOM = 32;

    FrameBase base;
    int count = 0;
    RegisterRule rules[ROOM];

    /// The rule about register \p number among the first \p among.
    RegisterRule ruleFor(std::uint8_t number, int among) const
    {
        while (among > 0 && rules[among - 1].number != number) {
            --among;
        }
        return among > 0 ? rules[among - 1] : RegisterRule{RegisterRule::UNCHANGED, number, 0};
    }
};

/// Finds the rules at \p address in the function of \p entry. Returns false when they are in a form
/// that compilers for this processor do not write.
bool findFrameRules(const UnwindEntry& entry, std::uintptr_t address, FrameRules& rules);

} // namespace gpal::detail

#endif
