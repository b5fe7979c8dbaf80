/// \file
/// Finds what the compiler wrote down about the frames of a function.
#ifndef GPAL_DIAGNOSTICS_X86_64_UNWIND_TABLES_H
#define GPAL_DIAGNOSTICS_X86_64_UNWIND_TABLES_H

#include <cstdint>
#include <optional>

#include "diagnostics/processor/x86_64/byte_reader.h"

namespace gpal::detail
{

/// A loaded program or library.
struct LoadedObject {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    const std::uint8_t* index = nullptr; ///< its `.eh_frame_hdr`; null when it has none

    bool holds(std::uintptr_t address) const { return address >= begin && address < end; }
};

/// A number by which \p object differs from others, those that were loaded at the same place at
/// other times included.
std::uint64_t identityOf(const LoadedObject& object);

/// The object at \p address; one that holds nothing when there is none. Takes no lock.
LoadedObject loadedObjectAt(std::uintptr_t address);

/// What is known about the frames of one function.
struct UnwindEntry {
    std::uintptr_t functionStart;
    bool isSignalTrampoline;
    std::uint64_t codeAlignment;
    std::int64_t dataAlignment;
    ByteReader initialInstructions; ///< the same for many functions
    ByteReader instructions;
};

/// The entry for the function at \p address in \p object; none when it has none, or one in a format
/// that compilers for this processor do not write.
std::optional<UnwindEntry> findUnwindEntry(const LoadedObject& object, std::uintptr_t address);

} // namespace gpal::detail

#endif
