#include <gpal/backtrace.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/soft_limit.h"
#include "support/thread_calls.h"

// Exported by the test program, so that the dynamic linker knows it by name.
extern "C" int symbolsLandmark(int value)
{
    volatile int result = value;
    for (int step = 0; step < value; ++step) {
        result = result + step;
    }
    return result;
}

namespace
{

struct Free {
    void operator()(char** texts) const { std::free(texts); }
};
using Texts = std::unique_ptr<char*, Free>;

void* address(unsigned long number)
{
    return reinterpret_cast<void*>(number);
}

/// The text for \p asked when the loader answers \p succeeds and, if so, the rest.
std::string textFor(unsigned long asked, bool succeeds, const char* file, const char* symbol,
                    unsigned long start)
{
    support::Replacement loader(support::calls::dladdr, [&](const void* at, Dl_info* found) {
        EXPECT_EQ(address(asked), at);
        found->dli_fname = file;
        found->dli_sname = symbol;
        found->dli_saddr = address(start);
        return succeeds ? 1 : 0;
    });
    void* addresses[] = {address(asked)};
    const Texts texts(get_backtrace_symbols(addresses, 1));
    return texts.get()[0];
}

} // namespace

TEST(BacktraceSymbols, nameFileAndSymbol)
{
    EXPECT_EQ("/bin/phone(dial+0x34) [00401200]",
              textFor(0x401234, true, "/bin/phone", "dial", 0x401200));
    EXPECT_EQ("/bin/phone(dial+0x0) [00401200]",
              textFor(0x401200, true, "/bin/phone", "dial", 0x401200));
}

TEST(BacktraceSymbols, nameTheFileAloneWhereTheSymbolIsNotKnown)
{
    EXPECT_EQ("/bin/phone(unknown+0x0) [0x00401234]",
              textFor(0x401234, true, "/bin/phone", nullptr, 0));
}

TEST(BacktraceSymbols, nameTheSymbolAloneWhereTheFileIsNotKnown)
{
    EXPECT_EQ("unknown_file(dial+ 0x34) [00401200]",
              textFor(0x401234, true, nullptr, "dial", 0x401200));
}

TEST(BacktraceSymbols, giveTheAddressWhereNeitherIsKnown)
{
    EXPECT_EQ("unknown_file(unkown) [0x00401234]", textFor(0x401234, true, nullptr, nullptr, 0));
}

TEST(BacktraceSymbols, giveTheAddressThatTheLoaderDoesNotKnow)
{
    EXPECT_EQ("unknown_symbol(unkown) [0x00000abc]", textFor(0xABC, false, "left", "over", 0x10));
    EXPECT_EQ("unknown_symbol(unkown) [0xdead0000]",
              textFor(0xDEAD0000, false, nullptr, nullptr, 0));
}

TEST(BacktraceSymbols, cutATextAtItsPlace)
{
    const std::string file(600, 'f');
    EXPECT_EQ(file.substr(0, 511), textFor(0x401234, true, file.c_str(), "dial", 0x401200));
    const std::string shorter(490, 'f');
    EXPECT_EQ((shorter + "(dial+0x34) [00401200]").substr(0, 511),
              textFor(0x401234, true, shorter.c_str(), "dial", 0x401200));
}

TEST(BacktraceSymbols, haveRoomForManyLongTexts)
{
    const std::string file(600, 'f');
    support::Replacement loader(support::calls::dladdr, [&](const void*, Dl_info* found) {
        found->dli_fname = file.c_str();
        found->dli_sname = nullptr;
        return 1;
    });
    std::vector<void*> addresses(50, address(0x401234));
    const Texts texts(get_backtrace_symbols(addresses.data(), 50));
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(511U, std::strlen(texts.get()[i]));
    }
}

TEST(BacktraceSymbols, standOneAfterTheOtherBehindThePointers)
{
    auto* known = reinterpret_cast<char*>(&symbolsLandmark);
    void* addresses[] = {known, address(4), known + 1};
    const Texts texts(get_backtrace_symbols(addresses, 3));
    const char* expected = reinterpret_cast<const char*>(texts.get() + 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(expected, texts.get()[i]);
        expected += std::strlen(expected) + 1;
    }
    EXPECT_STREQ("unknown_symbol(unkown) [0x00000004]", texts.get()[1]);
    EXPECT_NE(nullptr, std::strstr(texts.get()[2], "(symbolsLandmark+0x1) ["));
}

TEST(BacktraceSymbols, areAnEmptyBlockForNoAddresses)
{
    void* addresses[] = {address(4)};
    for (const int count : {0, -1, -2147483647}) {
        const Texts texts(get_backtrace_symbols(addresses, count));
        ASSERT_NE(nullptr, texts);
        EXPECT_EQ(nullptr, texts.get()[0]);
    }
}

TEST(BacktraceSymbols, areNoneWithoutMemory)
{
    void* addresses[] = {address(4)};
    std::optional<support::SoftLimit> noMore;
#ifndef GPAL_TESTS_SANITIZED // a sanitizer refuses so much by itself, and needs memory to say so
    noMore.emplace(RLIMIT_AS, 1);
#endif
    EXPECT_EQ(nullptr, get_backtrace_symbols(addresses, INT_MAX));
}

TEST(BacktraceSymbols, areNoneWithoutAddresses)
{
    EXPECT_EQ(nullptr, get_backtrace_symbols(nullptr, 3));
    const Texts texts(get_backtrace_symbols(nullptr, 0));
    EXPECT_NE(nullptr, texts);
}
