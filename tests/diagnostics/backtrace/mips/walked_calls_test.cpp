// Real programs of the device's processor walk their stacks from a call.
#include <gtest/gtest.h>

#include "walk_of.h"

TEST(WalkedMipsProgram, liesWhereWalksLookForCode)
{
    const unsigned long inProgram = walkOf("program_callAt").frames.at(0).address;
    EXPECT_GE(inProgram, 0x400000UL);
    EXPECT_LE(inProgram, 0x1FFFFFFFUL);
    const unsigned long inLibrary = walkOf("library_callAt").frames.at(0).address;
    EXPECT_GE(inLibrary, 0x20000000UL);
    EXPECT_LE(inLibrary, 0x30000000UL);
}

TEST(WalkedMipsProgram, showsEveryCallUpToMainThroughLibrariesAndBack)
{
    for (const std::string& place : PLACES) {
        const Walk walk = walkOf(place + "call");
        EXPECT_EQ(onTheWay({"get_backtrace", place + "call"}), walk.names()) << walk.output;
        expectCalls(walk, 1);
    }
}

TEST(WalkedMipsProgram, showsNothingBeyondMain)
{
    for (const std::string& place : PLACES) {
        EXPECT_EQ(onTheWay({"get_backtrace", place + "call"}),
                  walkOf(place + "call", "recalled").names());
        EXPECT_EQ(onTheWay({place + "framed"}), walkOf(place + "framed", "recalled").names());
    }
}

TEST(WalkedMipsProgram, startsRightBehindACallToALabelWithinTheWalkItself)
{
    const Walk walk = walkOf("program_call");
    const std::uint32_t fromRa = walk.frames.at(0).word; // or, addu: of zero and ra
    EXPECT_EQ(0x03E00000U, fromRa & 0xFFFF0000) << std::hex << fromRa;
}

TEST(WalkedMipsProgram, showsTheCallersOfAnyFunctionThatIsRunning)
{
    for (const std::string& place : PLACES) {
        const Walk walk = walkOf(place + "callAt");
        EXPECT_EQ(onTheWay({place + "callAt"}), walk.names()) << walk.output;
        expectCalls(walk, 1);
    }
}

TEST(WalkedMipsProgram, showsThreadsUpToTheirStartRoutine)
{
    for (const std::string& place : PLACES) {
        for (const char* thread : {"plain", "function"}) {
            EXPECT_EQ(onTheWay({"get_backtrace", place + "call"}, {"threadRoutine"}),
                      walkOf(place + "call", thread).names());
            EXPECT_EQ(onTheWay({place + "callAt"}, {"threadRoutine"}),
                      walkOf(place + "callAt", thread).names());
        }
    }
}

TEST(WalkedMipsProgram, showsThreadsOfTheLayerUpToTheirBody)
{
    for (const std::string& place : PLACES) {
        EXPECT_EQ(onTheWay({"get_backtrace", place + "call"}, {"threadRoutine", "_ZN4Body3runEv"}),
                  walkOf(place + "call", "body").names());
    }
}

TEST(WalkedMipsProgram, showsNothingBeyondTheStartOfAThread)
{
    for (const std::string& place : PLACES) {
        EXPECT_EQ(onTheWay({"get_backtrace", place + "call"}, {"threadRoutine", "__thread_start"}),
                  walkOf(place + "call", "started").names());
        EXPECT_EQ(onTheWay({place + "framed"}, {"threadRoutine", "__thread_start"}),
                  walkOf(place + "framed", "started").names());
    }
}
