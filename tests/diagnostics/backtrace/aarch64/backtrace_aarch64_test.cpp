// What is particular to 64-bit ARM.
#include <gpal/backtrace.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

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

} // namespace

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
