#include "diagnostics/processor/mips/mips_registers.h"

#include <gpal/backtrace.h>

#include "diagnostics/register_text.h"

namespace gpal::detail
{

void describeMipsRegisters(const MipsRegisters& registers, int signal, char* text, std::size_t size)
{
    // Deliberately 16, where the walk starts 4 back: both are part of the interface.
    const std::uint32_t back = signal == MIPS_SIGBUS ? 16 : 0;
    RegisterText description(text, size);
    description.add("", "pc", static_cast<std::uint32_t>(registers.pc - back), "");
    description.add(" ", "mdhi", registers.hi, "");
    description.add(" ", "mdlo", registers.lo, "");
    description.add(" ", "status", registers.status, "");
    description.add(" ", "cause", registers.cause, "");
    description.add(" ", "badval", registers.badAddress, "\n");
    for (int i = 0; i < 32; ++i) {
        description.addToTable(register_names[i], registers.general[i]);
    }
}

std::uint64_t mipsWalkStart(std::uint64_t pc, int signal)
{
    return signal == MIPS_SIGBUS ? pc - 4 : pc;
}

} // namespace gpal::detail
