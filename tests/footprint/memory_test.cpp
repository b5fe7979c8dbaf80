// What one thing more of each kind takes of the heap: the program counts what its libraries hold.
#include <gpal/osPOSIXTimer.h>
#include <gpal/osTimer.h>
#include <gpal/osTimerThread.h>
#include <gpal/Semaphore.h>
#include <gpal/Threader.h>
#include <gpal/Wait.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <malloc.h>
#include <memory>
#include <semaphore.h>
#include <vector>

#include <gtest/gtest.h>

#include "figures.h"
#include "support/observed.h"

namespace
{

std::atomic<long> heldBytes{0};

/// What a block was asked for, noted at its end. Blocks that came from elsewhere have no such note.
struct Note {
    void* block;
    std::size_t size;
};

void* endOf(void* block)
{
    return static_cast<char*>(block) + malloc_usable_size(block) - sizeof(Note);
}

void* taken(void* block, std::size_t size)
{
    if (block != nullptr) {
        const Note note{block, size};
        std::memcpy(endOf(block), &note, sizeof note);
        heldBytes += static_cast<long>(size);
    }
    return block;
}

void given(void* block)
{
    if (block != nullptr) {
        Note note{};
        std::memcpy(&note, endOf(block), sizeof note);
        if (note.block == block) {
            heldBytes -= static_cast<long>(note.size);
        }
    }
}

} // namespace

// The C library's own, under the names that they have there for programs that replace them. Its
// other functions may go by these or not.
extern "C" {

void* __libc_malloc(std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept
{
    return taken(__libc_malloc(size + sizeof(Note)), size);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
void* calloc(std::size_t count, std::size_t size) noexcept
{
    void* const block = malloc(count * size);
    return block != nullptr ? std::memset(block, 0, count * size) : nullptr;
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
void* realloc(void* block, std::size_t size) noexcept
{
    void* const moved = malloc(size);
    if (moved != nullptr && block != nullptr) {
        std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
        free(block);
    }
    return moved;
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
void free(void* block) noexcept
{
    given(block);
    __libc_free(block);
}
}

namespace
{

constexpr int FEW = 8;
constexpr int HOUR_MS = 3600 * 1000;

/// Bytes that one more takes when there are some already.
long bytesPerFurther(const std::function<void()>& makeOne)
{
    for (int i = 0; i < FEW; ++i) {
        makeOne();
    }
    const long before = heldBytes;
    for (int i = 0; i < FEW; ++i) {
        makeOne();
    }
    return (heldBytes - before) / FEW;
}

/// Objects that are kept, in a place that does not grow.
template <typename Object>
class Kept
{
public:
    Kept() { m_objects.reserve(2 * FEW); }
    void add(Object* object) { m_objects.emplace_back(object); }

private:
    std::vector<std::unique_ptr<Object>> m_objects;
};

/// Threads that wait in their body until all are let go.
class Threads
{
public:
    using Spawn = std::function<void(unsigned long* id, void* (*body)(void*), void* argument)>;

    explicit Threads(Spawn spawn) : m_spawn(std::move(spawn))
    {
        m_ids.reserve(2 * FEW);
        sem_init(&m_arrived, 0, 0);
        sem_init(&m_gate, 0, 0);
    }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
    ~Threads()
    {
        for (std::size_t i = 0; i < m_ids.size(); ++i) {
            sem_post(&m_gate);
        }
        for (const unsigned long id : m_ids) {
            pthread_join(id, nullptr);
        }
    }

    void add()
    {
        m_ids.push_back(0);
        m_spawn(&m_ids.back(), waitAtTheGate, this);
        sem_wait(&m_arrived);
    }

private:
    static void* waitAtTheGate(void* threads)
    {
        auto* const self = static_cast<Threads*>(threads);
        sem_post(&self->m_arrived);
        sem_wait(&self->m_gate);
        return nullptr;
    }

    Spawn m_spawn;
    std::vector<unsigned long> m_ids;
    sem_t m_arrived{};
    sem_t m_gate{};
};

long bytesPerThread(const Threads::Spawn& spawn)
{
    Threads threads(spawn);
    return bytesPerFurther([&] { threads.add(); });
}

} // namespace

TEST(Footprint, ofARegisteredThreadBesideAPlainOne)
{
    const auto plain = [](unsigned long* id, void* (*body)(void*), void* argument) {
        pthread_create(id, nullptr, body, argument);
    };
    const auto registered = [](unsigned long* id, void* (*body)(void*), void* argument) {
        Threader().spawn(id, body, argument, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    };
    // The C library keeps some of what its first threads take.
    bytesPerThread(plain);
    bytesPerThread(registered);
    EXPECT_LE(bytesPerThread(registered) - bytesPerThread(plain), BYTES_PER_THREAD);
}

TEST(Footprint, ofASemaphore)
{
    Kept<Semaphore> kept;
    const long bytes = bytesPerFurther([&] { kept.add(new Semaphore(1, 1, false)); });
    EXPECT_LE(bytes, BYTES_PER_SEMAPHORE);
}

TEST(Footprint, ofAWait)
{
    Kept<Wait> kept;
    EXPECT_LE(bytesPerFurther([&] { kept.add(new Wait); }), BYTES_PER_WAIT);
}

TEST(Footprint, ofAnArmedTimer)
{
    osTimerThread monitor;
    Kept<osTimer> kept;
    const long bytes = bytesPerFurther([&] {
        auto* const timer = new osTimer(nullptr, HOUR_MS);
        timer->start();
        kept.add(timer);
    });
    EXPECT_LE(bytes, BYTES_PER_TIMER);
}

TEST(Footprint, ofAnArmedPosixTimer)
{
    const auto bytes = [] {
        const support::Captured trace(1);
        Kept<osPOSIXTimer> kept;
        return bytesPerFurther([&] {
            auto* const timer = new osPOSIXTimer(nullptr, HOUR_MS, nullptr);
            timer->start();
            kept.add(timer);
        });
    };
    EXPECT_LE(bytes(), BYTES_PER_POSIX_TIMER);
}
