// A handler on a stack of its own looks at a thread whose stack pointer is none any more. A second
// fault there would end the test.
#include <gpal/backtrace.h>

#include <fstream>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

#include "chain.h"
#include "machine.h"
#include "stacks.h"
#include "support/c_library.h"

namespace
{

unsigned long numberOf(const void* address)
{
    return reinterpret_cast<unsigned long>(address);
}

/// Two pages of which the second can't be read, for the life of the program.
const char* halfReadable()
{
    static const long size = sysconf(_SC_PAGESIZE);
    static char* const pages = [] {
        void* mapped = mmap(nullptr, 2 * static_cast<std::size_t>(size), PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        mprotect(static_cast<char*>(mapped) + size, static_cast<std::size_t>(size), PROT_NONE);
        return static_cast<char*>(mapped);
    }();
    return pages + size;
}

/// Just below the calling thread's stack. The kernel knows where that is, not every C library does.
unsigned long belowStack()
{
    const unsigned long here = numberOf(__builtin_frame_address(0));
    std::ifstream mappings("/proc/self/maps");
    unsigned long begin = 0;
    unsigned long end = 0;
    char dash = 0;
    std::string rest;
    while (mappings >> std::hex >> begin >> dash >> end && std::getline(mappings, rest)) {
        if (begin <= here && here < end) {
            return begin - 64;
        }
    }
    ADD_FAILURE() << "a stack that is nowhere";
    return 0;
}

struct DestroyedPointer {
    std::string what;
    unsigned long value;
};

std::vector<DestroyedPointer> destroyedPointers()
{
    constexpr unsigned long FAR = static_cast<unsigned long>(0x7000000000LL);
    return {{"null", 0},
            {"nearly null", 8},
            {"one of the first pages", 0x1000},
            {"odd", 0x1001},
            {"odd on the stack", numberOf(__builtin_frame_address(0)) + 1},
            {"nowhere", FAR},
            {"a page that can't be read", numberOf(forbiddenAddress())},
            {"before such a page", numberOf(halfReadable()) - sizeof(void*)},
            {"below the stack", belowStack()},
            {"the end of the address space", ~0UL},
            {"its last word", ~0UL - sizeof(void*) + 1},
            {"the kernel's", ~(~0UL >> 1)}};
}

/// The stack of a fault in \p work, with the stack pointer \p sp in place of the thread's own.
Stack stackWith(unsigned long sp, bool onAlternateStack, int (*work)(void*))
{
    static Stack stack;
    static unsigned long wanted;
    stack.assign(64, nullptr);
    wanted = sp;
    withFaultHandler(
        [](ucontext_t* context, int signal) {
            setStackPointer(*context, wanted);
            setFramePointer(*context, wanted);
            const int count = get_context_backtrace(context, stack.data(), 64, signal);
            stack.resize(static_cast<std::size_t>(count));
        },
        [work] { chainFirst(work, forbiddenAddress()); }, onAlternateStack);
    return stack;
}

void* walkDestroyedStacks(void*)
{
    for (const bool onAlternateStack : {true, false}) {
        for (const DestroyedPointer& pointer : destroyedPointers()) {
            SCOPED_TRACE(pointer.what);
            for (const auto& [name, work] : {std::make_pair("chainLeaf", chainLeaf),
                                             std::make_pair("chainLargeLeaf", chainLargeLeaf)}) {
                const Stack stack = stackWith(pointer.value, onAlternateStack, work);
                EXPECT_EQ(Names{name}, Names(1, stack.empty() ? "" : namesOf(stack).front()));
            }
        }
    }
    return nullptr;
}

/// A walk from a place that somebody names.
struct WalkFrom {
    unsigned long pc;
    unsigned long sp;
    void* buffer[64];
    int count;

    void walk() { count = get_ret_addr(pc, sp, 64, buffer); }
};

std::vector<WalkFrom> walksFromOddPlaces()
{
    std::vector<WalkFrom> walks;
    for (const unsigned long pc :
         {0UL, 1UL, 4096UL, ~0UL, numberOf(reinterpret_cast<void*>(&chainLeaf)),
          numberOf(chainRecorded), numberOf(forbiddenAddress())}) {
        for (const DestroyedPointer& pointer : destroyedPointers()) {
            walks.push_back({pc, pointer.value, {}, 0});
        }
    }
    return walks;
}

void expectStartsThere(const std::vector<WalkFrom>& walks)
{
    for (const WalkFrom& walk : walks) {
        EXPECT_LE(1, walk.count);
        EXPECT_LE(walk.count, 64);
        EXPECT_EQ(walk.pc == 0 ? 0xDEAD0000UL : walk.pc, numberOf(walk.buffer[0]));
    }
}

} // namespace

TEST(DestroyedStack, showsWhereTheFirstThreadStood)
{
    walkDestroyedStacks(nullptr);
}

TEST(DestroyedStack, showsWhereAThreadStood)
{
    GPAL_SKIP_BECAUSE(support::whyHandlersNeedTheThreadsStack());
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, nullptr, walkDestroyedStacks, nullptr));
    pthread_join(thread, nullptr);
}

TEST(DestroyedStack, endsAWalkFromThere)
{
    std::vector<WalkFrom> walks = walksFromOddPlaces();
    for (WalkFrom& walk : walks) {
        walk.walk();
    }
    expectStartsThere(walks);
}

TEST(DestroyedStack, endsAWalkFromThereInAHandlerWithAStackOfItsOwn)
{
    std::vector<WalkFrom> walks = walksFromOddPlaces();
    for (WalkFrom& walk : walks) {
        withFaultHandler([&walk](ucontext_t*, int) { walk.walk(); },
                         [] { chainLeaf(forbiddenAddress()); }, true);
    }
    expectStartsThere(walks);
}
