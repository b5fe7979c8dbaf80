#include "crafted_tables.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>

namespace
{

/// What the loader knows beside its own.
const CraftedLibrary* loaded = nullptr;

/// A record of an entry's \p contents; \p length in place of their real one.
Bytes recordOf(const Bytes& contents, const std::optional<Bytes>& length = {})
{
    return length.value_or(numberIn(4, contents.size())) + contents;
}

} // namespace

/// In place of the C library's, and of that for all others.
extern "C" int _dl_find_object(void* address, dl_find_object* result) noexcept
{
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    if (loaded == nullptr || number < loaded->begin() || number >= loaded->end()) {
        static const auto inner =
            reinterpret_cast<int (*)(void*, dl_find_object*)>(dlsym(RTLD_NEXT, "_dl_find_object"));
        return inner(address, result);
    }
    result->dlfo_map_start = reinterpret_cast<void*>(loaded->begin());
    result->dlfo_map_end = reinterpret_cast<void*>(loaded->end());
    result->dlfo_eh_frame = loaded->hasIndex ? result->dlfo_map_start : nullptr;
    return 0;
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes numberIn(std::size_t size, std::uint64_t number)
{
    Bytes bytes(size);
    std::memcpy(bytes.data(), &number, size); // of processors that begin with the lowest byte
    return bytes;
}

Bytes CraftedCommon::contents() const
{
    Bytes name(augmentation.begin(), augmentation.end());
    return id + Bytes{version} + name + Bytes{0} + codeFactor + dataFactor + Bytes{returnAddress} +
           augmentationData + instructions;
}

void CraftedLibrary::load()
{
    constexpr std::uint32_t PAIRS = 2;
    constexpr std::size_t PAIR = 8;
    const std::size_t commonPlace = indexStart.size() + indexPointer.size() + 4 + PAIRS * PAIR;
    const Bytes commonRecord = recordOf(common.contents(), commonLength);
    const std::size_t firstPlace = commonPlace + commonRecord.size();
    const std::size_t lengthSize = entryLength ? entryLength->size() : 4;
    // An entry names its common one by the distance between the two, from behind its own length.
    const Bytes first = recordOf(numberIn(4, commonRecord.size() + lengthSize) + addresses +
                                     augmentationData + instructions,
                                 entryLength);
    const std::size_t secondPlace = firstPlace + first.size();
    const Bytes second = recordOf(numberIn(4, secondPlace + 4 - commonPlace) + numberIn(4, 0) +
                                  numberIn(4, SIZE) + Bytes{0});
    m_tablesSize = secondPlace + second.size();
    const auto pairOf = [](std::size_t function, std::size_t place) {
        return numberIn(4, function) + numberIn(4, place);
    };
    const auto named = static_cast<std::size_t>(entry.value_or(static_cast<int>(firstPlace)));
    m_memory = indexStart + indexPointer + numberIn(4, count.value_or(PAIRS)) +
               pairOf(m_tablesSize, named) + pairOf(m_tablesSize + SIZE, secondPlace) +
               commonRecord + first + second + Bytes(2 * SIZE);
    m_memory.shrink_to_fit(); // Sanitizers notice who reads on.
    loaded = this;
}

CraftedLibrary::~CraftedLibrary()
{
    if (loaded == this) {
        loaded = nullptr;
    }
}

void CraftedLibrary::cutTo(std::size_t bytes)
{
    m_memory = Bytes(m_memory.begin(), m_memory.begin() + static_cast<std::ptrdiff_t>(bytes));
}

gpal::detail::LoadedObject CraftedLibrary::object() const
{
    return gpal::detail::loadedObjectAt(begin());
}
