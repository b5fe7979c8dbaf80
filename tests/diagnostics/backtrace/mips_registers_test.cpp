#include "diagnostics/processor/mips/mips_registers.h"

#include <cstring>
#include <gtest/gtest.h>

#include <gpal/backtrace.h>

using gpal::detail::MipsRegisters;

namespace
{

MipsRegisters someRegisters()
{
    MipsRegisters registers{0x00401234, 0x11, 0x22222222, 0xFF13, 0x1000001C, 0xDEADBEEF, {}};
    for (std::uint32_t i = 0; i < 32; ++i) {
        registers.general[i] = 0x80000000 + i;
    }
    return registers;
}

std::string description(const MipsRegisters& registers, int signal, std::size_t size = 560)
{
    std::string text(size + 1, '#');
    gpal::detail::describeMipsRegisters(registers, signal, text.data(), size);
    EXPECT_EQ('#', text[size]) << "written beyond the room";
    return text.substr(0, text.find('\0'));
}

} // namespace

TEST(MipsRegisters, areDescribedInTheirOrderSixToALine)
{
    EXPECT_EQ("pc = 00401234 mdhi = 00000011 mdlo = 22222222 status = 0000ff13 cause = 1000001c "
              "badval = deadbeef\n"
              "zero = 80000000\tat = 80000001\tv0 = 80000002\tv1 = 80000003\ta0 = 80000004\t"
              "a1 = 80000005\n"
              "a2 = 80000006\ta3 = 80000007\tt0 = 80000008\tt1 = 80000009\tt2 = 8000000a\t"
              "t3 = 8000000b\n"
              "t4 = 8000000c\tt5 = 8000000d\tt6 = 8000000e\tt7 = 8000000f\ts0 = 80000010\t"
              "s1 = 80000011\n"
              "s2 = 80000012\ts3 = 80000013\ts4 = 80000014\ts5 = 80000015\ts6 = 80000016\t"
              "s7 = 80000017\n"
              "t8 = 80000018\tt9 = 80000019\tk0 = 8000001a\tk1 = 8000001b\tgp = 8000001c\t"
              "sp = 8000001d\n"
              "s8 = 8000001e\tra = 8000001f\t",
              description(someRegisters(), 11));
}

TEST(MipsRegisters, showABusErrorsProgramCounterLessSixteen)
{
    EXPECT_EQ(0U, description(someRegisters(), 10).find("pc = 00401224 mdhi"));
    EXPECT_EQ(0U, description(someRegisters(), 7).find("pc = 00401234 mdhi"));
    MipsRegisters atNull = someRegisters();
    atNull.pc = 0;
    EXPECT_EQ(0U, description(atNull, 10).find("pc = fffffff0 mdhi"));
}

TEST(MipsRegisters, stayWithinTheRoomThatThereIs)
{
    const std::string whole = description(someRegisters(), 11);
    EXPECT_EQ(549U, whole.size());
    for (const std::size_t size : {1U, 10U, 100U, 549U}) {
        EXPECT_EQ(whole.substr(0, size - 1), description(someRegisters(), 11, size));
    }
}

TEST(MipsRegisters, letAWalkStartOneInstructionBackAfterABusError)
{
    using gpal::detail::mipsWalkStart;
    EXPECT_EQ(0x401230U, mipsWalkStart(0x401234, 10));
    EXPECT_EQ(0x401234U, mipsWalkStart(0x401234, 11));
    EXPECT_EQ(0xFFFFFFFFU, mipsWalkStart(0x100000003, 10)) << "borrows from the upper word";
    EXPECT_EQ(0xFFFFFFFFFFFFFFFCU, mipsWalkStart(0, 10));
}

TEST(RegisterNames, areThoseOfMipsOnEveryProcessor)
{
    const char* const expected[32] = {"zero", "at", "v0", "v1", "a0", "a1", "a2", "a3",
                                      "t0",   "t1", "t2", "t3", "t4", "t5", "t6", "t7",
                                      "s0",   "s1", "s2", "s3", "s4", "s5", "s6", "s7",
                                      "t8",   "t9", "k0", "k1", "gp", "sp", "s8", "ra"};
    static_assert(sizeof register_names == sizeof expected);
    for (int i = 0; i < 32; ++i) {
        EXPECT_STREQ(expected[i], register_names[i]);
    }
}
