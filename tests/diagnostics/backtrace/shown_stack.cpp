// A program for the debugger to look at: shows its stack, name by name, and calls `breakHere`; with
// an argument, in the handler of a fault.
#include <gpal/backtrace.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/mman.h>

#include "chain.h"

extern "C" {

__attribute__((noinline)) void breakHere()
{
    asm volatile("");
}

__attribute__((noinline)) int showStack(void*)
{
    void* buffer[64];
    const int count = get_backtrace(buffer, 64);
    for (int i = 0; i < count; ++i) {
        Dl_info found{};
        const bool named = dladdr(buffer[i], &found) != 0 && found.dli_sname != nullptr;
        std::printf("= %s\n", named ? found.dli_sname : "?");
    }
    std::fflush(stdout);
    breakHere();
    asm volatile("");
    return 0;
}

int callChain(void* argument)
{
    const int result = chainFirst(showStack, argument);
    asm volatile("");
    return result;
}

void showInHandler(int, siginfo_t*, void*)
{
    showStack(nullptr);
    std::_Exit(0);
}
}

int main(int argc, char**)
{
    int result = 0;
    if (argc == 1) {
        result = chainThroughLibrary(callChain, nullptr);
    } else {
        struct sigaction action {
        };
        action.sa_sigaction = showInHandler;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, nullptr);
        void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        result = chainFirst(chainLeaf, page);
    }
    asm volatile("");
    return result;
}
