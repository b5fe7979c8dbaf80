/// \file
/// The other forms of `operator new` and `operator delete`, by those that the program defines: for
/// a single block without exceptions, and for giving it back. To be included by the one file of a
/// program that defines these two, behind them. By themselves, the others would go the way of a
/// sanitizer's.
#ifndef GPAL_TESTS_SUPPORT_ALLOCATION_FORMS_H
#define GPAL_TESTS_SUPPORT_ALLOCATION_FORMS_H

#include <cstddef>
#include <new>

// NOLINTBEGIN(misc-definitions-in-headers): one file of a program includes this

void* operator new(std::size_t size)
{
    void* const block = operator new(size, std::nothrow);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    operator delete(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept
{
    operator delete(block);
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete[](void* block) noexcept
{
    operator delete(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    operator delete(block);
}

// NOLINTEND(misc-definitions-in-headers)

#endif
