#include <dlfcn.h>

#include "diagnostics/processor/mips/mips_registers.h"
#include "diagnostics/processor/mips/mips_stack_walker.h"
#include "diagnostics/stack_walker.h"
#include "diagnostics/thread_stack.h"
#include "here.h"

namespace gpal::detail
{

namespace
{

MipsAddress addressOf(const char* symbol)
{
    return reinterpret_cast<MipsAddress>(dlsym(RTLD_DEFAULT, symbol));
}

/// A look-up that fails allocates, which a walk in a signal handler must not.
MipsLandmarks lookUpLandmarks()
{
    const MipsLandmarks found{addressOf("_gp"), addressOf("main"), addressOf("__thread_start")};
    dlerror(); // A failure is no business of whoever asks for the loader's last error next.
    return found;
}

const MipsLandmarks LANDMARKS = lookUpLandmarks();

/// The program that this code runs in, and the part of the thread's stack around a stack pointer.
class OwnProgram final : public MipsProgram
{
public:
    explicit OwnProgram(MipsAddress sp) : m_stack(stackInUse(sp)) {}

    MipsLandmarks landmarks() const override { return LANDMARKS; }

    MipsAddress symbolStart(MipsAddress address) const override
    {
        Dl_info found{};
        const bool named =
            dladdr(reinterpret_cast<void*>(address), &found) != 0 && found.dli_sname != nullptr;
        return named ? reinterpret_cast<MipsAddress>(found.dli_saddr) : 0;
    }

    MipsWord instruction(MipsAddress address) const override
    {
        MipsWord word = 0;
        m_code.read(address, word);
        return word;
    }

    std::optional<MipsWord> stackWord(MipsAddress address) const override
    {
        MipsWord word = 0;
        return m_stack.read(address, word) ? std::optional<MipsWord>(word) : std::nullopt;
    }

private:
    mutable MemoryRange m_stack;
    mutable MemoryRange m_code{0, UINTPTR_MAX};
};

int walk(MipsAddress pc, MipsAddress sp, MipsAddress ra, void** buffer, int max)
{
    return walkMipsStack(OwnProgram(sp), pc, sp, ra, buffer, max);
}

} // namespace

int walkFromHere(const Here& here, void** buffer, int max)
{
    return walk(here.pc, here.sp, 0, buffer, max);
}

int walkFrom(unsigned long pc, unsigned long sp, void** buffer, int max)
{
    return walk(pc, sp, 0, buffer, max);
}

int walkFromContext(ucontext_t& context, int signal, void** buffer, int max)
{
    constexpr int SP = 29;
    constexpr int RA = 31;
    mcontext_t& machine = context.uc_mcontext;
    machine.pc = mipsWalkStart(machine.pc, signal);
    return walk(static_cast<MipsAddress>(machine.pc), static_cast<MipsAddress>(machine.gregs[SP]),
                static_cast<MipsAddress>(machine.gregs[RA]), buffer, max);
}

void describeRegisters(const ucontext_t& context, int signal, char* text, std::size_t size)
{
    const mcontext_t& machine = context.uc_mcontext;
    MipsRegisters registers{};
    registers.pc = static_cast<std::uint32_t>(machine.pc);
    registers.hi = static_cast<std::uint32_t>(machine.mdhi);
    registers.lo = static_cast<std::uint32_t>(machine.mdlo);
    registers.status = machine.status;
    // The kernel's words for cause and bad address go by these names in the C library.
    registers.cause = static_cast<std::uint32_t>(machine.hi1);
    registers.badAddress = static_cast<std::uint32_t>(machine.lo1);
    for (int i = 0; i < 32; ++i) {
        registers.general[i] = static_cast<std::uint32_t>(machine.gregs[i]);
    }
    describeMipsRegisters(registers, signal, text, size);
}

} // namespace gpal::detail
