// What is particular to 64-bit ARM.
#include <gpal/backtrace.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

#include "chain.h"
#include "machine.h"
#include "stacks.h"

asm(".type beforeLeafWithoutTable, %function\n"
    "beforeLeafWithoutTable:\n\t"
    ".cfi_startproc\n\t"
    "sub sp, sp, #64\n\t"
    ".cfi_def_cfa_offset 64\n\t"
    "brk #1\n\t"
    ".cfi_endproc\n"
    ".size beforeLeafWithoutTable, . - beforeLeafWithoutTable\n"
    ".globl leafWithoutTable\n"
    ".type leafWithoutTable, %function\n"
    "leafWithoutTable:\n\t"
    "strb w0, [x0]\n\t"
    "ret\n"
    ".size leafWithoutTable, . - leafWithoutTable");

asm(".globl neverReturns\n"
    ".type neverReturns, %function\n"
    "neverReturns:\n\t"
    ".cfi_startproc\n\t"
    "stp x29, x30, [sp, #-16]!\n\t"
    ".cfi_def_cfa_offset 16\n\t"
    ".cfi_offset 29, -16\n\t"
    ".cfi_offset 30, -8\n\t"
    "mov x0, #0\n\t"
    "blr x0\n\t"
    ".cfi_endproc\n"
    ".size neverReturns, . - neverReturns\n\t"
    "brk #1");

// What handlers return to, with the table that older kernels have for it.
extern "C" void returnFromHandler();
asm(".type tableOfOlderKernels, %function\n"
    "tableOfOlderKernels:\n\t"
    ".cfi_startproc\n\t"
    ".cfi_signal_frame\n\t"
    ".cfi_def_cfa 29, 0\n\t"
    ".cfi_offset 29, 0\n\t"
    ".cfi_offset 30, 8\n\t"
    "nop\n"
    ".globl returnFromHandler\n"
    ".type returnFromHandler, %function\n"
    "returnFromHandler:\n\t"
    "mov x8, #139\n\t"
    "svc #0\n\t"
    ".cfi_endproc\n"
    ".size returnFromHandler, . - returnFromHandler");

// Functions that call \p work, with return addresses signed by one of the two keys. (The
// instructions go by numbers, under which processors that can't do it pass over them.)
#define SIGNING_FUNCTION(name, key, sign, authenticate)                                            \
    extern "C" int name(int (*work)(void*), void* argument);                                       \
    asm(".globl " #name "\n"                                                                       \
        ".type " #name ", %function\n" #name ":\n\t"                                               \
        ".cfi_startproc\n\t" key "hint #" #sign "\n\t"                                             \
        ".cfi_negate_ra_state\n\t"                                                                 \
        "stp x29, x30, [sp, #-16]!\n\t"                                                            \
        ".cfi_def_cfa_offset 16\n\t"                                                               \
        ".cfi_offset 29, -16\n\t"                                                                  \
        ".cfi_offset 30, -8\n\t"                                                                   \
        "mov x2, x0\n\t"                                                                           \
        "mov x0, x1\n\t"                                                                           \
        "blr x2\n\t"                                                                               \
        "ldp x29, x30, [sp], #16\n\t"                                                              \
        ".cfi_restore 30\n\t"                                                                      \
        ".cfi_restore 29\n\t"                                                                      \
        ".cfi_def_cfa_offset 0\n\t"                                                                \
        "hint #" #authenticate "\n\t"                                                              \
        ".cfi_negate_ra_state\n\t"                                                                 \
        "ret\n\t"                                                                                  \
        ".cfi_endproc\n"                                                                           \
        ".size " #name ", . - " #name)

SIGNING_FUNCTION(signedWithFirstKey, "", 25, 29);
SIGNING_FUNCTION(signedWithSecondKey, ".cfi_b_key_frame\n\t", 27, 31);

namespace
{

using Caller = int (*)(int (*)(void*), void*);

int recordStack(void* stack)
{
    *static_cast<Stack*>(stack) = recordedStack();
    return 0;
}

/// Has handlers of \p signal return to \p code.
void setReturnOfHandlers(int signal, void (*code)())
{
    constexpr unsigned long HAS_RETURN = 0x04000000;
    struct {
        void* handler;
        unsigned long flags;
        void (*code)();
        unsigned long mask;
    } action{};
    syscall(SYS_rt_sigaction, signal, nullptr, &action, sizeof action.mask);
    action.flags |= HAS_RETURN;
    action.code = code;
    syscall(SYS_rt_sigaction, signal, &action, nullptr, sizeof action.mask);
}

} // namespace

TEST(BacktraceAarch64, showsWhatASignalInterruptedThoughOlderKernelsTablesLeadPastIt)
{
    static Stack stack;
    stack.assign(64, nullptr);
    withFaultHandler([](ucontext_t*, int) { get_backtrace(stack.data(), 64); },
                     [] {
                         setReturnOfHandlers(SIGSEGV, returnFromHandler);
                         chainFirst(chainLeaf, forbiddenAddress());
                     });
    const Names names = namesOf(stack);
    const auto code = std::find(names.begin(), names.end(), "returnFromHandler");
    ASSERT_NE(names.end(), code);
    EXPECT_EQ((Names{"returnFromHandler", "chainLeaf", "chainThird"}), Names(code, code + 3));
}

TEST(BacktraceAarch64, goesThroughFunctionsThatSignTheirReturnAddresses)
{
    for (const Caller caller : {signedWithFirstKey, signedWithSecondKey}) {
        Stack stack;
        caller(recordStack, &stack);
        const Names names = namesOf(stack);
        const char* name =
            caller == signedWithFirstKey ? "signedWithFirstKey" : "signedWithSecondKey";
        EXPECT_EQ(1, std::count(names.begin(), names.end(), name));
        EXPECT_EQ("main", names.back());
    }
}

TEST(BacktraceAarch64, believesASignalsFrameOnlyWhereThereIsAStack)
{
    static const std::uint32_t callsOfTheKernel[] = {0xD2801168, 0xD4000001, 0xD2801168, 0};
    static ucontext_t context;
    setProgramCounter(context, reinterpret_cast<unsigned long>(&chainLeaf));
    for (const int first : {0, 2, 1}) {
        const auto returnAddress = reinterpret_cast<unsigned long>(&callsOfTheKernel[first]);
        context.uc_mcontext.regs[30] = returnAddress;
        void* buffer[4] = {};
        EXPECT_EQ(2, get_context_backtrace(&context, buffer, 4, 11));
        EXPECT_EQ(returnAddress - 1, reinterpret_cast<unsigned long>(buffer[1]));
    }
}

TEST(RegisterInfoAarch64, listsProgramCounterAndGeneralRegistersSixToALine)
{
    static ucontext_t context;
    context.uc_mcontext.pc = 0x10;
    std::string expected = "pc = 00000010\n";
    for (unsigned int number = 0; number < 31; ++number) {
        context.uc_mcontext.regs[number] = 0xFFFFFFFFFFFFFF00UL + number;
        char entry[32];
        std::snprintf(entry, sizeof entry, "x%u = ffffffffffffff%02x%c", number, number,
                      number % 6 == 5 ? '\n' : '\t');
        expected += entry;
    }
    context.uc_mcontext.sp = 0x7FFC12345678;
    EXPECT_EQ(expected + "sp = 7ffc12345678\t", get_context_register_info(&context, 11));
}
