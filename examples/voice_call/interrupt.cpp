#include "interrupt.h"

#include <atomic>
#include <csignal>

namespace voicecall
{
namespace
{

// The handler may run on any thread, in the middle of anything: storing into this is all it does.
std::atomic<int> notedSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "else a signal handler must not use it");

extern "C" void noteSignal(int signalNumber)
{
    notedSignal = signalNumber;
}

} // namespace

void noteInterrupts()
{
    struct sigaction action {
    };
    action.sa_handler = noteSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int interruptedBy()
{
    return notedSignal;
}

} // namespace voicecall
