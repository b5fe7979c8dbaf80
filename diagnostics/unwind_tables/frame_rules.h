/// \file
/// How the registers of a function's caller are found, at one place in the function.
#ifndef GPAL_DIAGNOSTICS_FRAME_RULES_H
#define GPAL_DIAGNOSTICS_FRAME_RULES_H

#include "diagnostics/unwind_tables/byte_reader.h"
#include "registers.h"

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
    std::uint64_t operand; ///< offsets wrap
};

/// The frame's base, which is the caller's stack pointer: an expression, or else a register plus an
/// offset.
struct FrameBase {
    std::uint64_t number; ///< of the register
    std::uint64_t offset;
    const std::uint8_t* expression;
};

/// A register that there is no rule about is unchanged.
struct FrameRules {
    FrameBase base;
    std::uint64_t known; ///< a bit for each register that there is a rule about
    RegisterRule rules[REGISTER_COUNT];

    RegisterRule ruleFor(std::uint64_t number) const
    {
        return (known >> number & 1) != 0 ? rules[number] : RegisterRule{};
    }

    void set(std::uint64_t number, const RegisterRule& rule)
    {
        known |= std::uint64_t{1} << number;
        rules[number] = rule;
    }

    /// Becomes \p other; what stands where that has no rules is left.
    void copy(const FrameRules& other)
    {
        base = other.base;
        known = other.known;
        for (std::uint64_t left = known; left != 0; left &= left - 1) {
            const int number = __builtin_ctzll(left);
            rules[number] = other.rules[number];
        }
    }
};

constexpr FrameRules NO_RULES{{STACK_POINTER, 0, nullptr}, 0, {}};

/// What the numbers in an entry's instructions are multiplied with.
struct Factors {
    std::uint64_t code = 1;
    std::uint64_t data = 1; ///< negative, as a number to multiply with, wrapping
};

/// Runs \p instructions up to the place that is \p distance bytes behind their function's start;
/// \p initial is what single rules are restored to. Returns false when they are in a form that
/// compilers for this processor do not write.
bool applyInstructions(ByteReader instructions, const Factors& factors, std::uint64_t distance,
                       const FrameRules& initial, FrameRules& rules);

} // namespace gpal::detail

#endif
