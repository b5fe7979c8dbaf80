// The report of all processes redirects the output of the process that asks for it, so each test
// asks in a child of its own.

#include <gpal/MemoryInformation.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gpal/Process.h>
#include <gpal/ProcessManager.h>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "forked.h"
#include "support/descriptors.h"
#include "support/observed.h"
#include "support/private_mounts.h"
#include "support/soft_limit.h"
#include "support/temporary_directory.h"
#include "support/temporary_mounts.h"
#include "support/throwing_manager.h"

namespace
{

using testing::HasSubstr;
using testing::Not;

const char* const TOOL_BOX = "/bin/busybox";

const char* const STAND_IN_OUTPUT =
    "[/bin/busybox][top][-d][0][-a][-n][1][-l][600][-b]\nto standard error\n";

/// The destructor of a child process takes two seconds, which nothing here depends on.
class NoDelay
{
private:
    support::Replacement<unsigned int(unsigned int)> m_sleep{support::calls::sleep,
                                                             [](unsigned int) { return 0U; }};
};

/// Whether the machine starts this program.
bool runs(const char* program)
{
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execl(program, program, nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) != 127;
}

/// The tests need a place where the tool box is, to put something over it.
#define GPAL_WITH_PRIVATE_TOOL_BOX()                                                               \
    GPAL_IN_PRIVATE_NAMESPACES();                                                                  \
    if (!support::exists(TOOL_BOX)) {                                                              \
        GTEST_SKIP() << "no " << TOOL_BOX << " here to put a stand-in over";                       \
    }                                                                                              \
    static_assert(true)

/// Six of the tests read what the stand-in, a program of the tests' own, prints.
#define GPAL_WITH_STAND_IN_THAT_RUNS()                                                             \
    GPAL_WITH_PRIVATE_TOOL_BOX();                                                                  \
    if (!runs(STAND_IN_TOP)) {                                                                     \
        GTEST_SKIP() << "programs of this processor do not start by themselves here";              \
    }                                                                                              \
    useStandIn()

class MemoryInformationOfAll : public testing::Test
{
protected:
    void useStandIn() { m_standIn.emplace(STAND_IN_TOP, TOOL_BOX); }

    /// Asks for the report in a child; returns the answer and what \p before and \p after noted. A
    /// sanitizer would look at the object through descriptors, of which there may be no more.
    std::string ask(
        const std::function<void(std::ostream&)>& after = [](std::ostream&) {},
        const std::function<void()>& before = [] {})
    {
        return inForkedChild([&](std::ostream & notes) __attribute__((no_sanitize("vptr"))) {
            before();
            notes << (MemoryInformation().getAllMemoryInfo(m_file) ? "true" : "false");
            after(notes);
        });
    }

    /// The same, with \p failure out of the process manager.
    template <typename Failure>
    std::string askWithManagerThatFailsWith(Failure failure)
    {
        return inForkedChild([&](std::ostream& notes) {
            const NoDelay noDelay;
            ProcessManagement::initialize(new support::ThrowingManager<Failure>(failure));
            try {
                notes << (MemoryInformation().getAllMemoryInfo(m_file) ? "true" : "false");
            } catch (const Failure&) {
                notes << "passed on";
            }
            ProcessManagement::uninitialize();
        });
    }

    std::string report() const { return support::contentOf(m_file); }

    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.path("report");
    std::optional<support::ShownInPlace> m_standIn;
};

} // namespace

TEST_F(MemoryInformationOfAll, startsTopWithItsArgumentsAndAnEmptyEnvironment)
{
    GPAL_WITH_STAND_IN_THAT_RUNS();
    // The stand-in ends with a status that is not success, which does not matter.
    EXPECT_EQ(ask(), "true");
    EXPECT_EQ(report(), STAND_IN_OUTPUT);
}

TEST_F(MemoryInformationOfAll, waitsForTheEndAndReapsTheChild)
{
    GPAL_WITH_STAND_IN_THAT_RUNS();
    EXPECT_EQ(ask([this](std::ostream& notes) {
                  notes << (report() == STAND_IN_OUTPUT ? ", all there" : ", too early");
                  const bool childless = waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
                  notes << (childless ? ", reaped" : ", a child left");
              }),
              "true, all there, reaped");
}

TEST_F(MemoryInformationOfAll, whatTheProcessPrintsLaterGoesToTheFileToo)
{
    GPAL_WITH_STAND_IN_THAT_RUNS();
    EXPECT_EQ(ask([](std::ostream&) {
                  std::fputs("later output\n", stdout);
                  std::fflush(stdout);
                  std::cout << "of a stream" << std::endl;
                  std::cerr << "and an error\n";
              }),
              "true");
    EXPECT_EQ(report(), std::string(STAND_IN_OUTPUT) + "later output\nof a stream\nand an error\n");
}

TEST_F(MemoryInformationOfAll, whatTheProcessPrintedBeforeDoesNotGoToTheFile)
{
    GPAL_WITH_STAND_IN_THAT_RUNS();
    const support::Captured output(STDOUT_FILENO);
    EXPECT_EQ(ask([](std::ostream&) {}, [] { std::fputs("printed before\n", stdout); }), "true");
    EXPECT_EQ(report(), STAND_IN_OUTPUT);
    EXPECT_EQ(output.text(), "printed before\n");
}

TEST_F(MemoryInformationOfAll, keepsNoOtherDescriptorOpen)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    useStandIn();
    int free = -1;
    EXPECT_EQ(ask(
                  [&free](std::ostream& notes) {
                      notes << (support::lowestFreeDescriptor() == free ? ", closed"
                                                                        : ", left open");
                  },
                  [&free] { free = support::lowestFreeDescriptor(); }),
              "true, closed");
    // Without standard input the file gets that number for a while.
    EXPECT_EQ(ask(
                  [](std::ostream& notes) {
                      notes << (support::lowestFreeDescriptor() == 0 ? ", closed" : ", left open");
                  },
                  [] { close(STDIN_FILENO); }),
              "true, closed");
}

TEST_F(MemoryInformationOfAll, givesAProcessWithoutOutputOne)
{
    GPAL_WITH_STAND_IN_THAT_RUNS();
    EXPECT_EQ(ask([](std::ostream&) { std::fputs("later\n", stdout); },
                  [] {
                      close(STDOUT_FILENO);
                      close(STDERR_FILENO);
                  }),
              "true");
    EXPECT_EQ(report(), std::string(STAND_IN_OUTPUT) + "later\n");
}

TEST_F(MemoryInformationOfAll, failsWhereOneOfTheTwoOutputsCannotBeRedirected)
{
    // With so few descriptors allowed, the second or the third is one too many.
    for (const rlim_t allowed : {1U, 2U}) {
        std::optional<support::SoftLimit> limit;
        EXPECT_EQ(ask([&limit](std::ostream&) { limit.reset(); },
                      [&limit, allowed] {
                          close(STDIN_FILENO);
                          limit.emplace(RLIMIT_NOFILE, allowed);
                      }),
                  "false");
    }
}

TEST_F(MemoryInformationOfAll, makesTheFileReadableByAllAndWritableByItsOwner)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    useStandIn();
    EXPECT_EQ(ask([](std::ostream&) {}, [] { umask(0); }), "true");
    struct stat file {
    };
    ASSERT_EQ(stat(m_file.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777U, 0644U);
}

TEST_F(MemoryInformationOfAll, opensTheFileForReadingAndWriting)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    useStandIn();
    EXPECT_EQ(ask([](std::ostream& notes) {
                  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
                      const int flags = fcntl(descriptor, F_GETFL);
                      notes << ((flags & O_ACCMODE) == O_RDWR ? ", both" : ", one")
                            << ((flags & O_APPEND) == 0 ? "" : " at the end");
                  }
              }),
              "true, both, both");
}

TEST_F(MemoryInformationOfAll, overwritesAnOldFileFromItsStartWithoutTruncatingIt)
{
    GPAL_WITH_STAND_IN_THAT_RUNS();
    const std::string old(200, '#');
    std::ofstream(m_file) << old;
    EXPECT_EQ(ask(), "true");
    const std::string output = STAND_IN_OUTPUT;
    EXPECT_EQ(report(), output + old.substr(output.size()));
}

TEST_F(MemoryInformationOfAll, fileThatCannotBeOpenedRedirectsAndStartsNothing)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    useStandIn();
    const support::Captured output(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    const support::RecordedLog log;
    const auto after = [&log](std::ostream& notes) {
        std::fputs("output\n", stdout);
        std::fputs("error\n", stderr);
        notes << ", " << log.lines().size() << " log lines";
    };
    m_file = m_directory.path("missing/report");
    EXPECT_EQ(ask(after), "false, 0 log lines");
    m_file = m_directory.path();
    EXPECT_EQ(ask(after), "false, 0 log lines");
    EXPECT_EQ(output.text(), "output\noutput\n");
    EXPECT_EQ(errors.text(), "error\nerror\n");
}

TEST_F(MemoryInformationOfAll, withoutToolBoxItFailsAndTheOutputStaysRedirected)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::EmptyInPlace tools(std::filesystem::canonical("/bin").string());
    const support::RecordedLog log;
    EXPECT_EQ(ask([&log](std::ostream& notes) {
                  std::fputs("output\n", stdout);
                  std::fflush(stdout);
                  std::fputs("error\n", stderr);
                  // The one line is that of the start of a child process.
                  for (const support::LogLine& line : log.lines()) {
                      notes << ", " << line.priority << " " << line.text;
                  }
              }),
              "false, " + std::to_string(LOG_ERR) +
                  " Process ex GPAL Process missing application:/bin/busybox\n");
    EXPECT_EQ(report(), "output\nerror\n");
}

TEST_F(MemoryInformationOfAll, failureOfTheWaitIsAFailureWithoutLogLine)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    useStandIn();
    const support::RecordedLog log;
    EXPECT_EQ(inForkedChild([this, &log](std::ostream& notes) {
                  const NoDelay noDelay;
                  // The same for the wait of the destructor, which calls this no failure.
                  const support::Replacement noWait(support::calls::waitpid,
                                                    [](pid_t, int*, int options) -> pid_t {
                                                        errno = EINTR;
                                                        return options == 0 ? -1 : 0;
                                                    });
                  notes << (MemoryInformation().getAllMemoryInfo(m_file) ? "true" : "false");
                  notes << ", " << log.lines().size() << " log lines";
                  std::fputs("output\n", stdout);
              }),
              "false, 0 log lines");
    EXPECT_THAT(report(), HasSubstr("output\n"));
}

TEST_F(MemoryInformationOfAll, failureOfAProcessFromTheManagerIsAFailure)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    useStandIn();
    EXPECT_EQ(askWithManagerThatFailsWith(GPALProcessException("refused")), "false");
}

TEST_F(MemoryInformationOfAll, otherExceptionsPassToTheCaller)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    useStandIn();
    EXPECT_EQ(askWithManagerThatFailsWith(std::runtime_error("refused")), "passed on");
    EXPECT_EQ(askWithManagerThatFailsWith(GPALException()), "passed on");
}

TEST_F(MemoryInformationOfAll, theMachinesOwnToolBoxAnswersIntoTheFile)
{
    GPAL_WITH_PRIVATE_TOOL_BOX();
    // The device's lists the processes; one that does not know an option says so.
    EXPECT_EQ(ask(), "true");
    EXPECT_THAT(report(), Not(testing::IsEmpty()));
}
