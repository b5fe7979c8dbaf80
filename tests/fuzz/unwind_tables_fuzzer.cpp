/// \file
/// Walks a stack by any unwind tables.
///
/// Before the loaded object's bytes, with its code and its tables, there are numbers of two bytes
/// each: where in it its index and the program counter are, the words of the stack, and of one byte
/// each which of those the registers point to.
#include <array>
#include <dlfcn.h>

#include "check.h"
#include "diagnostics/unwind_tables/unwinder.h"
#include "input.h"

namespace
{

using namespace gpal::detail;
using fuzz::check;

constexpr std::size_t STACK_WORDS = 16;

/// What the loader knows beside its own.
struct AnyObject {
    std::vector<std::uint8_t> bytes;
    std::size_t index = 0;

    std::uintptr_t begin() const { return reinterpret_cast<std::uintptr_t>(bytes.data()); }
    std::uintptr_t end() const { return begin() + bytes.size(); }
};

const AnyObject* loaded = nullptr;

struct Stack {
    std::array<std::uintptr_t, STACK_WORDS> words{};

    bool holds(std::uint64_t address) const
    {
        const auto begin = reinterpret_cast<std::uintptr_t>(words.data());
        return address >= begin && address < begin + sizeof words;
    }
};

/// Goes on as long as it stays in the object and on the stack.
void walk(const Registers& start, const AnyObject& object, const Stack& stack)
{
    constexpr int LONGEST = 64;
    Unwinder unwinder(start);
    std::uint64_t sp = start.value[STACK_POINTER];
    for (int frame = 0; frame < LONGEST && stack.holds(sp); ++frame) {
        const std::uint64_t pc = unwinder.registers().value[PC];
        const bool isKnown = unwinder.isInCode() && unwinder.isDescribed();
        if (pc < object.begin() || pc > object.end() ||
            !(isKnown ? unwinder.step() == Unwinder::Step::CALLER
                      : unwinder.stepFromFirstInstruction())) {
            return;
        }
        const std::uint64_t next = unwinder.registers().value[STACK_POINTER];
        check(next >= sp || unwinder.isInterrupted()); // which may have been on another stack
        sp = next;
    }
}

} // namespace

extern "C" int _dl_find_object(void* address, dl_find_object* result) noexcept
{
    static const auto inner =
        reinterpret_cast<int (*)(void*, dl_find_object*)>(dlsym(RTLD_NEXT, "_dl_find_object"));
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    if (loaded == nullptr || number < loaded->begin() || number >= loaded->end()) {
        return inner(address, result);
    }
    result->dlfo_map_start = reinterpret_cast<void*>(loaded->begin());
    result->dlfo_map_end = reinterpret_cast<void*>(loaded->end());
    result->dlfo_eh_frame = reinterpret_cast<void*>(loaded->begin() + loaded->index);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    AnyObject object;
    object.index = input.number<std::uint16_t>();
    const std::uintptr_t pc = input.number<std::uint16_t>();
    Stack stack;
    for (std::uintptr_t& word : stack.words) {
        word = input.number<std::uint16_t>();
    }
    Registers start{};
    for (std::uint64_t& value : start.value) {
        value = reinterpret_cast<std::uintptr_t>(&stack.words[input.byte() % STACK_WORDS]);
    }
    object.bytes = input.rest();
    if (object.index > object.bytes.size()) {
        return 0;
    }
    // Small numbers are places in the object, and what is on the stack is addresses.
    for (std::uintptr_t& word : stack.words) {
        word += object.begin();
    }
    start.value[PC] = object.begin() + pc;
    loaded = &object;
    walk(start, object, stack);
    loaded = nullptr;
    return 0;
}
