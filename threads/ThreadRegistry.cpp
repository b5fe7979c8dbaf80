#include "threads/ThreadRegistry.h"

#include <map>
#include <pthread.h>
#include <utility>

#include "base/locked.h"

namespace gpal::detail::threadRegistry
{
namespace
{

std::map<unsigned long, int> kernelIds;
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

/// The entry of the thread that ended last, kept for the next one: most threads then take no memory
/// for their entry, and a short one need not set up the allocator's cache for itself.
std::map<unsigned long, int>::node_type spareEntry;

void addInSpareEntry(unsigned long thread, int kernelId)
{
    spareEntry.key() = thread;
    spareEntry.mapped() = kernelId;
    auto added = kernelIds.insert(std::move(spareEntry));
    spareEntry = std::move(added.node);
}

} // namespace

void add(unsigned long thread, int kernelId)
{
    locked(mutex, [=] {
        if (spareEntry.empty()) {
            kernelIds.emplace(thread, kernelId);
        } else {
            addInSpareEntry(thread, kernelId);
        }
    });
}

int kernelIdOf(unsigned long thread)
{
    return locked(mutex, [=] { return kernelIds[thread]; });
}

void remove(unsigned long thread)
{
    locked(mutex, [=] {
        auto entry = kernelIds.extract(thread);
        if (!entry.empty()) {
            spareEntry = std::move(entry);
        }
    });
}

} // namespace gpal::detail::threadRegistry
