// A plugin is unloaded, built anew, and loaded again at the same place.
#include <gpal/backtrace.h>

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>

#include "chain.h"
#include "stacks.h"
#include "support/temporary_directory.h"

extern "C" __attribute__((noinline)) int recordFromPlugin(void* stack)
{
    *static_cast<Stack*>(stack) = recordedStack();
    return 0;
}

struct Walked {
    Names names;
    void* function;
};

/// Puts the plugin \p build in place as \p file, and walks through its function. Exported, so that
/// stacks through it have names everywhere.
__attribute__((noinline)) Walked walkThrough(const char* build, const std::string& file)
{
    Walked walked{};
    std::filesystem::remove(file);
    std::filesystem::copy_file(build, file);
    void* plugin = dlopen(file.c_str(), RTLD_NOW);
    if (plugin == nullptr) {
        ADD_FAILURE() << dlerror();
        return walked;
    }
    walked.function = dlsym(plugin, "pluginCall");
    auto* call = reinterpret_cast<int (*)(int (*)(void*), void*)>(walked.function);
    Stack stack;
    for (int walk = 0; walk < 2; ++walk) {
        call(recordFromPlugin, &stack);
        walked.names = namesOf(stack);
    }
    dlclose(plugin);
    return walked;
}

TEST(ReplacedPlugin, isWalkedThroughAsItIsNow)
{
    const support::TemporaryDirectory directory;
    const std::string file = directory.path("plugin.so");
    const Walked first = walkThrough(PLUGIN_SMALL, file);
    const Walked second = walkThrough(PLUGIN_LARGE, file);
    const Walked third = walkThrough(PLUGIN_SMALL, file);
    EXPECT_EQ(first.function, second.function) << "not loaded where it was";
    ASSERT_FALSE(first.names.empty());
    EXPECT_EQ(1, std::count(first.names.begin(), first.names.end(), "pluginCall"));
    EXPECT_EQ("main", first.names.back());
    EXPECT_EQ(first.names, second.names);
    EXPECT_EQ(first.names, third.names);
}
