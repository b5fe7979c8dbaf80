// What is particular to stacks of x86-64.
#include <gpal/backtrace.h>

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <pthread.h>

#include "chain.h"
#include "stacks.h"

namespace
{

/// What is recorded in the handler of a fault in `chainLeaf` when the stack pointer were \p sp.
Stack stackWithStackPointer(unsigned long sp)
{
    static unsigned long wanted;
    wanted = sp;
    static Stack stack;
    stack.assign(8, nullptr);
    withFaultHandler(
        [](ucontext_t* context, int signal) {
            context->uc_mcontext.gregs[REG_RSP] = static_cast<greg_t>(wanted);
            const int count = get_context_backtrace(context, stack.data(), 8, signal);
            stack.resize(static_cast<std::size_t>(count));
        },
        [] { chainFirst(chainLeaf, forbiddenAddress()); });
    return stack;
}

} // namespace

extern "C" {

// A leaf in assembler without unwind table; faults. What stands before it has a table and a frame.
int leafWithoutTable(void* argument);
asm(".type beforeLeafWithoutTable, @function\n"
    "beforeLeafWithoutTable:\n\t"
    ".cfi_startproc\n\t"
    "subq $64, %rsp\n\t"
    ".cfi_def_cfa_offset 72\n\t"
    "ud2\n\t"
    ".cfi_endproc\n"
    ".size beforeLeafWithoutTable, . - beforeLeafWithoutTable\n"
    ".globl leafWithoutTable\n"
    ".type leafWithoutTable, @function\n"
    "leafWithoutTable:\n\t"
    "movb $1, (%rdi)\n\t"
    "ret\n"
    ".size leafWithoutTable, . - leafWithoutTable");

/// Its last instruction is a call: the return address is not its own any more.
[[noreturn]] void neverReturns();
asm(".globl neverReturns\n"
    ".type neverReturns, @function\n"
    "neverReturns:\n\t"
    ".cfi_startproc\n\t"
    "subq $8, %rsp\n\t"
    ".cfi_def_cfa_offset 16\n\t"
    "xorl %eax, %eax\n\t"
    "call *%rax\n\t"
    ".cfi_endproc\n"
    ".size neverReturns, . - neverReturns\n\t"
    "ud2");

/// Aligns its stack more than callers do, so that its frame has no fixed distance from the
/// caller's.
__attribute__((noinline)) int alignedFrame(void* argument)
{
    alignas(128) volatile char aligned[256];
    aligned[0] = 1;
    auto* room = static_cast<volatile char*>(__builtin_alloca(static_cast<unsigned>(aligned[0])));
    room[0] = 2;
    return chainLeaf(argument) + room[0];
}

/// Records, in chainRecorded, the stack from its own program counter and stack pointer on.
__attribute__((noinline)) int recordFromRegisters(void*)
{
    unsigned long pc = 0;
    unsigned long sp = 0;
    asm volatile("1: leaq 1b(%%rip), %0\n\tmovq %%rsp, %1" : "=r"(pc), "=r"(sp));
    chainRecorded[63] = reinterpret_cast<void*>(pc);
    const int count = get_ret_addr(pc, sp, 63, chainRecorded);
    asm volatile("");
    return count;
}

/// Records its stack in chainRecorded and its return address behind it.
__attribute__((noinline)) int recordWithReturnAddress(void*)
{
    const int count = get_backtrace(chainRecorded, 63);
    chainRecorded[63] = __builtin_return_address(0);
    return count;
}

/// Leaves a fault in a thread whose stack pointer points to a return address on another's stack.
void* faultWithForeignStack(void* foreign)
{
    static Stack stack;
    stack = stackWithStackPointer(reinterpret_cast<unsigned long>(foreign));
    return &stack;
}

/// The same with a frame pointer, on which the way to the caller depends.
__attribute__((noinline)) int recordWithFramePointer(void* argument)
{
    auto* room = static_cast<volatile char*>(__builtin_alloca(*static_cast<unsigned*>(argument)));
    room[0] = 1;
    return recordFromRegisters(argument) + room[0] - 1;
}
}

namespace
{

Names firstNames(const Stack& stack, std::size_t count)
{
    Names names = namesOf(stack);
    names.resize(std::min(count, names.size()));
    return names;
}

} // namespace

TEST(BacktraceX86, recordsRecursionFrameByFrame)
{
    int depth = 20;
    const int count = chainDeep(&depth);
    const Names names = namesOf(Stack(chainRecorded, chainRecorded + count));
    EXPECT_EQ(21, std::count(names.begin(), names.end(), "chainDeep"));
    EXPECT_EQ("main", names.back());
}

TEST(BacktraceX86, findsTheCallerOfALeafWithoutUnwindTable)
{
    const Stack stack = stackOfFault([] { chainFirst(leafWithoutTable, forbiddenAddress()); });
    EXPECT_EQ((Names{"leafWithoutTable", "chainThird", "chainSecond", "chainFirst"}),
              firstNames(stack, 4));
}

TEST(BacktraceX86, goesThroughFramesOfUnusualAlignment)
{
    const Stack stack = stackOfFault([] { chainFirst(alignedFrame, forbiddenAddress()); });
    EXPECT_EQ((Names{"chainLeaf", "alignedFrame", "chainThird", "chainSecond", "chainFirst"}),
              firstNames(stack, 5));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(BacktraceX86, goesFromAHandlerToWhatItInterrupted)
{
    static Stack stack;
    stack.assign(64, nullptr);
    for (const bool onAlternateStack : {false, true}) {
        withFaultHandler([](ucontext_t*, int) { get_backtrace(stack.data(), 64); },
                         [] { chainFirst(chainLeaf, forbiddenAddress()); }, onAlternateStack);
        const Names names = namesOf(stack);
        const auto leaf = std::find(names.begin(), names.end(), "chainLeaf");
        ASSERT_NE(names.end(), leaf);
        EXPECT_EQ((Names{"chainLeaf", "chainThird", "chainSecond", "chainFirst"}),
                  Names(leaf, leaf + 4));
        EXPECT_NE(names.end(), std::find(leaf, names.end(), "main"));
    }
}

TEST(BacktraceX86, walksFromAPlaceOfWhichOnlyTwoRegistersAreKnown)
{
    std::memset(chainRecorded, 0, sizeof chainRecorded);
    const int count = chainFirst(recordFromRegisters, nullptr);
    const Stack stack(chainRecorded, chainRecorded + count);
    EXPECT_EQ(chainRecorded[63], stack.front());
    EXPECT_EQ((Names{"recordFromRegisters", "chainThird", "chainSecond", "chainFirst"}),
              firstNames(stack, 4));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(BacktraceX86, walksFromThereThroughFramesWithFramePointers)
{
    unsigned int bytes = 100;
    const int count = chainFirst(recordWithFramePointer, &bytes);
    const Stack stack(chainRecorded, chainRecorded + count);
    EXPECT_EQ((Names{"recordFromRegisters", "recordWithFramePointer", "chainThird"}),
              firstNames(stack, 3));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(BacktraceX86, doesNotClearTheBufferFirstThere)
{
    std::fill_n(chainRecorded, 64, &chainRecorded);
    const int count = chainFirst(recordFromRegisters, nullptr);
    ASSERT_LT(count + 4, 63);
    EXPECT_EQ(&chainRecorded, chainRecorded[count + 4]);
}

TEST(BacktraceX86, recordsWhereAThreadStandsThoughItsStackPointerIsNoStack)
{
    const unsigned long here = reinterpret_cast<unsigned long>(__builtin_frame_address(0));
    for (const unsigned long sp : {0UL, 8UL, here - 0x100000, here + 1, ~0UL - 7, 0x10000UL}) {
        const Stack stack = stackWithStackPointer(sp);
        EXPECT_EQ(Names{"chainLeaf"}, namesOf(stack)) << std::hex << sp;
    }
}

TEST(BacktraceX86, believesNoOtherThreadsStack)
{
    // Several: a sanitizer may have given the leaf a frame of some words.
    void* volatile returnAddresses[16];
    std::fill(std::begin(returnAddresses), std::end(returnAddresses),
              reinterpret_cast<char*>(&chainDeep) + 8);
    void* const foreign = const_cast<void**>(&returnAddresses[0]);
    EXPECT_LT(1U, stackWithStackPointer(reinterpret_cast<unsigned long>(foreign)).size());
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, nullptr, faultWithForeignStack, foreign));
    void* stack = nullptr;
    pthread_join(thread, &stack);
    EXPECT_EQ(Names{"chainLeaf"}, namesOf(*static_cast<Stack*>(stack)));
}

TEST(BacktraceX86, givesAddressesInsideTheCallingInstructions)
{
    constexpr long LONGEST_CALL = 7;
    chainFirst(recordWithReturnAddress, nullptr);
    const auto* returnAddress = static_cast<const char*>(chainRecorded[63]);
    const auto* entry = static_cast<const char*>(chainRecorded[2]);
    EXPECT_LT(entry, returnAddress);
    EXPECT_GE(entry, returnAddress - LONGEST_CALL);
}

TEST(BacktraceX86, namesAFunctionThatEndsWithACall)
{
    const Stack stack = stackOfFault([] { neverReturns(); });
    ASSERT_LE(2U, stack.size());
    EXPECT_EQ("neverReturns", namesOf(stack)[1]);
}

TEST(BacktraceX86, makesNoCorrectionForSignalTen)
{
    static ucontext_t context;
    const auto pc = reinterpret_cast<unsigned long>(&chainLeaf);
    context.uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(pc);
    void* buffer[2] = {};
    EXPECT_EQ(1, get_context_backtrace(&context, buffer, 2, 10));
    EXPECT_EQ(pc, reinterpret_cast<unsigned long>(buffer[0]));
    EXPECT_EQ(static_cast<greg_t>(pc), context.uc_mcontext.gregs[REG_RIP]);
    EXPECT_EQ(std::string(get_context_register_info(&context, 11)),
              get_context_register_info(&context, 10));
}

TEST(RegisterInfoX86, listsProgramCounterAndGeneralRegistersSixToALine)
{
    static ucontext_t context;
    const int places[] = {REG_RIP, REG_RAX, REG_RBX, REG_RCX, REG_RDX, REG_RSI,
                          REG_RDI, REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10,
                          REG_R11, REG_R12, REG_R13, REG_R14, REG_R15};
    greg_t value = 0x10;
    for (const int place : places) {
        context.uc_mcontext.gregs[place] = value++;
    }
    context.uc_mcontext.gregs[REG_RSP] = 0x7FFC12345678;
    EXPECT_STREQ("pc = 00000010\n"
                 "rax = 00000011\trbx = 00000012\trcx = 00000013\trdx = 00000014\t"
                 "rsi = 00000015\trdi = 00000016\n"
                 "rbp = 00000017\trsp = 7ffc12345678\tr8 = 00000019\tr9 = 0000001a\t"
                 "r10 = 0000001b\tr11 = 0000001c\n"
                 "r12 = 0000001d\tr13 = 0000001e\tr14 = 0000001f\tr15 = 00000020\t",
                 get_context_register_info(&context, 11));
}
