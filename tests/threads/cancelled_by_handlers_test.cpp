// How the layer cleans up with a threads library that ends cancelled threads by their clean-up
// handlers and without a destructor. There is none here, so this is one that does just that.
#include <csetjmp>
#include <csignal>
#include <optional>
#include <pthread.h>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

extern "C" {
void _pthread_cleanup_push(_pthread_cleanup_buffer* buffer, void (*routine)(void*),
                           void* argument) noexcept;
void _pthread_cleanup_pop(_pthread_cleanup_buffer* buffer, int execute) noexcept;
}

#include "base/locked.h"
#include "support/replaceable.h"

using gpal::detail::cancellably;
using gpal::detail::CleanUpHandler;
using gpal::detail::DestroyedIfCancelled;
using gpal::detail::locked;
using gpal::detail::runCommand;
using support::Replacement;

namespace
{

_pthread_cleanup_buffer* lastHandler = nullptr;
std::jmp_buf behindTheThread;

/// Ends what goes on inside `untilCancelled`.
[[noreturn]] void cancelHere()
{
    for (const _pthread_cleanup_buffer* handler = lastHandler; handler != nullptr;
         handler = handler->__prev) {
        handler->__routine(handler->__arg);
    }
    std::longjmp(behindTheThread, 1);
}

void untilCancelled(void (*work)())
{
    if (setjmp(behindTheThread) == 0) {
        work();
    } else {
        lastHandler = nullptr;
    }
}

std::string ended;

/// Writes down its end, once.
struct Guard {
    explicit Guard(const char* name) : m_name(name) {}
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    ~Guard() { ended += m_name; }

    const char* m_name;
};

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

bool isFree()
{
    const bool taken = pthread_mutex_trylock(&mutex) == 0;
    if (taken) {
        pthread_mutex_unlock(&mutex);
    }
    return taken;
}

class CancelledByHandlers : public testing::Test
{
protected:
    CancelledByHandlers() { ended.clear(); }
    ~CancelledByHandlers() override
    {
        EXPECT_EQ(lastHandler, nullptr);
        EXPECT_TRUE(isFree());
    }
};

} // namespace

// A handler that lies above the last one in the stack is taken for the first of all: the scopes of
// the others have been left by a jump.
void _pthread_cleanup_push(_pthread_cleanup_buffer* buffer, void (*routine)(void*),
                           void* argument) noexcept
{
    buffer->__routine = routine;
    buffer->__arg = argument;
    buffer->__prev = lastHandler < buffer ? nullptr : lastHandler;
    lastHandler = buffer;
}

void _pthread_cleanup_pop(_pthread_cleanup_buffer* buffer, int execute) noexcept
{
    if (execute != 0) {
        buffer->__routine(buffer->__arg);
    }
    lastHandler = buffer->__prev;
}

TEST_F(CancelledByHandlers, destroysWhatIsAliveInnermostFirst)
{
    untilCancelled([] {
        const Guard outer("outer ");
        const DestroyedIfCancelled outerWhenCancelled(outer);
        {
            const Guard over("over ");
            const DestroyedIfCancelled whenCancelled(over);
        }
        const Guard inner("inner ");
        const DestroyedIfCancelled innerWhenCancelled(inner);
        cancelHere();
    });
    EXPECT_EQ(ended, "over inner outer ");
}

TEST_F(CancelledByHandlers, destroysOnceWhatComesToItsEnd)
{
    untilCancelled([] {
        const Guard guard("guard");
        const DestroyedIfCancelled whenCancelled(guard);
    });
    EXPECT_EQ(ended, "guard");
}

TEST_F(CancelledByHandlers, forgetsNoHandlerWhereverTheCompilerPlacesTheNext)
{
    untilCancelled([] {
        const auto note = [](void* name) { ended += static_cast<const char*>(name); };
        std::optional<CleanUpHandler> frame[2];
        frame[0].emplace(note, const_cast<char*>("lower "));
        frame[1].emplace(note, const_cast<char*>("upper "));
        frame[1].reset();
        frame[1].emplace(note, const_cast<char*>("again "));
        cancelHere();
    });
    EXPECT_EQ(ended, "again lower ");
}

TEST_F(CancelledByHandlers, unlocksAMutexThatIsHeld)
{
    untilCancelled([] { locked(mutex, cancelHere); });
    EXPECT_TRUE(isFree());
}

TEST_F(CancelledByHandlers, unlocksAMutexAndLeavesNoHandlerBehindAnException)
{
    EXPECT_THROW(locked(mutex, [] { throw std::runtime_error("inside"); }), std::runtime_error);
    EXPECT_EQ(locked(mutex, [] { return 7; }), 7);
}

TEST_F(CancelledByHandlers, letsAThreadBeCancelledAnywhereInACallThatBlocksAndOnlyThere)
{
    const auto type = [] {
        int now = 0;
        pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &now);
        return now;
    };
    EXPECT_EQ(cancellably(type), PTHREAD_CANCEL_ASYNCHRONOUS);
    EXPECT_EQ(type(), PTHREAD_CANCEL_DEFERRED);
}

TEST_F(CancelledByHandlers, leavesInterruptsAsTheyWereWhereACommandIsCancelled)
{
    const Replacement system(support::calls::system, [](const char*) -> int {
        std::signal(SIGINT, SIG_IGN);
        std::signal(SIGQUIT, SIG_IGN);
        cancelHere();
    });
    const auto handler = [](int) {};
    std::signal(SIGINT, handler);
    untilCancelled([] { runCommand("true"); });
    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), static_cast<void (*)(int)>(handler));
    EXPECT_EQ(std::signal(SIGQUIT, SIG_DFL), SIG_DFL);
}
