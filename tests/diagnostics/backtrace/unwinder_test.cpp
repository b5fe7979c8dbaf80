// Steps from frame to frame by unwind tables that were put together by hand.
#include <gtest/gtest.h>
#include <iterator>

#include "crafted_tables.h"
#include "diagnostics/unwind_tables/unwinder.h"

using namespace gpal::detail;

namespace
{

using Step = Unwinder::Step;

constexpr std::size_t WORD = sizeof(std::uint64_t);

/// A stack with words that point into the second function of a library, whose entry says no more
/// than that the return address is below the base, 8 bytes from the stack pointer.
class CraftedStack
{
public:
    explicit CraftedStack(const CraftedLibrary& library) : m_start{}
    {
        std::fill(std::begin(m_words), std::end(m_words), library.function(1) + 4);
        m_start.value[PC] = library.function();
        m_start.value[STACK_POINTER] = addressOf(2);
        m_start.value[ONE] = addressOf(8);
        m_start.value[TWO] = 0x1234;
    }

    std::uint64_t addressOf(int word) const
    {
        return reinterpret_cast<std::uintptr_t>(&m_words[word]);
    }
    std::uint64_t& word(int number) { return m_words[number]; }
    std::uint64_t& start(int number) { return m_start.value[number]; }
    const Registers& start() const { return m_start; }

private:
    std::uint64_t m_words[16];
    Registers m_start;
};

/// Whether there is a step out of a first function with these instructions.
Step stepBy(const Bytes& instructions)
{
    CraftedLibrary library;
    library.instructions = instructions;
    library.load();
    const CraftedStack frames(library);
    return Unwinder(frames.start()).step();
}

/// The caller's register \p number by these instructions.
std::uint64_t callersValue(int number, const Bytes& instructions, bool relative = false)
{
    CraftedLibrary library;
    library.instructions = instructions;
    library.load();
    CraftedStack frames(library);
    frames.word(5) = 55;
    Unwinder unwinder(frames.start());
    EXPECT_EQ(Step::CALLER, unwinder.step());
    return unwinder.registers().value[number] - (relative ? frames.addressOf(0) : 0);
}

/// The same for a register that points into the stack: the number of the word.
std::uint64_t callersWord(int number, const Bytes& instructions)
{
    return callersValue(number, instructions, true) / WORD;
}

/// Walks from every place of \p library, and a few beyond.
void walkAll(const CraftedLibrary& library)
{
    const CraftedStack frames(library);
    for (std::uintptr_t offset = 0; offset < 3 * CraftedLibrary::SIZE; offset += 8) {
        Registers start = frames.start();
        start.value[PC] = library.function() - 8 + offset;
        Unwinder unwinder(start);
        for (int step = 0; step < 4 && unwinder.step() == Step::CALLER; ++step) {
        }
    }
}

CraftedLibrary richLibrary()
{
    CraftedLibrary library;
    library.instructions = {
        0x42, 0x0F, 2, 0x70 + STACK_POINTER, 16, 0x0A, 0x05, ONE, 2, 0x0B, 0x16, ONE, 1, 0x30};
    library.load();
    return library;
}

} // namespace

TEST(Unwinder, stepsToTheCaller)
{
    CraftedLibrary library;
    library.load();
    const CraftedStack frames(library);
    Unwinder unwinder(frames.start());
    EXPECT_TRUE(unwinder.isInCode());
    EXPECT_TRUE(unwinder.isInterrupted());
    EXPECT_TRUE(unwinder.isDescribed());
    EXPECT_EQ(library.function(), unwinder.place());
    ASSERT_EQ(Step::CALLER, unwinder.step());
    EXPECT_FALSE(unwinder.isInterrupted());
    EXPECT_EQ(library.function(1) + 3, unwinder.place());
    EXPECT_EQ(frames.addressOf(3), unwinder.registers().value[STACK_POINTER]);
    EXPECT_EQ(0x1234U, unwinder.registers().value[TWO]);
}

TEST(Unwinder, findsTheFrameFromAnyRegisterOrExpression)
{
    EXPECT_EQ(9U, callersWord(STACK_POINTER, {0x0C, ONE, 8}));
    EXPECT_EQ(4U, callersWord(STACK_POINTER, {0x0F, 2, 0x70 + STACK_POINTER, 16}));
}

TEST(Unwinder, findsRegistersInEveryWayThatTablesKnow)
{
    EXPECT_EQ(55U, callersValue(TWO, {0x0E, 32, 0x80 | TWO, 1})) << "saved";
    EXPECT_EQ(2U, callersWord(TWO, {0x14, TWO, 1})) << "a distance from the base";
    EXPECT_EQ(55U, callersValue(TWO, {0x10, TWO, 2, 0x23, 16})) << "saved at a computed place";
    EXPECT_EQ(5U, callersWord(TWO, {0x16, TWO, 2, 0x23, 16})) << "computed";
    EXPECT_EQ(8U, callersWord(TWO, {0x09, TWO, ONE})) << "in another register";
    EXPECT_EQ(0x1234U, callersValue(TWO, {0x08, TWO})) << "unchanged";
    EXPECT_EQ(0x1234U, callersValue(TWO, {0x07, TWO})) << "undefined";
}

TEST(Unwinder, isLostWithoutRules)
{
    EXPECT_EQ(Step::LOST, stepBy({0x3F}));
}

TEST(Unwinder, isLostWhereTablesNameNoFrame)
{
    EXPECT_EQ(Step::LOST, stepBy({0x0C, REGISTER_COUNT, 8}));
    EXPECT_EQ(Step::LOST, stepBy({0x0F, 1, 0xE0}));
}

TEST(Unwinder, isLostWhereTablesGiveARegisterNoPlace)
{
    EXPECT_EQ(Step::LOST, stepBy({0x09, TWO, REGISTER_COUNT}));
    EXPECT_EQ(Step::LOST, stepBy({0x10, TWO, 1, 0xE0}));
    EXPECT_EQ(Step::LOST, stepBy({0x10, TWO, 1, 0x31})) << "an address that is not on the stack";
    EXPECT_EQ(Step::LOST, stepBy({0x16, TWO, 1, 0xE0}));
    EXPECT_EQ(Step::LOST, stepBy({0x0C, TWO, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 1}))
        << "a base that is not on the stack";
}

TEST(Unwinder, goesUpwardsOnly)
{
    EXPECT_EQ(Step::LOST, stepBy({0x13, 1})) << "below the stack pointer";
    EXPECT_EQ(Step::LOST, stepBy({0x14, STACK_POINTER, 2})) << "by a rule of the stack pointer's";
    CraftedLibrary library;
    library.load();
    CraftedStack frames(library);
    frames.word(2) = library.function() + 4;
    Unwinder unwinder(frames.start());
    ASSERT_EQ(Step::CALLER, unwinder.step());
    library.instructions = {0x0E, 0, 0x80 | RETURN_ADDRESS, 0}; // a frame of no size
    library.load();
    CraftedStack frameless(library);
    frameless.word(2) = library.function() + 4;
    Unwinder inCircles(frameless.start());
    ASSERT_EQ(Step::CALLER, inCircles.step()) << "the innermost function need not have one";
    EXPECT_EQ(Step::LOST, inCircles.step());
}

TEST(Unwinder, endsWhereThereIsNoReturnAddress)
{
    EXPECT_EQ(Step::OUTERMOST, stepBy({0x07, RETURN_ADDRESS}));
}

TEST(Unwinder, takesAReturnAddressThatNobodySavedForOnlyOneFrame)
{
    CraftedLibrary library;
    library.instructions = {0x08, RETURN_ADDRESS};
    library.load();
    CraftedStack frames(library);
    frames.start(RETURN_ADDRESS) = library.function() + 4;
    if (RETURN_ADDRESS == PC) {
        EXPECT_EQ(Step::LOST, Unwinder(frames.start()).step());
        return;
    }
    frames.start(PC) = library.function();
    Unwinder unwinder(frames.start());
    ASSERT_EQ(Step::CALLER, unwinder.step());
    EXPECT_EQ(library.function() + 3, unwinder.place());
    EXPECT_EQ(Step::LOST, unwinder.step());
}

TEST(Unwinder, goesOnWhereASignalInterruptedByTheTablesOfATrampoline)
{
    CraftedLibrary library;
    library.common.augmentation = "zRS";
    // The stack pointer before is kept in a register, and may have been lower.
    library.instructions = {0x16, STACK_POINTER, 2, 0x70 + ONE, 0};
    library.load();
    CraftedStack frames(library);
    frames.start(ONE) = frames.addressOf(1);
    Unwinder unwinder(frames.start());
    ASSERT_EQ(Step::CALLER, unwinder.step());
    EXPECT_TRUE(unwinder.isInterrupted());
    EXPECT_EQ(library.function(1) + 4, unwinder.place());
    EXPECT_EQ(frames.addressOf(1), unwinder.registers().value[STACK_POINTER]);
}

TEST(Unwinder, returnsFromAFunctionThatHasDoneNothing)
{
    CraftedLibrary library;
    library.load();
    CraftedStack frames(library);
    frames.start(PC) = 0;
    if (RETURN_ADDRESS != PC) {
        frames.start(RETURN_ADDRESS) = library.function(1) + 4;
    }
    Unwinder unwinder(frames.start());
    EXPECT_FALSE(unwinder.isInCode());
    ASSERT_TRUE(unwinder.stepFromFirstInstruction());
    EXPECT_EQ(library.function(1) + 3, unwinder.place());
}

TEST(BrokenTables, areNotReadBeyondTheirEnd)
{
    const CraftedLibrary whole = richLibrary();
    for (std::size_t bytes = 1; bytes < whole.tablesSize(); ++bytes) {
        CraftedLibrary cut = richLibrary();
        cut.cutTo(bytes);
        walkAll(cut);
    }
}

TEST(BrokenTables, leadNowhere)
{
    CraftedLibrary library = richLibrary();
    library.load();
    for (std::size_t place = 0; place < library.tablesSize(); ++place) {
        std::uint8_t& byte = library.byteAt(place);
        const std::uint8_t was = byte;
        for (int value = 0; value < 256; ++value) {
            byte = static_cast<std::uint8_t>(value);
            walkAll(library);
        }
        byte = was;
    }
}
