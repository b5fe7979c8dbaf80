// Unwind tables as libraries hold them, put together by hand: what of them is found and believed.
#include <gtest/gtest.h>

#include "crafted_tables.h"

using namespace gpal::detail;

namespace
{

/// The entry for \p offset in the first function of \p library; none when none is found.
std::optional<UnwindEntry> entryOf(CraftedLibrary library, std::uintptr_t offset = 0)
{
    library.load();
    UnwindEntry entry;
    const bool found = findUnwindEntry(library.object(), library.function() + offset, entry);
    return found ? std::optional<UnwindEntry>(entry) : std::nullopt;
}

bool isFound(const CraftedLibrary& library)
{
    return entryOf(library).has_value();
}

CraftedLibrary libraryWith(CraftedCommon common)
{
    CraftedLibrary library;
    library.common = std::move(common);
    return library;
}

/// One whose common entries have this augmentation.
CraftedLibrary augmented(const std::string& augmentation, const Bytes& data)
{
    CraftedCommon common;
    common.augmentation = augmentation;
    common.augmentationData = data;
    return libraryWith(common);
}

/// One whose addresses are encoded so, in \p size bytes.
CraftedLibrary encoded(std::uint8_t encoding, std::size_t size)
{
    CraftedLibrary library = augmented("zR", {1, encoding});
    library.addresses = numberIn(size, 0) + numberIn(size, CraftedLibrary::SIZE / 2);
    return library;
}

} // namespace

TEST(UnwindEntries, areFoundForEveryAddressInTheirFunction)
{
    CraftedLibrary library;
    library.load();
    const LoadedObject object = library.object();
    UnwindEntry entry;
    EXPECT_FALSE(findUnwindEntry(object, library.function() - 1, entry));
    for (const int number : {0, 1}) {
        const std::uintptr_t start = library.function(number);
        for (const std::uintptr_t address : {start, start + CraftedLibrary::SIZE - 1}) {
            ASSERT_TRUE(findUnwindEntry(object, address, entry));
            EXPECT_EQ(start, entry.functionStart);
        }
    }
    EXPECT_FALSE(findUnwindEntry(object, library.end(), entry));
}

TEST(UnwindEntries, areNotFoundBetweenFunctions)
{
    CraftedLibrary library;
    library.addresses = numberIn(4, 0) + numberIn(4, CraftedLibrary::SIZE / 2);
    EXPECT_TRUE(entryOf(library, CraftedLibrary::SIZE / 2 - 1));
    EXPECT_FALSE(entryOf(library, CraftedLibrary::SIZE / 2));
}

TEST(UnwindEntries, areNoneWithoutIndex)
{
    CraftedLibrary library;
    library.hasIndex = false;
    EXPECT_FALSE(isFound(library));
    UnwindEntry entry;
    EXPECT_FALSE(findUnwindEntry(loadedObjectAt(0), 0, entry));
}

TEST(UnwindEntries, startFromTheRulesOfTheirCommonEntry)
{
    CraftedLibrary library;
    library.instructions = {0x44, 0x0E, 32};
    library.load();
    UnwindEntry entry;
    FrameRules rules = NO_RULES;
    ASSERT_TRUE(findUnwindEntry(library.object(), library.function(), entry));
    ASSERT_TRUE(findFrameRules(entry, library.function() + 3, rules));
    EXPECT_EQ(8U, rules.base.offset);
    EXPECT_EQ(RegisterRule::SAVED_AT_OFFSET, rules.ruleFor(RETURN_ADDRESS).kind);
    ASSERT_TRUE(findFrameRules(entry, library.function() + 4, rules));
    EXPECT_EQ(32U, rules.base.offset);
}

TEST(UnwindEntries, areReadWithEveryEncodingOfFixedSize)
{
    for (const int application : {0x00, 0x10, 0x30}) {
        for (const auto& [format, size] : {std::pair<int, std::size_t>{0x00, 8},
                                           {0x02, 2},
                                           {0x03, 4},
                                           {0x04, 8},
                                           {0x0A, 2},
                                           {0x0B, 4},
                                           {0x0C, 8}}) {
            const CraftedLibrary library =
                encoded(static_cast<std::uint8_t>(application | format), size);
            EXPECT_TRUE(entryOf(library, CraftedLibrary::SIZE / 2 - 1)) << format;
            EXPECT_FALSE(entryOf(library, CraftedLibrary::SIZE / 2)) << format;
        }
    }
    for (const int unknown : {0x01, 0x09, 0x05, 0x0F, 0xFF}) {
        EXPECT_FALSE(isFound(encoded(static_cast<std::uint8_t>(unknown), 4))) << unknown;
    }
}

TEST(UnwindEntries, areReadWithEveryAugmentationThatCompilersWrite)
{
    EXPECT_TRUE(isFound(augmented("zR", {1, 0x1B})));
    EXPECT_TRUE(isFound(augmented("zPLR", {7, 0x1B, 0, 0, 0, 0, 0xFF, 0x1B})));
    EXPECT_TRUE(isFound(augmented("zPLR", {11, 0x00, 1, 2, 3, 4, 5, 6, 7, 8, 0x1B, 0x1B})));
    EXPECT_TRUE(entryOf(augmented("zRS", {1, 0x1B}))->common.isSignalTrampoline);
    EXPECT_FALSE(entryOf(augmented("zR", {1, 0x1B}))->common.isSignalTrampoline);
    EXPECT_EQ(SIGNS_RETURN_ADDRESSES, isFound(augmented("zRB", {1, 0x1B})));
    CraftedLibrary plain = encoded(0x00, 8);
    plain.common.augmentation = "";
    plain.common.augmentationData = {};
    plain.augmentationData = {};
    EXPECT_TRUE(isFound(plain));
}

TEST(UnwindEntries, areNoneWithAnyOtherAugmentation)
{
    EXPECT_FALSE(isFound(augmented("R", {1, 0x1B})));
    EXPECT_FALSE(isFound(augmented("eh", {0, 0, 0, 0, 0, 0, 0, 0})));
    EXPECT_FALSE(isFound(augmented("zRX", {1, 0x1B})));
    EXPECT_FALSE(isFound(augmented("zPR", {7, 0x01, 0x1B, 0x1B, 0x1B, 0x1B, 0x1B, 0x1B})))
        << "a personality of unknown size";
}

TEST(UnwindEntries, skipWhatLanguagesAddToThem)
{
    CraftedLibrary library;
    library.augmentationData = {4, 1, 2, 3, 4};
    library.instructions = {0x0E, 48};
    library.load();
    UnwindEntry entry;
    FrameRules rules = NO_RULES;
    ASSERT_TRUE(findUnwindEntry(library.object(), library.function(), entry));
    ASSERT_TRUE(findFrameRules(entry, library.function(), rules));
    EXPECT_EQ(48U, rules.base.offset);
}

TEST(UnwindEntries, areReadInTheTwoVersionsThatCompilersWrite)
{
    for (int version = 0; version < 6; ++version) {
        CraftedCommon common;
        common.version = static_cast<std::uint8_t>(version);
        EXPECT_EQ(version == 1 || version == 3, isFound(libraryWith(common))) << version;
    }
}

TEST(UnwindEntries, areNoneOfAnotherProcessor)
{
    CraftedCommon common;
    common.returnAddress = RETURN_ADDRESS + 1;
    EXPECT_FALSE(isFound(libraryWith(common)));
}

TEST(UnwindEntries, areNoneWhenTheirCommonEntryIsBroken)
{
    CraftedCommon noCommon;
    noCommon.id = numberIn(4, 1);
    EXPECT_FALSE(isFound(libraryWith(noCommon)));
    CraftedCommon unknownInstruction;
    unknownInstruction.instructions = {0x3F};
    EXPECT_FALSE(isFound(libraryWith(unknownInstruction)));
    CraftedCommon endless;
    endless.augmentation = std::string(4, 'z');
    CraftedLibrary cut = libraryWith(endless);
    cut.commonLength = numberIn(4, 4 + 1 + 4);
    EXPECT_FALSE(isFound(cut));
}

TEST(UnwindEntries, areNoneWithALengthThatIsNone)
{
    const Bytes longFormat = numberIn(4, 0xFFFFFFFF) + numberIn(8, 24);
    for (const Bytes& length : {longFormat, numberIn(4, 0), numberIn(4, 0xFFFFFFF0)}) {
        CraftedLibrary library;
        library.entryLength = length;
        EXPECT_FALSE(isFound(library));
        CraftedLibrary ofCommon;
        ofCommon.commonLength = length;
        EXPECT_FALSE(isFound(ofCommon));
    }
}

TEST(UnwindEntries, areNoneOutsideTheirLibrary)
{
    for (const std::int32_t entry : {-4, 0x10000, INT32_MIN, INT32_MAX}) {
        CraftedLibrary library;
        library.entry = entry;
        EXPECT_FALSE(isFound(library)) << entry;
    }
}

TEST(UnwindIndex, isReadInItsUsualFormOnly)
{
    CraftedLibrary library;
    for (std::size_t place = 0; place < 4; ++place) {
        CraftedLibrary odd = library;
        odd.indexStart[place] ^= 0x05;
        EXPECT_FALSE(isFound(odd)) << place;
    }
    CraftedLibrary tooMany;
    tooMany.count = 0xFFFFFFFF;
    EXPECT_FALSE(isFound(tooMany));
    CraftedLibrary none;
    none.count = 0;
    EXPECT_FALSE(isFound(none));
}

TEST(UnwindIndex, mayEndWithItsLibrary)
{
    const Bytes index = Bytes{1, 0x1B, 0x03, 0x3B} + numberIn(4, 0) + numberIn(4, 2) + Bytes(2 * 8);
    const std::uint8_t* const end = index.data() + index.size();
    EXPECT_EQ(index.data() + 12, searchTableIn(index.data(), end).position());
    EXPECT_EQ(end, searchTableIn(index.data(), end).end());
    EXPECT_TRUE(searchTableIn(index.data(), end - 1).atEnd());
}

TEST(UnwindIndex, mayPointToItsEntriesInAnyForm)
{
    CraftedLibrary library;
    for (const auto& [encoding, size] :
         {std::pair<std::uint8_t, std::size_t>{0x1A, 2}, {0x1B, 4}, {0x1C, 8}, {0x00, 8}}) {
        library.indexStart[1] = encoding;
        library.indexPointer = Bytes(size);
        EXPECT_TRUE(isFound(library));
    }
}
