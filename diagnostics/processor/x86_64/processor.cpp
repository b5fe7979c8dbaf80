#include "diagnostics/unwind_tables/processor.h"

#include "diagnostics/register_text.h"
#include "diagnostics/stack_walker.h"

namespace gpal::detail
{

namespace
{

struct NamedPlace {
    const char* name;
    int place;
};

constexpr NamedPlace GENERAL[] = {
    {"rax", REG_RAX}, {"rbx", REG_RBX}, {"rcx", REG_RCX}, {"rdx", REG_RDX},
    {"rsi", REG_RSI}, {"rdi", REG_RDI}, {"rbp", REG_RBP}, {"rsp", REG_RSP},
    {"r8", REG_R8},   {"r9", REG_R9},   {"r10", REG_R10}, {"r11", REG_R11},
    {"r12", REG_R12}, {"r13", REG_R13}, {"r14", REG_R14}, {"r15", REG_R15}};

} // namespace

Registers registersIn(const ucontext_t& context)
{
    constexpr int PLACES[REGISTER_COUNT] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI,
                                            REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                            REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
    Registers registers{};
    for (int number = 0; number < REGISTER_COUNT; ++number) {
        registers.value[number] =
            static_cast<std::uint64_t>(context.uc_mcontext.gregs[PLACES[number]]);
    }
    return registers;
}

bool returnFromFirstInstruction(Registers& registers, MemoryRange& stack)
{
    if (!stack.read(registers.value[RSP], registers.value[PC])) {
        return false;
    }
    registers.value[RSP] += sizeof(std::uint64_t);
    return true;
}

// A handler returns to the C library, which has tables for that.
std::optional<Registers> registersBeforeSignal(const Registers& /*registers*/,
                                               MemoryRange& /*stack*/)
{
    return std::nullopt;
}

void describeRegisters(const ucontext_t& context, int /*signal*/, char* text, std::size_t size)
{
    const auto valueOf = [&](int place) {
        return static_cast<unsigned long>(context.uc_mcontext.gregs[place]);
    };
    RegisterText description(text, size);
    description.add("", "pc", valueOf(REG_RIP), "\n");
    for (const NamedPlace& general : GENERAL) {
        description.addToTable(general.name, valueOf(general.place));
    }
}

} // namespace gpal::detail
