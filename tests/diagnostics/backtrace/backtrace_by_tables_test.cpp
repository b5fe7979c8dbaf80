// Stacks of processors that are walked by unwind tables.
#include <gpal/backtrace.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <pthread.h>
#include <sched.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include "chain.h"
#include "machine.h"
#include "stacks.h"

namespace
{

/// What is found of chainThird calling chainLeaf when nothing of the stack can be read.
const Names WITHOUT_STACK = CALLS_KEEP_THE_RETURN_ADDRESS_IN_A_REGISTER
                                ? Names{"chainLeaf", "chainThird"}
                                : Names{"chainLeaf"};

/// What is recorded in the handler of a fault in `chainLeaf` when the stack pointer were \p sp.
Stack stackWithStackPointer(unsigned long sp)
{
    static unsigned long wanted;
    wanted = sp;
    static Stack stack;
    stack.assign(8, nullptr);
    withFaultHandler(
        [](ucontext_t* context, int signal) {
            setStackPointer(*context, wanted);
            const int count = get_context_backtrace(context, stack.data(), 8, signal);
            stack.resize(static_cast<std::size_t>(count));
        },
        [] { chainFirst(chainLeaf, forbiddenAddress()); });
    return stack;
}

} // namespace

extern "C" {

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
    TAKE_PLACE(pc, sp);
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

/// Records its stack in \p frames, which has room for 64; returns their number.
__attribute__((noinline)) int recordOnCloned(void* frames)
{
    const int count = get_backtrace(static_cast<void**>(frames), 64);
    asm volatile("");
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

/// Records the stack from a place further up on, behind a frame pointer of its own.
__attribute__((noinline)) int recordFrom(unsigned long pc, unsigned long sp, unsigned size)
{
    auto* room = static_cast<volatile char*>(__builtin_alloca(size));
    room[0] = 1;
    return get_ret_addr(pc, sp, 63, chainRecorded) + room[0] - 1;
}

/// The same from its own place, to which its frame pointer belongs.
__attribute__((noinline)) int recordThroughAnother(void* argument)
{
    const unsigned size = *static_cast<unsigned*>(argument);
    auto* room = static_cast<volatile char*>(__builtin_alloca(size));
    room[0] = 1;
    unsigned long pc = 0;
    unsigned long sp = 0;
    TAKE_PLACE(pc, sp);
    return recordFrom(pc, sp, size) + room[0] - 1;
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

TEST(BacktraceByTables, recordsRecursionFrameByFrame)
{
    int depth = 20;
    const int count = chainDeep(&depth);
    const Names names = namesOf(Stack(chainRecorded, chainRecorded + count));
    EXPECT_EQ(21, std::count(names.begin(), names.end(), "chainDeep"));
    EXPECT_EQ("main", names.back());
}

TEST(BacktraceByTables, findsTheCallerOfALeafWithoutUnwindTable)
{
    const Stack stack = stackOfFault([] { chainFirst(leafWithoutTable, forbiddenAddress()); });
    EXPECT_EQ((Names{"leafWithoutTable", "chainThird", "chainSecond", "chainFirst"}),
              firstNames(stack, 4));
}

TEST(BacktraceByTables, goesThroughFramesOfUnusualAlignment)
{
    const Stack stack = stackOfFault([] { chainFirst(alignedFrame, forbiddenAddress()); });
    EXPECT_EQ((Names{"chainLeaf", "alignedFrame", "chainThird", "chainSecond", "chainFirst"}),
              firstNames(stack, 5));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(BacktraceByTables, goesFromAHandlerToWhatItInterrupted)
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

TEST(BacktraceByTables, walksFromAPlaceOfWhichOnlyTwoRegistersAreKnown)
{
    std::memset(chainRecorded, 0, sizeof chainRecorded);
    const int count = chainFirst(recordFromRegisters, nullptr);
    const Stack stack(chainRecorded, chainRecorded + count);
    EXPECT_EQ(chainRecorded[63], stack.front());
    EXPECT_EQ((Names{"recordFromRegisters", "chainThird", "chainSecond", "chainFirst"}),
              firstNames(stack, 4));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(BacktraceByTables, walksFromThereThroughFramesWithFramePointers)
{
    unsigned int bytes = 100;
    const int count = chainFirst(recordWithFramePointer, &bytes);
    const Stack stack(chainRecorded, chainRecorded + count);
    EXPECT_EQ((Names{"recordFromRegisters", "recordWithFramePointer", "chainThird"}),
              firstNames(stack, 3));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(BacktraceByTables, walksFromAPlaceFurtherUpWithTheRegistersOfThatPlace)
{
    unsigned int bytes = 100;
    const int count = chainFirst(recordThroughAnother, &bytes);
    const Stack stack(chainRecorded, chainRecorded + count);
    EXPECT_EQ((Names{"recordThroughAnother", "chainThird", "chainSecond"}), firstNames(stack, 3));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(BacktraceByTables, doesNotClearTheBufferFirstThere)
{
    std::fill_n(chainRecorded, 64, &chainRecorded);
    const int count = chainFirst(recordFromRegisters, nullptr);
    ASSERT_LT(count + 4, 63);
    EXPECT_EQ(&chainRecorded, chainRecorded[count + 4]);
}

TEST(BacktraceByTables, recordsWhereAThreadStandsThoughItsStackPointerIsNoStack)
{
    const unsigned long here = reinterpret_cast<unsigned long>(__builtin_frame_address(0));
    for (const unsigned long sp : {0UL, 8UL, here - 0x100000, here + 1, ~0UL - 7, 0x10000UL}) {
        EXPECT_EQ(WITHOUT_STACK, namesOf(stackWithStackPointer(sp))) << std::hex << sp;
    }
}

TEST(BacktraceByTables, believesNoOtherThreadsStack)
{
    // Several: a sanitizer may have given the leaf a frame of some words.
    void* volatile returnAddresses[16];
    std::fill(std::begin(returnAddresses), std::end(returnAddresses),
              reinterpret_cast<char*>(&chainDeep) + 8);
    void* const foreign = const_cast<void**>(&returnAddresses[0]);
    EXPECT_LT(WITHOUT_STACK.size(),
              stackWithStackPointer(reinterpret_cast<unsigned long>(foreign)).size());
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, nullptr, faultWithForeignStack, foreign));
    void* stack = nullptr;
    pthread_join(thread, &stack);
    EXPECT_EQ(WITHOUT_STACK, namesOf(*static_cast<Stack*>(stack)));
}

TEST(BacktraceByTables, endsInAHandlerWhoseInterruptedRegistersLeadBackIntoIt)
{
    static int count;
    withFaultHandler(
        [](ucontext_t* context, int) {
            ucontext_t inHandler{};
            getcontext(&inHandler);
            context->uc_mcontext = inHandler.uc_mcontext;
            void* buffer[8] = {};
            count = get_ret_addr(reinterpret_cast<unsigned long>(&chainLeaf), ~0UL - 7, 8, buffer);
        },
        [] { chainFirst(chainLeaf, forbiddenAddress()); });
    EXPECT_EQ(1, count);
}

TEST(BacktraceByTables, givesAddressesInsideTheCallingInstructions)
{
    constexpr long LONGEST_CALL = 7;
    chainFirst(recordWithReturnAddress, nullptr);
    const auto* returnAddress = static_cast<const char*>(chainRecorded[63]);
    const auto* entry = static_cast<const char*>(chainRecorded[2]);
    EXPECT_LT(entry, returnAddress);
    EXPECT_GE(entry, returnAddress - LONGEST_CALL);
}

TEST(BacktraceByTables, namesAFunctionThatEndsWithACall)
{
    const Stack stack = stackOfFault([] { neverReturns(); });
    ASSERT_LE(2U, stack.size());
    EXPECT_EQ("neverReturns", namesOf(stack)[1]);
}

TEST(BacktraceByTables, namesTheFunctionThatAPlainCloneRuns)
{
    alignas(16) static char stack[0x20000];
    constexpr std::size_t SIZE = 64 * sizeof(void*);
    void* shared = mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    const pid_t process = clone(recordOnCloned, stack + sizeof stack, SIGCHLD, shared);
    ASSERT_LT(0, process);
    int status = 0;
    ASSERT_EQ(process, waitpid(process, &status, 0));
    auto** frames = static_cast<void**>(shared);
    EXPECT_EQ((Names{"get_backtrace", "recordOnCloned"}),
              namesOf(Stack(frames, frames + WEXITSTATUS(status))));
    munmap(shared, SIZE);
}

TEST(BacktraceByTables, showsTheProgramsEntryWhereThatIsAllThereIs)
{
    static ucontext_t context;
    const unsigned long entry = getauxval(AT_ENTRY);
    setProgramCounter(context, entry);
    void* buffer[2] = {};
    EXPECT_EQ(1, get_context_backtrace(&context, buffer, 2, 11));
    EXPECT_EQ(entry, reinterpret_cast<unsigned long>(buffer[0]));
}

TEST(BacktraceByTables, makesNoCorrectionForSignalTen)
{
    static ucontext_t context;
    const auto pc = reinterpret_cast<unsigned long>(&chainLeaf);
    setProgramCounter(context, pc);
    void* buffer[2] = {};
    EXPECT_EQ(1, get_context_backtrace(&context, buffer, 2, 10));
    EXPECT_EQ(pc, reinterpret_cast<unsigned long>(buffer[0]));
    const std::string text = get_context_register_info(&context, 10);
    EXPECT_EQ(std::string(get_context_register_info(&context, 11)), text);
    char line[64];
    std::snprintf(line, sizeof line, "pc = %08lx\n", pc);
    EXPECT_EQ(0U, text.find(line));
}
