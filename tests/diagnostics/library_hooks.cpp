#include "library_hooks.h"

namespace hooks
{

std::function<void()> loading = [] {};
std::function<void()> unloading = [] {};

void reset()
{
    loading = [] {};
    unloading = [] {};
}

} // namespace hooks

// The libraries call these two.

extern "C" void whileLoading()
{
    hooks::loading();
}

extern "C" void whileUnloading()
{
    hooks::unloading();
}
