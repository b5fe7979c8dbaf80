/// \file
/// Finds what the compiler wrote down about the frames of a function, in `.eh_frame`.
#ifndef GPAL_DIAGNOSTICS_ENTRIES_H
#define GPAL_DIAGNOSTICS_ENTRIES_H

#include <cstdint>

#include "diagnostics/unwind_tables/byte_reader.h"
#include "diagnostics/unwind_tables/frame_rules.h"

namespace gpal::detail
{

/// A loaded program or library.
struct LoadedObject {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    const std::uint8_t* index = nullptr; ///< its `.eh_frame_hdr`; null when it has none
    ByteReader searchTable{nullptr, nullptr};

    bool holds(std::uintptr_t address) const { return address >= begin && address < end; }
};

/// The object at \p address; one that holds nothing when there is none. Takes no lock.
LoadedObject loadedObjectAt(std::uintptr_t address);

/// The search table in \p index, which ends before \p end; empty when it is none in the usual form.
ByteReader searchTableIn(const std::uint8_t* index, const std::uint8_t* end);

/// What the entries of many functions have in common.
struct CommonEntry {
    const std::uint8_t* position = nullptr;
    bool isKnown = false; ///< in a form that compilers for this processor write
    bool isAugmented = false;
    bool isSignalTrampoline = false;
    std::uint64_t addressSize = 0;
    Factors factors;
    FrameRules rules = NO_RULES; ///< at the start of a function
};

/// What is known about the frames of one function.
struct UnwindEntry {
    CommonEntry common;
    std::uintptr_t functionStart = 0;
    ByteReader instructions{nullptr, nullptr};
};

/// Finds the entry for the function at \p address in \p object. Returns false when it has none, or
/// one in a format that compilers for this processor do not write. The common part that was left in
/// \p entry by the last search, in whichever object of this walk, is not read again.
bool findUnwindEntry(const LoadedObject& object, std::uintptr_t address, UnwindEntry& entry);

/// Finds the rules at \p address in the function of \p entry. Returns false when they are in a form
/// that compilers for this processor do not write.
bool findFrameRules(const UnwindEntry& entry, std::uintptr_t address, FrameRules& rules);

} // namespace gpal::detail

#endif
