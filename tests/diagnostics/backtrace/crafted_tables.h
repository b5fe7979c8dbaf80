/// \file
/// Unwind tables put together by hand.
#ifndef GPAL_TESTS_DIAGNOSTICS_CRAFTED_TABLES_H
#define GPAL_TESTS_DIAGNOSTICS_CRAFTED_TABLES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/unwind_tables/entries.h"

using Bytes = std::vector<std::uint8_t>;

// Any three registers that walks know.
constexpr std::uint8_t ONE = 3;
constexpr std::uint8_t TWO = 6;
constexpr std::uint8_t THREE = 12;

Bytes operator+(Bytes left, const Bytes& right);

/// \p number in \p size bytes, as the processor has them.
Bytes numberIn(std::size_t size, std::uint64_t number);

/// What stands in a common entry, in order.
struct CraftedCommon {
    Bytes id = numberIn(4, 0);
    std::uint8_t version = 1;
    std::string augmentation = "zR";
    Bytes codeFactor{1};
    Bytes dataFactor{0x78}; // -8
    std::uint8_t returnAddress = gpal::detail::RETURN_ADDRESS;
    Bytes augmentationData{1, 0x1B}; // its length; addresses of four bytes
    // The base is the stack pointer plus 8, the return address below it.
    Bytes instructions{0x0C, gpal::detail::STACK_POINTER, 8, 0x80 | gpal::detail::RETURN_ADDRESS,
                       1};

    Bytes contents() const;
};

/// A loaded library whose index and entries are given, with two functions of SIZE bytes side by
/// side. The second has a plain entry.
class CraftedLibrary
{
public:
    static constexpr std::uintptr_t SIZE = 0x20;

    CraftedLibrary() = default;
    CraftedLibrary(const CraftedLibrary&) = default;
    CraftedLibrary& operator=(const CraftedLibrary&) = default;
    ~CraftedLibrary();

    bool hasIndex = true;
    Bytes indexStart{1, 0x1B, 0x03, 0x3B}; // version; how pointer, count and pairs are encoded
    Bytes indexPointer = numberIn(4, 0);
    std::optional<std::uint32_t> count;
    CraftedCommon common;
    Bytes addresses = numberIn(4, 0) + numberIn(4, SIZE); // start and size of the first function
    Bytes augmentationData{0};                            // its length
    Bytes instructions;                                   // of the first function
    std::optional<Bytes> commonLength;
    std::optional<Bytes> entryLength;
    std::optional<std::int32_t> entry; ///< where the index says that the first one is

    /// Lays the library out in memory, which stays where it is until this is called again. From
    /// then on, and as long as this object lives, the loader knows it, in place of any before.
    void load();

    /// Replaces byte \p place of what has been laid out.
    std::uint8_t& byteAt(std::size_t place) { return m_memory[place]; }
    std::size_t tablesSize() const { return m_tablesSize; }

    /// Takes away what lies behind the first \p bytes, of memory too.
    void cutTo(std::size_t bytes);

    gpal::detail::LoadedObject object() const;

    std::uintptr_t begin() const { return reinterpret_cast<std::uintptr_t>(m_memory.data()); }
    std::uintptr_t end() const { return begin() + m_memory.size(); }
    std::uintptr_t function(int number = 0) const
    {
        return begin() + m_tablesSize + static_cast<std::uintptr_t>(number) * SIZE;
    }

private:
    Bytes m_memory;
    std::size_t m_tablesSize = 0;
};

#endif
