// What the diagnostics make of arguments that are null, negative, 0, largest, or no text.
#include <gpal/backtrace.h>
#include <gpal/Dll.h>
#include <gpal/MemoryInformation.h>
#include <gpal/Watchdog.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <string>

#include "support/c_library.h"
#include "support/private_mounts.h"

namespace
{

using testing::Each;
using testing::IsNull;
using testing::NotNull;

constexpr int SIZES_WITHOUT_ROOM[] = {0, -1, INT_MIN};
constexpr int SIGNALS[] = {INT_MIN, -1, 0, SIGBUS, SIGSEGV, INT_MAX};

const unsigned long ODD_ADDRESSES[] = {
    0, 1, 2, 4095, 4096, LONG_MAX, ULONG_MAX - 7, ULONG_MAX - 1, ULONG_MAX};

const std::string ODD_TEXTS[] = {
    "",
    std::string(1, '\0'),
    std::string("nothing\0of that name", 21),
    std::string(100000, 'x'),
    std::string(100000, '/'),
    "%s%n%s",
    "\xFF\xFE",
};

} // namespace

TEST(OddArguments, ofWalksLeaveEverythingUntouched)
{
    int untouched = 0;
    void* buffer[] = {&untouched, &untouched};
    ucontext_t context{};
    const ucontext_t before = context;
    for (const int size : SIZES_WITHOUT_ROOM) {
        EXPECT_EQ(get_backtrace(buffer, size), 0);
        EXPECT_EQ(get_ret_addr(1, 1, size, buffer), 0);
        EXPECT_EQ(get_backtrace(nullptr, size), 0);
        for (const int signal : SIGNALS) {
            EXPECT_EQ(get_context_backtrace(&context, buffer, size, signal), 0);
            EXPECT_EQ(get_context_backtrace(nullptr, buffer, size, signal), 0);
        }
    }
    for (const int size : {1, 64, INT_MAX}) {
        EXPECT_EQ(get_backtrace(nullptr, size), 0);
        EXPECT_EQ(get_ret_addr(1, 1, size, nullptr), 0);
        EXPECT_EQ(get_context_backtrace(&context, nullptr, size, SIGBUS), 0);
        EXPECT_EQ(get_context_backtrace(nullptr, nullptr, size, SIGBUS), 0);
    }
    EXPECT_THAT(buffer, Each(&untouched));
    EXPECT_EQ(std::memcmp(&context, &before, sizeof context), 0);
}

TEST(OddArguments, ofWalksMayBeAnyPlace)
{
    for (const unsigned long pc : ODD_ADDRESSES) {
        for (const unsigned long sp : ODD_ADDRESSES) {
            for (const int size : {1, 2, 64, INT_MAX}) {
                void* buffer[65] = {};
                const int count = get_ret_addr(pc, sp, size, buffer);
                EXPECT_GE(count, 1);
                EXPECT_LE(count, std::min(size, 64));
                EXPECT_EQ(buffer[count], nullptr);
            }
        }
    }
}

TEST(OddArguments, ofContextsMayBeAnything)
{
    for (const int fill : {0, 1, 0x7F, 0x80, 0xFF}) {
        for (const int signal : SIGNALS) {
            ucontext_t context;
            std::memset(&context, fill, sizeof context);
            void* buffer[64] = {};
            EXPECT_LE(get_context_backtrace(&context, buffer, 64, signal), 64);
            EXPECT_LT(std::strlen(get_context_register_info(&context, signal)), 560U);
            EXPECT_STREQ(get_context_register_info(nullptr, signal), "");
        }
    }
}

TEST(OddArguments, largestRoomIsRoomForTheWholeStack)
{
    // Started in a leaf that has done nothing yet, whose return address is on top of the stack.
    void* room[256] = {};
    const int frames = get_backtrace(room, 256);
    ASSERT_GT(frames, 2);
    void* const stack[] = {static_cast<char*>(room[1]) + 1};
    const auto pc = reinterpret_cast<unsigned long>(&get_backtrace);
    const auto sp = reinterpret_cast<unsigned long>(&stack[0]);
    const int count = get_ret_addr(pc, sp, 256, room);
    EXPECT_GE(count, 1);
    void* all[256] = {};
    EXPECT_EQ(get_ret_addr(pc, sp, INT_MAX, all), count);
}

TEST(OddArguments, ofNamesForAddressesGiveABlockOrNothing)
{
    void* none[] = {nullptr};
    for (const int count : SIZES_WITHOUT_ROOM) {
        for (void** const addresses : {none, static_cast<void**>(nullptr)}) {
            char** const block = get_backtrace_symbols(addresses, count);
            EXPECT_THAT(block, NotNull());
            std::free(block);
        }
    }
    for (const int count : {1, 64, INT_MAX}) {
        EXPECT_THAT(get_backtrace_symbols(nullptr, count), IsNull());
    }
}

TEST(OddArguments, ofNamesForAddressesOutsideOfEverythingAreUnknown)
{
    GPAL_SKIP_BECAUSE(support::whyNoAddressIsUnknown());
    for (const unsigned long address : ODD_ADDRESSES) {
        void* addresses[] = {reinterpret_cast<void*>(address)};
        char** const block = get_backtrace_symbols(addresses, 1);
        EXPECT_THAT(block[0], testing::HasSubstr("unknown_symbol(unkown) [0x"));
        std::free(block);
    }
}

TEST(OddArguments, ofReportsOpenNothing)
{
    MemoryInformation memory;
    for (const std::string& file : {std::string(), std::string(1, '\0'), std::string(100000, 'x'),
                                    std::string(100000, '/'), std::string("/")}) {
        EXPECT_FALSE(memory.getAllMemoryInfo(file));
    }
}

TEST(OddArguments, ofProcessNamesFindNothing)
{
    for (const std::string& name : ODD_TEXTS) {
        if (!name.empty()) { // which every process has in its name
            EXPECT_EQ(Watchdog().getPIdByName(name), 0) << name.substr(0, 20);
        }
    }
}

TEST(OddArguments, ofLibrariesAreFailuresWithAText)
{
    GPAL_IN_PRIVATE_NAMESPACES(); // for a lock of its own
    EXPECT_THAT(testAccessOnly_GetHandle(nullptr), IsNull());
    // To some loaders, a library without a name is the program itself.
    void* const nameless = dlopen("", RTLD_LAZY);
    for (const std::string& name : ODD_TEXTS) {
        Dll dll(name);
        EXPECT_EQ(dll.libraryRequested(), std::string(name.c_str()));
        EXPECT_EQ(dll.error() == nullptr, *name.c_str() == '\0' && nameless != nullptr)
            << name.substr(0, 20);
        for (const std::string& symbol : ODD_TEXTS) {
            EXPECT_THAT(dll.symbol(symbol), IsNull());
            EXPECT_THAT(dll.error(), NotNull());
        }
    }
}
