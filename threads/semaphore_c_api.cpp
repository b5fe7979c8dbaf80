#include <gpal/semaphore_c_api.h>

#include <new>

#include <gpal/Semaphore.h>

namespace
{

/// An exception would end a program in C.
void* make(int initialCount, int maxCount, bool reentrant)
{
    try {
        return new Semaphore(initialCount, maxCount, reentrant);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

void* new_Semaphore(int initialCount, int maxCount)
{
    return make(initialCount, maxCount, false);
}

void* new_RSemaphore(int initialCount, int maxCount)
{
    return make(initialCount, maxCount, true);
}

int take_Semaphore(void* semaphore, int timeoutMs)
{
    return semaphore == nullptr ? 0 : static_cast<Semaphore*>(semaphore)->take(timeoutMs);
}

int give_Semaphore(void* semaphore)
{
    return semaphore == nullptr ? 0 : static_cast<Semaphore*>(semaphore)->give();
}

void delete_Semaphore(void* semaphore)
{
    delete static_cast<Semaphore*>(semaphore);
}
