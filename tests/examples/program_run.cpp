#include "program_run.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/programs.h"

namespace
{

/// A new terminal: the side that the test reads, and the name of the program's side.
int openTerminal(std::string& name)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    EXPECT_GE(terminal, 0);
    EXPECT_EQ(grantpt(terminal), 0);
    EXPECT_EQ(unlockpt(terminal), 0);
    name = ptsname(terminal);
    return terminal;
}

} // namespace

ProgramRun::ProgramRun(const support::TemporaryDirectory& directory,
                       const std::vector<std::string>& arguments, Errors errors,
                       const std::vector<std::string>& before, const std::string& output)
    : m_directory(directory)
{
    std::string errorPath = directory.path("stderr");
    if (errors == ERRORS_ON_TERMINAL) {
        m_terminal = openTerminal(errorPath);
    }
    std::vector<std::string> words =
        support::commandLine(PROGRAM, PROGRAM_EMULATOR, PROGRAM_VARIABLE, arguments);
    words.insert(words.begin(), before.begin(), before.end());
    m_id = support::startProgram(words, [&] {
        if (chdir(directory.path().c_str()) != 0) {
            _exit(126);
        }
        support::redirect(STDOUT_FILENO, output.empty() ? directory.path("stdout") : output);
        support::redirect(STDERR_FILENO, errorPath);
    });
}

ProgramRun::~ProgramRun()
{
    if (m_id > 0) {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    if (m_terminal >= 0) {
        close(m_terminal);
    }
}

int ProgramRun::wait()
{
    errors(); // a terminal that nobody reads fills up
    const int status = support::waitForExit(m_id);
    m_id = -1;
    return status;
}

std::string ProgramRun::errors()
{
    if (m_terminal < 0) {
        return support::contentOf(m_directory.path("stderr"));
    }
    char block[4096];
    for (ssize_t got = 0; (got = read(m_terminal, block, sizeof(block))) > 0;) {
        m_terminalText.append(block, static_cast<std::size_t>(got));
    }
    return m_terminalText;
}
