// Where the walks of real programs of the device's processor end early.
#include <gtest/gtest.h>

#include "walk_of.h"

namespace
{

Names firstOf(const Names& names, int count)
{
    return {names.begin(), names.begin() + count};
}

} // namespace

TEST(WalkedMipsProgram, showsNoMoreThanThereIsRoomFor)
{
    for (const std::string& place : PLACES) {
        const Names fromCall = onTheWay({"get_backtrace", place + "call"});
        const Names fromPlace = onTheWay({place + "callAt"});
        const Names fromFault = onTheWay({"?", place + "nullCall"});
        for (const int room : {1, 2, 5, static_cast<int>(fromPlace.size())}) {
            EXPECT_EQ(firstOf(fromCall, room), walkOf(place + "call", "main", room).names());
            EXPECT_EQ(firstOf(fromPlace, room), walkOf(place + "callAt", "main", room).names());
            EXPECT_EQ(firstOf(fromFault, room), walkOf(place + "nullCall", "main", room).names());
        }
        EXPECT_EQ(0, walkOf(place + "call", "main", 0).count);
        EXPECT_EQ(0, walkOf(place + "callAt", "main", 0).count);
        EXPECT_EQ(0, walkOf(place + "nullCall", "main", 0).count);
    }
}

TEST(WalkedMipsProgram, leavesTheContextAloneWithoutRoom)
{
    const Walk walk = walkOf("program_busError", "main", 0);
    EXPECT_EQ(10, walk.signal);
    EXPECT_EQ(walk.pcBefore, walk.pcAfter);
}

TEST(WalkedMipsProgram, goesThroughFramesThatAreAllocatedInOneStep)
{
    for (const std::string& place : PLACES) {
        EXPECT_EQ(onTheWay({"get_backtrace", place + "call", place + "throughLargestFrame"}),
                  walkOf(place + "throughLargestFrame").names());
    }
}

TEST(WalkedMipsProgram, endsInALargerFrame)
{
    for (const std::string& place : PLACES) {
        EXPECT_EQ((Names{"get_backtrace", place + "call", place + "throughTooLargeFrame"}),
                  walkOf(place + "throughTooLargeFrame").names());
    }
}

TEST(WalkedMipsProgram, endsBeforeAFunctionThatIsNotExported)
{
    for (const std::string& place : PLACES) {
        EXPECT_EQ((Names{"get_backtrace", place + "call"}),
                  walkOf(place + "throughUnnamed").names());
    }
}

TEST(WalkedMipsProgram, takesAFaultInAFunctionThatIsNotExportedForOneOutsideOfCode)
{
    for (const std::string& place : PLACES) {
        const Walk walk = walkOf(place + "callsUnnamedLeaf");
        EXPECT_EQ(onTheWay({"?", place + "callsUnnamedLeaf"}), walk.names()) << walk.output;
        EXPECT_EQ(walk.pcBefore, walk.frames.at(0).address);
        EXPECT_EQ(walk.ra + 8, walk.frames.at(1).address);
    }
}

// Without _gp nothing tells where the code of the executable ends.

TEST(WalkedMipsProgram, isNotKnownToBeCodeWhereItHidesItsGp)
{
    EXPECT_EQ(Names{"get_backtrace"}, walkOfHiddenGp("program_call").names());
    EXPECT_EQ((Names{"get_backtrace", "library_call", "chainThroughLibrary"}),
              walkOfHiddenGp("library_call").names());
    EXPECT_EQ((Names{"?", "library_nullCall", "chainThroughLibrary"}),
              walkOfHiddenGp("library_nullCall").names());
    const Walk fault = walkOfHiddenGp("program_framed");
    EXPECT_EQ(Names{"program_framed"}, fault.names());
    EXPECT_EQ(fault.pcBefore, fault.frames.at(0).address);
}
