#include "diagnostics/unwind_tables/processor.h"

#include <csignal>
#include <cstddef>
#include <cstdio>

#include "diagnostics/register_text.h"
#include "diagnostics/stack_walker.h"

namespace gpal::detail
{

namespace
{

constexpr int GENERAL_COUNT = 31;

/// What a signal handler returns to: the kernel has two instructions for that, and no unwind tables
/// (older ones: tables that lead past what the signal interrupted).
constexpr std::uint64_t MOVE_CALL_NUMBER = 0xD2801168; // mov x8, #139: rt_sigreturn
constexpr std::uint64_t CALL_KERNEL = 0xD4000001;      // svc #0

constexpr std::uint64_t INSTRUCTION = 4; // bytes

/// The instruction at \p address; 0, which is none of interest, where nothing can be read.
std::uint64_t instructionAt(std::uint64_t address)
{
    MemoryRange code(0, UINTPTR_MAX);
    std::uint64_t two = 0;
    code.read(address & ~INSTRUCTION, two);
    return (address & INSTRUCTION) != 0 ? two >> 32 : two & 0xFFFFFFFF;
}

} // namespace

Registers registersIn(const ucontext_t& context)
{
    const mcontext_t& machine = context.uc_mcontext;
    Registers registers{};
    for (int number = 0; number < GENERAL_COUNT; ++number) {
        registers.value[number] = machine.regs[number];
    }
    registers.value[STACK_POINTER] = machine.sp;
    registers.value[PC] = machine.pc;
    return registers;
}

bool returnFromFirstInstruction(Registers& registers, MemoryRange& /*stack*/)
{
    registers.value[PC] = withoutSignature(registers.value[RETURN_ADDRESS]);
    return true;
}

std::optional<Registers> registersBeforeSignal(const Registers& registers, MemoryRange& stack)
{
    const std::uint64_t pc = registers.value[PC];
    if (instructionAt(pc) != MOVE_CALL_NUMBER || instructionAt(pc + INSTRUCTION) != CALL_KERNEL) {
        return std::nullopt;
    }
    // The kernel's frame: the signal's description, then the context, in which the registers lie in
    // the order of their numbers.
    static_assert(offsetof(mcontext_t, sp) == offsetof(mcontext_t, regs[STACK_POINTER]));
    static_assert(offsetof(mcontext_t, pc) == offsetof(mcontext_t, regs[PC]));
    std::uint64_t address =
        registers.value[STACK_POINTER] + sizeof(siginfo_t) + offsetof(ucontext_t, uc_mcontext.regs);
    Registers interrupted{};
    for (std::uint64_t& value : interrupted.value) {
        if (!stack.read(address, value)) {
            return std::nullopt;
        }
        address += sizeof value;
    }
    return interrupted;
}

void describeRegisters(const ucontext_t& context, int /*signal*/, char* text, std::size_t size)
{
    const mcontext_t& machine = context.uc_mcontext;
    RegisterText description(text, size);
    description.add("", "pc", machine.pc, "\n");
    for (int number = 0; number < GENERAL_COUNT; ++number) {
        char name[4];
        std::snprintf(name, sizeof name, "x%d", number);
        description.addToTable(name, machine.regs[number]);
    }
    description.addToTable("sp", machine.sp);
}

} // namespace gpal::detail
