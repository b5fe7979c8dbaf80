// The debugger sees the same stack.
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "support/command_output.h"

namespace
{

using Names = std::vector<std::string>;

/// The name in a line of the debugger's back trace: what follows "in", or the frame's number.
std::string nameIn(const std::string& line)
{
    if (line.find("<signal handler called>") != std::string::npos) {
        return "?";
    }
    const auto in = line.find(" in ");
    const auto begin = in != std::string::npos ? in + 4 : line.find_first_not_of("#0123456789 ");
    return line.substr(begin, line.find(' ', begin) - begin);
}

struct Seen {
    Names byProgram;
    Names byDebugger;
    std::string output;
};

/// Runs the program under the debugger and has both show the stack. The innermost frame is each
/// one's own: `get_backtrace` for the one, `breakHere` for the other.
Seen seenUnderDebugger(const std::string& argument)
{
    const std::string command =
        std::string("gdb -nx -batch -ex 'handle SIGSEGV nostop noprint pass' -ex 'break breakHere' "
                    "-ex run -ex bt --args '") +
        SHOWN_STACK + "' " + argument + " 2>&1";
    Seen seen;
    seen.output = support::outputOf(command);
    std::istringstream lines(seen.output);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("= ", 0) == 0) {
            seen.byProgram.push_back(line.substr(2));
        } else if (line.rfind('#', 0) == 0) {
            seen.byDebugger.push_back(nameIn(line));
        }
    }
    return seen;
}

void compare(const std::string& argument)
{
    Seen seen = seenUnderDebugger(argument);
    if (seen.byDebugger.empty()) {
        GTEST_SKIP() << "no debugger that may be used: " << seen.output;
    }
    ASSERT_EQ("breakHere", seen.byDebugger.front());
    ASSERT_EQ("get_backtrace", seen.byProgram.front());
    ASSERT_EQ(seen.byDebugger.size(), seen.byProgram.size()) << seen.output;
    for (std::size_t i = 1; i < seen.byProgram.size(); ++i) {
        if (seen.byProgram[i] != "?") {
            EXPECT_EQ(seen.byDebugger[i], seen.byProgram[i]) << seen.output;
        }
    }
    EXPECT_EQ("main", seen.byProgram.back());
}

} // namespace

TEST(Debugger, seesTheSameStack)
{
    compare("");
}

TEST(Debugger, seesTheSameStackInAHandler)
{
    compare("fault");
}
