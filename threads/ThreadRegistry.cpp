#include "threads/ThreadRegistry.h"

#include <new>
#include <pthread.h>

#include "base/locked.h"

namespace gpal::detail::threadRegistry
{
namespace
{

/// A list: it is as long as there are threads, and a search costs little beside making a thread.
struct Entry {
    unsigned long thread;
    int kernelId;
    Entry* next;
};

/// Threads start and end up to the end of the process, so nothing that they need is left to a
/// static object, which would be destroyed before that.
Entry* entries = nullptr;
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

/// The link to the entry of \p thread, or the last one, which is null.
Entry*& linkTo(unsigned long thread)
{
    Entry** link = &entries;
    while (*link != nullptr && (*link)->thread != thread) {
        link = &(*link)->next;
    }
    return *link;
}

/// The entry that there is, or a new one; null without memory: an exception would end the process
/// on a thread that has not begun yet.
const Entry* entryOf(unsigned long thread, int kernelIdOfANewOne)
{
    Entry*& link = linkTo(thread);
    try {
        if (link == nullptr) {
            link = new Entry{thread, kernelIdOfANewOne, nullptr};
        }
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return link;
}

void removeAt(Entry*& link)
{
    const Entry* const removed = link;
    if (removed != nullptr) {
        link = removed->next;
        delete removed;
    }
}

/// Nobody is waited for: in a forked child the holder of the lock may not exist.
__attribute__((destructor)) void forgetAll()
{
    if (pthread_mutex_trylock(&mutex) == 0) {
        while (entries != nullptr) {
            removeAt(entries);
        }
        pthread_mutex_unlock(&mutex);
    }
}

} // namespace

void add(unsigned long thread, int kernelId)
{
    locked(mutex, [=] { entryOf(thread, kernelId); });
}

int kernelIdOf(unsigned long thread)
{
    return locked(mutex, [=] {
        const Entry* const entry = entryOf(thread, 0);
        return entry != nullptr ? entry->kernelId : 0;
    });
}

void remove(unsigned long thread)
{
    locked(mutex, [=] { removeAt(linkTo(thread)); });
}

} // namespace gpal::detail::threadRegistry
