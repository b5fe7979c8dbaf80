// Real programs of the device's processor walk their stacks from a signal's handler.
#include <gtest/gtest.h>

#include "support/c_library.h"
#include "walk_of.h"

namespace
{

constexpr int SEGV = 11;
constexpr int BUS = 10;
constexpr int ALRM = 14;
constexpr int USR1 = 16;

constexpr std::uint32_t RETURN = 0x03E00008;
constexpr std::uint32_t SYSTEM_CALL = 0x0000000C;
constexpr std::uint32_t GIVE_STACK_BACK = 0x27BD0020;

/// Threads, and what the stacks of theirs end with.
const std::vector<std::pair<const char*, Names>> THREADS{
    {"main", {"main"}},
    {"plain", {"threadRoutine"}},
    {"body", {"threadRoutine", "_ZN4Body3runEv"}}};

/// Expects that on every thread, in either place, \p signal in \p situation shows \p functions (in
/// which "*" stands for the place), the situation, and all callers.
void expectWalks(const std::string& situation, int signal, const Names& functions)
{
    for (const std::string& place : PLACES) {
        for (const auto& [thread, outermost] : THREADS) {
            SCOPED_TRACE(place + situation + " " + thread);
            Names names = functions;
            for (std::string& name : names) {
                if (name.front() == '*') {
                    name.replace(0, 1, place);
                }
            }
            names.push_back(place + situation);
            const Walk walk = walkOf(place + situation, thread);
            EXPECT_EQ(signal, walk.signal);
            EXPECT_EQ(onTheWay(names, outermost), walk.names()) << walk.output;
            EXPECT_EQ(walk.pcBefore - (signal == BUS ? 4 : 0), walk.pcAfter);
        }
    }
}

} // namespace

// Faults.

TEST(WalkedMipsProgram, showsABadAccessOfAFunctionWithFrame)
{
    expectWalks("framed", SEGV, {});
    const Walk walk = walkOf("program_framed");
    EXPECT_EQ(walk.pcBefore, walk.frames.at(0).address);
    expectCalls(walk, 1);
}

TEST(WalkedMipsProgram, showsABadAccessOfALeafWithoutFrame)
{
    expectWalks("callsLeaf", SEGV, {"*leaf"});
    const Walk walk = walkOf("program_callsLeaf");
    EXPECT_EQ(0U, walk.frames.at(0).offset) << "its first instruction";
    expectCalls(walk, 1);
}

TEST(WalkedMipsProgram, showsABadAccessInTheDelaySlotOfAReturnAtTheReturn)
{
    expectWalks("callsDelaySlot", SEGV, {"*delaySlot"});
    EXPECT_EQ(RETURN, walkOf("program_callsDelaySlot").frames.at(0).word);
}

TEST(WalkedMipsProgram, showsACallThroughANullPointerAndItsCallerBehindTheCall)
{
    expectWalks("nullCall", SEGV, {"?"});
    const Walk walk = walkOf("program_nullCall");
    EXPECT_EQ(0U, walk.pcBefore);
    EXPECT_EQ(0xDEAD0000, walk.frames.at(0).address);
    EXPECT_EQ(walk.ra + 8, walk.frames.at(1).address);
    expectCalls(walk, 2);
}

TEST(WalkedMipsProgram, showsABusErrorOneInstructionBack)
{
    expectWalks("busError", BUS, {});
    const Walk walk = walkOf("program_busError");
    EXPECT_EQ(walk.pcBefore - 4, walk.frames.at(0).address);
    expectCalls(walk, 1);
}

TEST(WalkedMipsProgram, showsAFaultInTheCLibrary)
{
    expectWalks("inMemset", SEGV, {"memset"});
}

// Signals that come while the thread works or waits.

TEST(WalkedMipsProgram, showsWhereItIsBusy)
{
    expectWalks("busy", ALRM, {});
}

TEST(WalkedMipsProgram, showsWhatReads)
{
    GPAL_SKIP_BECAUSE(support::whyWaitsHaveNoName());
    expectWalks("inRead", ALRM, {"read"});
}

TEST(WalkedMipsProgram, showsWhatSleeps)
{
    Names sleeping{"nanosleep"};
    if (support::exports("__clock_nanosleep_time64")) {
        sleeping = {"__clock_nanosleep_time64", "__nanosleep"};
    } else if (support::exports("__libc_nanosleep")) {
        sleeping.insert(sleeping.begin(), "__libc_nanosleep");
    }
    expectWalks("inSleep", ALRM, sleeping);
}

TEST(WalkedMipsProgram, showsWhatPauses)
{
    GPAL_SKIP_BECAUSE(support::whyWaitsHaveNoName());
    expectWalks("inPause", ALRM, {"pause"});
}

TEST(WalkedMipsProgram, showsWhatSendsTheSignalToItself)
{
    expectWalks("inKill", USR1, {"kill"});
}

TEST(WalkedMipsProgram, showsSystemCallsOfManyArguments)
{
    GPAL_SKIP_BECAUSE(support::whyWaitsHaveNoName());
    expectWalks("inReceive", ALRM, {"__mips_syscall6", "recvfrom"});
}

TEST(WalkedMipsProgram, countsTheStackThatAWrapperGivesBackBehindItsSystemCall)
{
    expectWalks("inSmallWrapper", ALRM, {"*receive"});
    EXPECT_EQ(GIVE_STACK_BACK, walkOf("program_inSmallWrapper").frames.at(0).word);
}

TEST(WalkedMipsProgram, showsSystemCallsThatGoOnAfterTheHandlerAtTheCallItself)
{
    GPAL_SKIP_BECAUSE(support::whyWaitsHaveNoName());
    for (const std::string& place : PLACES) {
        const Walk reading = walkOf(place + "inRead", "restart");
        EXPECT_EQ(onTheWay({"read", place + "inRead"}), reading.names());
        EXPECT_EQ(SYSTEM_CALL, reading.frames.at(0).word);
        const Walk receiving = walkOf(place + "inSmallWrapper", "restart");
        EXPECT_EQ(onTheWay({place + "receive", place + "inSmallWrapper"}), receiving.names());
        EXPECT_EQ(SYSTEM_CALL, receiving.frames.at(0).word);
    }
}
