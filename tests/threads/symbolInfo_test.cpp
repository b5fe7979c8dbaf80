#include <gpal/symbolInfo.h>

#include <gtest/gtest.h>
#include <memory>
#include <typeinfo>

#include "support/thread_calls.h"

// Exported by the test program, so that the dynamic linker knows them by name.
extern "C" int symbolInfoLandmark(int value)
{
    volatile int result = value;
    for (int step = 0; step < value; ++step) {
        result = result + step;
    }
    return result;
}

namespace phone
{

int dialledDigits(int digits)
{
    return symbolInfoLandmark(digits);
}

class Speaker
{
};

} // namespace phone

namespace
{

const char* addressOf(int (*function)(int))
{
    return reinterpret_cast<const char*>(function);
}

} // namespace

TEST(SymbolInfo, namesTheSymbolAtAnAddress)
{
    EXPECT_EQ("symbolInfoLandmark", symbolInfo::getSymbol(addressOf(symbolInfoLandmark)));
}

TEST(SymbolInfo, namesTheNearestSymbolForAnAddressInsideIt)
{
    EXPECT_EQ("symbolInfoLandmark", symbolInfo::getSymbol(addressOf(symbolInfoLandmark) + 5));
}

TEST(SymbolInfo, givesNamesMangledAsTheyStandInTheObject)
{
    std::string name = symbolInfo::getSymbol(addressOf(phone::dialledDigits));
    EXPECT_EQ("_ZN5phone13dialledDigitsEi", name);
    EXPECT_EQ("phone::dialledDigits(int)", symbolInfo::demangleSymbol(name));
}

TEST(SymbolInfo, hasNoNameForAnAddressOutsideEveryLoadedObject)
{
    const auto heap = std::make_unique<char[]>(64);
    EXPECT_EQ("", symbolInfo::getSymbol(nullptr));
    EXPECT_EQ("", symbolInfo::getSymbol(heap.get()));
}

TEST(SymbolInfo, asksTheDynamicLinkerForTheVeryAddress)
{
    const void* asked = nullptr;
    support::Replacement linker(support::calls::dladdr, [&](const void* address, Dl_info* found) {
        asked = address;
        found->dli_sname = "answer";
        return 1;
    });
    const int here = 0;
    EXPECT_EQ("answer", symbolInfo::getSymbol(&here));
    EXPECT_EQ(&here, asked);
}

TEST(SymbolInfo, hasNoNameWhereAnObjectIsKnownButNoSymbol)
{
    support::Replacement linker(support::calls::dladdr, [](const void*, Dl_info* found) {
        found->dli_fname = "/lib/libphone.so";
        found->dli_sname = nullptr;
        return 1;
    });
    EXPECT_EQ("", symbolInfo::getSymbol(addressOf(symbolInfoLandmark)));
}

TEST(SymbolInfo, trustsNoAnswerOfAFailedLookUp)
{
    support::Replacement linker(support::calls::dladdr, [](const void*, Dl_info* found) {
        found->dli_sname = "left over";
        return 0;
    });
    EXPECT_EQ("", symbolInfo::getSymbol(addressOf(symbolInfoLandmark)));
}

TEST(SymbolInfo, demanglesNamesOfFunctionsAndTypes)
{
    std::string function = "_ZN9Semaphore4takeEi";
    EXPECT_EQ("Semaphore::take(int)", symbolInfo::demangleSymbol(function));
    std::string type = typeid(phone::Speaker).name();
    EXPECT_EQ("phone::Speaker", symbolInfo::demangleSymbol(type));
    std::string number = "i";
    EXPECT_EQ("int", symbolInfo::demangleSymbol(number));
}

TEST(SymbolInfo, replacesTheTextInPlaceAndReturnsIt)
{
    std::string name = "_Z3fooi";
    EXPECT_EQ(&name, &symbolInfo::demangleSymbol(name));
    EXPECT_EQ("foo(int)", name);
}

TEST(SymbolInfo, leavesTextsThatAreNoMangledNamesAsTheyAre)
{
    for (const char* text : {"main", "not a mangled name", "", "_Z", "_ZN5phone", "42"}) {
        std::string name = text;
        EXPECT_EQ(&name, &symbolInfo::demangleSymbol(name));
        EXPECT_EQ(text, name);
    }
}
