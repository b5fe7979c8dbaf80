#include <gpal/backtrace.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace
{

constexpr std::size_t TEXT_SIZE = 512;

unsigned long numberOf(const void* address)
{
    return reinterpret_cast<unsigned long>(address);
}

void describe(const void* address, char* text)
{
    Dl_info found{};
    if (dladdr(address, &found) == 0) {
        std::snprintf(text, TEXT_SIZE, "unknown_symbol(unkown) [0x%08lx]", numberOf(address));
        return;
    }
    const char* file = found.dli_fname;
    const char* symbol = found.dli_sname;
    const unsigned long start = numberOf(found.dli_saddr);
    const unsigned long offset = numberOf(address) - start;
    if (file != nullptr && symbol != nullptr) {
        std::snprintf(text, TEXT_SIZE, "%s(%s+0x%lx) [%08lx]", file, symbol, offset, start);
    } else if (file != nullptr) {
        std::snprintf(text, TEXT_SIZE, "%s(unknown+0x0) [0x%08lx]", file, numberOf(address));
    } else if (symbol != nullptr) {
        std::snprintf(text, TEXT_SIZE, "unknown_file(%s+ 0x%lx) [%08lx]", symbol, offset, start);
    } else {
        std::snprintf(text, TEXT_SIZE, "unknown_file(unkown) [0x%08lx]", numberOf(address));
    }
}

} // namespace

char** get_backtrace_symbols(void** addresses, int count)
{
    constexpr std::size_t SHARE = sizeof(char*) + TEXT_SIZE;
    if (count < 1) {
        return static_cast<char**>(std::calloc(1, SHARE));
    }
    const auto number = static_cast<std::size_t>(count);
    auto* texts = addresses == nullptr ? nullptr : static_cast<char**>(std::calloc(number, SHARE));
    if (texts == nullptr) {
        return nullptr;
    }
    char* text = reinterpret_cast<char*>(texts + number);
    for (std::size_t i = 0; i < number; ++i) {
        describe(addresses[i], text);
        texts[i] = text;
        text += std::strlen(text) + 1;
    }
    return texts;
}
