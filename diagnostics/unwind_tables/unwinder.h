/// \file
/// Steps from a function to its caller by unwind tables.
#ifndef GPAL_DIAGNOSTICS_UNWINDER_H
#define GPAL_DIAGNOSTICS_UNWINDER_H

#include <optional>
#include <ucontext.h>

#include "diagnostics/thread_stack.h"
#include "diagnostics/unwind_tables/entries.h"
#include "diagnostics/unwind_tables/processor.h"

namespace gpal::detail
{

/// One frame of the calling thread's stack.
class Unwinder
{
public:
    enum class Step {
        CALLER,        ///< stands in the caller now
        OUTERMOST,     ///< there is no caller
        PROGRAM_ENTRY, ///< the same, and the function is the program's entry
        LOST           ///< the caller can't be found
    };

    /// Starts where a function was interrupted, or stands by itself.
    explicit Unwinder(const Registers& start);

    /// Whether the program counter is in a loaded program or library, or in a signal trampoline.
    bool isInCode() const { return m_object.holds(lookUpAddress()) || m_beforeSignal; }

    /// Whether the frame's function stands where it was interrupted, not in a call.
    bool isInterrupted() const { return m_interrupted; }

    /// The interrupted instruction, or an address inside the calling instruction.
    std::uintptr_t place() const;

    /// Whether there is an entry about the frame's function in the unwind tables.
    bool isDescribed() const { return m_described; }

    const Registers& registers() const { return m_registers; }

    Step step();

    /// Steps to the caller of a function that has done nothing yet. Returns whether there is a
    /// return address to be believed.
    bool stepFromFirstInstruction();

private:
    std::uintptr_t lookUpAddress() const { return m_registers.value[PC] - (m_interrupted ? 0 : 1); }
    bool isTrampoline() const
    {
        const bool described = m_described && m_entry.common.isSignalTrampoline;
        return m_beforeSignal || described; // GCOVR_EXCL_BR_LINE: as in step()
    }
    bool applyRules();
    bool compute(const std::uint8_t* expression, const Registers& registers,
                 std::optional<std::uint64_t> pushed, std::uint64_t& result);
    bool findBase(const FrameBase& rule, std::uint64_t& base);
    bool findCallersValue(int number, std::uint64_t base, const Registers& callee);
    void enter(bool interrupted);
    void enterInterrupted();

    Registers m_registers;
    MemoryRange m_stack;
    bool m_interrupted = true;
    LoadedObject m_object;

    // What is known about the place `m_place`, where the registers stand.
    std::uintptr_t m_place = 0;
    UnwindEntry m_entry;
    FrameRules m_rules = NO_RULES;
    bool m_described = false;
    bool m_hasRules = false;
    std::optional<Registers> m_beforeSignal; ///< in a trampoline that needs no tables
};

} // namespace gpal::detail

#endif
