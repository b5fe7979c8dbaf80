#include "support/failing_allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <pthread.h>

namespace
{

std::atomic<bool> armed{false};
std::atomic<bool> forAll{false};
std::atomic<bool> hasStruck{false};
std::atomic<int> successesLeft{0};
std::atomic<std::size_t> smallestRefused{0};
std::atomic<pthread_t> victim{};
std::atomic<long> inUse{0};

bool fails(std::size_t size)
{
    if (!armed || size < smallestRefused ||
        (!forAll && pthread_equal(victim, pthread_self()) == 0) || successesLeft.fetch_sub(1) > 0) {
        return false;
    }
    hasStruck = true;
    return true;
}

} // namespace

namespace support
{

FailingAllocations::FailingAllocations(int successes, Whose whose, std::size_t smallest)
{
    smallestRefused = smallest;
    successesLeft = successes;
    forAll = whose == OF_ALL_THREADS;
    victim = pthread_self();
    hasStruck = false;
    armed = true;
}

FailingAllocations::~FailingAllocations()
{
    armed = false;
}

bool FailingAllocations::struck()
{
    return hasStruck;
}

long blocksInUse()
{
    return inUse;
}

} // namespace support

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    void* const block = fails(size) ? nullptr : std::malloc(size);
    inUse += block != nullptr ? 1 : 0;
    return block;
}

void operator delete(void* block) noexcept
{
    if (block != nullptr) {
        inUse -= 1;
        std::free(block);
    }
}

#include "support/allocation_forms.h" // behind what it goes by
