// Waiting for children, and the signals that are sent to them.
#include <gpal/Process.h>

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <sys/time.h>
#include <sys/wait.h>

#include "programs.h"
#include "support/observed.h"

namespace calls = support::calls;
using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

const char* const CANNOT_KILL = "GPAL Process cannot kill process";
const char* const UNKNOWN = "GPAL Process unknown process";
const char* const OTHER_FAILURE = "GPAL Process exception";

/// Waits until a child has ended, without reaping it.
void awaitEnd(Process& process)
{
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(process.ID()), &info, WEXITED | WNOWAIT);
}

/// The signal that ended a child which was not reaped yet; reaps it.
int endingSignal(Process& process)
{
    int status = 0;
    EXPECT_EQ(process.ID(), waitpid(process.ID(), &status, 0));
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

/// One of the operations that send a signal.
struct Signalling {
    int (Process::*send)();
    int signal;
};

const Signalling SIGNALLINGS[] = {
    {&Process::sigusr1, SIGUSR1}, {&Process::sigusr2, SIGUSR2}, {&Process::destroy, SIGKILL}};

void ignoreAlarm(int /*signal*/) {}

/// Interrupts the system calls of this program every hundredth of a second.
class Interruptions
{
public:
    Interruptions()
    {
        struct sigaction action {
        };
        action.sa_handler = ignoreAlarm; // without SA_RESTART
        sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, 10000}, {0, 10000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions()
    {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        std::signal(SIGALRM, SIG_DFL);
    }
};

} // namespace

TEST(ProcessWaitForExit, returnsTheExitCodeOfTheChild)
{
    for (const int code : {0, 1, 3, 127, 128, 254, 255}) {
        Process process;
        startShell(process, "exit " + std::to_string(code));
        EXPECT_EQ(code, process.waitForExit());
    }
}

TEST(ProcessWaitForExit, returnsMinusOneForAChildThatASignalEnded)
{
    for (const int signal : {SIGKILL, SIGTERM, SIGUSR1, SIGABRT}) {
        Process process;
        start(process, {"/bin/sleep", "60"});
        ASSERT_EQ(0, kill(process.ID(), signal)) << "sent from outside";
        EXPECT_EQ(-1, process.waitForExit()) << signal;
    }
}

TEST(ProcessWaitForExit, takesTheStatusApartAsTheKernelPutsItTogether)
{
    const std::pair<int, int> results[] = {{0x0000, 0},  {0x0300, 3},  {0xff00, 255}, {0x000f, -1},
                                           {0x008b, -1}, {0x0309, -1}, {0x137f, -1},  {0x0400, 4}};
    for (const auto& result : results) {
        Process process;
        const Replacement status(calls::waitpid, [&](pid_t, int* place, int) {
            *place = result.first;
            return 4711;
        });
        EXPECT_EQ(result.second, process.waitForExit()) << std::hex << result.first;
    }
}

TEST(ProcessWaitForExit, waitsForTheChildForAsLongAsItTakes)
{
    std::vector<std::pair<pid_t, int>> asked;
    Process process;
    startShell(process, "exit 3");
    {
        const Replacement recorded(calls::waitpid, [&](pid_t child, int* status, int options) {
            asked.emplace_back(child, options);
            return calls::waitpid.original(child, status, options);
        });
        EXPECT_EQ(3, process.waitForExit());
    }
    EXPECT_THAT(asked, ElementsAre(Pair(process.ID(), 0)));
}

TEST(ProcessWaitForExit, returnsZeroOnceTheChildIsReaped)
{
    Process process;
    startShell(process, "exit 3");
    EXPECT_EQ(3, process.waitForExit());
    EXPECT_EQ(0, process.waitForExit());
    EXPECT_EQ(0, process.waitForExit());
}

TEST(ProcessWaitForExit, returnsZeroForAChildThatSomebodyElseReaped)
{
    Process process;
    startShell(process, "exit 3");
    EXPECT_EQ(0, endingSignal(process));
    EXPECT_EQ(0, process.waitForExit());
}

TEST(ProcessWaitForExit, waitsForAnyChildOfTheGroupWhenNothingWasStarted)
{
    reapAll();
    const pid_t other = fork();
    if (other == 0) {
        _exit(7);
    }
    Process process;
    EXPECT_EQ(7, process.waitForExit());
    EXPECT_EQ(-1, waitpid(other, nullptr, 0)) << "reaped";
    EXPECT_EQ(0, process.waitForExit()) << "no child is left";
}

TEST(ProcessWaitForExit, passesThePidOfAnObjectThatNeverStartedAsItIs)
{
    std::vector<std::pair<pid_t, int>> asked;
    const Replacement recorded(calls::waitpid, [&](pid_t child, int*, int options) {
        asked.emplace_back(child, options);
        errno = ECHILD;
        return -1;
    });
    Process process;
    EXPECT_EQ(0, process.waitForExit());
    EXPECT_THAT(asked, ElementsAre(Pair(0, 0)));
}

TEST(ProcessWaitForExit, throwsOnAnyOtherFailureWithoutLoggingIt)
{
    const support::RecordedLog log;
    for (const int error : {EINTR, EINVAL, EPERM, ESRCH, 0}) {
        const Replacement failing(calls::waitpid, [&](pid_t, int*, int) {
            errno = error;
            return -1;
        });
        Process process;
        EXPECT_EQ(OTHER_FAILURE, failureOf([&] { process.waitForExit(); })) << error;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessWaitForExit, throwsWhenASignalInterruptsIt)
{
    Process process;
    start(process, {"/bin/sleep", "60"});
    {
        const Interruptions often;
        EXPECT_EQ(OTHER_FAILURE, failureOf([&] { process.waitForExit(); }));
    }
    EXPECT_TRUE(process.isRunning()) << "the child is not touched";
    finish(process);
}

TEST(ProcessSignals, areSentToTheChild)
{
    const support::RecordedLog log;
    for (const Signalling& signalling : SIGNALLINGS) {
        Process process;
        start(process, {"/bin/sleep", "60"});
        EXPECT_EQ(-1, (process.*signalling.send)()) << "sent, and no failure";
        EXPECT_EQ(signalling.signal, endingSignal(process));
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessSignals, reachAChildThatEndedUntilItIsReaped)
{
    Process process;
    start(process, {"/bin/true"});
    awaitEnd(process);
    for (const Signalling& signalling : SIGNALLINGS) {
        EXPECT_EQ(-1, (process.*signalling.send)());
    }
    EXPECT_EQ(0, process.waitForExit());
    for (const Signalling& signalling : SIGNALLINGS) {
        EXPECT_EQ(UNKNOWN, failureOf([&] { (process.*signalling.send)(); }));
    }
}

TEST(ProcessSignals, throwByTheErrorWithoutLoggingIt)
{
    const std::pair<int, std::string> failures[] = {
        {EPERM, CANNOT_KILL}, {ESRCH, UNKNOWN}, {EINVAL, OTHER_FAILURE}, {EAGAIN, OTHER_FAILURE}};
    const support::RecordedLog log;
    for (const auto& failure : failures) {
        const Replacement failing(calls::kill, [&](pid_t, int) {
            errno = failure.first;
            return -1;
        });
        Process process;
        for (const Signalling& signalling : SIGNALLINGS) {
            EXPECT_EQ(failure.second, failureOf([&] { (process.*signalling.send)(); }));
        }
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ProcessSignals, goToTheCallersOwnGroupWhenNothingWasStarted)
{
    std::vector<std::pair<pid_t, int>> sent;
    const Replacement recorded(calls::kill, [&](pid_t process, int signal) {
        sent.emplace_back(process, signal);
        return 0;
    });
    Process process;
    for (const Signalling& signalling : SIGNALLINGS) {
        EXPECT_EQ(-1, (process.*signalling.send)());
    }
    EXPECT_THAT(sent, ElementsAre(Pair(0, SIGUSR1), Pair(0, SIGUSR2), Pair(0, SIGKILL)));
}

TEST(ProcessSignals, turnEveryResultButAFailureIntoMinusOne)
{
    Process process;
    errno = EPERM;
    for (const int sent : {0, 1, 7, -2}) {
        EXPECT_EQ(-1, process.processResult(sent));
    }
    EXPECT_EQ(CANNOT_KILL, failureOf([&] {
                  errno = EPERM;
                  process.processResult(-1);
              }));
}

TEST(ProcessIsRunning, tellsWhetherTheChildCanBeSignalled)
{
    Process process;
    start(process, {"/bin/sleep", "60"});
    EXPECT_TRUE(process.isRunning());
    process.destroy();
    awaitEnd(process);
    EXPECT_TRUE(process.isRunning()) << "ended, but not reaped";
    EXPECT_EQ(-1, process.waitForExit());
    EXPECT_FALSE(process.isRunning());
}

TEST(ProcessIsRunning, isTheResultOfASignalThatDoesNothing)
{
    std::vector<std::pair<pid_t, int>> sent;
    int result = 0;
    const Replacement recorded(calls::kill, [&](pid_t process, int signal) {
        sent.emplace_back(process, signal);
        return result;
    });
    Process process;
    EXPECT_TRUE(process.isRunning());
    result = -1;
    EXPECT_FALSE(process.isRunning());
    EXPECT_THAT(sent, ElementsAre(Pair(0, 0), Pair(0, 0)));
}
