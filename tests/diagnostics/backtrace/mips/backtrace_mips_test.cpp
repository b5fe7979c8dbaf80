// What is particular to the device's processor: signal contexts filled by hand.
#include <gpal/backtrace.h>

#include <gtest/gtest.h>

#include "chain.h"

namespace
{

ucontext_t& context()
{
    static ucontext_t filled;
    mcontext_t& machine = filled.uc_mcontext;
    machine.pc = 0x100000000ULL;
    machine.mdhi = 0xAAAAAAAA00000001ULL;
    machine.mdlo = 0xAAAAAAAA00000002ULL;
    machine.status = 3;
    machine.hi1 = 4;
    machine.lo1 = 5;
    for (int i = 0; i < 32; ++i) {
        machine.gregs[i] = 0xBBBBBBBB00000000ULL + static_cast<unsigned int>(i);
    }
    return filled;
}

} // namespace

TEST(BacktraceMips, endsWhereAFunctionCallsItself)
{
    int depth = 20;
    EXPECT_EQ(3, chainDeep(&depth)); // get_backtrace, its caller, and the one place of all others
    EXPECT_NE(chainRecorded[1], chainRecorded[2]);
}

TEST(BacktraceMips, takesTheContextItselfBackForABusError)
{
    void* buffer[2] = {};
    EXPECT_EQ(1, get_context_backtrace(&context(), buffer, 2, 11));
    EXPECT_EQ(reinterpret_cast<void*>(0xDEAD0000UL), buffer[0]);
    ucontext_t& changed = context();
    EXPECT_EQ(1, get_context_backtrace(&changed, buffer, 2, 10));
    EXPECT_EQ(0xFFFFFFFCULL, changed.uc_mcontext.pc);
    EXPECT_EQ(reinterpret_cast<void*>(0xFFFFFFFCUL), buffer[0]);
}

TEST(RegisterInfoMips, readsTheLowWordsOfTheContext)
{
    const std::string text = get_context_register_info(&context(), 11);
    EXPECT_EQ(0U, text.find("pc = 00000000 mdhi = 00000001 mdlo = 00000002 status = 00000003 "
                            "cause = 00000004 badval = 00000005\n"
                            "zero = 00000000\tat = 00000001\t"));
    EXPECT_NE(std::string::npos, text.find("s8 = 0000001e\tra = 0000001f\t"));
    EXPECT_EQ(0U, std::string(get_context_register_info(&context(), 10)).find("pc = fffffff0 "));
    EXPECT_EQ(0x100000000ULL, context().uc_mcontext.pc);
}
