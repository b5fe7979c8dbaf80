#include "diagnostics/processor/x86_64/unwind_tables.h"

#include <dlfcn.h>

#include "diagnostics/processor/x86_64/registers.h"

namespace gpal::detail
{

namespace
{

constexpr std::uint8_t FORMAT_MASK = 0x0F;

/// Size of a number in one of the formats of fixed size; 0 for any other format.
std::uint64_t sizeOf(std::uint8_t encoding)
{
    switch (encoding & FORMAT_MASK) {
    case 0x02:
    case 0x0A:
        return 2;
    case 0x03:
    case 0x0B:
        return 4;
    case 0x00:
    case 0x04:
    case 0x0C:
        return 8;
    default:
        return 0;
    }
}

std::uint64_t readSized(ByteReader& reader, std::uint64_t size)
{
    switch (size) {
    case 2:
        return reader.read<std::uint16_t>();
    case 4:
        return reader.read<std::uint32_t>();
    default:
        return reader.read<std::uint64_t>();
    }
}

/// The binary search table of an object: pairs of a function's start and its entry, both as
/// distances from the start of the table's section, sorted by the first.
struct SearchTable {
    struct Pair {
        std::int32_t start;
        std::int32_t entry;
    };

    const std::uint8_t* pairs = nullptr;
    std::uint32_t count = 0;

    Pair at(std::uint32_t place) const
    {
        Pair pair{};
        std::memcpy(&pair, pairs + sizeof pair * place, sizeof pair);
        return pair;
    }
};

SearchTable searchTableOf(const LoadedObject& object)
{
    constexpr std::uint8_t VERSION = 1;
    constexpr std::uint8_t FOUR_BYTES = 0x03;
    constexpr std::uint8_t FROM_SECTION_START = 0x3B;
    if (object.index == nullptr) {
        return {};
    }
    const auto* end = reinterpret_cast<const std::uint8_t*>(object.end);
    ByteReader header(object.index, end);
    const bool knownVersion = header.read<std::uint8_t>() == VERSION;
    const std::uint64_t pointerSize = sizeOf(header.read<std::uint8_t>());
    const bool knownCount = header.read<std::uint8_t>() == FOUR_BYTES;
    const bool knownTable = header.read<std::uint8_t>() == FROM_SECTION_START;
    if (!knownVersion || pointerSize == 0 || !knownCount || !knownTable) {
        return {};
    }
    header.skip(pointerSize);
    const auto count = header.read<std::uint32_t>();
    const auto room = static_cast<std::uint64_t>(end - header.position());
    return room / sizeof(SearchTable::Pair) < count ? SearchTable{}
                                                    : SearchTable{header.position(), count};
}

/// The last pair that starts at or before \p distance; none when all start behind it.
std::optional<SearchTable::Pair> lastUpTo(const SearchTable& table, std::int64_t distance)
{
    std::uint32_t before = 0;
    std::uint32_t behind = table.count;
    while (before < behind) {
        const std::uint32_t middle = before + (behind - before) / 2;
        if (table.at(middle).start <= distance) {
            before = middle + 1;
        } else {
            behind = middle;
        }
    }
    if (before == 0) {
        return std::nullopt;
    }
    return table.at(before - 1);
}

/// The contents of the record at \p position: what follows its length. Empty when it is none.
ByteReader recordAt(const LoadedObject& object, const std::uint8_t* position)
{
    constexpr std::uint32_t LONG_FORMAT = 0xFFFFFFFF;
    const auto* end = reinterpret_cast<const std::uint8_t*>(object.end);
    if (!object.holds(reinterpret_cast<std::uintptr_t>(position))) {
        return {end, end};
    }
    ByteReader reader(position, end);
    const auto length = reader.read<std::uint32_t>();
    if (length == LONG_FORMAT || length > static_cast<std::uint64_t>(end - reader.position())) {
        return {end, end};
    }
    return {reader.position(), reader.position() + length};
}

/// What many functions have in common.
struct CommonEntry {
    std::uint64_t codeAlignment = 0;
    std::int64_t dataAlignment = 0;
    std::uint64_t addressSize = 8;
    bool isAugmented = false;
    bool isSignalTrampoline = false;
    ByteReader instructions{nullptr, nullptr};
};

/// Reads the data that the letters of \p augmentation announce; returns whether all is known.
bool readAugmentation(ByteReader& reader, const char* augmentation, CommonEntry& common)
{
    if (*augmentation == '\0') {
        return true;
    }
    if (*augmentation != 'z') {
        return false;
    }
    common.isAugmented = true;
    const std::uint64_t length = reader.readUnsigned();
    ByteReader data = reader;
    reader.skip(length);
    for (const char* letter = augmentation + 1; *letter != '\0'; ++letter) {
        if (*letter == 'R') {
            common.addressSize = sizeOf(data.read<std::uint8_t>());
        } else if (*letter == 'S') {
            common.isSignalTrampoline = true;
        } else if (*letter == 'L') {
            data.skip(1);
        } else if (*letter == 'P') {
            data.skip(sizeOf(data.read<std::uint8_t>()));
        } else {
            return false;
        }
    }
    return common.addressSize != 0;
}

std::optional<CommonEntry> readCommonEntry(ByteReader reader)
{
    constexpr std::uint8_t OLD_VERSION = 1;
    constexpr std::uint8_t VERSION = 3;
    CommonEntry common;
    const bool isCommon = reader.read<std::uint32_t>() == 0;
    const auto version = reader.read<std::uint8_t>();
    if (!isCommon || (version != OLD_VERSION && version != VERSION)) {
        return std::nullopt;
    }
    const auto* augmentation = reinterpret_cast<const char*>(reader.position());
    const auto room = static_cast<std::size_t>(reader.end() - reader.position());
    reader.skip(strnlen(augmentation, room) + 1);
    if (reader.atEnd()) {
        return std::nullopt;
    }
    common.codeAlignment = reader.readUnsigned();
    common.dataAlignment = reader.readSigned();
    const std::uint64_t returnAddress =
        version == OLD_VERSION ? reader.read<std::uint8_t>() : reader.readUnsigned();
    if (returnAddress != PC || !readAugmentation(reader, augmentation, common)) {
        return std::nullopt;
    }
    common.instructions = reader;
    return common;
}

} // namespace

LoadedObject loadedObjectAt(std::uintptr_t address)
{
    dl_find_object found{};
    if (_dl_find_object(reinterpret_cast<void*>(address), &found) != 0) {
        return {};
    }
    return {reinterpret_cast<std::uintptr_t>(found.dlfo_map_start),
            reinterpret_cast<std::uintptr_t>(found.dlfo_map_end),
            static_cast<const std::uint8_t*>(found.dlfo_eh_frame)};
}

std::uint64_t identityOf(const LoadedObject& object)
{
    constexpr std::uint64_t FACTOR = 0x100000001B3;
    std::uint64_t identity = object.begin;
    const auto mix = [&identity](std::uint64_t number) { identity = (identity ^ number) * FACTOR; };
    mix(object.end);
    mix(reinterpret_cast<std::uintptr_t>(object.index));
    if (object.index != nullptr) {
        ByteReader reader(object.index, reinterpret_cast<const std::uint8_t*>(object.end));
        constexpr int NUMBERS = 4; // the header, the number of functions, the first of them
        for (int i = 0; i < NUMBERS; ++i) {
            mix(reader.read<std::uint64_t>());
        }
    }
    return identity;
}

std::optional<UnwindEntry> findUnwindEntry(const LoadedObject& object, std::uintptr_t address)
{
    const auto sectionStart = reinterpret_cast<std::uintptr_t>(object.index);
    const auto pair =
        lastUpTo(searchTableOf(object), static_cast<std::int64_t>(address - sectionStart));
    if (!pair) {
        return std::nullopt;
    }
    ByteReader reader = recordAt(object, object.index + pair->entry);
    const std::uint8_t* distanceField = reader.position();
    const auto distance = reader.read<std::uint32_t>();
    const auto common = readCommonEntry(recordAt(object, distanceField - distance));
    if (!common) {
        return std::nullopt;
    }
    const std::uintptr_t start =
        sectionStart + static_cast<std::uintptr_t>(static_cast<std::intptr_t>(pair->start));
    reader.skip(common->addressSize);
    const std::uint64_t size = readSized(reader, common->addressSize);
    if (address - start >= size) {
        return std::nullopt;
    }
    if (common->isAugmented) {
        reader.skip(reader.readUnsigned());
    }
    return UnwindEntry{start,
                       common->isSignalTrampoline,
                       common->codeAlignment,
                       common->dataAlignment,
                       common->instructions,
                       reader};
}

} // namespace gpal::detail
