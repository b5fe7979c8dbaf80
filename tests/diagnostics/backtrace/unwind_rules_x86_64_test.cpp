// Unwind tables of x86-64, written by hand: what they say about the caller's registers.
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "diagnostics/processor/x86_64/expression.h"
#include "diagnostics/processor/x86_64/frame_rules.h"

using namespace gpal::detail;

namespace
{

using Bytes = std::vector<std::uint8_t>;

constexpr std::uintptr_t START = 0x1000;

// As at the start of every function: the base is rsp + 8, with the return address below it.
const Bytes AT_START{0x0C, RSP, 8, 0x80 | PC, 1};

/// The rules at START + \p distance of a function with these instructions.
std::optional<FrameRules> rulesOf(const Bytes& instructions, std::uintptr_t distance)
{
    UnwindEntry entry;
    entry.common.dataAlignment = static_cast<std::uint64_t>(-8);
    entry.common.instructions = {AT_START.data(), AT_START.data() + AT_START.size()};
    entry.functionStart = START;
    entry.instructions = {instructions.data(), instructions.data() + instructions.size()};
    FrameRules rules;
    return findFrameRules(entry, START + distance, rules) ? std::optional<FrameRules>(rules)
                                                          : std::nullopt;
}

RegisterRule ruleFor(std::uint8_t number, const std::optional<FrameRules>& rules)
{
    return rules->ruleFor(number, rules->count);
}

void expectSaved(const std::optional<FrameRules>& rules, std::uint8_t number, std::int64_t offset)
{
    EXPECT_EQ(RegisterRule::SAVED_AT_OFFSET, ruleFor(number, rules).kind);
    EXPECT_EQ(static_cast<std::uint64_t>(offset), ruleFor(number, rules).operand);
}

constexpr std::uint8_t ADVANCE_ONE = 0x41;

/// What an expression gives for registers that hold their own number times 0x100.
std::optional<std::uint64_t> valueOf(Bytes expression, std::optional<std::uint64_t> pushed = {})
{
    expression.insert(expression.begin(), static_cast<std::uint8_t>(expression.size()));
    Registers registers{};
    for (std::uint64_t i = 0; i < REGISTER_COUNT; ++i) {
        registers.value[i] = 0x100 * i;
    }
    MemoryRange nothing(0, 0);
    return evaluate(expression.data(), registers, nothing, pushed);
}

} // namespace

TEST(UnwindRules, applyFromTheirInstructionOn)
{
    const Bytes push{ADVANCE_ONE, 0x0E, 16, 0x80 | RBX, 2, ADVANCE_ONE, 0x0E, 24};
    EXPECT_EQ(8U, rulesOf(push, 0)->base.offset);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(RBX, rulesOf(push, 0)).kind);
    expectSaved(rulesOf(push, 0), PC, -8);
    EXPECT_EQ(16U, rulesOf(push, 1)->base.offset);
    expectSaved(rulesOf(push, 1), RBX, -16);
    EXPECT_EQ(24U, rulesOf(push, 2)->base.offset);
}

TEST(UnwindRules, knowAllWaysToAdvance)
{
    const Bytes base{0x0E, 16};
    for (const Bytes& advance :
         {Bytes{0x42}, Bytes{0x02, 2}, Bytes{0x03, 2, 0}, Bytes{0x04, 2, 0, 0, 0}}) {
        Bytes instructions = advance;
        instructions.insert(instructions.end(), base.begin(), base.end());
        EXPECT_EQ(8U, rulesOf(instructions, 1)->base.offset);
        EXPECT_EQ(16U, rulesOf(instructions, 2)->base.offset);
    }
}

TEST(UnwindRules, knowAllWaysToGiveTheBase)
{
    EXPECT_EQ(RBP, rulesOf({0x0D, RBP}, 0)->base.number);
    EXPECT_EQ(16U, rulesOf({0x13, 0x7E}, 0)->base.offset); // -2 words, of -8 bytes each
    const auto both = rulesOf({0x12, RBP, 0x7D}, 0);
    EXPECT_EQ(RBP, both->base.number);
    EXPECT_EQ(24U, both->base.offset);
    const Bytes expression{0x0F, 2, 0x76, 0x00};
    EXPECT_EQ(expression.data() + 1, rulesOf(expression, 0)->base.expression);
    EXPECT_EQ(nullptr, rulesOf({0x0F, 2, 0x76, 0x00, 0x0C, RSP, 8}, 0)->base.expression);
}

TEST(UnwindRules, knowAllWaysToGiveARegister)
{
    expectSaved(rulesOf({0x05, R12, 3}, 0), R12, -24);
    expectSaved(rulesOf({0x11, R12, 0x7F}, 0), R12, 8);
    EXPECT_EQ(RegisterRule::UNDEFINED, ruleFor(PC, rulesOf({0x07, PC}, 0)).kind);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(RBX, rulesOf({0x07, RBX, 0x08, RBX}, 0)).kind);
    const auto inRegister = rulesOf({0x09, RBX, R10}, 0);
    EXPECT_EQ(RegisterRule::IN_REGISTER, ruleFor(RBX, inRegister).kind);
    EXPECT_EQ(R10, ruleFor(RBX, inRegister).operand);
    EXPECT_EQ(RegisterRule::BASE_PLUS_OFFSET, ruleFor(RSP, rulesOf({0x14, RSP, 1}, 0)).kind);
    EXPECT_EQ(16, ruleFor(RSP, rulesOf({0x15, RSP, 0x7E}, 0)).operand);
    const Bytes saved{0x10, RBP, 2, 0x76, 0x00, 0x0E, 32};
    EXPECT_EQ(RegisterRule::SAVED_AT_EXPRESSION, ruleFor(RBP, rulesOf(saved, 0)).kind);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(saved.data() + 2),
              ruleFor(RBP, rulesOf(saved, 0)).operand);
    EXPECT_EQ(32U, rulesOf(saved, 0)->base.offset);
    EXPECT_EQ(RegisterRule::EXPRESSION, ruleFor(RBP, rulesOf({0x16, RBP, 1, 0x30}, 0)).kind);
}

TEST(UnwindRules, canBeRestoredAndRemembered)
{
    const auto restored = rulesOf({0x80 | RBX, 2, 0x80 | RBP, 3, 0xC0 | RBX, 0x06, RBP}, 0);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(RBX, restored).kind);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(RBP, restored).kind);
    expectSaved(rulesOf({0x80 | PC, 5, 0xC0 | PC}, 0), PC, -8);

    const Bytes remembered{0x0E, 64, 0x80 | RBX, 2, 0x0A, 0x0E, 8, 0xC0 | RBX, ADVANCE_ONE, 0x0B};
    EXPECT_EQ(8U, rulesOf(remembered, 0)->base.offset);
    EXPECT_EQ(64U, rulesOf(remembered, 1)->base.offset);
    expectSaved(rulesOf(remembered, 1), RBX, -16);
}

TEST(UnwindRules, passOverWhatNoWalkNeeds)
{
    const auto rules = rulesOf({0x00, 0x2E, 16, 0x80 | 17, 4, 0x05, 40, 1, 0xC0 | 17, 0x0E, 16}, 0);
    EXPECT_EQ(16U, rules->base.offset);
}

TEST(UnwindRules, areNoneInAnUnknownForm)
{
    EXPECT_FALSE(rulesOf({0x3F, 0}, 0));
    EXPECT_FALSE(rulesOf({0x0B}, 0)) << "nothing to restore";
    EXPECT_FALSE(rulesOf({0x0A, 0x0A, 0x0A, 0x0A, 0x0A}, 0)) << "too deep";
    Bytes all;
    for (int i = 0; i < 2 * PC; ++i) {
        all.insert(all.end(), {static_cast<std::uint8_t>(0x80 | i % PC), 1});
    }
    EXPECT_TRUE(rulesOf(all, 0));
    all.insert(all.begin() + all.size() / 2, 0x0A);
    EXPECT_FALSE(rulesOf(all, 0)) << "too many";
}

TEST(UnwindRules, endWithTheirTable)
{
    EXPECT_EQ(0U, rulesOf({0x0E}, 0)->base.offset);
    EXPECT_FALSE(rulesOf({0x10, RBP, 0xFF, 0xFF, 0xFF}, 0)) << "an expression that is cut short";
    EXPECT_FALSE(rulesOf({0x0F, 2, 0x76}, 0));
}

TEST(UnwindExpression, computesTheFrameOfAStubThatCallsAnotherLibrary)
{
    // rsp + 8 + ((rip & 15) >= 11) * 8
    const Bytes stub{0x77, 8, 0x80, 0, 0x3F, 0x1A, 0x3B, 0x2A, 0x33, 0x24, 0x22};
    EXPECT_EQ(0x708U, valueOf(stub)); // rip is 0x1000: at its start
    const Bytes later{0x77, 8, 0x80, 11, 0x3F, 0x1A, 0x3B, 0x2A, 0x33, 0x24, 0x22};
    EXPECT_EQ(0x710U, valueOf(later));
}

TEST(UnwindExpression, reads)
{
    const std::uint64_t words[] = {7, 42};
    const auto address = reinterpret_cast<std::uintptr_t>(&words[1]);
    const Bytes dereference{1, 0x06};
    MemoryRange stack(reinterpret_cast<std::uintptr_t>(words),
                      reinterpret_cast<std::uintptr_t>(words + 2));
    MemoryRange nothing(0, 0);
    EXPECT_EQ(42U, evaluate(dereference.data(), Registers{}, stack, address));
    EXPECT_FALSE(evaluate(dereference.data(), Registers{}, stack, address + 8));
    EXPECT_FALSE(evaluate(dereference.data(), Registers{}, stack, address + 1));
    EXPECT_FALSE(evaluate(dereference.data(), Registers{}, nothing, address));
}

TEST(UnwindExpression, knowsConstantsAndSums)
{
    EXPECT_EQ(200U, valueOf({0x08, 200}));
    EXPECT_EQ(~std::uint64_t{0}, valueOf({0x09, 0xFF}));
    EXPECT_EQ(300U, valueOf({0x10, 0xAC, 0x02}));
    EXPECT_EQ(~std::uint64_t{0}, valueOf({0x11, 0x7F}));
    EXPECT_EQ(0x705U, valueOf({0x77, 0, 0x23, 5}));
    EXPECT_EQ(0x6F8U, valueOf({0x77, 0x78}));
    EXPECT_EQ(2U, valueOf({0x35, 0x33, 0x1C}));
    EXPECT_EQ(0U, valueOf({0x33, 0x35, 0x2A}));
    EXPECT_EQ(99U, valueOf({}, 99)) << "the frame's base is there at the start";
}

TEST(UnwindExpression, givesNothingWhereItIsUnknownOrBroken)
{
    for (const Bytes& broken :
         {Bytes{}, Bytes{0x22}, Bytes{0x31, 0x22}, Bytes{0x06}, Bytes{0x31, 0x31, 0xE0},
          Bytes{0x8F, 0}, Bytes{0x31, 0x08, 64, 0x24}, Bytes(9, 0x31)}) {
        EXPECT_FALSE(valueOf(broken)) << testing::PrintToString(broken);
    }
}
