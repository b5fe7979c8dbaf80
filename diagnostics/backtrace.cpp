#include <gpal/backtrace.h>

#include <algorithm>

#include "diagnostics/stack_walker.h"
#include "here.h"

using namespace gpal::detail;

int get_backtrace(void** buffer, int size)
{
    if (buffer == nullptr || size < 1) {
        return 0;
    }
    std::fill_n(buffer, size, nullptr);
    const Here here = gpal::detail::here();
    walkFromHere(here, buffer, size);
    return static_cast<int>(std::find(buffer, buffer + size, nullptr) - buffer);
}

int get_context_backtrace(ucontext_t* context, void** buffer, int size, int signal)
{
    if (buffer == nullptr || size < 1) {
        return 0;
    }
    std::fill_n(buffer, size, nullptr);
    return context == nullptr ? 0 : walkFromContext(*context, signal, buffer, size);
}

int get_ret_addr(unsigned long pc, unsigned long sp, int size, void** buffer)
{
    if (buffer == nullptr || size < 1) {
        return 0;
    }
    return walkFrom(pc, sp, buffer, size);
}

char* get_context_register_info(ucontext_t* context, int signal)
{
    static char text[REGISTERS_TEXT_SIZE];
    text[0] = '\0';
    if (context != nullptr) {
        describeRegisters(*context, signal, text, sizeof text);
    }
    return text;
}
