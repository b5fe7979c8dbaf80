#include "diagnostics/processor/x86_64/simple_rule.h"

#include <algorithm>
#include <iterator>

namespace gpal::detail
{

namespace
{

bool isKept(int number)
{
    return std::find(std::begin(KEPT), std::end(KEPT), number) != std::end(KEPT);
}

/// Whether no rule is about a register that a simple rule says nothing about.
bool concernsOnlyKeptRegisters(const FrameRules& rules)
{
    for (int number = 0; number < PC; ++number) {
        if (!isKept(number) && rules.registers[number].kind != RegisterRule::UNCHANGED) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<SimpleRule> SimpleRule::of(const FrameRules& rules, bool inEntry)
{
    constexpr auto BYTES = static_cast<std::int64_t>(WORD);
    const RegisterRule& returnAddress = rules.registers[PC];
    if (returnAddress.kind == RegisterRule::UNDEFINED) {
        return SimpleRule(inEntry ? PROGRAM_ENTRY : OUTERMOST);
    }
    const bool baseIsSimple = rules.baseExpression == nullptr &&
                              (rules.baseRegister == RSP || rules.baseRegister == RBP) &&
                              rules.baseOffset >= 0 && rules.baseOffset % BYTES == 0 &&
                              rules.baseOffset / BYTES <= static_cast<std::int64_t>(OFFSET_MAX);
    const bool returnIsSimple =
        returnAddress.kind == RegisterRule::SAVED_AT_OFFSET && returnAddress.operand == -BYTES;
    if (!baseIsSimple || !returnIsSimple || !concernsOnlyKeptRegisters(rules)) {
        return std::nullopt;
    }
    std::uint64_t word = FRAME | (rules.baseRegister == RBP ? FROM_RBP : 0);
    word |= static_cast<std::uint64_t>(rules.baseOffset) / WORD << OFFSET_SHIFT;
    for (int index = 0; index < KEPT_COUNT; ++index) {
        const RegisterRule& rule = rules.registers[KEPT[index]];
        if (rule.kind == RegisterRule::UNCHANGED) {
            continue;
        }
        const std::int64_t below = -rule.operand / BYTES;
        if (rule.kind != RegisterRule::SAVED_AT_OFFSET || rule.operand % BYTES != 0 || below < 1 ||
            below > static_cast<std::int64_t>(SLOT_MAX)) {
            return std::nullopt;
        }
        word |= static_cast<std::uint64_t>(below) << slotShift(index);
    }
    return SimpleRule(word);
}

} // namespace gpal::detail
