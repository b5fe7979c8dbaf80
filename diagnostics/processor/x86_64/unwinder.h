/// \file
/// Steps from a function to its caller by the unwind tables of x86-64.
#ifndef GPAL_DIAGNOSTICS_X86_64_UNWINDER_H
#define GPAL_DIAGNOSTICS_X86_64_UNWINDER_H

#include <optional>
#include <ucontext.h>

#include "diagnostics/processor/x86_64/frame_rules.h"
#include "diagnostics/processor/x86_64/registers.h"
#include "diagnostics/processor/x86_64/unwind_tables.h"
#include "diagnostics/thread_stack.h"

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

    /// Whether the program counter is in a loaded program or library.
    bool isInCode() const { return m_object.holds(lookUpAddress()); }

    /// Whether the frame's function stands where it was interrupted, not in a call.
    bool isInterrupted() const { return m_interrupted; }

    /// The interrupted instruction, or an address inside the calling instruction.
    std::uintptr_t place() const;

    /// Whether there is an entry about the frame's function in the unwind tables.
    bool isDescribed() const { return m_described; }

    const Registers& registers() const { return m_registers; }

    Step step();

    /// Steps to the caller of a function that has done nothing yet: the return address is on top of
    /// the stack. Returns whether there is a word to be believed.
    bool stepFromFirstInstruction();

private:
    std::uintptr_t lookUpAddress() const { return m_registers.value[PC] - (m_interrupted ? 0 : 1); }
    bool isTrampoline() const { return m_described && m_entry.common.isSignalTrampoline; }
    bool stepByRules();
    bool compute(const std::uint8_t* expression, const Registers& registers,
                 std::optional<std::uint64_t> pushed, std::uint64_t& result);
    bool findBase(const FrameBase& rule, std::uint64_t& base);
    bool findCallersValue(const RegisterRule& rule, std::uint64_t base, const Registers& callee,
                          std::uint64_t& value);
    void lookUp();

    Registers m_registers;
    MemoryRange m_stack;
    bool m_interrupted = true;
    LoadedObject m_object;

    // What is known about the place `m_place`.
    std::uintptr_t m_place = 0;
    UnwindEntry m_entry;
    FrameRules m_rules;
    bool m_described = false;
    bool m_hasRules = false;
};

/// The registers in a signal's context.
Registers registersIn(const ucontext_t& context);

} // namespace gpal::detail

#endif
