/// \file
/// What clients that were built against these headers rely on, checked while this is compiled: the
/// places of virtual functions and the order of fields.
#ifndef GPAL_TESTS_LAYOUT_LAYOUT_H
#define GPAL_TESTS_LAYOUT_LAYOUT_H

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace layout
{

/// Never defined, and a call to it does not compile.
__attribute__((error("this virtual function has moved to another place"))) void isElsewhere();

/// Whether \p function, of exactly the type \p Function, has the place \p slot (from 0) in the
/// table of virtual functions that its class has first. A destructor takes two places.
///
/// The C++ ABI of all our processors stores a virtual function's offset in the table and marks it
/// by the lowest bit, of either of the two words that a pointer to a member function has. No
/// constant expression may look at them, but the optimiser does.
template <typename Function>
__attribute__((always_inline)) inline void inSlot(Function function, std::size_t slot)
{
    struct {
        std::size_t function;
        std::size_t adjustment;
    } words{};
    static_assert(std::is_member_function_pointer_v<Function> && sizeof words == sizeof function);
    std::memcpy(&words, &function, sizeof words);
    const bool isVirtual = ((words.function | words.adjustment) & 1) != 0;
    if (!isVirtual || words.function / sizeof(void*) != slot) {
        isElsewhere();
    }
}

/// What would follow the virtual functions of \p Class.
template <typename Class>
struct Further : Class {
    virtual void further();
};

/// Whether the first table of \p Class ends after \p slots places.
template <typename Class>
__attribute__((always_inline)) inline void hasSlots(std::size_t slots)
{
    static_assert(std::is_polymorphic_v<Class>);
    inSlot(&Further<Class>::further, slots);
}

/// Whether \p Class has a virtual destructor and no other virtual function.
template <typename Class>
__attribute__((always_inline)) inline void hasOnlyItsDestructor()
{
    static_assert(std::has_virtual_destructor_v<Class>);
    hasSlots<Class>(2);
}

/// True; does not compile for a function that is not of the type \p Function. For overloaded ones.
template <typename Function>
constexpr bool isDeclared(Function)
{
    return true;
}

template <std::size_t... values>
constexpr bool ascend()
{
    const std::size_t all[] = {values...};
    for (std::size_t i = 1; i < sizeof...(values); ++i) {
        if (all[i - 1] >= all[i]) {
            return false;
        }
    }
    return true;
}

/// Whether the fields of \p Class follow each other as their offsets are listed here. To be
/// instantiated explicitly: there, private fields may be named.
template <typename Class, std::size_t... offsets>
struct InOrder {
    static_assert(ascend<offsets...>(), "fields have changed places");
};

/// Whether a field of \p Class is at the place \p expected. To be instantiated explicitly.
template <typename Class, std::size_t offset, std::size_t expected>
struct At {
    static_assert(offset == expected, "a field has moved");
};

} // namespace layout

#endif
