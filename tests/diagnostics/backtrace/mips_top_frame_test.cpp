// The frame on top of a stack on the device: it may stand in a system call, and in a function that
// the loader does not know.
#include <gtest/gtest.h>

#include "mips_image.h"

using mips::Address;
using mips::Frames;
using mips::Image;
using namespace mips;

namespace
{

class MipsTopFrame : public testing::Test
{
protected:
    MipsTopFrame()
    {
        m_image.function(MAIN);
        m_image.marks.main = MAIN;
    }

    /// What the walk of a thread in \p words at TOP finds that stands \p index words in.
    Frames walkIn(const std::vector<Word>& words, int index, Address ra)
    {
        m_image.name(TOP, static_cast<Address>(words.size()) * 4);
        m_image.put(TOP, words);
        return m_image.walk(at(index), SP, ra);
    }

    /// Whether the function in which the thread stands counts as one with the frame of a prologue
    /// at TOP: then the caller comes from its slot, else from the register.
    bool takesFrameAtTop(const std::vector<Word>& words, int index)
    {
        m_image.push(SP + 28, RETURN_TO_MAIN);
        const Frames fromSlot{at(index), IN_MAIN};
        const Frames fromRegister{at(index)};
        const Frames found = walkIn(words, index, 0x500000);
        EXPECT_TRUE(found == fromSlot || found == fromRegister);
        return found == fromSlot;
    }

    static Address at(int index) { return TOP + 4 * static_cast<Address>(index); }

    Image m_image;
};

} // namespace

// System calls. The wrapper has taken 16 bytes more (or less) that it gives back behind the call;
// its slot for the return address is found only from the stack pointer as it was before.

TEST_F(MipsTopFrame, countsWhatAWrapperGivesBackBehindASystemCall)
{
    for (const Word systemCall : {Word{0x0000000C}, Word{0x03FFFFCC}}) {
        for (const int adjusted : {16, -16, 32764, -32768}) {
            m_image.stackLow = 0x7FFE0000;
            m_image.stackTop = 0x7FFFF000;
            const Address before = SP + static_cast<Address>(adjusted);
            m_image.push(before + 28, RETURN_TO_MAIN);
            const std::vector<Word> wrapper{LUI_GP,     addiuSp(-32),      swRa(28), OTHER,
                                            systemCall, addiuSp(adjusted), OTHER,    JR_RA};
            for (const int index : {3, 4, 5}) { // before it, on it, behind it
                EXPECT_EQ((Frames{at(index), IN_MAIN}), walkIn(wrapper, index, 0xBAD0))
                    << index << ' ' << adjusted;
            }
            m_image.push(before + 28, 0);
        }
    }
}

TEST_F(MipsTopFrame, takesTheSecondOfTwoSystemCalls)
{
    m_image.push(SP + 16 + 28, RETURN_TO_MAIN);
    const std::vector<Word> twice{LUI_GP,  addiuSp(-32), swRa(28), OTHER, SYSCALL,
                                  SYSCALL, addiuSp(16),  OTHER,    JR_RA};
    EXPECT_EQ((Frames{at(5), IN_MAIN}), walkIn(twice, 5, 0xBAD0));
    EXPECT_EQ((Frames{at(4), IN_MAIN}), walkIn(twice, 4, 0xBAD0));
}

TEST_F(MipsTopFrame, changesNothingWhereNoStackIsGivenBack)
{
    m_image.push(SP + 28, RETURN_TO_MAIN);
    const std::vector<Word> plain{LUI_GP, addiuSp(-32), swRa(28), OTHER, SYSCALL,
                                  OTHER,  addiuSp(16),  OTHER,    OTHER};
    for (const int index : {3, 4, 5, 7}) {
        EXPECT_EQ((Frames{at(index), IN_MAIN}), walkIn(plain, index, 0xBAD0)) << index;
    }
}

TEST_F(MipsTopFrame, changesNothingFartherFromASystemCall)
{
    m_image.push(SP + 28, RETURN_TO_MAIN);
    const std::vector<Word> wrapper{LUI_GP, addiuSp(-32), swRa(28),    OTHER, OTHER,
                                    OTHER,  SYSCALL,      addiuSp(16), OTHER, OTHER};
    for (const int index : {4, 8}) {
        EXPECT_EQ((Frames{at(index), IN_MAIN}), walkIn(wrapper, index, 0xBAD0)) << index;
    }
}

TEST_F(MipsTopFrame, changesNothingWhereStackIsGivenBackWithoutASystemCall)
{
    m_image.push(SP + 28, RETURN_TO_MAIN);
    const std::vector<Word> plain{LUI_GP, addiuSp(-32), swRa(28), OTHER, OTHER, addiuSp(32), OTHER};
    for (const int index : {3, 4, 5}) {
        EXPECT_EQ((Frames{at(index), IN_MAIN}), walkIn(plain, index, 0xBAD0)) << index;
    }
}

TEST_F(MipsTopFrame, leavesTheStackPointerOfLaterFramesAlone)
{
    m_image.function(TOP + 0x100);
    m_image.name(TOP, 64);
    m_image.put(TOP, {LUI_GP, addiuSp(-32), swRa(28), SYSCALL, addiuSp(16), OTHER, OTHER});
    m_image.push(SP + 28, TOP + 20);
    m_image.push(SP + 60, RETURN_TO_MAIN);
    EXPECT_EQ((Frames{TOP + 0x120, TOP + 12, IN_MAIN}), m_image.walk(TOP + 0x120, SP, 0));
}

// Where the function begins.

TEST_F(MipsTopFrame, beginsAtTheNearestPrologue)
{
    // The loader knows one symbol, the thread stands in the second function.
    m_image.push(SP + 12, RETURN_TO_MAIN);
    const std::vector<Word> two{LUI_GP,       addiuSp(-64), swRa(60), JR_RA, OTHER, LUI_GP,
                                addiuSp(-16), swRa(12),     OTHER,    OTHER, JR_RA, OTHER};
    EXPECT_EQ((Frames{at(9), IN_MAIN}), walkIn(two, 9, 0xBAD0));
}

TEST_F(MipsTopFrame, isALeafBehindAFunctionThatHasReturned)
{
    EXPECT_FALSE(takesFrameAtTop(
        {LUI_GP, addiuSp(-32), swRa(28), JR_RA, addiuSp(32), OTHER, OTHER, JR_RA, OTHER}, 6));
}

TEST_F(MipsTopFrame, isALeafOnItsOwnReturnToo)
{
    EXPECT_FALSE(takesFrameAtTop(
        {LUI_GP, addiuSp(-32), swRa(28), OTHER, JR_RA, addiuSp(32), OTHER, JR_RA, OTHER}, 4));
}

TEST_F(MipsTopFrame, isNoLeafWhenItCallsOrSavesItsReturnAddress)
{
    for (const Word word : {JALR_T9, Word{0x00400009}, swRa(8)}) {
        EXPECT_TRUE(takesFrameAtTop({LUI_GP, addiuSp(-32), swRa(28), JR_RA, addiuSp(32), OTHER,
                                     word, OTHER, OTHER, JR_RA, OTHER},
                                    8));
    }
}

TEST_F(MipsTopFrame, takesAReturnForAnEarlyOneWhenItIsTheLastOfItsPage)
{
    const std::vector<Word> early{LUI_GP,      addiuSp(-32), swRa(28), JR_RA,
                                  addiuSp(32), OTHER,        OTHER,    OTHER};
    EXPECT_TRUE(takesFrameAtTop(early, 6));
}

TEST_F(MipsTopFrame, looksForAnotherReturnUpToTheEndOfThePageOnly)
{
    const std::vector<Word> early{LUI_GP,      addiuSp(-32), swRa(28), JR_RA,
                                  addiuSp(32), OTHER,        OTHER,    OTHER};
    m_image.put(TOP + Image::PAGE, {JR_RA});
    EXPECT_TRUE(takesFrameAtTop(early, 6));
    m_image.put(TOP + Image::PAGE - 4, {JR_RA});
    EXPECT_FALSE(takesFrameAtTop(early, 6));
}

TEST_F(MipsTopFrame, doesNotTakeTheDelaySlotForAnotherReturn)
{
    EXPECT_TRUE(takesFrameAtTop(
        {LUI_GP, addiuSp(-32), swRa(28), JR_RA, JR_RA, OTHER, JALR_T9, OTHER, OTHER}, 4));
}

TEST_F(MipsTopFrame, takesAReturnForAnEarlyOneWhenABranchLeadsBackOverIt)
{
    // The branch at 7 leads to its own address plus its offset: to 2, before the return at 3.
    EXPECT_TRUE(takesFrameAtTop({LUI_GP, addiuSp(-32), swRa(28), JR_RA, addiuSp(32), OTHER, OTHER,
                                 branch(-5), OTHER, JR_RA, OTHER},
                                6));
}

TEST_F(MipsTopFrame, doesNotMindBranchesThatStayBehindTheReturn)
{
    for (const int words : {-4, -1, 1, 100, 32767}) {
        EXPECT_FALSE(takesFrameAtTop({LUI_GP, addiuSp(-32), swRa(28), JR_RA, addiuSp(32), OTHER,
                                      OTHER, branch(words), OTHER, JR_RA, OTHER},
                                     6))
            << words;
    }
}

TEST_F(MipsTopFrame, doesNotMindOtherBranches)
{
    const Word conditional = 0x10400000 | lowHalf(-5); // beq v0, zero
    EXPECT_FALSE(takesFrameAtTop({LUI_GP, addiuSp(-32), swRa(28), JR_RA, addiuSp(32), OTHER, OTHER,
                                  conditional, OTHER, JR_RA, OTHER},
                                 6));
}

TEST_F(MipsTopFrame, doesNotMindABranchBehindTheOtherReturn)
{
    EXPECT_FALSE(takesFrameAtTop({LUI_GP, addiuSp(-32), swRa(28), JR_RA, addiuSp(32), OTHER, OTHER,
                                  JR_RA, OTHER, branch(-8), OTHER},
                                 6));
}

TEST_F(MipsTopFrame, looksFartherBackThanAnEarlyReturn)
{
    // Early return, then the end of the function before it: no frame.
    EXPECT_FALSE(takesFrameAtTop({LUI_GP, addiuSp(-32), swRa(28), JR_RA, addiuSp(32), OTHER, JR_RA,
                                  OTHER, OTHER, branch(-4), OTHER, OTHER},
                                 8));
}

TEST_F(MipsTopFrame, takesNoOtherJumpForAReturn)
{
    const Word withHint = 0x03E00408;
    EXPECT_TRUE(takesFrameAtTop(
        {LUI_GP, addiuSp(-32), swRa(28), withHint, addiuSp(32), OTHER, OTHER, JR_RA, OTHER}, 6));
}

TEST_F(MipsTopFrame, skipsZerosNoFartherThanTheProgramCounter)
{
    // The end of the last page of code.
    constexpr Address PAGE_END = TOP + Image::PAGE;
    m_image.name(PAGE_END - 32, 32);
    m_image.put(PAGE_END - 32, {0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ((Frames{PAGE_END - 4, IN_MAIN}), m_image.walk(PAGE_END - 4, SP, RETURN_TO_MAIN));
    m_image.put(PAGE_END - 32, {JR_RA, 0});
    EXPECT_EQ((Frames{PAGE_END - 4, IN_MAIN}), m_image.walk(PAGE_END - 4, SP, RETURN_TO_MAIN));
}

TEST_F(MipsTopFrame, readsNothingBeforeTheFirstPageOfCode)
{
    m_image.name(TOP, 64);
    m_image.put(TOP, {OTHER, OTHER, JR_RA, OTHER});
    EXPECT_EQ((Frames{TOP, IN_MAIN}), m_image.walk(TOP, SP, RETURN_TO_MAIN));
}

TEST_F(MipsTopFrame, readsASystemCallBehindTheSymbolOnItsPage)
{
    m_image.put(TOP + 16, {SYSCALL, addiuSp(16)});
    m_image.push(SP + 16 + 28, RETURN_TO_MAIN);
    EXPECT_EQ((Frames{at(3), IN_MAIN}), walkIn({LUI_GP, addiuSp(-32), swRa(28), OTHER}, 3, 0xBAD0));
}

TEST_F(MipsTopFrame, readsASystemCallBehindThePageWhereTheLoaderKnowsCode)
{
    constexpr Address PAGE_END = TOP + Image::PAGE;
    m_image.name(PAGE_END - 32, 64);
    m_image.put(PAGE_END - 32, {LUI_GP, addiuSp(-32), swRa(28), OTHER, OTHER, OTHER, OTHER, OTHER});
    m_image.put(PAGE_END, {SYSCALL, addiuSp(16), OTHER});
    m_image.push(SP + 16 + 28, RETURN_TO_MAIN);
    EXPECT_EQ((Frames{PAGE_END - 4, IN_MAIN}), m_image.walk(PAGE_END - 4, SP, 0xBAD0));
}
