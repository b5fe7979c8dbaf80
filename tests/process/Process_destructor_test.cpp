// What becomes of a child whose object goes.
#include <gpal/Process.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <pthread.h>
#include <sys/wait.h>
#include <syslog.h>

#include "programs.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"

namespace calls = support::calls;
using support::LogLine;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// A process object whose child has ended and was reaped; what it meets next is a `Kernel`.
std::unique_ptr<Process> endedProcess()
{
    auto process = std::make_unique<Process>();
    start(*process, {"/bin/true"});
    EXPECT_EQ(0, process->waitForExit());
    return process;
}

/// Stands in for the kernel while a process object goes, and writes down what is asked of it.
class Kernel
{
public:
    explicit Kernel(int child) : m_child(child) {}

    bool refusesTermination = false;
    int secondsToLive = INT_MAX; ///< of the child, counted in the seconds slept through
    pid_t reaped = 0;            ///< what the attempt to reap gives
    int errorLeft = 0;           ///< errno after it

    std::vector<std::string> calls() const { return m_calls; }
    int probes() const { return m_probes; }

private:
    void note(const std::string& call, pid_t child)
    {
        m_calls.push_back(child == m_child ? call : call + " of a stranger");
    }

    int takeSignal(pid_t child, int signal)
    {
        if (signal == 0) {
            ++m_probes;
            return child == m_child && m_slept < secondsToLive ? 0 : -1;
        }
        note(signal == SIGTERM ? "SIGTERM" : "signal " + std::to_string(signal), child);
        errno = EPERM;
        return signal == SIGTERM && refusesTermination ? -1 : 0;
    }

    int m_child;
    int m_slept = 0;
    int m_probes = 0;
    std::vector<std::string> m_calls;
    Replacement<int(pid_t, int)> m_kill{
        calls::kill, [this](pid_t child, int signal) { return takeSignal(child, signal); }};
    Replacement<pid_t(pid_t, int*, int)> m_waitpid{
        calls::waitpid, [this](pid_t child, int*, int options) {
            note(options == WNOHANG ? "try to reap" : "wait", child);
            errno = errorLeft;
            return reaped;
        }};
    Replacement<unsigned int(unsigned int)> m_sleep{calls::sleep, [this](unsigned int seconds) {
                                                        m_calls.push_back("sleep " +
                                                                          std::to_string(seconds));
                                                        m_slept += static_cast<int>(seconds);
                                                        return 0U;
                                                    }};
};

LogLine notDeleted(int child)
{
    return {LOG_ERR, "Process (pid:" + std::to_string(child) + ") was not deleted correctly\n"};
}

/// Records how long the layer sleeps in place of sleeping.
class SkippedSleep
{
public:
    std::vector<unsigned int> seconds;

private:
    Replacement<unsigned int(unsigned int)> m_sleep{calls::sleep, [this](unsigned int asked) {
                                                        seconds.push_back(asked);
                                                        return 0U;
                                                    }};
};

} // namespace

TEST(ProcessDestructor, asksNothingOfTheKernelWhenNothingWasStarted)
{
    const support::RecordedLog log;
    const Kernel kernel(0);
    {
        const Process process;
    }
    EXPECT_THAT(kernel.calls(), IsEmpty());
    EXPECT_EQ(0, kernel.probes());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessDestructor, leavesAChildThatIsGoneAlone)
{
    const support::RecordedLog log;
    std::unique_ptr<Process> process = endedProcess();
    Kernel kernel(process->ID());
    kernel.secondsToLive = 0;
    process.reset();
    EXPECT_THAT(kernel.calls(), IsEmpty());
    EXPECT_EQ(1, kernel.probes());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessDestructor, terminatesTheChildTriesToReapItOnceAndSleepsForTwoSeconds)
{
    const support::RecordedLog log;
    std::unique_ptr<Process> process = endedProcess();
    const Kernel kernel(process->ID());
    process.reset();
    EXPECT_THAT(kernel.calls(), ElementsAre("SIGTERM", "try to reap", "sleep 2"))
        << "no grace period";
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessDestructor, killsAChildThatCannotBeTerminatedAfterFourSeconds)
{
    std::unique_ptr<Process> process = endedProcess();
    Kernel kernel(process->ID());
    kernel.refusesTermination = true;
    process.reset();
    EXPECT_THAT(kernel.calls(), ElementsAre("SIGTERM", "sleep 1", "sleep 1", "sleep 1", "sleep 1",
                                            "signal 9", "try to reap", "sleep 2"));
}

TEST(ProcessDestructor, waitsNoLongerForAChildThatCannotBeTerminatedThanItLives)
{
    for (const int seconds : {1, 2, 3}) {
        std::unique_ptr<Process> process = endedProcess();
        Kernel kernel(process->ID());
        kernel.refusesTermination = true;
        kernel.secondsToLive = seconds;
        process.reset();
        std::vector<std::string> expected(static_cast<std::size_t>(seconds), "sleep 1");
        expected.insert(expected.begin(), "SIGTERM");
        expected.insert(expected.end(), {"try to reap", "sleep 2"});
        EXPECT_EQ(expected, kernel.calls());
    }
}

TEST(ProcessDestructor, doesNotKillAChildThatGoesInTheFourthSecond)
{
    std::unique_ptr<Process> process = endedProcess();
    Kernel kernel(process->ID());
    kernel.refusesTermination = true;
    kernel.secondsToLive = 4;
    process.reset();
    EXPECT_THAT(kernel.calls(), ElementsAre("SIGTERM", "sleep 1", "sleep 1", "sleep 1", "sleep 1",
                                            "try to reap", "sleep 2"));
}

TEST(ProcessDestructor, logsAnErrorOfReapingUnlessTheChildIsNoChild)
{
    for (const int error : {EINTR, EINVAL, ECHILD}) {
        const support::RecordedLog log;
        std::unique_ptr<Process> process = endedProcess();
        const int child = process->ID();
        Kernel kernel(child);
        kernel.reaped = -1;
        kernel.errorLeft = error;
        process.reset();
        EXPECT_THAT(kernel.calls(), ElementsAre("SIGTERM", "try to reap", "sleep 2"));
        if (error == ECHILD) {
            EXPECT_THAT(log.lines(), IsEmpty());
        } else {
            EXPECT_THAT(log.lines(), ElementsAre(notDeleted(child)));
        }
    }
}

TEST(ProcessDestructor, takesAnErrorThatAnOlderCallLeftForOneOfReaping)
{
    for (const int leftover : {0, EINTR, ENOENT}) {
        const support::RecordedLog log;
        std::unique_ptr<Process> process = endedProcess();
        const int child = process->ID();
        Kernel kernel(child);
        kernel.reaped = child;
        kernel.errorLeft = leftover;
        process.reset();
        EXPECT_THAT(log.lines(), ElementsAre(notDeleted(child))) << leftover;
    }
}

TEST(ProcessDestructor, logsNothingWhenTheChildWasReapedAndTheOlderErrorSaysNoChild)
{
    const support::RecordedLog log;
    std::unique_ptr<Process> process = endedProcess();
    Kernel kernel(process->ID());
    kernel.reaped = process->ID();
    kernel.errorLeft = ECHILD;
    process.reset();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessDestructor, logsNothingForAChildThatIsNotDeadYet)
{
    const support::RecordedLog log;
    std::unique_ptr<Process> process = endedProcess();
    Kernel kernel(process->ID());
    kernel.reaped = 0;
    kernel.errorLeft = EINTR;
    process.reset();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessDestructor, reapsAChildThatEndedAndLogsItAllTheSame)
{
    const support::RecordedLog log;
    const SkippedSleep sleeps;
    auto process = std::make_unique<Process>();
    start(*process, {"/bin/true"});
    const int child = process->ID();
    siginfo_t info{};
    ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT));
    errno = 0;
    process.reset();
    EXPECT_EQ(-1, waitpid(child, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno) << "reaped";
    EXPECT_THAT(log.lines(), ElementsAre(notDeleted(child)));
    EXPECT_THAT(sleeps.seconds, ElementsAre(2U));
}

TEST(ProcessDestructor, endsARunningChild)
{
    const support::RecordedLog log;
    const SkippedSleep sleeps;
    auto process = std::make_unique<Process>();
    start(*process, {"/bin/sleep", "60"});
    const int child = process->ID();
    process.reset();
    int status = 0;
    if (waitpid(child, &status, 0) == child) { // else it was quick enough to be reaped
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(SIGTERM, WTERMSIG(status));
    }
    EXPECT_EQ(-1, kill(child, 0));
}

TEST(ProcessDestructor, takesNoTimeOnceTheChildIsReaped)
{
    const SkippedSleep sleeps;
    {
        Process process;
        start(process, {"/bin/true"});
        process.waitForExit();
    }
    EXPECT_THAT(sleeps.seconds, IsEmpty());
}

TEST(ProcessDestructor, takesTwoSecondsAndLeavesAChildThatIgnoresTheSignalRunning)
{
    const support::RecordedLog log;
    const support::TemporaryDirectory directory;
    auto process = std::make_unique<Process>();
    startShell(*process, "trap '' TERM; : > \"$1\"; exec sleep 60", directory.path("ready"));
    const int child = process->ID();
    ASSERT_TRUE(support::eventually([&] { return support::exists(directory.path("ready")); }));
    const auto before = std::chrono::steady_clock::now();
    process.reset();
    EXPECT_GE(support::millisecondsSince(before), 1990);
    int status = 0;
    EXPECT_EQ(0, waitpid(child, &status, WNOHANG)) << "still there";
    EXPECT_THAT(log.lines(), IsEmpty());
    kill(child, SIGKILL);
    EXPECT_EQ(child, waitpid(child, &status, 0));
}

TEST(ProcessDestructor, holdsTheCancellationOfItsCallerOffUntilItIsDone)
{
    const Replacement interruptible(calls::sleep, [](unsigned int) {
        pthread_testcancel();
        return 0U;
    });
    auto* const process = new Process;
    start(*process, {"/bin/sleep", "60"});
    const int child = process->ID();
    support::PlainThread thread([process] {
        pthread_cancel(pthread_self());
        delete process;
    });
    EXPECT_TRUE(thread.wasCancelledOnlyAtItsEnd());
    waitpid(child, nullptr, 0);
}
