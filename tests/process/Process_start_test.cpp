// Starting programs, and all that can be wrong with them.
#include <gpal/Process.h>

#include <csignal>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <syslog.h>

#include <gpal/ProcessManager.h>
#include <gpal/ProcessTypeString.h>

#include "programs.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char* const MISSING = "GPAL Process missing application";
const char* const NOT_EXECUTABLE = "GPAL Process application not executable";

LogLine startFailure(const std::string& message, const std::string& path)
{
    return {LOG_ERR, "Process ex " + message + ":" + path + "\n"};
}

void expectNothingStarted(Process& process)
{
    EXPECT_EQ(0, process.ID());
    EXPECT_EQ(ProcessTypeString::GENERIC_PROCESS, process.type());
}

/// A manager that looks at the process it is told of and gives an answer of the test's.
class AnsweringManager : public ProcessManager
{
public:
    explicit AnsweringManager(std::string& seen) : ProcessManager(nullptr), m_seen(seen) {}
    int addProcess(Process& process) override
    {
        m_seen = process.type() + (process.isRunning() ? " runs" : " is gone");
        return 42;
    }

private:
    std::string& m_seen;
};

/// A path that nobody can examine although the name is a good one.
std::string belowAFile(const support::TemporaryDirectory& directory)
{
    return directory.file("file", "") + "/program";
}

int exitCodeOf(const std::string& path)
{
    Process process;
    EXPECT_EQ(1, start(process, {path})) << path;
    EXPECT_EQ(path, process.type());
    EXPECT_NE(0, process.ID());
    return process.waitForExit();
}

} // namespace

TEST(Process, isBornWithNothingStarted)
{
    Process process;
    expectNothingStarted(process);
}

TEST(Process, startsAProgramThatIsThenItsTypeAndHasItsId)
{
    Process process;
    EXPECT_EQ(1, start(process, {"/bin/sleep", "60"}));
    EXPECT_EQ("/bin/sleep", process.type());
    EXPECT_GT(process.ID(), 0);
    EXPECT_NE(getpid(), process.ID());
    EXPECT_TRUE(process.isRunning());
    finish(process);
}

TEST(Process, startsTheProgramOfItsConstructorAtOnce)
{
    TextVector argv{"/bin/sh", "-c", "exit 3"};
    Process process(argv.count(), argv.get(), environ, nullptr);
    EXPECT_EQ("/bin/sh", process.type());
    EXPECT_EQ(3, process.waitForExit());
}

TEST(Process, letsTheExceptionOfAFailedStartLeaveItsConstructor)
{
    const support::RecordedLog log;
    TextVector argv{"/not/there"};
    EXPECT_EQ(MISSING,
              failureOf([&] { Process process(argv.count(), argv.get(), environ, nullptr); }));
    EXPECT_THAT(log.lines(), ElementsAre(startFailure(MISSING, "/not/there")));
}

TEST(Process, returnsTheAnswerOfTheManagerWhichIsToldOfTheRunningChild)
{
    std::string seen;
    ProcessManagement::initialize(new AnsweringManager(seen));
    Process process;
    EXPECT_EQ(42, start(process, {"/bin/sleep", "60"}));
    EXPECT_EQ("/bin/sleep runs", seen);
    ProcessManagement::uninitialize();
    finish(process);
}

TEST(Process, logsNothingWhenAllIsWell)
{
    const support::RecordedLog log;
    Process process;
    start(process, {"/bin/true"});
    EXPECT_EQ(0, process.waitForExit());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Process, startsNoFileThatCannotBeExamined)
{
    const support::TemporaryDirectory directory;
    const std::string loop = directory.path("loop");
    ASSERT_EQ(0, symlink("loop", loop.c_str()));
    for (const std::string& path : {std::string("/not/there"), belowAFile(directory), loop,
                                    std::string(), "/" + std::string(5000, 'x') + "/y"}) {
        const support::RecordedLog log;
        Process process;
        EXPECT_EQ(MISSING, failureOf([&] { start(process, {path}); }));
        ASSERT_EQ(1U, log.lines().size());
        EXPECT_EQ(startFailure(MISSING, path).text.substr(0, 2000),
                  log.lines()[0].text.substr(0, 2000));
        EXPECT_EQ(LOG_ERR, log.lines()[0].priority);
        expectNothingStarted(process);
    }
}

TEST(Process, takesAMissingPathForAMissingProgram)
{
    for (const bool withVector : {true, false}) {
        const support::RecordedLog log;
        Process process;
        char* empty[] = {nullptr};
        EXPECT_EQ(MISSING, failureOf([&] {
                      process.start(0, withVector ? empty : nullptr, environ, nullptr);
                  }));
        ASSERT_EQ(1U, log.lines().size());
        EXPECT_EQ(LOG_ERR, log.lines()[0].priority);
        EXPECT_THAT(log.lines()[0].text,
                    testing::StartsWith("Process ex GPAL Process missing application:"));
        expectNothingStarted(process);
    }
}

TEST(Process, startsNoFileThatNeitherItsOwnerNorItsGroupMayExecute)
{
    const support::TemporaryDirectory directory;
    const std::string path = directory.file("program", "#!/bin/sh\n");
    for (const mode_t mode : {0000U, 0001U, 0600U, 0666U, 0667U, 0601U, 07001U}) {
        ASSERT_EQ(0, chmod(path.c_str(), mode));
        const support::RecordedLog log;
        Process process;
        EXPECT_EQ(NOT_EXECUTABLE, failureOf([&] { start(process, {path}); })) << mode;
        EXPECT_THAT(log.lines(), ElementsAre(startFailure(NOT_EXECUTABLE, path))) << mode;
        expectNothingStarted(process);
    }
}

TEST(Process, startsAFileThatItsOwnerOrItsGroupMayExecute)
{
    const support::TemporaryDirectory directory;
    const std::string path = directory.file("program", "#!/bin/sh\nexit 5\n");
    for (const mode_t mode : {0700U, 0500U, 0510U, 0755U, 0711U}) {
        ASSERT_EQ(0, chmod(path.c_str(), mode));
        EXPECT_EQ(5, exitCodeOf(path)) << mode;
    }
    // Whether the kernel then lets the caller in is for the child to find out.
    for (const mode_t mode : {0100U, 0010U, 0410U}) {
        ASSERT_EQ(0, chmod(path.c_str(), mode));
        EXPECT_THAT(exitCodeOf(path), testing::AnyOf(5, 126, 127, 2, 255)) << mode;
    }
}

TEST(Process, examinesTheFileThatALinkLeadsTo)
{
    const support::TemporaryDirectory directory;
    writeProgram(directory.path("program"), "#!/bin/sh\nexit 6\n", 0700);
    const std::string link = directory.path("link");
    ASSERT_EQ(0, symlink("program", link.c_str()));
    EXPECT_EQ(6, exitCodeOf(link));
    chmod(link.c_str(), 0600);
    Process process;
    const support::RecordedLog log;
    EXPECT_EQ(NOT_EXECUTABLE, failureOf([&] { start(process, {link}); }));
}

TEST(Process, showsAProgramThatTheKernelRefusesOnlyAsExitCode255)
{
    const support::RecordedLog log;
    const support::TemporaryDirectory directory;
    EXPECT_EQ(255, exitCodeOf(writeProgram(directory.path("text"), "exit 3\n", 0700)));
    EXPECT_EQ(255, exitCodeOf(writeProgram(directory.path("other"), "#!/not/there\n", 0700)));
    EXPECT_EQ(255, exitCodeOf(writeProgram(directory.path("empty"), "", 0700)));
    EXPECT_EQ(255, exitCodeOf(directory.path())) << "a directory has execute bits too";
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Process, startsASecondChildAndForgetsTheFirst)
{
    Process process;
    ASSERT_EQ(1, start(process, {"/bin/sleep", "60"}));
    const pid_t first = process.ID();
    ASSERT_EQ(1, startShell(process, "exit 4"));
    EXPECT_NE(first, process.ID());
    EXPECT_EQ("/bin/sh", process.type());
    EXPECT_EQ(4, process.waitForExit());
    EXPECT_EQ(0, kill(first, 0)) << "the first one runs on";
    int status = 0;
    EXPECT_EQ(0, waitpid(first, &status, WNOHANG));
    kill(first, SIGKILL);
    EXPECT_EQ(first, waitpid(first, &status, 0));
}

TEST(Process, keepsItsChildWhenASecondStartFails)
{
    Process process;
    ASSERT_EQ(1, start(process, {"/bin/sleep", "60"}));
    const int first = process.ID();
    const support::RecordedLog log;
    EXPECT_EQ(MISSING, failureOf([&] { start(process, {"/not/there"}); }));
    EXPECT_EQ(first, process.ID());
    EXPECT_EQ("/bin/sleep", process.type()) << "the type changes only once the checks are passed";
    finish(process);
}

TEST(Process, canBeStartedAfterAFailedStart)
{
    const support::RecordedLog log;
    Process process;
    EXPECT_EQ(MISSING, failureOf([&] { start(process, {"/not/there"}); }));
    EXPECT_EQ(1, startShell(process, "exit 8"));
    EXPECT_EQ(8, process.waitForExit());
}

TEST(Process, usesNeitherTheArgumentCountNorTheLastArgument)
{
    char extra[] = "/not/there";
    for (const int count : {-1, 0, 1, 1000}) {
        TextVector argv{"/bin/sh", "-c", "exit 9"};
        Process process;
        EXPECT_EQ(1, process.start(count, argv.get(), environ, extra));
        EXPECT_EQ(9, process.waitForExit());
    }
}
