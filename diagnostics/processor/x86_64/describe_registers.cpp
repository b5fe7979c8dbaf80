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

void describeRegisters(const ucontext_t& context, int /*signal*/, char (&text)[REGISTERS_TEXT_SIZE])
{
    const auto valueOf = [&](int place) {
        return static_cast<unsigned long>(context.uc_mcontext.gregs[place]);
    };
    RegisterText description(text, sizeof text);
    description.add("", "pc", valueOf(REG_RIP), "\n");
    for (const NamedPlace& general : GENERAL) {
        description.addToTable(general.name, valueOf(general.place));
    }
}

} // namespace gpal::detail
