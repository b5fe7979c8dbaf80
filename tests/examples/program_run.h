/// \file
/// Runs the example program the way a person does.
#ifndef GPAL_TESTS_EXAMPLES_PROGRAM_RUN_H
#define GPAL_TESTS_EXAMPLES_PROGRAM_RUN_H

#include <string>
#include <sys/types.h>
#include <vector>

#include "support/temporary_directory.h"

/// The program, started in a directory, with its output in files there; standard error is a
/// terminal if asked for.
class ProgramRun
{
public:
    enum Errors { ERRORS_IN_FILE, ERRORS_ON_TERMINAL };

    /// \p before is a command that runs the program, if there is one; \p output is a file that
    /// takes standard output in place of the one in the directory.
    ProgramRun(const support::TemporaryDirectory& directory,
               const std::vector<std::string>& arguments, Errors errors = ERRORS_IN_FILE,
               const std::vector<std::string>& before = {}, const std::string& output = "");
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;
    /// Kills a program that is still running.
    ~ProgramRun();

    pid_t id() const { return m_id; }
    /// Waits for the end. Returns the exit status; minus the signal that killed it.
    int wait();

    std::string output() const { return support::contentOf(m_directory.path("stdout")); }
    /// What the program has written to standard error so far.
    std::string errors();

private:
    const support::TemporaryDirectory& m_directory;
    int m_terminal = -1;
    std::string m_terminalText;
    pid_t m_id = -1;
};

#endif
