#include "diagnostics/thread_stack.h"

#include <algorithm>
#include <cerrno>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "diagnostics/stack_top.h"

namespace gpal::detail
{

namespace
{

constexpr std::uintptr_t WORD = sizeof(std::uintptr_t);

/// Memory is there or not in pieces of this size at least.
constexpr std::uintptr_t PAGE_SIZE = 4096;

constexpr std::uintptr_t startOfPage(std::uintptr_t address)
{
    return address / PAGE_SIZE * PAGE_SIZE;
}

/// The end of the stack that \p address lies on: the description of its thread, or for the first
/// thread the top of all. Above both, and above the stacks of threads that do not tell, it is the
/// end of all memory.
std::uintptr_t stackTopAbove(std::uintptr_t address)
{
    const std::uintptr_t description = threadDescription();
    if (address < description) {
        return description;
    }
    const std::uintptr_t top = firstStackTop();
    return address < top ? top : UINTPTR_MAX;
}

bool onAlternateStack()
{
    stack_t alternate{};
    sigaltstack(nullptr, &alternate);
    return (alternate.ss_flags & SS_ONSTACK) != 0;
}

/// Whether the page that starts at \p address is there to be read.
bool isReadable(std::uintptr_t page)
{
    // The kernel fetches the signal set first, where it answers EFAULT in place of a fault, and
    // only then refuses the order "-1": nothing changes. Every program needs this call, so no
    // kernel, emulator or sandbox lacks it.
    const int errnoBefore = errno;
    syscall(SYS_rt_sigprocmask, -1, page, nullptr, _NSIG / 8);
    const bool fetched = errno == EINVAL;
    errno = errnoBefore;
    return fetched;
}

} // namespace

MemoryRange::MemoryRange(std::uintptr_t low, std::uintptr_t top, std::uintptr_t knownTop)
    : m_low(low), m_top(top / WORD * WORD), m_knownLow(low), m_knownTop(std::min(knownTop, m_top))
{
}

/// Finds out whether \p address can be read, and remembers its page.
bool MemoryRange::reach(std::uintptr_t address)
{
    const std::uintptr_t page = startOfPage(address);
    if (!holds(address) || page == m_missingPage) {
        return false;
    }
    if (!isReadable(page)) {
        m_missingPage = page;
        return false;
    }
    if (page != m_knownTop) {
        m_knownLow = std::max(page, m_low);
    }
    m_knownTop = std::min(page + PAGE_SIZE, m_top);
    return true;
}

MemoryRange stackInUse(std::uintptr_t stackPointer)
{
    // What is in use lies above this very function's frame.
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    const std::uintptr_t top = stackTopAbove(here);
    if (here <= stackPointer && stackPointer < top) {
        return {here, top, startOfPage(here) + PAGE_SIZE};
    }
    if (onAlternateStack()) {
        return {stackPointer, stackTopAbove(stackPointer)};
    }
    return {0, 0};
}

} // namespace gpal::detail
