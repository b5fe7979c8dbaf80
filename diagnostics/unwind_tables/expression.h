/// \file
/// The small programs by which unwind tables describe unusual frames: of stubs that call another
/// library, and of functions that align their stack.
#ifndef GPAL_DIAGNOSTICS_EXPRESSION_H
#define GPAL_DIAGNOSTICS_EXPRESSION_H

#include <optional>

#include "diagnostics/thread_stack.h"
#include "registers.h"

namespace gpal::detail
{

/// The result of \p expression, which starts with its length, for a frame with these registers.
/// \p pushed is on the expression's stack at its start, unless none. None when the expression does
/// what compilers for this processor do not write, or reads what is not in \p stack.
std::optional<std::uint64_t> evaluate(const std::uint8_t* expression, const Registers& registers,
                                      MemoryRange& stack, std::optional<std::uint64_t> pushed);

} // namespace gpal::detail

#endif
