#include "short_memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<std::size_t> smallestRefusedSize{SIZE_MAX};

void* allocated(std::size_t size)
{
    void* const memory = size < smallestRefusedSize ? std::malloc(size) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

namespace support
{

ShortMemory::ShortMemory(std::size_t smallestRefused)
{
    smallestRefusedSize = smallestRefused;
}

ShortMemory::~ShortMemory()
{
    smallestRefusedSize = SIZE_MAX;
}

} // namespace support

void* operator new(std::size_t size)
{
    return allocated(size);
}

void* operator new[](std::size_t size)
{
    return allocated(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
