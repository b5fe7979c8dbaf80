// A program that gets into a situation and shows its stack there, as a program of the device has
// it:
//
//     walked_program SITUATION [THREAD [ROOM]]
//
// The way there leads from the program through a library and back. THREAD is main, or what else
// runs the situation: plain, started (which ends in __thread_start), function or body (both of the
// layer's spawner), restart (main, with handlers that let system calls go on).
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gpal/backtrace.h>
#include <gpal/symbolInfo.h>
#include <gpal/Threader.h>
#include <pthread.h>
#include <signal.h>
#include <string>
#include <ucontext.h>

#include "../chain.h"
#include "situations.h"

// Something is left to do after each call, so that no call is the last thing a function does.
#define AFTER_THE_CALL() asm volatile("")

extern "C" {

int room = 64;
void* recorded[64];

/// A line an address: "= ", name, offset, the word there when it has a name.
void show(int count)
{
    std::printf("count %d\n", count);
    for (int i = 0; i < count; ++i) {
        std::string name = symbolInfo::getSymbol(recorded[i]);
        Dl_info found{};
        unsigned int word = 0;
        if (!name.empty() && dladdr(recorded[i], &found) != 0) {
            word = *static_cast<unsigned int*>(recorded[i]);
        }
        const auto offset = reinterpret_cast<unsigned long>(recorded[i]) -
                            reinterpret_cast<unsigned long>(found.dli_saddr);
        std::printf("= %s %lx %08x %p\n", name.empty() ? "?" : name.c_str(),
                    name.empty() ? 0 : offset, word, recorded[i]);
    }
    std::fflush(stdout);
}

void handle(int signal, siginfo_t*, void* context)
{
    auto* interrupted = static_cast<ucontext_t*>(context);
    mcontext_t& machine = interrupted->uc_mcontext;
    const std::string registers = get_context_register_info(interrupted, signal);
    std::printf("signal %d\nbefore %016llx\nra %08x\n", signal, machine.pc,
                static_cast<unsigned int>(machine.gregs[31]));
    const int count = get_context_backtrace(interrupted, recorded, room, signal);
    std::printf("after %016llx\n", machine.pc);
    show(count);
    std::printf("registers\n%s", registers.c_str());
    std::fflush(stdout);
    std::exit(0); // where threads are processes, _exit would end this one only
}

/// Comes back from the library.
int throughLibrary(void* situation)
{
    auto* function = reinterpret_cast<int (*)(void*)>(situation);
    const int result = chainThroughLibrary(function, nullptr);
    AFTER_THE_CALL();
    return result;
}

__attribute__((noinline)) void* threadRoutine(void* situation)
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
    chainFirst(throughLibrary, situation);
    AFTER_THE_CALL();
    return nullptr;
}

__attribute__((noinline)) void* __thread_start(void* situation)
{
    void* result = threadRoutine(situation);
    AFTER_THE_CALL();
    return result;
}

void* startRoutine(void* situation)
{
    void* result = __thread_start(situation);
    AFTER_THE_CALL();
    return result;
}

__attribute__((noinline)) int callMain(int argc, char** argv)
{
    auto* function = reinterpret_cast<int (*)(int, char**)>(dlsym(RTLD_DEFAULT, "main"));
    const int result = function(argc, argv);
    AFTER_THE_CALL();
    return result;
}
}

class Body : public Threadable
{
public:
    explicit Body(void* situation) : m_situation(situation) {}
    void run() override;

private:
    void* m_situation;
};

void Body::run()
{
    threadRoutine(m_situation);
    AFTER_THE_CALL();
}

namespace
{

constexpr int SIGNALS[] = {SIGSEGV, SIGBUS, SIGALRM, SIGUSR1};

void installHandlers(int flags)
{
    // Also for when the stack pointer is not one.
    static char memory[0x40000];
    stack_t alternate{};
    alternate.ss_sp = memory;
    alternate.ss_size = sizeof memory;
    sigaltstack(&alternate, nullptr);
    struct sigaction action {
    };
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO | flags;
    for (const int signal : SIGNALS) {
        sigaction(signal, &action, nullptr);
    }
}

/// Signals of the process are for the thread that will run the situation.
void leaveSignalsToOthers()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

void runOnThread(void* (*routine)(void*), void* situation)
{
    leaveSignalsToOthers();
    pthread_t thread{};
    pthread_create(&thread, nullptr, routine, situation);
    pthread_join(thread, nullptr);
}

void runOnLayersThread(bool ofBody, void* situation)
{
    leaveSignalsToOthers();
    Threader threader;
    Body body(situation);
    unsigned long id = 0;
    if (ofBody) {
        threader.spawn(&id, &body, "walked", GPAL_THREAD_PRIORITY_NORMAL, 0);
    } else {
        threader.spawn(&id, threadRoutine, situation, "walked", GPAL_THREAD_PRIORITY_NORMAL, 0);
    }
    threader.waitForThreadCompletion(id);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        return 2;
    }
    const std::string thread = argc > 2 ? argv[2] : "main";
    room = argc > 3 ? std::atoi(argv[3]) : 64;
    void* situation = dlsym(RTLD_DEFAULT, argv[1]);
    if (situation == nullptr) {
        return 2;
    }
    const bool ofPlanted = std::strstr(argv[1], "planted") != nullptr;
    installHandlers((thread == "restart" ? SA_RESTART : 0) | (ofPlanted ? SA_ONSTACK : 0));
    if (thread == "plain") {
        runOnThread(threadRoutine, situation);
    } else if (thread == "started") {
        runOnThread(startRoutine, situation);
    } else if (thread == "recalled") {
        char main[] = "main";
        char* arguments[] = {argv[0], argv[1], main, nullptr};
        callMain(3, arguments);
    } else if (thread == "function" || thread == "body") {
        runOnLayersThread(thread == "body", situation);
    } else {
        chainFirst(throughLibrary, situation);
    }
    AFTER_THE_CALL();
    return 0;
}
