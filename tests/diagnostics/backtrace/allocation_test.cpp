// Nothing is allocated in a signal handler: the program counts what its libraries ask for.
#include <gpal/backtrace.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "chain.h"
#include "stacks.h"

namespace
{

std::atomic<int> allocations{0};

} // namespace

// The C library's own, under the names that they have there for programs that replace them.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) noexcept
{
    ++allocations;
    return __libc_malloc(size);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
void* calloc(std::size_t count, std::size_t size) noexcept
{
    ++allocations;
    // The C library's calloc may go by malloc, which would count twice.
    void* const block = __libc_malloc(count * size);
    return block != nullptr ? std::memset(block, 0, count * size) : nullptr;
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
void* realloc(void* block, std::size_t size) noexcept
{
    ++allocations;
    return __libc_realloc(block, size);
}
}

TEST(BacktraceInAHandler, allocatesNothingNotEvenTheFirstTime)
{
    static int during = -1;
    static int frames = 0;
    withFaultHandler(
        [](ucontext_t* context, int signal) {
            static void* buffer[64];
            const int before = allocations;
            frames = get_context_backtrace(context, buffer, 64, signal);
            get_context_register_info(context, signal);
            get_backtrace(buffer, 64);
            during = allocations - before;
        },
        [] { chainFirst(chainLeaf, forbiddenAddress()); });
    EXPECT_EQ(0, during);
    EXPECT_GE(frames, 4);
}

TEST(BacktraceSymbols, areOneBlock)
{
    void* addresses[] = {reinterpret_cast<void*>(&chainLeaf), nullptr};
    const int before = allocations;
    char** texts = get_backtrace_symbols(addresses, 2);
    EXPECT_EQ(1, allocations - before);
    std::free(texts);
}
