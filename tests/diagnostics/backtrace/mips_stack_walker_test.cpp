// Which frames a walk finds on the device. Programs are assembled by hand: `main` at MAIN calls
// `work` at WORK, which calls what the test is about.
#include <gtest/gtest.h>

#include "mips_image.h"

using mips::Address;
using mips::Frames;
using mips::Image;
using namespace mips;

namespace
{

constexpr Address WORK = 0x400200;
constexpr Address STARTUP = 0x400300;
constexpr Address LIBRARY = 0x2AAC1000;

// Where the call in `work` returns to; a frame is recorded two instructions before.
constexpr Address RETURN_TO_WORK = WORK + 44;
constexpr Address IN_WORK = RETURN_TO_WORK - 8;

class MipsWalk : public testing::Test
{
protected:
    MipsWalk()
    {
        m_image.function(MAIN);
        m_image.function(WORK);
        m_image.function(STARTUP);
        m_image.marks.main = MAIN;
        callersAt(SP + 32);
    }

    /// Lets the frame of `work` begin at \p sp, with that of `main` above it, which has a caller
    /// too.
    void callersAt(Address sp)
    {
        m_image.push(sp + 28, RETURN_TO_MAIN);
        m_image.push(sp + 60, STARTUP + 44);
    }

    Image m_image;
};

} // namespace

TEST_F(MipsWalk, findsTheCallersUpToMain)
{
    m_image.function(TOP);
    m_image.push(SP + 28, RETURN_TO_WORK);
    EXPECT_EQ((Frames{TOP + Image::IN_BODY, IN_WORK, IN_MAIN}),
              m_image.walk(TOP + Image::IN_BODY, SP, 0xBAD0));
}

TEST_F(MipsWalk, goesOnBeyondMainWhereTheProgramDoesNotExportIt)
{
    m_image.marks.main = 0;
    m_image.push(SP + 28, RETURN_TO_MAIN);
    m_image.push(SP + 60, STARTUP + 44);
    EXPECT_EQ((Frames{WORK + 32, IN_MAIN, STARTUP + 36}), m_image.walk(WORK + 32, SP, 0));
}

TEST_F(MipsWalk, endsAtTheStartOfAThread)
{
    m_image.marks.main = 0;
    m_image.marks.threadStart = WORK;
    m_image.function(TOP);
    m_image.push(SP + 28, RETURN_TO_WORK);
    EXPECT_EQ((Frames{TOP + 32, IN_WORK}), m_image.walk(TOP + 32, SP, 0));
}

TEST_F(MipsWalk, endsAtAReturnAddressOfZero)
{
    // Eight bytes before zero there is no code; the walk ends without looking there.
    m_image.marks.main = 0;
    m_image.push(SP + 28, RETURN_TO_MAIN);
    m_image.push(SP + 60, 0);
    EXPECT_EQ((Frames{WORK + 32, IN_MAIN}), m_image.walk(WORK + 32, SP, 0xBAD0));
}

TEST_F(MipsWalk, crossesLibraries)
{
    m_image.function(LIBRARY);
    m_image.push(SP + 28, RETURN_TO_WORK);
    EXPECT_EQ((Frames{LIBRARY + 32, IN_WORK, IN_MAIN}), m_image.walk(LIBRARY + 32, SP, 0));
}

TEST_F(MipsWalk, recordsNoMoreThanThereIsRoomFor)
{
    m_image.function(TOP);
    m_image.push(SP + 28, RETURN_TO_WORK);
    const Frames all{TOP + 32, IN_WORK, IN_MAIN};
    for (int max = 0; max <= 3; ++max) {
        EXPECT_EQ(Frames(all.begin(), all.begin() + max), m_image.walk(TOP + 32, SP, 0, max));
    }
}

TEST_F(MipsWalk, addsUpFramesOfDifferentSizes)
{
    m_image.function(TOP, 0x7FF0);
    m_image.stackTop = 0x7FFFF000;
    m_image.push(SP + 0x7FF0 - 4, RETURN_TO_WORK);
    callersAt(SP + 0x7FF0);
    EXPECT_EQ((Frames{TOP + 32, IN_WORK, IN_MAIN}), m_image.walk(TOP + 32, SP, 0));
}

TEST_F(MipsWalk, endsWhereTheCallerIsNoKnownCode)
{
    m_image.function(TOP);
    for (const Address caller : {0x3FFF00U, 0x410008U, 0x400900U, 0x30000010U, 0x400202U}) {
        m_image.push(SP + 28, caller + 8);
        EXPECT_EQ(Frames{TOP + 32}, m_image.walk(TOP + 32, SP, 0)) << std::hex << caller;
    }
}

TEST_F(MipsWalk, endsAtAReturnAddressThatRepeatsWithoutAnotherEntry)
{
    m_image.push(SP + 28, RETURN_TO_WORK);
    m_image.push(SP + 60, RETURN_TO_WORK);
    EXPECT_EQ((Frames{WORK + 32, IN_WORK}), m_image.walk(WORK + 32, SP, 0));
}

// A leaf keeps its return address in the register.

TEST_F(MipsWalk, findsTheCallerOfALeafThroughTheRegister)
{
    m_image.name(TOP, 16);
    m_image.put(TOP, {OTHER, OTHER, JR_RA, OTHER});
    callersAt(SP);
    EXPECT_EQ((Frames{TOP + 4, IN_WORK, IN_MAIN}), m_image.walk(TOP + 4, SP, RETURN_TO_WORK));
    EXPECT_EQ((Frames{TOP, IN_WORK, IN_MAIN}), m_image.walk(TOP, SP, RETURN_TO_WORK));
}

TEST_F(MipsWalk, endsInALeafWithoutReturnAddress)
{
    m_image.name(TOP, 16);
    m_image.put(TOP, {OTHER, OTHER, JR_RA, OTHER});
    EXPECT_EQ(Frames{TOP + 4}, m_image.walk(TOP + 4, SP, 0));
}

TEST_F(MipsWalk, endsInAFunctionWithoutFrameFurtherDown)
{
    m_image.name(TOP, 64);
    m_image.put(TOP, {OTHER, OTHER, OTHER, OTHER, OTHER, JR_RA, OTHER});
    m_image.push(SP + 28, TOP + 16);
    EXPECT_EQ((Frames{WORK + 36, TOP + 8}), m_image.walk(WORK + 36, SP, RETURN_TO_WORK));
}

TEST_F(MipsWalk, goesOnFromAFunctionFurtherDownThatSavedNoReturnAddress)
{
    // Frame but no slot: the register's value stands, and that repeats.
    m_image.name(TOP, 64);
    m_image.put(TOP, {LUI_GP, addiuSp(-32), OTHER, OTHER, OTHER, OTHER});
    m_image.push(SP + 28, TOP + 24);
    EXPECT_EQ((Frames{WORK + 36, TOP + 16}), m_image.walk(WORK + 36, SP, 0));
}

// The program counter is nowhere.

TEST_F(MipsWalk, showsACallThroughANullPointer)
{
    callersAt(SP);
    EXPECT_EQ((Frames{0xDEAD0000, RETURN_TO_WORK + 8, IN_MAIN}),
              m_image.walk(0, SP, RETURN_TO_WORK));
    EXPECT_EQ(Frames{0xDEAD0000}, m_image.walk(0, SP, RETURN_TO_WORK, 1));
    EXPECT_EQ(Frames{}, m_image.walk(0, SP, RETURN_TO_WORK, 0));
}

TEST_F(MipsWalk, showsAProgramCounterThatIsNoCodeAsItIs)
{
    callersAt(SP);
    for (const unsigned long nowhere : {0x12344UL, 0x400202UL, 0x10000000UL, 0x7FFF0000UL}) {
        EXPECT_EQ((Frames{nowhere, RETURN_TO_WORK + 8, IN_MAIN}),
                  m_image.walk(static_cast<Address>(nowhere), SP, RETURN_TO_WORK));
    }
}

TEST_F(MipsWalk, endsAfterANullPointerWithoutCaller)
{
    EXPECT_EQ(Frames{0xDEAD0000}, m_image.walk(0, SP, 0));
    EXPECT_EQ(Frames{0xDEAD0000}, m_image.walk(0, SP, 0x500000));
}

TEST_F(MipsWalk, endsAfterANullPointerInAFunctionWithoutFrame)
{
    m_image.name(TOP, 64);
    m_image.put(TOP, {OTHER, OTHER, OTHER, OTHER, OTHER, OTHER, OTHER, OTHER});
    EXPECT_EQ((Frames{0xDEAD0000, TOP + 24}), m_image.walk(0, SP, TOP + 16));
}

TEST_F(MipsWalk, takesTheCallerOfNowhereForNoTopFrame)
{
    // At the top it would be a leaf behind another function, and its stack pointer adjusted.
    m_image.name(TOP, 128);
    m_image.put(TOP, {LUI_GP, addiuSp(-32), swRa(28), OTHER, JR_RA, OTHER, OTHER, SYSCALL,
                      addiuSp(16), JR_RA, OTHER});
    m_image.push(SP + 28, RETURN_TO_WORK);
    EXPECT_EQ((Frames{0xDEAD0000, TOP + 28, IN_WORK, IN_MAIN}), m_image.walk(0, SP, TOP + 20));
}

// Which words are which instruction.

TEST_F(MipsWalk, knowsThePrologueByAllItsForms)
{
    const std::vector<Word> loads{0x3C1C0000, 0x3C1CFFFF};
    for (const Word load : loads) {
        for (const int frame : {8, 32, 32768}) {
            m_image.stackTop = 0x7FFFF000;
            m_image.name(TOP, 64);
            m_image.put(TOP, {load, addiuSp(-frame), swRa(4), OTHER, OTHER, OTHER});
            m_image.push(SP + 4, RETURN_TO_WORK);
            callersAt(SP + static_cast<Address>(frame));
            EXPECT_EQ((Frames{TOP + 16, IN_WORK, IN_MAIN}), m_image.walk(TOP + 16, SP, 0xBAD0));
        }
    }
}

TEST_F(MipsWalk, takesNothingElseForAPrologue)
{
    callersAt(SP);
    const std::vector<std::vector<Word>> notPrologues{
        {0x3C1B0002, addiuSp(-32), swRa(28)}, // lui k1
        {0x381C0002, addiuSp(-32), swRa(28)}, // xori
        {LUI_GP, addiuSp(32), swRa(28)},      // gives room back
        {LUI_GP, 0x27BEFFE0, swRa(28)},       // addiu s8, sp
        {LUI_GP, addiuSp(-32), 0xAFBE001C},   // sw s8
        {LUI_GP, addiuSp(-32), 0x8FBF001C},   // lw ra
        {LUI_GP, swRa(28), addiuSp(-32)},     // saved before there was a frame
    };
    for (const auto& words : notPrologues) {
        m_image.name(TOP, 64);
        m_image.put(TOP, words);
        m_image.put(TOP + 12, {OTHER, OTHER});
        EXPECT_EQ((Frames{TOP + 16, IN_WORK, IN_MAIN}), m_image.walk(TOP + 16, SP, RETURN_TO_WORK));
    }
}

TEST_F(MipsWalk, readsThePrologueOnlyAsFarAsItWasExecuted)
{
    m_image.function(TOP);
    callersAt(SP);
    // Up to the frame's allocation, or the saving of the return address, the register counts.
    for (const Address at : {0U, 4U, 12U, 16U}) {
        EXPECT_EQ((Frames{TOP + at, IN_WORK, IN_MAIN}), m_image.walk(TOP + at, SP, RETURN_TO_WORK));
    }
    m_image.push(SP + 28, RETURN_TO_WORK);
    callersAt(SP + 32);
    EXPECT_EQ((Frames{TOP + 20, IN_WORK, IN_MAIN}), m_image.walk(TOP + 20, SP, 0xBAD0));
}

TEST_F(MipsWalk, takesTheFirstFrameAndTheFirstSlotBehindIt)
{
    m_image.name(TOP, 64);
    m_image.put(TOP, {LUI_GP, addiuSp(-32), addiuSp(-64), swRa(-4), swRa(8), OTHER, OTHER});
    m_image.push(SP - 4, RETURN_TO_WORK);
    EXPECT_EQ((Frames{TOP + 24, IN_WORK, IN_MAIN}), m_image.walk(TOP + 24, SP, 0xBAD0));
}

// Later frames: the nearest prologue before the call.

TEST_F(MipsWalk, findsThePrologueNearestToACallFurtherDown)
{
    // One symbol covers two functions: the loader does not know the second.
    m_image.function(TOP, 64);
    m_image.put(TOP + 64, {LUI_GP, addiuSp(-16), swRa(12), OTHER, JALR_T9, OTHER, OTHER, JR_RA});
    m_image.name(TOP, 128);
    m_image.function(LIBRARY);
    m_image.push(SP + 28, TOP + 64 + 24);
    m_image.push(SP + 32 + 12, RETURN_TO_WORK);
    callersAt(SP + 48);
    EXPECT_EQ((Frames{LIBRARY + 32, TOP + 64 + 16, IN_WORK, IN_MAIN}),
              m_image.walk(LIBRARY + 32, SP, 0));
}

TEST_F(MipsWalk, endsFurtherDownWhereThePrologueIsNotBehindTheFrame)
{
    m_image.function(LIBRARY);
    m_image.function(TOP);
    m_image.push(SP + 28, TOP + 8); // the prologue's first instruction itself
    EXPECT_EQ((Frames{LIBRARY + 32, TOP}), m_image.walk(LIBRARY + 32, SP, 0));
}

// The stack is believed only where it is one.

TEST_F(MipsWalk, endsAtAStackPointerThatIsNotAMultipleOfFour)
{
    m_image.function(TOP);
    for (const Address off : {1U, 2U, 3U}) {
        EXPECT_EQ(Frames{TOP + 32}, m_image.walk(TOP + 32, SP + off, RETURN_TO_WORK));
    }
}

TEST_F(MipsWalk, endsAtAStackPointerOutsideTheStack)
{
    m_image.function(TOP);
    for (const Address sp : {0U, m_image.stackLow - 32, m_image.stackTop - 28, 0xFFFFFFF0U}) {
        EXPECT_EQ(Frames{TOP + 32}, m_image.walk(TOP + 32, sp, RETURN_TO_WORK)) << std::hex << sp;
    }
    m_image.push(m_image.stackTop - 4, RETURN_TO_WORK);
    EXPECT_EQ((Frames{TOP + 32, IN_WORK}), m_image.walk(TOP + 32, m_image.stackTop - 32, 0));
}

// Addresses of code.

TEST(MipsCode, isTheExecutableUpToGpAndTheRegionOfLibraries)
{
    Image m_image;
    m_image.name(0x400000, 0x30000000);
    for (const Address code : {0x400000U, 0x40FFFCU, 0x410000U, 0x20000000U, 0x30000000U}) {
        EXPECT_EQ(0x400000U, gpal::detail::findFunctionStart(m_image, code)) << std::hex << code;
    }
    m_image.name(0, 0xFFFFFFFF);
    const int asked = m_image.lookUps();
    for (const Address other :
         {0U, 0x3FFFFCU, 0x410004U, 0x1FFFFFFCU, 0x30000004U, 0x6FFFFFFCU, 0x70000000U, 0x70000004U,
          0xFFFFFFFCU, 0x400001U, 0x400002U, 0x400003U}) {
        EXPECT_EQ(0U, gpal::detail::findFunctionStart(m_image, other)) << std::hex << other;
    }
    EXPECT_EQ(asked, m_image.lookUps()) << "the loader is not asked about what can't be code";
}

TEST(MipsCode, isNotInAnExecutableThatHidesItsGp)
{
    Image m_image;
    m_image.name(0x400000, 0x30000000);
    m_image.marks.gp = 0;
    EXPECT_EQ(0U, gpal::detail::findFunctionStart(m_image, 0x400000));
    EXPECT_EQ(0x400000U, gpal::detail::findFunctionStart(m_image, 0x2AAC0000));
}

TEST(MipsCode, isOnlyWhatTheLoaderHasANameFor)
{
    Image m_image;
    m_image.name(0x400100, 64);
    EXPECT_EQ(0x400100U, gpal::detail::findFunctionStart(m_image, 0x40013C));
    EXPECT_EQ(0U, gpal::detail::findFunctionStart(m_image, 0x400140));
    EXPECT_EQ(0U, gpal::detail::findFunctionStart(m_image, 0x4000FC));
}
