// A process forks while one of its threads holds the lock of the registry. The child has no such
// thread, and yet it comes to its end.
#include <atomic>
#include <cstdlib>
#include <new>
#include <pthread.h>
#include <unistd.h>

#include <gpal/Threader.h>

#include "support/forked_exit.h"

namespace
{

std::atomic<pthread_t> holder{};
std::atomic<bool> isHeld{false};

/// Asks for the priority of a thread that the registry does not know: it makes an entry.
void* askForAnUnknownThread(void* id)
{
    holder = pthread_self();
    Threader::setThreadPriority(GPAL_THREAD_PRIORITY_NORMAL, reinterpret_cast<unsigned long>(id));
    return nullptr;
}

} // namespace

/// The entry is made under the lock, and never comes to be.
void* operator new(std::size_t size)
{
    while (pthread_equal(holder, pthread_self()) != 0) {
        isHeld = true;
        sleep(1);
    }
    return std::malloc(size);
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}

int main()
{
    static int unknown;
    pthread_t thread{};
    pthread_create(&thread, nullptr, askForAnUnknownThread, &unknown);
    while (!isHeld) {
        usleep(1000);
    }
    support::exitInAForkedChild(5);
}
