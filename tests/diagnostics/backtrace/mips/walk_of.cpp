#include "walk_of.h"

#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

#include "support/command_output.h"

namespace
{

/// The words that start a program of this processor: none where the processor is real.
std::string emulator()
{
    const std::string words = EMULATOR;
    return access(words.substr(0, words.find(' ')).c_str(), X_OK) == 0 ? words + " " : "";
}

std::string outputOf(const std::string& command)
{
    const support::CommandOutput output = support::runCommand(command + " 2>&1");
    EXPECT_EQ(0, output.status) << command << '\n' << output.text;
    return output.text;
}

/// Takes what a line of the program says.
void take(const std::string& line, Walk& walk)
{
    std::istringstream words(line);
    std::string kind;
    words >> kind;
    if (kind == "=") {
        Frame frame{};
        words >> frame.function >> std::hex >> frame.offset >> frame.word >> frame.address;
        walk.frames.push_back(frame);
    } else if (kind == "count") {
        words >> walk.count;
    } else if (kind == "signal") {
        words >> walk.signal;
    } else if (kind == "before") {
        words >> std::hex >> walk.pcBefore;
    } else if (kind == "after") {
        words >> std::hex >> walk.pcAfter;
    } else if (kind == "ra") {
        words >> std::hex >> walk.ra;
    }
}

Walk walkOfProgram(const std::string& program, const std::string& arguments)
{
    Walk walk;
    walk.output = outputOf(emulator() + program + " " + arguments);
    std::istringstream lines(walk.output);
    std::string line;
    while (std::getline(lines, line) && line != "registers") {
        take(line, walk);
    }
    std::ostringstream rest;
    rest << lines.rdbuf();
    walk.registers = rest.str();
    EXPECT_EQ(walk.count, static_cast<int>(walk.frames.size())) << walk.output;
    return walk;
}

} // namespace

const Names PLACES{"program_", "library_"};

Names Walk::names() const
{
    Names names;
    for (const Frame& frame : frames) {
        names.push_back(frame.function);
    }
    return names;
}

Walk walkOf(const std::string& situation, const std::string& thread, int room)
{
    return walkOfProgram(WALKED_PROGRAM, situation + " " + thread + " " + std::to_string(room));
}

Walk walkOfHiddenGp(const std::string& situation)
{
    return walkOfProgram(WALKED_HIDDEN_GP, situation);
}

Names onTheWay(Names names, const Names& outermost)
{
    for (const char* name :
         {"chainThroughLibrary", "throughLibrary", "chainThird", "chainSecond", "chainFirst"}) {
        names.emplace_back(name);
    }
    names.insert(names.end(), outermost.begin(), outermost.end());
    return names;
}

void expectCalls(const Walk& walk, std::size_t first)
{
    for (std::size_t i = first; i < walk.frames.size(); ++i) {
        const std::uint32_t word = walk.frames[i].word;
        const bool calls = (word & 0xFC00003F) == 0x00000009 || (word & 0xFFFF0000) == 0x04110000;
        EXPECT_TRUE(calls) << walk.frames[i].function << '\n' << walk.output;
    }
}
