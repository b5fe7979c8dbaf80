// Unwind tables of x86-64, written by hand: what they say about the caller's registers.
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "diagnostics/processor/x86_64/expression.h"
#include "diagnostics/processor/x86_64/frame_rules.h"
#include "diagnostics/processor/x86_64/rule_cache.h"
#include "diagnostics/processor/x86_64/simple_rule.h"

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
    const UnwindEntry entry{START,
                            false,
                            1,
                            -8,
                            {AT_START.data(), AT_START.data() + AT_START.size()},
                            {instructions.data(), instructions.data() + instructions.size()}};
    return frameRulesAt(entry, START + distance);
}

void expectSaved(const FrameRules& rules, int number, std::int64_t offset)
{
    EXPECT_EQ(RegisterRule::SAVED_AT_OFFSET, rules.registers[number].kind);
    EXPECT_EQ(offset, rules.registers[number].operand);
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
    return evaluate(expression.data(), registers, {0, 0}, pushed);
}

} // namespace

TEST(UnwindRules, applyFromTheirInstructionOn)
{
    const Bytes push{ADVANCE_ONE, 0x0E, 16, 0x80 | RBX, 2, ADVANCE_ONE, 0x0E, 24};
    EXPECT_EQ(8, rulesOf(push, 0)->baseOffset);
    EXPECT_EQ(RegisterRule::UNCHANGED, rulesOf(push, 0)->registers[RBX].kind);
    expectSaved(*rulesOf(push, 0), PC, -8);
    EXPECT_EQ(16, rulesOf(push, 1)->baseOffset);
    expectSaved(*rulesOf(push, 1), RBX, -16);
    EXPECT_EQ(24, rulesOf(push, 2)->baseOffset);
}

TEST(UnwindRules, knowAllWaysToAdvance)
{
    const Bytes base{0x0E, 16};
    for (const Bytes& advance :
         {Bytes{0x42}, Bytes{0x02, 2}, Bytes{0x03, 2, 0}, Bytes{0x04, 2, 0, 0, 0}}) {
        Bytes instructions = advance;
        instructions.insert(instructions.end(), base.begin(), base.end());
        EXPECT_EQ(8, rulesOf(instructions, 1)->baseOffset);
        EXPECT_EQ(16, rulesOf(instructions, 2)->baseOffset);
    }
}

TEST(UnwindRules, knowAllWaysToGiveTheBase)
{
    EXPECT_EQ(RBP, rulesOf({0x0D, RBP}, 0)->baseRegister);
    EXPECT_EQ(16, rulesOf({0x13, 0x7E}, 0)->baseOffset); // -2 words, of -8 bytes each
    const auto both = rulesOf({0x12, RBP, 0x7D}, 0);
    EXPECT_EQ(RBP, both->baseRegister);
    EXPECT_EQ(24, both->baseOffset);
    const Bytes expression{0x0F, 2, 0x76, 0x00};
    EXPECT_EQ(expression.data() + 1, rulesOf(expression, 0)->baseExpression);
    EXPECT_EQ(nullptr, rulesOf({0x0F, 2, 0x76, 0x00, 0x0C, RSP, 8}, 0)->baseExpression);
}

TEST(UnwindRules, knowAllWaysToGiveARegister)
{
    expectSaved(*rulesOf({0x05, R12, 3}, 0), R12, -24);
    expectSaved(*rulesOf({0x11, R12, 0x7F}, 0), R12, 8);
    EXPECT_EQ(RegisterRule::UNDEFINED, rulesOf({0x07, PC}, 0)->registers[PC].kind);
    EXPECT_EQ(RegisterRule::UNCHANGED, rulesOf({0x07, RBX, 0x08, RBX}, 0)->registers[RBX].kind);
    const auto inRegister = rulesOf({0x09, RBX, R10}, 0);
    EXPECT_EQ(RegisterRule::IN_REGISTER, inRegister->registers[RBX].kind);
    EXPECT_EQ(R10, inRegister->registers[RBX].operand);
    EXPECT_EQ(RegisterRule::BASE_PLUS_OFFSET, rulesOf({0x14, RSP, 1}, 0)->registers[RSP].kind);
    EXPECT_EQ(16, rulesOf({0x15, RSP, 0x7E}, 0)->registers[RSP].operand);
    const Bytes saved{0x10, RBP, 2, 0x76, 0x00, 0x0E, 32};
    EXPECT_EQ(RegisterRule::SAVED_AT_EXPRESSION, rulesOf(saved, 0)->registers[RBP].kind);
    EXPECT_EQ(saved.data() + 2, rulesOf(saved, 0)->registers[RBP].expression);
    EXPECT_EQ(32, rulesOf(saved, 0)->baseOffset);
    EXPECT_EQ(RegisterRule::EXPRESSION, rulesOf({0x16, RBP, 1, 0x30}, 0)->registers[RBP].kind);
}

TEST(UnwindRules, canBeRestoredAndRemembered)
{
    const auto restored = rulesOf({0x80 | RBX, 2, 0x80 | RBP, 3, 0xC0 | RBX, 0x06, RBP}, 0);
    EXPECT_EQ(RegisterRule::UNCHANGED, restored->registers[RBX].kind);
    EXPECT_EQ(RegisterRule::UNCHANGED, restored->registers[RBP].kind);
    expectSaved(*rulesOf({0x80 | PC, 5, 0xC0 | PC}, 0), PC, -8);

    const Bytes remembered{0x0E, 64, 0x80 | RBX, 2, 0x0A, 0x0E, 8, 0xC0 | RBX, ADVANCE_ONE, 0x0B};
    EXPECT_EQ(8, rulesOf(remembered, 0)->baseOffset);
    EXPECT_EQ(64, rulesOf(remembered, 1)->baseOffset);
    expectSaved(*rulesOf(remembered, 1), RBX, -16);
}

TEST(UnwindRules, passOverWhatNoWalkNeeds)
{
    const auto rules = rulesOf({0x00, 0x2E, 16, 0x80 | 17, 4, 0x05, 40, 1, 0xC0 | 17, 0x0E, 16}, 0);
    EXPECT_EQ(16, rules->baseOffset);
}

TEST(UnwindRules, areNoneInAnUnknownForm)
{
    EXPECT_FALSE(rulesOf({0x3F, 0}, 0));
    EXPECT_FALSE(rulesOf({0x0B}, 0)) << "nothing to restore";
    EXPECT_FALSE(rulesOf({0x0A, 0x0A, 0x0A, 0x0A, 0x0A}, 0)) << "too deep";
}

TEST(UnwindRules, endWithTheirTable)
{
    EXPECT_EQ(0, rulesOf({0x0E}, 0)->baseOffset);
    EXPECT_TRUE(rulesOf({0x10, RBP, 0xFF, 0xFF, 0xFF}, 0));
}

TEST(SimpleRule, keepsWhatNearlyAllFramesAreLike)
{
    const auto rules = rulesOf({0x0C, RBP, 16, 0x80 | RBP, 2, 0x80 | R15, 3, 0x80 | RBX, 7}, 0);
    const auto simple = SimpleRule::of(*rules, false);
    ASSERT_TRUE(simple);
    EXPECT_EQ(SimpleRule::FRAME, simple->kind());
    EXPECT_EQ(RBP, simple->baseRegister());
    EXPECT_EQ(16U, simple->baseOffset());
    const std::uint64_t expected[] = {7, 2, 0, 0, 0, 3}; // rbx rbp r12 r13 r14 r15
    for (int i = 0; i < KEPT_COUNT; ++i) {
        EXPECT_EQ(expected[i], simple->wordsBelowBase(i));
    }
    EXPECT_EQ(SimpleRule::OUTERMOST, SimpleRule::of(*rulesOf({0x07, PC}, 0), false)->kind());
    EXPECT_EQ(SimpleRule::PROGRAM_ENTRY, SimpleRule::of(*rulesOf({0x07, PC}, 0), true)->kind());
}

TEST(SimpleRule, isNoneForUnusualFrames)
{
    const std::vector<Bytes> unusual{
        {0x0D, R10},                          // another base
        {0x0F, 1, 0x30},                      // an expression
        {0x0E, 12},                           // no multiple of a word
        {0x0E, 0x88, 0x80, 0x80, 0x80, 0x01}, // too large
        {0x80 | PC, 2},                       // the return address elsewhere
        {0x80 | RBX, 16},                     // a register saved too far below
        {0x11, RBX, 0x7F},                    // or above
        {0x10, RBP, 2, 0x76, 0},              // or by an expression
        {0x80 | R10, 2},                      // or one that functions do not keep
        {0x14, RSP, 1},
        {0x07, RBX},
    };
    for (const Bytes& instructions : unusual) {
        EXPECT_FALSE(SimpleRule::of(*rulesOf(instructions, 0), false))
            << testing::PrintToString(instructions);
    }
}

TEST(RuleCache, givesARuleForItsVeryKeyOnly)
{
    static RuleCache cache;
    EXPECT_FALSE(cache.find(0));
    for (std::uint64_t key = 0x1000; key < 0x100000; key += 0x11) {
        EXPECT_FALSE(cache.find(key));
        cache.store(key, SimpleRule(SimpleRule::FRAME | key << 3));
        ASSERT_TRUE(cache.find(key));
        EXPECT_EQ(key * 8, cache.find(key)->baseOffset());
        EXPECT_FALSE(cache.find(key + 1));
    }
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
    const StackRange stack{reinterpret_cast<std::uintptr_t>(words),
                           reinterpret_cast<std::uintptr_t>(words + 2)};
    EXPECT_EQ(42U, evaluate(dereference.data(), Registers{}, stack, address));
    EXPECT_FALSE(evaluate(dereference.data(), Registers{}, stack, address + 8));
    EXPECT_FALSE(evaluate(dereference.data(), Registers{}, stack, address + 1));
    EXPECT_FALSE(evaluate(dereference.data(), Registers{}, {0, 0}, address));
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
