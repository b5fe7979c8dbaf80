#include <gpal/Storage.h>

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <new>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include <gpal/Process.h>
#include <gpal/ProcessManager.h>

#include "support/descriptors.h"
#include "support/failing_allocations.h"
#include "support/file_calls.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/private_mounts.h"
#include "support/temporary_directory.h"
#include "support/throwing_manager.h"

namespace calls = support::calls;

using support::Captured;
using support::FailingAllocations;
using support::LogLine;
using support::openDescriptors;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Comparison : public testing::Test
{
protected:
    int compare() const { return Storage::compareFiles(m_first, m_second); }

    LogLine failed(const std::string& reason) const
    {
        return {LOG_NOTICE, "Compare of files failed: " + reason + "\n"};
    }

    support::TemporaryDirectory m_directory;
    const std::string m_first = m_directory.file("first", "text");
    const std::string m_second = m_directory.file("second", "text");
    support::RecordedLog m_log;
};

class RealComparison : public Comparison
{
protected:
    void SetUp() override
    {
        if (access("/bin/busybox", X_OK) != 0) {
            GTEST_SKIP() << "no /bin/busybox here";
        }
    }

    Captured m_output{1}; // where cmp says what differs
    Captured m_errors{2};
};

/// With a "/bin" of the test's own, in which there is a shell and what the test puts there.
class ComparisonByAStandIn : public Comparison
{
protected:
    void SetUp() override
    {
        GPAL_IN_PRIVATE_NAMESPACES();
        std::filesystem::create_directory(m_directory.path("bin"));
        std::filesystem::copy_file("/bin/sh", m_directory.path("bin/sh"));
        ASSERT_TRUE(support::mountOver(m_directory.path("bin"), "/bin"));
        m_isMounted = true;
    }

    void TearDown() override
    {
        if (m_isMounted) {
            umount2("/bin", MNT_DETACH);
        }
    }

    void putInPlace(const std::string& script, mode_t mode = 0755) const
    {
        m_directory.file("bin/busybox", "#!/bin/sh\n" + script + "\n");
        chmod(m_directory.path("bin/busybox").c_str(), mode);
    }

private:
    bool m_isMounted = false;
};

} // namespace

TEST_F(RealComparison, isZeroForEqualFiles)
{
    EXPECT_EQ(compare(), 0);
    EXPECT_EQ(Storage::compareFiles(m_first, m_first), 0);
    EXPECT_EQ(m_output.text(), "");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(RealComparison, isOneForDifferentFiles)
{
    for (const char* other : {"tex", "text\n", "tExt", ""}) {
        m_directory.file("second", other);
        EXPECT_EQ(compare(), 1) << other;
    }
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(RealComparison, isTwoWhenAFileCannotBeRead)
{
    EXPECT_EQ(Storage::compareFiles(m_first, m_directory.path("missing")), 2);
    EXPECT_EQ(Storage::compareFiles(m_directory.path("missing"), m_second), 2);
    EXPECT_THAT(m_log.lines(), IsEmpty()) << "that is the applet's to say";
}

TEST_F(RealComparison, leavesNothingBehindAndLosesNoTime)
{
    const auto before = openDescriptors();
    const Replacement never(calls::sleep, [](unsigned int) {
        ADD_FAILURE() << "waits for a child that has ended";
        return 0U;
    });
    EXPECT_EQ(compare(), 0);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD) << "no child is left";
}

TEST_F(RealComparison, failsAndLeavesNothingBehindWhenTheProcessManagerThrows)
{
    const Replacement quick(calls::sleep, [](unsigned int) { return 0U; });
    pid_t child = 0;
    ProcessManagement::initialize(new support::ThrowingManager(std::bad_alloc(), &child));
    EXPECT_EQ(compare(), -1);
    ProcessManagement::uninitialize();
    EXPECT_THAT(m_log.lines(),
                testing::Contains(LogLine{LOG_NOTICE, "Failed to start cmp utility\n"}));
    EXPECT_GT(child, 0);
    waitpid(child, nullptr, 0); // unless it was quick enough to be reaped
    EXPECT_EQ(kill(child, 0), -1);
}

TEST_F(RealComparison, canBeCancelledAndEndsTheChild)
{
    const Replacement quick(calls::sleep, [](unsigned int) { return 0U; });
    pid_t child = 0;
    const Replacement waiting(calls::waitpid, [&](pid_t pid, int* status, int options) {
        if (pid > 0) { // not where the threads library waits for its own
            child = pid;
            support::cancelOneself();
        }
        return calls::waitpid.original(pid, status, options);
    });
    support::PlainThread thread([this] { compare(); });
    EXPECT_TRUE(thread.wasCancelled());
    calls::waitpid.original(child, nullptr, 0);
    EXPECT_TRUE(support::eventually([child] { return kill(child, 0) == -1; }));
}

TEST_F(ComparisonByAStandIn, runsCmpOfTheMultiCallBinaryOnBothFiles)
{
    putInPlace("printf '[%s]' \"$0\" \"$@\"");
    const Captured output(1);
    EXPECT_EQ(Storage::compareFiles("a b", "$HOME;*"), 0);
    EXPECT_EQ(output.text(), "[/bin/busybox][cmp][a b][$HOME;*]");
}

TEST_F(ComparisonByAStandIn, runsInTheEnvironmentAndDirectoryOfTheProcess)
{
    putInPlace("printf '%s|%s|' \"$GPAL_TEST_SET\" \"${GPAL_TEST_UNSET-unset}\"; pwd -P");
    setenv("GPAL_TEST_SET", "just now", 1);
    unsetenv("GPAL_TEST_UNSET");
    std::filesystem::current_path(m_directory.path());
    const Captured output(1);
    EXPECT_EQ(compare(), 0);
    EXPECT_EQ(output.text(), "just now|unset|" + m_directory.path() + "\n");
    std::filesystem::current_path("/");
}

TEST_F(ComparisonByAStandIn, isTheExitCodeWhateverItIs)
{
    for (const int code : {0, 1, 2, 3, 127, 255}) {
        putInPlace("exit " + std::to_string(code));
        EXPECT_EQ(compare(), code);
    }
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(ComparisonByAStandIn, isMinusOneWhenASignalEndedIt)
{
    putInPlace("kill -9 $$");
    EXPECT_EQ(compare(), -1);
    EXPECT_THAT(m_log.lines(), IsEmpty()) << "no failure of the layer";
}

TEST_F(ComparisonByAStandIn, failsWhenThereIsNoSuchProgram)
{
    const auto before = openDescriptors();
    EXPECT_EQ(compare(), -1);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(LogLine{LOG_ERR, "Process ex GPAL Process missing application:"
                                             "/bin/busybox\n"},
                            failed("GPAL Process missing application")));
}

TEST_F(ComparisonByAStandIn, failsWhenTheProgramMayNotBeRun)
{
    putInPlace("exit 0", 0601);
    EXPECT_EQ(compare(), -1);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(LogLine{LOG_ERR, "Process ex GPAL Process application not executable:"
                                             "/bin/busybox\n"},
                            failed("GPAL Process application not executable")));
}

TEST_F(ComparisonByAStandIn, failsWhenItCannotBeWaitedForAndEndsTheChild)
{
    putInPlace("while :; do :; done");
    pid_t child = 0;
    const Replacement failing(calls::waitpid, [&](pid_t pid, int*, int options) {
        child = pid;
        errno = EINTR;
        return (options & WNOHANG) != 0 ? 0 : -1;
    });
    std::vector<unsigned int> pauses;
    const Replacement quick(calls::sleep, [&](unsigned int seconds) {
        EXPECT_EQ(m_log.lines().size(), 1U) << "the failure is logged before the child is ended";
        pauses.push_back(seconds);
        return 0U;
    });
    EXPECT_EQ(compare(), -1);
    EXPECT_THAT(m_log.lines(), ElementsAre(failed("GPAL Process exception")));
    EXPECT_THAT(pauses, ElementsAre(2U)) << "the destructor ran";
    int status = 0;
    ASSERT_EQ(calls::waitpid.original(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST_F(Comparison, failsWhenTheProgramCannotBeExamined)
{
    const Replacement failing(calls::stat, [](const char* path, struct stat* file) {
        if (std::string(path) == "/bin/busybox") {
            errno = EACCES;
            return -1;
        }
        return calls::stat.original(path, file);
    });
    EXPECT_EQ(compare(), -1);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(LogLine{LOG_ERR, "Process ex GPAL Process missing application:"
                                             "/bin/busybox\n"},
                            failed("GPAL Process missing application")));
}

TEST_F(Comparison, failsWhenMemoryIsShort)
{
    {
        // What is smaller than the child's object is to be had: the log's lines.
        const FailingAllocations memory(0, FailingAllocations::OF_THIS_THREAD, sizeof(Process));
        EXPECT_EQ(compare(), -1);
        EXPECT_TRUE(FailingAllocations::struck());
    }
    EXPECT_THAT(m_log.lines(), ElementsAre(LogLine{LOG_NOTICE, "Failed to start cmp utility\n"}));
}
