#include "threads/ThreadRegistry.h"

#include <map>
#include <new>
#include <pthread.h>

#include "base/locked.h"

namespace gpal::detail::threadRegistry
{
namespace
{

using KernelIds = std::map<unsigned long, int>;

/// Made for the first thread. Threads start and end up to the end of the process, so nothing that
/// they need is left to a static object, which would be destroyed before that.
KernelIds* kernelIds = nullptr;
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

KernelIds& map()
{
    if (kernelIds == nullptr) {
        kernelIds = new KernelIds;
    }
    return *kernelIds;
}

__attribute__((destructor)) void forgetAll()
{
    locked(mutex, [] {
        delete kernelIds;
        kernelIds = nullptr;
    });
}

} // namespace

void add(unsigned long thread, int kernelId)
{
    locked(mutex, [=] {
        try {
            map().emplace(thread, kernelId);
        } catch (const std::bad_alloc&) {
            // It would end the process on a thread that has not begun yet. Without an entry, only
            // its level can't be changed.
        }
    });
}

int kernelIdOf(unsigned long thread)
{
    return locked(mutex, [=] {
        try {
            return map()[thread];
        } catch (const std::bad_alloc&) {
            return 0; // as for every thread that is not known
        }
    });
}

void remove(unsigned long thread)
{
    locked(mutex, [=] {
        if (kernelIds != nullptr) {
            kernelIds->erase(thread);
        }
    });
}

} // namespace gpal::detail::threadRegistry
