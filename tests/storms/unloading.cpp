// A program without the layer whose threads load it, use it and unload it, all at once.
//
//     unloading LIBRARY
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int THREADS = 4;

template <typename Function>
Function* function(void* library, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(library, name));
}

/// Ends the program when something is not as it should be.
void require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::exit(1);
    }
}

void loadUseAndUnload(const char* file)
{
    void* const library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    require(library != nullptr, "not loaded");
    void* const semaphore = function<void*(int, int)>(library, "new_Semaphore")(1, 1);
    const auto take = function<int(void*, int)>(library, "take_Semaphore");
    require(take(semaphore, 0) == 1 && take(semaphore, 1) == 0, "not taken");
    function<void(void*)>(library, "give_Semaphore")(semaphore);
    function<void(void*)>(library, "delete_Semaphore")(semaphore);
    require(dlclose(library) == 0, "not unloaded");
}

long entriesIn(const char* directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return std::distance(begin(entries), end(entries));
}

} // namespace

int main(int argc, char** argv)
{
    require(argc == 2, "which library?");
    const int rounds = std::getenv("GPAL_STORM_MINUTES") != nullptr ? 10000 : 200;
    alarm(600);
    const long descriptors = entriesIn("/proc/self/fd");
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([=] {
            for (int round = 0; round < rounds; ++round) {
                loadUseAndUnload(argv[1]);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const bool stays = dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr;
    std::printf("loaded and unloaded %d times, and then %s\n", rounds * THREADS,
                stays ? "still there" : "gone");
    require(entriesIn("/proc/self/fd") == descriptors, "descriptors are left");
    return 0;
}
