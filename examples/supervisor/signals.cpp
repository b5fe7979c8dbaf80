#include "signals.h"

#include <sys/select.h>

namespace supervisor
{
namespace
{

const int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// Single-threaded: the handler runs where signals are let through.
volatile std::sig_atomic_t notedSignal = 0;

extern "C" void noteSignal(int signalNumber)
{
    notedSignal = signalNumber;
}

extern "C" void wakeUp(int) {}

void handle(int signalNumber, void (*handler)(int))
{
    struct sigaction action {
    };
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART | SA_NOCLDSTOP;
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
}

/// Whether the supervisor is to outlive its terminal.
bool runsUnderNohup()
{
    struct sigaction action {
    };
    return sigaction(SIGHUP, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

Signals::Signals()
{
    sigset_t heldBack;
    sigemptyset(&heldBack);
    sigaddset(&heldBack, SIGCHLD);
    for (const int signalNumber : ENDING_SIGNALS) {
        sigaddset(&heldBack, signalNumber);
    }
    sigprocmask(SIG_BLOCK, &heldBack, &m_whileWaiting);
    handle(SIGCHLD, wakeUp);
    sigdelset(&m_whileWaiting, SIGCHLD);
    for (const int signalNumber : ENDING_SIGNALS) {
        if (signalNumber != SIGHUP || !runsUnderNohup()) {
            handle(signalNumber, noteSignal);
            sigdelset(&m_whileWaiting, signalNumber);
        }
    }
}

Signals::LetThrough::LetThrough(const Signals& signals)
{
    sigprocmask(SIG_SETMASK, &signals.m_whileWaiting, &m_before);
}

Signals::LetThrough::~LetThrough()
{
    sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

void Signals::wait(int milliseconds) const
{
    const timespec limit{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    pselect(0, nullptr, nullptr, nullptr, milliseconds < 0 ? nullptr : &limit, &m_whileWaiting);
}

int Signals::interruptedBy()
{
    return notedSignal;
}

} // namespace supervisor
