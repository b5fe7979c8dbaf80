#include "faults/allocations.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include "faults/injector.h"

using faults::Strike;

namespace
{

std::atomic<long> inUse{0};

} // namespace

namespace faults
{

long blocksInUse()
{
    return inUse;
}

} // namespace faults

#ifndef GPAL_FAULTS_SANITIZED

// The C library's own, by its second names for them.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace
{

bool mallocFails()
{
    if (faults::allocationFails(Strike::MALLOC)) {
        errno = ENOMEM;
        return true;
    }
    return false;
}

void* counted(void* block)
{
    inUse += block != nullptr ? 1 : 0;
    return block;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept
{
    return mallocFails() ? nullptr : counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    return mallocFails() ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept
{
    if (mallocFails()) {
        return nullptr;
    }
    void* const moved = __libc_realloc(block, size);
    return block == nullptr ? counted(moved) : moved;
}

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    return mallocFails() ? nullptr : counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
{
    void* const made = memalign(alignment, size);
    if (made == nullptr) {
        return ENOMEM;
    }
    *block = made;
    return 0;
}

void free(void* block) noexcept
{
    inUse -= block != nullptr ? 1 : 0;
    __libc_free(block);
}
}

#endif

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    void* const block = faults::allocationFails(Strike::NEW) ? nullptr : std::malloc(size);
    if (faults::UNDER_SANITIZER && block != nullptr) {
        ++inUse;
    }
    return block;
}

void operator delete(void* block) noexcept
{
    if (faults::UNDER_SANITIZER && block != nullptr) {
        --inUse;
    }
    std::free(block);
}

#include "support/allocation_forms.h" // behind what it goes by
