/// \file
/// The order of virtual functions, which clients built against these headers rely on: a look at an
/// object's table as the C++ ABI of all our processors lays it out.
#ifndef GPAL_TESTS_SUPPORT_SLOTS_H
#define GPAL_TESTS_SUPPORT_SLOTS_H

#include <cstring>

namespace support
{

/// The code address in the place \p index (from 0) of the table that \p object points to. A virtual
/// destructor takes two places: the one that destroys, then the one that deletes too.
inline void* slot(const void* object, int index)
{
    void* const* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return table[index];
}

/// Calls the place \p index of \p object's table as a member function with these argument types:
/// `callSlot<int(bool)>(object, 2, true)`.
template <typename Signature>
struct SlotCall;

template <typename Result, typename... Arguments>
struct SlotCall<Result(Arguments...)> {
    static Result call(void* object, int index, Arguments... arguments)
    {
        using Function = Result (*)(void*, Arguments...);
        return reinterpret_cast<Function>(slot(object, index))(object, arguments...);
    }
};

template <typename Signature, typename... Arguments>
auto callSlot(void* object, int index, Arguments... arguments)
{
    return SlotCall<Signature>::call(object, index, arguments...);
}

} // namespace support

#endif
