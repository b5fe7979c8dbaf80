#include <gpal/GPALMutex.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <thread>
#include <type_traits>

#include "support/thread_calls.h"

static_assert(GPAL_MUTEX_LOCKED == 0 && GPAL_MUTEX_UNLOCKED == 1);
static_assert(std::is_same_v<std::underlying_type_t<MutexInitialState>, int>);
static_assert(!std::is_polymorphic_v<GPALMutex> && std::is_standard_layout_v<GPALMutex> &&
                  sizeof(GPALMutex) == sizeof(pthread_mutex_t),
              "it is a POSIX mutex and nothing else");

// These two do on purpose what the thread sanitizer reports in anyone else.
extern "C" const char* __tsan_default_suppressions()
{
    return "mutex:GPALMutex_reportsTheErrorOfAGiveByAStranger_Test\n"
           "mutex:GPALMutex_reportsTheErrorOfATake_Test\n";
}

namespace
{

pthread_mutex_t* inside(GPALMutex& mutex)
{
    return reinterpret_cast<pthread_mutex_t*>(&mutex);
}

/// Whether another thread finds the mutex free.
bool isFree(GPALMutex& mutex)
{
    bool free = false;
    std::thread([&] {
        free = pthread_mutex_trylock(inside(mutex)) == 0;
        if (free) {
            pthread_mutex_unlock(inside(mutex));
        }
    }).join();
    return free;
}

} // namespace

TEST(GPALMutex, isHeldByItsMakerWhenMadeLocked)
{
    GPALMutex mutex(GPAL_MUTEX_LOCKED);
    EXPECT_FALSE(isFree(mutex));
    EXPECT_EQ(0, mutex.take()) << "its owner may take it again";
    EXPECT_EQ(0, mutex.give());
    EXPECT_FALSE(isFree(mutex));
    EXPECT_EQ(0, mutex.give());
    EXPECT_TRUE(isFree(mutex));
}

TEST(GPALMutex, isFreeWhenMadeUnlocked)
{
    GPALMutex mutex(GPAL_MUTEX_UNLOCKED);
    EXPECT_TRUE(isFree(mutex));
}

TEST(GPALMutex, isFreeWhenMadeWithAnyOtherState)
{
    for (const int state : {2, -1, 256}) {
        GPALMutex mutex(static_cast<MutexInitialState>(state));
        EXPECT_TRUE(isFree(mutex)) << state;
    }
}

TEST(GPALMutex, mustBeGivenAsOftenAsItWasTaken)
{
    GPALMutex mutex(GPAL_MUTEX_UNLOCKED);
    for (int depth = 0; depth < 3; ++depth) {
        EXPECT_EQ(0, mutex.take());
    }
    for (int depth = 0; depth < 3; ++depth) {
        EXPECT_FALSE(isFree(mutex));
        EXPECT_EQ(0, mutex.give());
    }
    EXPECT_TRUE(isFree(mutex));
}

TEST(GPALMutex, letsOneThreadInAtATime)
{
    constexpr int ROUNDS = 2000;
    GPALMutex mutex(GPAL_MUTEX_UNLOCKED);
    int counter = 0;
    const auto count = [&] {
        for (int round = 0; round < ROUNDS; ++round) {
            mutex.take();
            mutex.take();
            counter = counter + 1;
            mutex.give();
            mutex.give();
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(2 * ROUNDS, counter);
}

TEST(GPALMutex, reportsTheErrorOfAGiveByAStranger)
{
    GPALMutex mutex(GPAL_MUTEX_LOCKED);
    int result = 0;
    std::thread([&] { result = mutex.give(); }).join();
    EXPECT_EQ(EPERM, result);
    mutex.give();
    EXPECT_EQ(EPERM, mutex.give());
}

TEST(GPALMutex, reportsTheErrorOfATake)
{
    GPALMutex mutex(GPAL_MUTEX_UNLOCKED);
    // A recursive mutex has hardly an error to offer; one that checks for errors has.
    pthread_mutex_destroy(inside(mutex));
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(inside(mutex), &attributes);
    pthread_mutexattr_destroy(&attributes);
    EXPECT_EQ(0, mutex.take());
    EXPECT_EQ(EDEADLK, mutex.take());
    EXPECT_EQ(0, mutex.give());
}

TEST(GPALMutex, destroysThePosixMutexAtItsEndAndNoAttributeBefore)
{
    const pthread_mutex_t* destroyed = nullptr;
    int attributesDestroyed = 0;
    support::Replacement mutexes(support::calls::pthread_mutex_destroy,
                                 [&](pthread_mutex_t* mutex) {
                                     destroyed = mutex;
                                     return support::calls::pthread_mutex_destroy.original(mutex);
                                 });
    support::Replacement attributes(support::calls::pthread_mutexattr_destroy,
                                    [&](pthread_mutexattr_t*) { return ++attributesDestroyed; });
    const void* place = nullptr;
    {
        GPALMutex mutex(GPAL_MUTEX_UNLOCKED);
        place = &mutex;
        EXPECT_EQ(nullptr, destroyed);
    }
    EXPECT_EQ(place, destroyed);
    EXPECT_EQ(0, attributesDestroyed);
}
