// Any processor without a walker of its own: the runtime's unwinder walks the calling thread's
// stack. It may allocate when it is used for the first time, and its walk starts from its caller:
// from a signal's context it starts at the frame that is marked as interrupted. It reads whatever a
// stack pointer leads it to, so it is only let go on from one that lies on the stack.
#include "diagnostics/stack_walker.h"

#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <unwind.h>

#include "diagnostics/thread_stack.h"
#include "here.h"

namespace gpal::detail
{

namespace
{

std::uintptr_t lookUpMain()
{
    const auto found = reinterpret_cast<std::uintptr_t>(dlsym(RTLD_DEFAULT, "main"));
    dlerror(); // A failure is no business of whoever asks for the loader's last error next.
    return found;
}

const std::uintptr_t MAIN = lookUpMain();

/// Which frames of the own stack are wanted.
enum class From { CALLER, SIGNAL, STACK_POINTER };

struct Walk {
    From from;
    std::uintptr_t sp;
    void** buffer;
    int max;
    int count;
    bool started;
};

bool startsHere(const Walk& walk, _Unwind_Context* frame, bool interrupted)
{
    switch (walk.from) {
    case From::CALLER:
        return true;
    case From::SIGNAL:
        return interrupted;
    default:
        return _Unwind_GetCFA(frame) > walk.sp;
    }
}

/// Whether the stack at \p sp can be read, as far as frames usually reach.
bool isStack(std::uintptr_t sp)
{
    constexpr std::uintptr_t STEP = 4096;
    constexpr std::uintptr_t FAR = 16 * STEP;
    MemoryRange stack = stackInUse(sp);
    std::uintptr_t word = 0;
    bool readable = stack.holds(sp);
    for (std::uintptr_t way = 0; readable && way < FAR && stack.holds(sp + way); way += STEP) {
        readable = stack.read(sp + way, word);
    }
    return readable;
}

_Unwind_Reason_Code visit(_Unwind_Context* frame, void* argument)
{
    Walk& walk = *static_cast<Walk*>(argument);
    int interrupted = 0;
    const std::uintptr_t pc = _Unwind_GetIPInfo(frame, &interrupted);
    walk.started = walk.started || startsHere(walk, frame, interrupted != 0);
    if (!walk.started) {
        return _URC_NO_REASON;
    }
    if (walk.count == walk.max) {
        return _URC_END_OF_STACK;
    }
    const std::uintptr_t place = pc == 0 ? NULL_CALLED : pc - (interrupted != 0 ? 0 : 1);
    walk.buffer[walk.count++] = reinterpret_cast<void*>(place);
    if (interrupted != 0 && !isStack(_Unwind_GetCFA(frame))) {
        return _URC_END_OF_STACK;
    }
    const bool inMain = MAIN != 0 && _Unwind_GetRegionStart(frame) == MAIN;
    return inMain ? _URC_END_OF_STACK : _URC_NO_REASON;
}

} // namespace

// The first frame that the unwinder shows is this function's own.
__attribute__((noinline)) int walkFromHere(const Here& /*here*/, void** buffer, int max)
{
    Walk walk{From::CALLER, 0, buffer, max, 0, false};
    _Unwind_Backtrace(
        [](_Unwind_Context* frame, void* argument) {
            Walk& ofCaller = *static_cast<Walk*>(argument);
            if (!ofCaller.started) {
                ofCaller.started = true;
                return _URC_NO_REASON;
            }
            return visit(frame, argument);
        },
        &walk);
    return walk.count;
}

int walkFrom(unsigned long pc, unsigned long sp, void** buffer, int max)
{
    buffer[0] = reinterpret_cast<void*>(pc == 0 ? NULL_CALLED : pc);
    Walk walk{From::STACK_POINTER, sp, buffer, max, 1, false};
    if (stackInUse(sp).holds(sp)) {
        _Unwind_Backtrace(visit, &walk);
    }
    return walk.count;
}

int walkFromContext(ucontext_t& /*context*/, int /*signal*/, void** buffer, int max)
{
    Walk walk{From::SIGNAL, 0, buffer, max, 0, false};
    _Unwind_Backtrace(visit, &walk);
    return walk.count;
}

void describeRegisters(const ucontext_t& /*context*/, int /*signal*/, char* text, std::size_t size)
{
    std::snprintf(text, size, "registers of this processor are not known here\n");
}

} // namespace gpal::detail
