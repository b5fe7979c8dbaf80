/// \file
/// What the tests of the supervisor share: places to run it in, and its records.
#ifndef GPAL_TESTS_EXAMPLES_SUPERVISOR_RUN_H
#define GPAL_TESTS_EXAMPLES_SUPERVISOR_RUN_H

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "program_run.h"

#include "support/temporary_directory.h"

/// Lines of a text, without their line feeds; what follows the last line feed is not one.
std::vector<std::string> linesOf(const std::string& text);

/// Whether \p records are the starts and ends of the runs 1 to \p runs, in order, each once.
testing::AssertionResult areCompleteRuns(const std::vector<std::string>& records, int runs);

/// A volatile location of the test's own.
class SupervisorTest : public testing::Test
{
protected:
    SupervisorTest();

    /// Puts a `tar` first on PATH that accepts the layer's command lines, if it is not there
    /// already. Returns false when there is none on the machine.
    bool provideTar() const;
    /// Puts a script first on PATH under the name tar.
    void replaceTar(const std::string& script) const;

    /// A script that a test lets the supervisor run.
    std::string script(const std::string& text) const;

    std::string recordPath() const { return m_volatile.path("supervisor.records"); }
    std::vector<std::string> records() const { return linesOf(support::contentOf(recordPath())); }
    std::string archivePath(const std::string& number) const
    {
        return m_volatile.path("supervisor." + number + ".tgz");
    }
    /// The lines of all archives in the order of their numbers, unpacked, then those of the record.
    std::vector<std::string> archivedAndOtherRecords() const;

    /// Fails with status 1 and one line on standard error, which is returned.
    std::string complaint(const std::vector<std::string>& arguments, int status = 1);

    support::TemporaryDirectory m_work;
    support::TemporaryDirectory m_volatile;
    support::TemporaryDirectory m_tools;
};

#endif
