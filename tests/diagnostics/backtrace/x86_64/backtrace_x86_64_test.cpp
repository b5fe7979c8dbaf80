// What is particular to x86-64.
#include <gpal/backtrace.h>

#include <gtest/gtest.h>

#include "machine.h"
#include "stacks.h"

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

// Runs a function on another stack, as clients do that switch stacks themselves. Where it starts,
// its table says that there is no caller.
asm(".globl runOnStack\n"
    ".type runOnStack, @function\n"
    "runOnStack:\n\t"
    ".cfi_startproc\n\t"
    ".cfi_undefined rip\n\t"
    "pushq %rbp\n\t"
    "movq %rsp, %rbp\n\t"
    "movq %rsi, %rsp\n\t"
    "call *%rdi\n\t"
    "movq %rbp, %rsp\n\t"
    "popq %rbp\n\t"
    "ret\n\t"
    ".cfi_endproc\n"
    ".size runOnStack, . - runOnStack");

extern "C" {

void runOnStack(void (*function)(), void* top);

void* framesOnAnotherStack[8];
int countOnAnotherStack;

__attribute__((noinline)) void startOfAnotherStack()
{
    countOnAnotherStack = get_backtrace(framesOnAnotherStack, 8);
    asm volatile("");
}
}

TEST(BacktraceX86, namesAllFunctionsOnAStackThatTheClientMade)
{
    alignas(16) static char stack[0x10000];
    runOnStack(startOfAnotherStack, stack + sizeof stack);
    EXPECT_EQ((Names{"get_backtrace", "startOfAnotherStack", "runOnStack"}),
              namesOf(Stack(framesOnAnotherStack, framesOnAnotherStack + countOnAnotherStack)));
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
