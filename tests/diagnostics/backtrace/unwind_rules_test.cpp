// Instructions of unwind tables, written by hand: what they say about the caller's registers.
#include <gtest/gtest.h>
#include <optional>
#include <vector>

#include "crafted_tables.h"
#include "diagnostics/unwind_tables/expression.h"
#include "diagnostics/unwind_tables/frame_rules.h"

using namespace gpal::detail;

namespace
{

/// The rules \p distance bytes into a function with these instructions. At its start the base is
/// the stack pointer plus 8, with the return address below it.
std::optional<FrameRules> rulesOf(const Bytes& instructions, std::uintptr_t distance)
{
    FrameRules initial = NO_RULES;
    initial.base.offset = 8;
    initial.set(RETURN_ADDRESS, {RegisterRule::SAVED_AT_OFFSET, static_cast<std::uint64_t>(-8)});
    FrameRules rules = initial;
    const ByteReader reader{instructions.data(), instructions.data() + instructions.size()};
    const Factors factors{1, static_cast<std::uint64_t>(-8)};
    return applyInstructions(reader, factors, distance, initial, rules)
               ? std::optional<FrameRules>(rules)
               : std::nullopt;
}

RegisterRule ruleFor(std::uint8_t number, const std::optional<FrameRules>& rules)
{
    return rules->ruleFor(number);
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
    const Bytes push{ADVANCE_ONE, 0x0E, 16, 0x80 | ONE, 2, ADVANCE_ONE, 0x0E, 24};
    EXPECT_EQ(8U, rulesOf(push, 0)->base.offset);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(ONE, rulesOf(push, 0)).kind);
    expectSaved(rulesOf(push, 0), RETURN_ADDRESS, -8);
    EXPECT_EQ(16U, rulesOf(push, 1)->base.offset);
    expectSaved(rulesOf(push, 1), ONE, -16);
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
    EXPECT_EQ(TWO, rulesOf({0x0D, TWO}, 0)->base.number);
    EXPECT_EQ(16U, rulesOf({0x13, 0x7E}, 0)->base.offset); // -2 words, of -8 bytes each
    const auto both = rulesOf({0x12, TWO, 0x7D}, 0);
    EXPECT_EQ(TWO, both->base.number);
    EXPECT_EQ(24U, both->base.offset);
    const Bytes expression{0x0F, 2, 0x76, 0x00};
    EXPECT_EQ(expression.data() + 1, rulesOf(expression, 0)->base.expression);
    EXPECT_EQ(nullptr, rulesOf({0x0F, 2, 0x76, 0x00, 0x0C, STACK_POINTER, 8}, 0)->base.expression);
}

TEST(UnwindRules, knowAllWaysToGiveARegister)
{
    expectSaved(rulesOf({0x05, THREE, 3}, 0), THREE, -24);
    expectSaved(rulesOf({0x11, THREE, 0x7F}, 0), THREE, 8);
    EXPECT_EQ(RegisterRule::UNDEFINED,
              ruleFor(RETURN_ADDRESS, rulesOf({0x07, RETURN_ADDRESS}, 0)).kind);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(ONE, rulesOf({0x07, ONE, 0x08, ONE}, 0)).kind);
    const auto inRegister = rulesOf({0x09, ONE, THREE}, 0);
    EXPECT_EQ(RegisterRule::IN_REGISTER, ruleFor(ONE, inRegister).kind);
    EXPECT_EQ(THREE, ruleFor(ONE, inRegister).operand);
    EXPECT_EQ(RegisterRule::BASE_PLUS_OFFSET,
              ruleFor(STACK_POINTER, rulesOf({0x14, STACK_POINTER, 1}, 0)).kind);
    EXPECT_EQ(16, ruleFor(STACK_POINTER, rulesOf({0x15, STACK_POINTER, 0x7E}, 0)).operand);
    const Bytes saved{0x10, TWO, 2, 0x76, 0x00, 0x0E, 32};
    EXPECT_EQ(RegisterRule::SAVED_AT_EXPRESSION, ruleFor(TWO, rulesOf(saved, 0)).kind);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(saved.data() + 2),
              ruleFor(TWO, rulesOf(saved, 0)).operand);
    EXPECT_EQ(32U, rulesOf(saved, 0)->base.offset);
    EXPECT_EQ(RegisterRule::EXPRESSION, ruleFor(TWO, rulesOf({0x16, TWO, 1, 0x30}, 0)).kind);
}

TEST(UnwindRules, canBeRestoredAndRemembered)
{
    const auto restored = rulesOf({0x80 | ONE, 2, 0x80 | TWO, 3, 0xC0 | ONE, 0x06, TWO}, 0);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(ONE, restored).kind);
    EXPECT_EQ(RegisterRule::UNCHANGED, ruleFor(TWO, restored).kind);
    expectSaved(rulesOf({0x80 | RETURN_ADDRESS, 5, 0xC0 | RETURN_ADDRESS}, 0), RETURN_ADDRESS, -8);

    const Bytes remembered{0x0E, 64, 0x80 | ONE, 2, 0x0A, 0x0E, 8, 0xC0 | ONE, ADVANCE_ONE, 0x0B};
    EXPECT_EQ(8U, rulesOf(remembered, 0)->base.offset);
    EXPECT_EQ(64U, rulesOf(remembered, 1)->base.offset);
    expectSaved(rulesOf(remembered, 1), ONE, -16);
}

TEST(UnwindRules, passOverWhatNoWalkNeeds)
{
    const auto rules = rulesOf({0x00, 0x2E, 16, 0x80 | 40, 4, 0x05, 70, 1, 0xC0 | 40, 0x0E, 16}, 0);
    EXPECT_EQ(16U, rules->base.offset);
}

TEST(UnwindRules, areNoneInAnUnknownForm)
{
    EXPECT_FALSE(rulesOf({0x3F, 0}, 0));
    EXPECT_FALSE(rulesOf({0x0B}, 0)) << "nothing to restore";
    EXPECT_TRUE(rulesOf({0x0A, 0x0A, 0x0A, 0x0A}, 0));
    EXPECT_FALSE(rulesOf({0x0A, 0x0A, 0x0A, 0x0A, 0x0A}, 0)) << "too deep";
}

TEST(UnwindRules, sayWhereAReturnAddressIsSignedWhereThatIsDone)
{
    EXPECT_EQ(SIGNS_RETURN_ADDRESSES, rulesOf({0x2D}, 0).has_value());
}

TEST(UnwindRules, endWithTheirTable)
{
    EXPECT_EQ(0U, rulesOf({0x0E}, 0)->base.offset);
    EXPECT_FALSE(rulesOf({0x10, TWO, 0xFF, 0xFF, 0xFF}, 0)) << "an expression that is cut short";
    EXPECT_FALSE(rulesOf({0x0F, 2, 0x76}, 0));
    EXPECT_FALSE(rulesOf({0x0F, 0x80}, 0)) << "one whose length is cut short";
    EXPECT_FALSE(rulesOf({0x16, ONE, 0}, 0)) << "an empty one";
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
    EXPECT_EQ(0x7FFFFFFFFFFFFFFFU,
              valueOf({0x11, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}));
    EXPECT_EQ(0U, valueOf({0x11})) << "one that is cut short";
    EXPECT_EQ(1U, valueOf(Bytes{0x10, 0x81} + Bytes(9, 0x80) + Bytes{0x7F})) << "more than 64 bits";
    EXPECT_EQ(0x6F8U, valueOf({0x77, 0x78}));
    EXPECT_EQ(2U, valueOf({0x35, 0x33, 0x1C}));
    EXPECT_EQ(0U, valueOf({0x33, 0x35, 0x2A}));
    EXPECT_EQ(99U, valueOf({}, 99)) << "the frame's base is there at the start";
}

TEST(UnwindExpression, takesTheTopBitOfTheLastGroupForTheSign)
{
    const auto number = [](std::int64_t value) { return static_cast<std::uint64_t>(value); };
    EXPECT_EQ(number(32), valueOf({0x11, 0x20}));
    EXPECT_EQ(number(-33), valueOf({0x11, 0x5F}));
    EXPECT_EQ(number(4096), valueOf({0x11, 0x80, 0x20}));
    EXPECT_EQ(number(-4097), valueOf({0x11, 0xFF, 0x5F}));
    EXPECT_EQ(number(-0x4000000000000000), valueOf(Bytes{0x11} + Bytes(8, 0x80) + Bytes{0x40}));
}

TEST(UnwindExpression, givesNothingWhereItIsUnknownOrBroken)
{
    for (const Bytes& broken : {Bytes{}, Bytes{0x22}, Bytes{0x31, 0x22}, Bytes{0x06},
                                Bytes{0x31, 0x31, 0xE0}, Bytes{0x31, 0x08, 64, 0x24},
                                Bytes{0x23, 5}, Bytes(9, 0x31), Bytes(8, 0x31) + Bytes{0x23, 5}}) {
        EXPECT_FALSE(valueOf(broken)) << testing::PrintToString(broken);
    }
}

TEST(UnwindExpression, givesNothingOfARegisterThatNoWalkKnows)
{
    constexpr int LAST = 31; // that an expression names
    EXPECT_EQ(LAST < REGISTER_COUNT, valueOf({0x70 + LAST, 0}).has_value());
}
