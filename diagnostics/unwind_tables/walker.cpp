#include "diagnostics/stack_walker.h"

#include <algorithm>
#include <sys/auxv.h>

#include "diagnostics/unwind_tables/unwinder.h"
#include "here.h"

namespace gpal::detail
{

namespace
{

/// The C library's frames above `main` are at most three: the program's entry and two functions
/// that call each other. Above a thread's start routine there are two.
constexpr int ABOVE_MAIN = 3;
constexpr int ABOVE_THREAD_START = 2;

/// Where the C library is loaded.
std::uintptr_t cLibrary()
{
    return loadedObjectAt(reinterpret_cast<std::uintptr_t>(&getauxval)).begin;
}

/// The frames found on a walk: those that the caller has room for, and a few beyond, by which the
/// walk sees whether the end is near.
class Frames
{
public:
    Frames(void** buffer, int max) : m_buffer(buffer), m_max(max) {}

    bool hasRoom() const { return m_count - ABOVE_MAIN < m_max; }

    void add(std::uintptr_t address)
    {
        placeOf(m_count) = reinterpret_cast<void*>(address);
        ++m_count;
    }

    /// Takes away the outermost frames that are the C library's; \p fromProgramEntry says where
    /// they come from.
    void removeBeyondEnd(bool fromProgramEntry);

    /// How many frames the caller gets.
    int count() const { return std::min(m_count, m_max); }

private:
    void*& placeOf(int frame) { return frame < m_max ? m_buffer[frame] : m_beyond[frame - m_max]; }

    std::uintptr_t objectOf(int frame)
    {
        return loadedObjectAt(reinterpret_cast<std::uintptr_t>(placeOf(frame))).begin;
    }

    void** m_buffer;
    int m_max;
    int m_count = 0;
    void* m_beyond[ABOVE_MAIN] = {};
};

void Frames::removeBeyondEnd(bool fromProgramEntry)
{
    const std::uintptr_t outermost = objectOf(m_count - 1);
    if (!fromProgramEntry && outermost != cLibrary()) {
        return; // the client began this stack
    }
    const int most = fromProgramEntry ? ABOVE_MAIN : ABOVE_THREAD_START;
    // The entry is the program's and the rest the C library's; a thread's frames are both its own.
    for (int removed = 0; removed < most && m_count > 1; ++removed) {
        const bool isOutermostsOwn = objectOf(m_count - 1) == outermost;
        // GCOVR_EXCL_START: C libraries differ in how many frames there are; this one has the most
        if (removed > 0 && isOutermostsOwn == fromProgramEntry) {
            break;
        }
        // GCOVR_EXCL_STOP
        --m_count;
        placeOf(m_count) = nullptr;
    }
}

int walk(const Registers& start, void** buffer, int max)
{
    Unwinder unwinder(start);
    Frames frames(buffer, max);
    while (frames.hasRoom()) {
        if (!unwinder.isInCode()) {
            const std::uintptr_t pc = unwinder.place();
            if (!unwinder.isInterrupted()) {
                break;
            }
            frames.add(pc == 0 ? NULL_CALLED : pc);
            if (!unwinder.stepFromFirstInstruction()) {
                break;
            }
            continue;
        }
        frames.add(unwinder.place());
        const bool interrupted = unwinder.isInterrupted();
        const bool described = unwinder.isDescribed();
        const Unwinder::Step step = unwinder.step();
        if (step == Unwinder::Step::OUTERMOST || step == Unwinder::Step::PROGRAM_ENTRY) {
            frames.removeBeyondEnd(step == Unwinder::Step::PROGRAM_ENTRY);
            break;
        }
        if (step == Unwinder::Step::LOST &&
            !(interrupted && !described && unwinder.stepFromFirstInstruction())) {
            break;
        }
    }
    return frames.count();
}

/// The registers of the function that the stack pointer \p sp belongs to, as they were when it made
/// its last call; all 0 when there is none.
Registers registersAround(std::uint64_t sp)
{
    // What a signal interrupted may be anywhere, so a spoilt stack can lead round in circles there.
    constexpr int MOST_SIGNALS = 64;
    const Here start = here();
    Unwinder unwinder(start.registers);
    Registers function = unwinder.registers();
    int signals = 0;
    while (sp >= function.value[STACK_POINTER] && signals < MOST_SIGNALS &&
           unwinder.step() == Unwinder::Step::CALLER) {
        if (unwinder.registers().value[STACK_POINTER] > sp) {
            return function;
        }
        function = unwinder.registers();
        signals += unwinder.isInterrupted() ? 1 : 0;
    }
    return Registers{};
}

} // namespace

int walkFromHere(const Here& here, void** buffer, int max)
{
    return walk(here.registers, buffer, max);
}

int walkFrom(unsigned long pc, unsigned long sp, void** buffer, int max)
{
    Registers start = registersAround(sp);
    start.value[PC] = pc;
    start.value[STACK_POINTER] = sp;
    return walk(start, buffer, max);
}

int walkFromContext(ucontext_t& context, int /*signal*/, void** buffer, int max)
{
    return walk(registersIn(context), buffer, max);
}

} // namespace gpal::detail
