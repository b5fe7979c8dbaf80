/// \file
/// Back traces by reading MIPS machine code, as there are no unwind tables on the device. Nothing
/// here needs such a processor: memory and symbols are seen through `MipsProgram`.
#ifndef GPAL_DIAGNOSTICS_MIPS_STACK_WALKER_H
#define GPAL_DIAGNOSTICS_MIPS_STACK_WALKER_H

#include <cstdint>
#include <optional>

namespace gpal::detail
{

using MipsAddress = std::uint32_t;
using MipsWord = std::uint32_t;

/// Addresses of three symbols of the executable; 0 for one that it does not export.
struct MipsLandmarks {
    MipsAddress gp;          ///< `_gp`, where the executable's code has ended
    MipsAddress main;        ///< `main`, where the first thread's stack ends
    MipsAddress threadStart; ///< `__thread_start`, where the other threads' stacks end
};

/// The program whose stack is walked.
class MipsProgram
{
public:
    MipsProgram() = default;
    MipsProgram(const MipsProgram&) = delete;
    MipsProgram& operator=(const MipsProgram&) = delete;

    virtual MipsLandmarks landmarks() const = 0;

    /// The start of the symbol that the loader names for \p address; 0 when it knows none.
    virtual MipsAddress symbolStart(MipsAddress address) const = 0;

    /// The instruction at \p address, a multiple of 4; 0, which is none of interest, where nothing
    /// can be read.
    virtual MipsWord instruction(MipsAddress address) const = 0;

    /// The word at \p address; none when that is no multiple of 4 or not in the thread's
    /// stack, or it can't be read.
    virtual std::optional<MipsWord> stackWord(MipsAddress address) const = 0;

protected:
    ~MipsProgram() = default;
};

/// The start of the function at \p address; 0 when it is no code.
MipsAddress findFunctionStart(const MipsProgram& program, MipsAddress address);

/// Records the frames of the stack from \p pc, \p sp and the return address register \p ra on: at
/// most \p max addresses. Returns how many.
int walkMipsStack(const MipsProgram& program, MipsAddress pc, MipsAddress sp, MipsAddress ra,
                  void** buffer, int max);

} // namespace gpal::detail

#endif
