/// \file
/// The rules of nearly every frame, in one word.
#ifndef GPAL_DIAGNOSTICS_X86_64_SIMPLE_RULE_H
#define GPAL_DIAGNOSTICS_X86_64_SIMPLE_RULE_H

#include "diagnostics/processor/x86_64/frame_rules.h"

namespace gpal::detail
{

/// The registers that a function keeps for its caller, beside the stack pointer.
constexpr RegisterNumber KEPT[] = {RBX, RBP, R12, R13, R14, R15};
constexpr int KEPT_COUNT = 6;

/// Where the caller's registers are when the frame's base is `rsp` or `rbp` plus a number of words,
/// the return address is in the word below it, and registers are saved in the few words below that.
class SimpleRule
{
public:
    enum Kind { FRAME = 1, OUTERMOST, PROGRAM_ENTRY };

    explicit SimpleRule(std::uint64_t word) : m_word(word) {}

    /// \p rules as a simple rule, if they are one; \p inEntry says that the function is the
    /// program's entry.
    static std::optional<SimpleRule> of(const FrameRules& rules, bool inEntry);

    std::uint64_t word() const { return m_word; }
    Kind kind() const { return static_cast<Kind>(m_word & KIND_MASK); }
    RegisterNumber baseRegister() const { return (m_word & FROM_RBP) != 0 ? RBP : RSP; }
    std::uint64_t baseOffset() const { return (m_word >> OFFSET_SHIFT & OFFSET_MAX) * WORD; }

    /// How many words below the base the register KEPT[\p index] is saved; 0 when it is not saved.
    std::uint64_t wordsBelowBase(int index) const { return m_word >> slotShift(index) & SLOT_MAX; }

private:
    static constexpr std::uint64_t WORD = 8;
    static constexpr std::uint64_t KIND_MASK = 3;
    static constexpr std::uint64_t FROM_RBP = 4;
    static constexpr int OFFSET_SHIFT = 3;
    static constexpr std::uint64_t OFFSET_MAX = 0xFFFFFF;
    static constexpr std::uint64_t SLOT_MAX = 15;

    static constexpr int slotShift(int index) { return 32 + 4 * index; }

    std::uint64_t m_word;
};

} // namespace gpal::detail

#endif
