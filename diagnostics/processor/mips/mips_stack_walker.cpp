#include "diagnostics/processor/mips/mips_stack_walker.h"

#include "diagnostics/processor/mips/mips_instructions.h"
#include "diagnostics/stack_walker.h"

namespace gpal::detail
{

namespace
{

constexpr MipsAddress WORD = 4;
constexpr MipsAddress PAGE = 4096;

/// What a function's first instructions tell about its frame; 0 for what they don't.
struct Prologue {
    std::uint32_t frameSize = 0;
    std::optional<MipsAddress> raSlot;
};

/// The function that a program counter stands in, as far as the program counter and a little
/// beyond.
class Function
{
public:
    Function(const MipsProgram& program, MipsAddress start, MipsAddress pc)
        : m_program(program), m_start(start), m_pc(pc)
    {
    }

    MipsAddress stackAdjustedAfterSystemCall(MipsAddress sp) const;
    MipsAddress firstInstructionOfTopFrame() const;
    MipsAddress firstInstruction() const;
    Prologue prologue(MipsAddress first, MipsAddress sp) const;

private:
    MipsWord word(MipsAddress address) const { return m_program.instruction(address); }
    bool isSystemCall(MipsAddress address) const { return SYSTEM_CALL.matches(word(address)); }
    bool endsPreviousFunction(MipsAddress firstReturn) const;
    MipsAddress afterScan(MipsAddress ended) const;

    const MipsProgram& m_program;
    MipsAddress m_start;
    MipsAddress m_pc;
};

/// The stack pointer of the caller-to-be: wrappers of system calls give their room back right
/// behind the system call, so a thread that stands there has not done it yet.
MipsAddress Function::stackAdjustedAfterSystemCall(MipsAddress sp) const
{
    MipsAddress call = isSystemCall(m_pc - WORD) ? m_pc - WORD : m_pc;
    if (isSystemCall(call + WORD)) {
        call += WORD;
    }
    const MipsWord next = isSystemCall(call) ? word(call + WORD) : 0;
    return ADJUST_STACK.matches(next) ? sp + immediateOf(next) : sp;
}

/// Whether the return at \p firstReturn is the last instruction but one of a function that lies
/// before the program counter: then another function follows, with a return of its own, and no
/// branch leads from there back over the first return.
bool Function::endsPreviousFunction(MipsAddress firstReturn) const
{
    const MipsAddress pageEnd = (firstReturn / PAGE + 1) * PAGE;
    for (MipsAddress address = firstReturn + 2 * WORD; address < pageEnd; address += WORD) {
        const MipsWord instruction = word(address);
        if (RETURN.matches(instruction)) {
            return true;
        }
        if (BRANCH.matches(instruction) &&
            address + WORD * immediateOf(instruction) < firstReturn) {
            return false;
        }
    }
    return false;
}

/// The first instruction of a function when a scan backwards has come to \p ended: behind a return
/// and its delay slot, and behind the zero words that functions are aligned with.
MipsAddress Function::afterScan(MipsAddress ended) const
{
    MipsAddress first = ended;
    if (RETURN.matches(word(first))) {
        first += 2 * WORD;
    }
    while (first < m_pc && word(first) == 0) {
        first += WORD;
    }
    return first;
}

/// The top frame may stand in a function that the loader does not know, behind the one that it
/// names.
MipsAddress Function::firstInstructionOfTopFrame() const
{
    bool callsOrSavesRa = false;
    for (MipsAddress address = m_pc; address > m_start; address -= WORD) {
        const MipsWord instruction = word(address);
        if (LOAD_GP.matches(instruction)) {
            return afterScan(address);
        }
        if (CALL_REGISTER.matches(instruction) || SAVE_RA.matches(instruction)) {
            callsOrSavesRa = true;
        }
        if (RETURN.matches(instruction) && !callsOrSavesRa && endsPreviousFunction(address)) {
            return afterScan(address);
        }
    }
    return afterScan(m_start);
}

MipsAddress Function::firstInstruction() const
{
    for (MipsAddress address = m_pc; address > m_start; address -= WORD) {
        if (LOAD_GP.matches(word(address))) {
            return address;
        }
    }
    return m_start;
}

/// Reads the function from \p first on, as far as it has been executed.
Prologue Function::prologue(MipsAddress first, MipsAddress sp) const
{
    Prologue found;
    if (first >= m_pc || !LOAD_GP.matches(word(first))) {
        return found;
    }
    MipsAddress address = first;
    while (address < m_pc && !ALLOCATE_FRAME.matches(word(address))) {
        address += WORD;
    }
    if (address < m_pc) {
        found.frameSize = 0 - immediateOf(word(address));
    }
    while (address < m_pc && !SAVE_RA.matches(word(address))) {
        address += WORD;
    }
    if (address < m_pc) {
        found.raSlot = sp + immediateOf(word(address));
    }
    return found;
}

} // namespace

MipsAddress findFunctionStart(const MipsProgram& program, MipsAddress address)
{
    constexpr MipsAddress CODE_BEGIN = 0x400000;
    constexpr MipsAddress DATA_END = 0x1FFFFFFF;
    constexpr MipsAddress LIBRARIES_END = 0x30000000;
    if (address % WORD != 0 || address < CODE_BEGIN || address > LIBRARIES_END) {
        return 0;
    }
    if (address > program.landmarks().gp && address <= DATA_END) {
        return 0;
    }
    return program.symbolStart(address);
}

int walkMipsStack(const MipsProgram& program, MipsAddress pc, MipsAddress sp, MipsAddress ra,
                  void** buffer, int max)
{
    const MipsLandmarks landmarks = program.landmarks();
    const auto record = [buffer](int place, unsigned long address) {
        buffer[place] = reinterpret_cast<void*>(address);
    };
    int count = 0;
    MipsAddress previous = 0;
    if (max > 0 && findFunctionStart(program, pc) == 0) {
        record(0, pc == 0 ? NULL_CALLED : pc);
        count = 1;
        // Deliberately plus, where every other step has minus: the entry is part of the interface.
        pc = ra + 2 * WORD;
    }
    while (count < max) {
        const MipsAddress start = findFunctionStart(program, pc);
        if (start == 0) {
            break;
        }
        const Function function(program, start, pc);
        const bool top = count == 0;
        if (top) {
            sp = function.stackAdjustedAfterSystemCall(sp);
        }
        const MipsAddress first =
            top ? function.firstInstructionOfTopFrame() : function.firstInstruction();
        const Prologue prologue = function.prologue(first, sp);
        record(count, pc);
        ++count;
        if (prologue.raSlot) { // which is looked for only where there is a frame
            const std::optional<MipsWord> saved = program.stackWord(*prologue.raSlot);
            if (!saved) {
                break;
            }
            ra = *saved;
            sp += prologue.frameSize;
        }
        const bool noFrameFurtherDown = prologue.frameSize == 0 && count >= 2;
        if (start == landmarks.main || start == landmarks.threadStart || ra == 0 ||
            noFrameFurtherDown) {
            break;
        }
        pc = ra - 2 * WORD;
        if (pc == previous) {
            break;
        }
        previous = pc;
    }
    return count;
}

} // namespace gpal::detail
