#include <gpal/backtrace.h>

#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include "chain.h"
#include "stacks.h"

using testing::Each;

// Exported, so that stacks through them have names everywhere.
extern "C" {

__attribute__((noinline)) int recordHere(void* stack)
{
    *static_cast<Stack*>(stack) = Stack(64);
    auto& recorded = *static_cast<Stack*>(stack);
    const int count = get_backtrace(recorded.data(), 64);
    recorded.resize(static_cast<std::size_t>(count));
    return count;
}

void* threadStartRoutine(void* stack)
{
    chainFirst(recordHere, stack);
    return nullptr;
}

void* threadThatFaults(void* stack)
{
    *static_cast<Stack*>(stack) =
        stackOfFault([] { chainFirst(chainLeaf, forbiddenAddress()); }, false);
    return nullptr;
}
}

namespace
{

bool startsWith(const Names& start, const Names& names)
{
    return names.size() >= start.size() && std::equal(start.begin(), start.end(), names.begin());
}

/// Whether each of \p names is on the way, in this order, with others in between.
bool containsInOrder(const Names& names, const Names& wanted)
{
    auto place = names.begin();
    for (const std::string& name : wanted) {
        place = std::find(place, names.end(), name);
        if (place == names.end()) {
            return false;
        }
        ++place;
    }
    return true;
}

const Names CHAIN{"chainThird", "chainSecond", "chainFirst"};

Names chainFrom(Names begin)
{
    begin.insert(begin.end(), CHAIN.begin(), CHAIN.end());
    return begin;
}

} // namespace

// The own stack.

TEST(Backtrace, startsInItselfAndNamesEveryCallerUpToMain)
{
    Stack stack;
    chainFirst(recordHere, &stack);
    const Names names = namesOf(stack);
    EXPECT_TRUE(startsWith(chainFrom({"get_backtrace", "recordHere"}), names))
        << testing::PrintToString(names);
    EXPECT_EQ("main", names.back());
    EXPECT_EQ(1, std::count(names.begin(), names.end(), "main"));
}

TEST(Backtrace, goesThroughLibraries)
{
    Stack stack;
    chainThroughLibrary(recordHere, &stack);
    EXPECT_TRUE(startsWith({"get_backtrace", "recordHere", "chainThroughLibrary"}, namesOf(stack)));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(Backtrace, goesThroughLargeFrames)
{
    Stack stack;
    chainLarge(recordHere, &stack);
    EXPECT_TRUE(startsWith({"get_backtrace", "recordHere", "chainLarge"}, namesOf(stack)));
    EXPECT_EQ("main", namesOf(stack).back());
}

TEST(Backtrace, endsAtTheStartRoutineOfAThread)
{
    Stack stack;
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, nullptr, threadStartRoutine, &stack));
    pthread_join(thread, nullptr);
    EXPECT_EQ(chainFrom({"get_backtrace", "recordHere"}), upTo("chainFirst", namesOf(stack)));
    EXPECT_TRUE(containsInOrder(namesOf(stack), {"chainFirst", "threadStartRoutine"}));
#ifndef __SANITIZE_THREAD__
    EXPECT_EQ("threadStartRoutine", namesOf(stack).back());
#endif
}

TEST(Backtrace, recordsNoMoreThanThereIsRoomForAndTouchesNothingElse)
{
    int untouched = 0;
    const int count = static_cast<int>(recordedStack().size());
    for (int size = 1; size <= count + 3; ++size) {
        Stack buffer(static_cast<std::size_t>(count) + 8, &untouched);
        const int got = get_backtrace(buffer.data(), size);
        ASSERT_LE(got, size);
        for (int i = 0; i < static_cast<int>(buffer.size()); ++i) {
            void* entry = buffer[static_cast<std::size_t>(i)];
            if (i < got) {
                EXPECT_NE(nullptr, entry);
                EXPECT_NE(&untouched, entry);
            } else {
                EXPECT_EQ(i < size ? nullptr : &untouched, entry);
            }
        }
        if (got == size) {
            continue;
        }
        EXPECT_EQ("main", namesOf(Stack(buffer.begin(), buffer.begin() + got)).back());
    }
}

TEST(Backtrace, stopsAtMainAlsoWhereTheRoomEndsThere)
{
    const std::size_t frames = recordedStack().size();
    for (const std::size_t room : {frames - 1, frames, frames + 1, frames + 2, frames + 3}) {
        const Stack stack = recordedStack(static_cast<int>(room));
        EXPECT_EQ(std::min(room, frames), stack.size());
        if (room >= frames) {
            EXPECT_EQ("main", namesOf(stack).back());
        }
    }
}

TEST(Backtrace, touchesNothingWithoutRoom)
{
    int untouched = 0;
    void* buffer[] = {&untouched, &untouched};
    EXPECT_EQ(0, get_backtrace(buffer, 0));
    EXPECT_EQ(0, get_backtrace(buffer, -1));
    EXPECT_EQ(0, get_backtrace(nullptr, 10));
    EXPECT_EQ(0, get_ret_addr(1, 1, 0, buffer));
    EXPECT_EQ(0, get_ret_addr(1, 1, -1, buffer));
    EXPECT_EQ(0, get_ret_addr(1, 1, 2, nullptr));
    EXPECT_THAT(buffer, Each(&untouched));
}

TEST(Backtrace, keepsErrno)
{
    errno = EDOM;
    recordedStack();
    EXPECT_EQ(EDOM, errno);
}

// The stack of an interrupted thread.

TEST(ContextBacktrace, startsAtTheInterruptedInstructionOfALeaf)
{
    const Stack stack = stackOfFault([] { chainFirst(chainLeaf, forbiddenAddress()); });
    ASSERT_FALSE(stack.empty());
    EXPECT_TRUE(startsWith(chainFrom({"chainLeaf"}), namesOf(stack)))
        << testing::PrintToString(namesOf(stack));
}

TEST(ContextBacktrace, givesTheInterruptedInstructionItself)
{
    static unsigned long interrupted;
    withFaultHandler(
        [](ucontext_t* context, int signal) {
            void* first[1] = {};
            get_context_backtrace(context, first, 1, signal);
            std::sscanf(get_context_register_info(context, signal), "pc = %lx", &interrupted);
            EXPECT_EQ(interrupted, reinterpret_cast<unsigned long>(first[0]));
        },
        [] { chainFirst(chainLeaf, forbiddenAddress()); });
    EXPECT_NE(0U, interrupted);
}

TEST(ContextBacktrace, showsACallThroughANullPointerAndItsCaller)
{
    for (const bool onAlternateStack : {false, true}) {
        const Stack stack =
            stackOfFault([] { chainFirst(chainNullCall, nullptr); }, onAlternateStack);
        ASSERT_FALSE(stack.empty());
        EXPECT_EQ(reinterpret_cast<void*>(0xDEAD0000UL), stack[0]);
        EXPECT_TRUE(startsWith(chainFrom({"chainNullCall"}),
                               namesOf(Stack(stack.begin() + 1, stack.end()))))
            << testing::PrintToString(namesOf(stack));
    }
}

TEST(ContextBacktrace, isTheSameFromAHandlerWithAStackOfItsOwn)
{
    const auto fault = [] { chainFirst(chainLeaf, forbiddenAddress()); };
    const Stack stack = stackOfFault(fault, true);
    ASSERT_FALSE(stack.empty());
    EXPECT_TRUE(startsWith(chainFrom({"chainLeaf"}), namesOf(stack)));
    EXPECT_EQ(stackOfFault(fault, false).size(), stack.size());
}

TEST(ContextBacktrace, goesThroughLibraries)
{
    const Stack stack = stackOfFault([] { chainThroughLibrary(chainLeaf, forbiddenAddress()); });
    EXPECT_TRUE(startsWith({"chainLeaf", "chainThroughLibrary"}, namesOf(stack)));
}

TEST(ContextBacktrace, worksInAnyThread)
{
    Stack stack;
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, nullptr, threadThatFaults, &stack));
    pthread_join(thread, nullptr);
    EXPECT_TRUE(startsWith(chainFrom({"chainLeaf"}), namesOf(stack)));
}

TEST(ContextBacktrace, clearsTheBufferFirst)
{
    withFaultHandler(
        [](ucontext_t* context, int signal) {
            static void* buffer[64];
            std::fill_n(buffer, 64, &buffer);
            const int count = get_context_backtrace(context, buffer, 64, signal);
            EXPECT_EQ(64 - count, std::count(buffer, buffer + 64, nullptr));
            std::fill_n(buffer, 64, &buffer);
            EXPECT_EQ(1, get_context_backtrace(context, buffer, 1, signal));
            EXPECT_EQ(&buffer, buffer[1]);
        },
        [] { chainFirst(chainLeaf, forbiddenAddress()); });
}

TEST(ContextBacktrace, touchesNothingWithoutRoom)
{
    ucontext_t context;
    std::memset(&context, 0x5A, sizeof context);
    ucontext_t before;
    std::memcpy(&before, &context, sizeof context);
    int untouched = 0;
    void* buffer[] = {&untouched};
    EXPECT_EQ(0, get_context_backtrace(&context, buffer, 0, 10));
    EXPECT_EQ(0, get_context_backtrace(&context, buffer, -1, 10));
    EXPECT_EQ(0, get_context_backtrace(&context, nullptr, 1, 10));
    const auto* const bytes = reinterpret_cast<const char*>(&context);
    EXPECT_TRUE(std::equal(bytes, bytes + sizeof context, reinterpret_cast<const char*>(&before)));
    EXPECT_EQ(&untouched, buffer[0]);
}

TEST(ContextBacktrace, isEmptyWithoutContext)
{
    int old = 0;
    void* buffer[] = {&old, &old};
    EXPECT_EQ(0, get_context_backtrace(nullptr, buffer, 2, 11));
    EXPECT_THAT(buffer, Each(nullptr));
}

TEST(ContextRegisterInfo, isEmptyWithoutContext)
{
    EXPECT_STREQ("", get_context_register_info(nullptr, 11));
}

TEST(ContextRegisterInfo, isAlwaysAtTheSamePlace)
{
    static ucontext_t context;
    EXPECT_EQ(get_context_register_info(nullptr, 11), get_context_register_info(&context, 11));
}
