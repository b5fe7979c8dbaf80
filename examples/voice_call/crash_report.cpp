#include "crash_report.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ucontext.h>
#include <unistd.h>

#include <gpal/backtrace.h>

namespace voicecall
{
namespace
{

/// Nothing can be done about a text that can't be written.
void print(const char* text)
{
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) {
        return;
    }
}

/// The stack with names. Looking names up takes memory, which a handler must not rely on to work:
/// it comes last, when all else has been said.
void printStack(void** addresses, int count)
{
    char** const texts = get_backtrace_symbols(addresses, count);
    for (int i = 0; texts != nullptr && i < count; ++i) {
        print("  ");
        print(texts[i]);
        print("\n");
    }
    std::free(texts);
}

extern "C" void reportCrash(int signalNumber, siginfo_t* /*info*/, void* context)
{
    constexpr int DEEPEST = 32;
    auto* const interrupted = static_cast<ucontext_t*>(context);
    print("\nvoice_call has crashed: ");
    print(signalNumber == SIGBUS ? "SIGBUS" : "SIGSEGV");
    print("\n");
    print(get_context_register_info(interrupted, signalNumber));
    print("\nCall stack:\n");
    void* addresses[DEEPEST];
    printStack(addresses, get_context_backtrace(interrupted, addresses, DEEPEST, signalNumber));
    // The handler has been reset: returning makes the same access again, which now ends the
    // program.
}

} // namespace

void reportCrashes()
{
    struct sigaction action {
    };
    action.sa_sigaction = reportCrash;
    action.sa_flags = SA_SIGINFO | static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGSEGV, &action, nullptr);
    sigaction(SIGBUS, &action, nullptr);
}

void crash()
{
    const volatile std::uintptr_t nowhere = sizeof(int); // volatile: the compiler must not see it
    *reinterpret_cast<volatile int*>(nowhere) = 0;
}

} // namespace voicecall
