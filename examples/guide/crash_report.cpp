#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <gpal/gpal.h>
#include <unistd.h>

extern "C" void reportCrash(int signalNumber, siginfo_t*, void* context)
{
    auto* interrupted = static_cast<ucontext_t*>(context);
    void* stack[32];
    const int depth = get_context_backtrace(interrupted, stack, 32, signalNumber);
    const char* registers = get_context_register_info(interrupted, signalNumber);
    write(STDERR_FILENO, registers, std::strlen(registers));
    write(STDERR_FILENO, "\n", 1);
    // Names take memory, which may be what has crashed: they come last.
    char** lines = get_backtrace_symbols(stack, depth);
    for (int i = 0; lines != nullptr && i < depth; ++i) {
        write(STDERR_FILENO, lines[i], std::strlen(lines[i]));
        write(STDERR_FILENO, "\n", 1);
    }
    std::free(lines);
    // SA_RESETHAND has put the default action back: returning crashes again, and now for good.
}

void installCrashReport()
{
    struct sigaction action {
    };
    action.sa_sigaction = reportCrash;
    action.sa_flags = SA_SIGINFO | static_cast<int>(SA_RESETHAND);
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
}

void ringBellAt(std::uintptr_t address)
{
    *reinterpret_cast<volatile int*>(address) = 1;
}

int main()
{
    installCrashReport();
    std::puts("About to ring.");
    std::fflush(stdout);
    const volatile std::uintptr_t nowhere = 4; // volatile: the compiler must not see it
    ringBellAt(nowhere);
}
