#include <gpal/semaphore_c_api.h>

#include <gpal/Semaphore.h>

void* new_Semaphore(int initialCount, int maxCount)
{
    return new Semaphore(initialCount, maxCount, false);
}

void* new_RSemaphore(int initialCount, int maxCount)
{
    return new Semaphore(initialCount, maxCount, true);
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
