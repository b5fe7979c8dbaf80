#include <gpal/Process.h>

#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gpal/OSWrappers.h>
#include <gpal/ProcessManager.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/syslogger.h>

#include "base/cancellation.h"
#include "base/errno_kept.h"
#include "cancelled.h"

using gpal::detail::DestroyedIfCancelled;

namespace
{

const char* const MISSING = "GPAL Process missing application";
const char* const NOT_EXECUTABLE = "GPAL Process application not executable";
const char* const CREATION_FAILURE = "GPAL Process creation failure";
const char* const CANNOT_KILL = "GPAL Process cannot kill process";
const char* const UNKNOWN = "GPAL Process unknown process";
const char* const OTHER_FAILURE = "GPAL Process exception";

[[noreturn]] void failStart(const char* message, const char* path)
{
    const gpal::detail::ErrnoKept ofTheFailure;
    syslogger_error("Process ex %s:%s\n", message, path == nullptr ? "(null)" : path);
    throw GPALProcessException(message);
}

/// Throws, logged, unless the file can be examined and its owner or group may execute it. That
/// others may does not count.
void checkProgram(const char* path)
{
    struct stat file {
    };
    if (path == nullptr || stat(path, &file) != 0) {
        failStart(MISSING, path);
    }
    if ((file.st_mode & (S_IXUSR | S_IXGRP)) == 0) {
        failStart(NOT_EXECUTABLE, path);
    }
}

/// The parent stands still until the child has left through execve or _exit; in between the two
/// share memory, so the child does nothing else.
pid_t spawnChild(char** argv, char** envp)
{
    const pid_t child = vfork();
    if (child == 0) {
        execve(argv[0], argv, envp);
        _exit(-1);
    }
    return child;
}

/// Gives a child that could not be sent SIGTERM up to four seconds to go before it is killed.
void killAfterGrace(int pid)
{
    constexpr int POLLS = 4;
    for (int polls = 0; polls < POLLS && OSWrappers::testPID(pid); ++polls) {
        OSWrappers::sleepFor(1);
    }
    if (OSWrappers::testPID(pid)) {
        kill(pid, SIGKILL);
    }
}

} // namespace

GPALProcessException::GPALProcessException(const std::string& message) : m_message(message) {}

GPALProcessException::GPALProcessException(const GPALProcessException&) = default;

GPALProcessException& GPALProcessException::operator=(const GPALProcessException&) = default;

GPALProcessException::~GPALProcessException() = default;

const std::string& GPALProcessException::message() const
{
    return m_message;
}

const char* GPALProcessException::what() const
{
    return m_message.c_str();
}

ProcessIfc::~ProcessIfc() = default;

ProcessFactoryIfc::~ProcessFactoryIfc() = default;

Process::Process() : m_pid(0), m_type(ProcessTypeString::GENERIC_PROCESS) {}

Process::Process(int argc, char** argv, char** envp, char* extra) : Process()
{
    const DestroyedIfCancelled whenCancelled(*this);
    Process::start(argc, argv, envp, extra);
}

Process::~Process()
{
    const gpal::detail::CancellationHeldOff untilReaped;
    if (m_pid == 0 || !OSWrappers::testPID(m_pid)) {
        return;
    }
    // A delivered SIGTERM gets no time to work before the single attempt to reap.
    if (kill(m_pid, SIGTERM) == -1) {
        killAfterGrace(m_pid);
    }
    int status = 0;
    // errno may still be an older call's here, so a successful reap can log this line too. Kept:
    // the line is part of the interface.
    if (waitpid(m_pid, &status, WNOHANG) != 0 && errno != ECHILD) {
        syslogger_error("Process (pid:%d) was not deleted correctly\n", m_pid);
    }
    OSWrappers::sleepFor(2);
}

int Process::start(int /*argc*/, char** argv, char** envp, char* /*extra*/)
{
    ProcessManagement::initialize();
    const char* path = argv == nullptr ? nullptr : argv[0];
    checkProgram(path);
    if (path != nullptr) { // GCOVR_EXCL_BR_LINE: one that is null has been refused
        m_type = path;
    }
    const pid_t child = spawnChild(argv, envp);
    if (child == -1) {
        failStart(CREATION_FAILURE, path);
    }
    m_pid = child;
    return ProcessManagement::manager()->addProcess(*this);
}

int Process::waitForExit()
{
    int status = 0;
    if (waitpid(m_pid, &status, 0) == -1) {
        if (errno == ECHILD) {
            return 0;
        }
        throw GPALProcessException(OTHER_FAILURE);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int Process::destroy()
{
    return processResult(kill(m_pid, SIGKILL));
}

int Process::sigusr2()
{
    return processResult(kill(m_pid, SIGUSR2));
}

int Process::sigusr1()
{
    return processResult(kill(m_pid, SIGUSR1));
}

/// The result of a signal that was sent is deliberately -1: it is part of the interface.
int Process::processResult(int killResult)
{
    if (killResult != -1) {
        return -1;
    }
    switch (errno) {
    case EPERM:
        throw GPALProcessException(CANNOT_KILL);
    case ESRCH:
        throw GPALProcessException(UNKNOWN);
    default:
        throw GPALProcessException(OTHER_FAILURE);
    }
}

std::string Process::type()
{
    return m_type;
}

int Process::ID()
{
    return m_pid;
}

bool Process::isRunning()
{
    return OSWrappers::testPID(m_pid);
}

ProcessIfc* ProcessFactory::getProcess()
{
    return new Process;
}

void ProcessFactory::destroy(ProcessIfc* process)
{
    delete process;
}
