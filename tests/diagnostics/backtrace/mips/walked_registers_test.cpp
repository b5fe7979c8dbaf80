// The registers of a real fault: a function gives each a value of its own right before.
#include <cstdio>
#include <gtest/gtest.h>
#include <regex>

#include <gpal/backtrace.h>

#include "walk_of.h"

namespace
{

std::string hexadecimal(std::uint64_t value)
{
    char text[20];
    std::snprintf(text, sizeof text, "%08llx", static_cast<unsigned long long>(value));
    return text;
}

/// What the function gives register \p number; any value for those that the kernel keeps to itself.
std::string planted(unsigned int number)
{
    constexpr unsigned int K0 = 26;
    constexpr unsigned int K1 = 27;
    if (number == K0 || number == K1) {
        return "[0-9a-f]{8}";
    }
    return hexadecimal(number == 0 ? 0 : 0x80000000 + number * 0x10101U);
}

/// The whole text for a fault at \p pc. Not every kernel tells status, cause and bad address.
std::string wanted(unsigned long pc)
{
    std::string text = "pc = " + hexadecimal(pc) +
                       " mdhi = 9abcdef0 mdlo = 87654321 status = [0-9a-f]{8} cause = [0-9a-f]{8} "
                       "badval = [0-9a-f]{8}\n";
    for (unsigned int number = 0; number < 32; ++number) {
        text += std::string(register_names[number]) + " = " + planted(number) +
                (number % 6 == 5 ? "\n" : "\t");
    }
    return text;
}

} // namespace

TEST(WalkedMipsProgram, describesTheRegistersAsTheFaultFoundThem)
{
    for (const std::string& place : PLACES) {
        const Walk walk = walkOf(place + "planted");
        EXPECT_EQ(11, walk.signal);
        EXPECT_EQ(Names{place + "planted"}, walk.names());
        EXPECT_EQ(0xAC000000U, walk.frames.at(0).word) << "the store that fails";
        EXPECT_TRUE(std::regex_match(walk.registers, std::regex(wanted(walk.frames[0].address))))
            << walk.registers;
    }
}

TEST(WalkedMipsProgram, describesABusErrorFourInstructionsBack)
{
    for (const std::string& place : PLACES) {
        const Walk walk = walkOf(place + "busError");
        EXPECT_EQ(10, walk.signal);
        EXPECT_EQ(0U, walk.registers.find("pc = " + hexadecimal(walk.pcBefore - 16) + " mdhi"))
            << walk.output;
        const Walk other = walkOf(place + "framed");
        EXPECT_EQ(0U, other.registers.find("pc = " + hexadecimal(other.pcBefore) + " mdhi"))
            << other.output;
    }
}
