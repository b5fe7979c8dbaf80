#include "diagnostics/unwind_tables/entries.h"

#include <dlfcn.h>

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

/// One of the pairs that an object's search table consists of: a function's start and its entry,
/// both as distances from the start of the index; sorted by the first.
struct Pair {
    std::int32_t start;
    std::int32_t entry;
};

Pair pairAt(const std::uint8_t* pairs, std::size_t place)
{
    Pair pair{};
    std::memcpy(&pair, pairs + place * sizeof pair, sizeof pair);
    return pair;
}

/// The last pair of \p table, which is not empty, that starts at or before \p distance; the first
/// when all start behind it.
Pair lastUpTo(const ByteReader& table, std::int64_t distance)
{
    const std::uint8_t* pairs = table.position();
    std::size_t before = 0;
    std::size_t behind = static_cast<std::size_t>(table.end() - pairs) / sizeof(Pair);
    while (behind - before > 1) {
        const std::size_t middle = before + (behind - before) / 2;
        if (pairAt(pairs, middle).start > distance) {
            behind = middle;
            continue;
        }
        before = middle;
        if (middle + 1 < behind && pairAt(pairs, middle + 1).start > distance) {
            break;
        }
    }
    return pairAt(pairs, before);
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

/// Reads the data that the letters of \p augmentation announce; returns whether all is known.
bool readAugmentation(ByteReader& reader, const char* augmentation, CommonEntry& common)
{
    common.isAugmented = *augmentation != '\0';
    common.isSignalTrampoline = false;
    common.addressSize = sizeof(std::uintptr_t);
    if (*augmentation != 'z') {
        return !common.isAugmented;
    }
    const std::uint64_t length = reader.readUnsigned();
    ByteReader data = reader;
    reader.skip(length);
    bool known = true;
    for (const char* letter = augmentation + 1; *letter != '\0'; ++letter) {
        if (*letter == 'R') {
            common.addressSize = sizeOf(data.read<std::uint8_t>());
        } else if (*letter == 'S') {
            common.isSignalTrampoline = true;
        } else if (*letter == 'L') {
            data.skip(1);
        } else if (*letter == 'P') {
            const std::uint64_t size = sizeOf(data.read<std::uint8_t>());
            data.skip(size);
            known = size != 0;
        } else if (*letter != 'B' || !SIGNS_RETURN_ADDRESSES) { // B: by the second key
            return false;
        }
    }
    return known && common.addressSize != 0;
}

/// Reads the contents of a common entry; returns whether all is known.
bool readCommonEntry(ByteReader reader, CommonEntry& common)
{
    constexpr std::uint8_t OLD_VERSION = 1;
    constexpr std::uint8_t VERSION = 3;
    const bool isCommon = reader.read<std::uint32_t>() == 0;
    const auto version = reader.read<std::uint8_t>();
    if (!isCommon || (version != OLD_VERSION && version != VERSION)) {
        return false;
    }
    const auto* augmentation = reinterpret_cast<const char*>(reader.position());
    const auto room = static_cast<std::size_t>(reader.end() - reader.position());
    reader.skip(strnlen(augmentation, room) + 1);
    if (reader.atEnd()) {
        return false;
    }
    common.factors.code = reader.readUnsigned();
    common.factors.data = static_cast<std::uint64_t>(reader.readSigned());
    const std::uint64_t returnAddress =
        version == OLD_VERSION ? reader.read<std::uint8_t>() : reader.readUnsigned();
    return returnAddress == RETURN_ADDRESS && readAugmentation(reader, augmentation, common) &&
           applyInstructions(reader, common.factors, 0, NO_RULES, common.rules);
}

} // namespace

LoadedObject loadedObjectAt(std::uintptr_t address)
{
    dl_find_object found{};
    if (_dl_find_object(reinterpret_cast<void*>(address), &found) != 0) {
        return {};
    }
    LoadedObject object;
    object.begin = reinterpret_cast<std::uintptr_t>(found.dlfo_map_start);
    object.end = reinterpret_cast<std::uintptr_t>(found.dlfo_map_end);
    if (found.dlfo_eh_frame != nullptr) {
        object.index = static_cast<const std::uint8_t*>(found.dlfo_eh_frame);
        object.searchTable =
            searchTableIn(object.index, static_cast<const std::uint8_t*>(found.dlfo_map_end));
    }
    return object;
}

ByteReader searchTableIn(const std::uint8_t* index, const std::uint8_t* end)
{
    constexpr std::uint8_t VERSION = 1;
    constexpr std::uint8_t FOUR_BYTES = 0x03;
    constexpr std::uint8_t FROM_SECTION_START = 0x3B;
    ByteReader header(index, end);
    const bool knownVersion = header.read<std::uint8_t>() == VERSION;
    const std::uint64_t pointerSize = sizeOf(header.read<std::uint8_t>());
    const bool knownCount = header.read<std::uint8_t>() == FOUR_BYTES;
    const bool knownTable = header.read<std::uint8_t>() == FROM_SECTION_START;
    header.skip(pointerSize);
    const std::uint64_t size = header.read<std::uint32_t>() * sizeof(Pair);
    const bool fits = size <= static_cast<std::uint64_t>(end - header.position());
    if (!knownVersion || pointerSize == 0 || !knownCount || !knownTable || !fits) {
        return {end, end};
    }
    return {header.position(), header.position() + size};
}

bool findUnwindEntry(const LoadedObject& object, std::uintptr_t address, UnwindEntry& entry)
{
    if (object.searchTable.atEnd()) {
        return false;
    }
    const auto sectionStart = reinterpret_cast<std::uintptr_t>(object.index);
    const Pair pair =
        lastUpTo(object.searchTable, static_cast<std::int64_t>(address - sectionStart));
    ByteReader reader = recordAt(object, object.index + pair.entry);
    const std::uint8_t* position = reader.position();
    position -= reader.read<std::uint32_t>();
    CommonEntry& common = entry.common;
    if (position != common.position) {
        common.rules.copy(NO_RULES);
        common.position = position;
        common.isKnown = readCommonEntry(recordAt(object, position), common);
    }
    if (!common.isKnown) {
        return false;
    }
    entry.functionStart =
        sectionStart + static_cast<std::uintptr_t>(static_cast<std::intptr_t>(pair.start));
    reader.skip(common.addressSize);
    const std::uint64_t size = readSized(reader, common.addressSize);
    if (common.isAugmented) {
        reader.skip(reader.readUnsigned());
    }
    entry.instructions = reader;
    return address - entry.functionStart < size;
}

bool findFrameRules(const UnwindEntry& entry, std::uintptr_t address, FrameRules& rules)
{
    const CommonEntry& common = entry.common;
    rules.copy(common.rules);
    return applyInstructions(entry.instructions, common.factors, address - entry.functionStart,
                             common.rules, rules);
}

} // namespace gpal::detail
