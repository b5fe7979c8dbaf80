#include "threads/ThreadRegistry.h"

#include <map>
#include <pthread.h>

#include "base/locked.h"

namespace gpal::detail::threadRegistry
{
namespace
{

std::map<unsigned long, int> kernelIds;
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

} // namespace

void add(unsigned long thread, int kernelId)
{
    locked(mutex, [=] { kernelIds.emplace(thread, kernelId); });
}

int kernelIdOf(unsigned long thread)
{
    return locked(mutex, [=] { return kernelIds[thread]; });
}

void remove(unsigned long thread)
{
    locked(mutex, [=] { kernelIds.erase(thread); });
}

} // namespace gpal::detail::threadRegistry
