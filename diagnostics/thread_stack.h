/// \file
/// Which memory a walk may read: the calling thread's stack, and nothing that is not there.
#ifndef GPAL_DIAGNOSTICS_THREAD_STACK_H
#define GPAL_DIAGNOSTICS_THREAD_STACK_H

#include <cstdint>

namespace gpal::detail
{

/// A range of addresses, of which only those are read that have proved to be readable: the kernel
/// is asked once for each page on the way.
class MemoryRange
{
public:
    /// From \p low up to, not including, \p top; up to \p knownTop all is known to be readable.
    MemoryRange(std::uintptr_t low, std::uintptr_t top, std::uintptr_t knownTop = 0);

    /// Whether \p address lies in the range; it need not be readable.
    bool holds(std::uintptr_t address) const { return address >= m_low && address < m_top; }

    /// Reads the word at \p address. Returns false, with \p word as it was, when the address is no
    /// multiple of a word's size, not in the range or not readable. What AddressSanitizer has
    /// fenced off in a frame is read like the rest.
    __attribute__((no_sanitize("address", "thread"))) bool read(std::uintptr_t address,
                                                                std::uintptr_t& word)
    {
        const bool known = address >= m_knownLow && address < m_knownTop;
        if (address % sizeof address != 0 || (!known && !reach(address))) {
            return false;
        }
        word = *reinterpret_cast<const std::uintptr_t*>(address);
        return true;
    }

private:
    bool reach(std::uintptr_t address);

    std::uintptr_t m_low;
    std::uintptr_t m_top;
    std::uintptr_t m_knownLow; ///< from here to `m_knownTop` all is readable
    std::uintptr_t m_knownTop;
    std::uintptr_t m_missingPage = UINTPTR_MAX; ///< the last that was not readable
};

/// The part of the calling thread's stack that is in use and that \p stackPointer points into; an
/// empty range when it points elsewhere. On an alternate stack, where nothing tells how far down
/// the thread's own stack goes, that is any address below its top. May be called in signal
/// handlers.
MemoryRange stackInUse(std::uintptr_t stackPointer);

} // namespace gpal::detail

#endif
