/// \file
/// Reads the stack.
#ifndef GPAL_DIAGNOSTICS_X86_64_STACK_WORD_H
#define GPAL_DIAGNOSTICS_X86_64_STACK_WORD_H

#include <cstdint>
#include <optional>

#include "diagnostics/thread_stack.h"

namespace gpal::detail
{

/// The word at \p address; none when it is not in \p stack. What AddressSanitizer has fenced off in
/// a frame is read like the rest.
__attribute__((no_sanitize("address", "thread"))) inline std::optional<std::uint64_t>
stackWord(const StackRange& stack, std::uint64_t address)
{
    if (!stack.holdsWord(address, sizeof(std::uint64_t))) {
        return std::nullopt;
    }
    return *reinterpret_cast<const std::uint64_t*>(address);
}

} // namespace gpal::detail

#endif
