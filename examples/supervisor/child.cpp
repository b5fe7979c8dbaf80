#include "child.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace supervisor
{
namespace
{

[[noreturn]] void failStart(const char* program, const std::string& reason)
{
    throw std::runtime_error(std::string("cannot start ") + program + ": " + reason);
}

/// A directory has execute bits too, and would fail only in the child.
void checkThatItIsNoDirectory(const char* program)
{
    struct stat file {
    };
    if (stat(program, &file) == 0 && S_ISDIR(file.st_mode)) {
        failStart(program, "is a directory");
    }
}

int startProcess(ProcessIfc& process, char** command, const Signals& signals)
{
    checkThatItIsNoDirectory(command[0]);
    int argc = 0;
    while (command[argc] != nullptr) {
        ++argc;
    }
    try {
        const Signals::LetThrough toTheChildToo(signals);
        process.start(argc, command, environ, nullptr);
    } catch (const GPALProcessException& failure) {
        failStart(command[0], failure.message());
    }
    return process.ID();
}

} // namespace

Child::Child(char** command, const Signals& signals)
    : m_signals(signals), m_process(m_factory.getProcess())
{
    try {
        m_id = startProcess(*m_process, command, signals);
    } catch (...) {
        m_factory.destroy(m_process);
        throw;
    }
}

Child::~Child()
{
    if (!m_awaited) {
        end();
    }
    m_factory.destroy(m_process); // at once: it finds the child gone
}

int Child::awaitEnd()
{
    while (!hasEnded() && Signals::interruptedBy() == 0) {
        m_signals.wait(-1);
    }
    return end();
}

/// Whether it has ended, without taking the exit code from the process object.
bool Child::hasEnded() const
{
    siginfo_t state{};
    return waitid(P_PID, static_cast<id_t>(m_id), &state, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           state.si_pid == m_id;
}

/// Asks it to end, and kills it if it takes too long. Its process id stays its own until it is
/// reaped here, so that nobody else can be hit.
int Child::end()
{
    constexpr std::chrono::milliseconds GRACE(2000);
    constexpr int POLL_MS = 100;
    if (!hasEnded()) {
        kill(m_id, SIGTERM);
        const auto deadline = std::chrono::steady_clock::now() + GRACE;
        while (!hasEnded() && std::chrono::steady_clock::now() < deadline) {
            m_signals.wait(POLL_MS);
        }
        if (!hasEnded()) {
            m_process->destroy();
        }
    }
    m_awaited = true;
    return m_process->waitForExit();
}

} // namespace supervisor
