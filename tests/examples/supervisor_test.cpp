#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "supervisor_run.h"

#include "support/observed.h"
#include "support/thread_sanitizer.h"

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

namespace
{

const char* const USAGE = "usage: supervisor [--restarts N] [--pause MS] [--archive-at N] [--help] "
                          "PROGRAM [ARGUMENT]...\n";
const char* const TIME =
    "[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]T[0-9][0-9]:[0-9][0-9]:[0-9][0-9]Z";

/// The process id in the first record; 0 if there is none.
int recordedProcess(const std::vector<std::string>& records)
{
    const std::string label = ", process ";
    const std::size_t at = records.empty() ? std::string::npos : records[0].find(label);
    return at == std::string::npos ? 0 : std::atoi(records[0].c_str() + at + label.size());
}

} // namespace

class Supervisor : public SupervisorTest
{
};

TEST_F(Supervisor, restartsAProgramAsOftenAsItIsAllowedTo)
{
    ProgramRun run(m_work, {"--restarts", "2", "--pause", "0", script("echo here >>runs")});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_EQ(run.errors(), "");
    EXPECT_EQ(support::contentOf(m_work.path("runs")), "here\nhere\nhere\n");
    EXPECT_TRUE(areCompleteRuns(records(), 3));
}

TEST_F(Supervisor, doesNotRestartAtAllWithNoRestarts)
{
    ProgramRun run(m_work, {"--restarts", "0", script("")});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_TRUE(areCompleteRuns(records(), 1));
}

TEST_F(Supervisor, pausesBeforeARestart)
{
    const auto start = std::chrono::steady_clock::now();
    ProgramRun run(m_work, {"--restarts", "1", "--pause", "300", script("")});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_GE(support::millisecondsSince(start), 300);
}

TEST_F(Supervisor, recordsStartsExitCodesAndSignals)
{
    const std::string program = script("if [ -f again ]; then kill -9 $$; fi\n: >again\nexit 3\n");
    ProgramRun run(m_work, {"--restarts", "1", "--pause", "0", program, "--flag", "text"});
    EXPECT_EQ(run.wait(), 0);
    const std::string time = TIME;
    EXPECT_THAT(
        records(),
        ElementsAre(
            MatchesRegex(time + " run 1 started, process [0-9]+: " + program + " --flag text"),
            MatchesRegex(time + " run 1 ended, process [0-9]+: with exit code 3"),
            MatchesRegex(time + " run 2 started, process [0-9]+: " + program + " --flag text"),
            MatchesRegex(time + " run 2 ended, process [0-9]+: by a signal")));
}

TEST_F(Supervisor, tellsWhatItDoes)
{
    ProgramRun run(m_work, {"--restarts", "1", "--pause", "0", script("exit 7")});
    EXPECT_EQ(run.wait(), 0);
    const std::string time = TIME;
    const std::string record = recordPath();
    EXPECT_THAT(
        linesOf(run.output()),
        ElementsAre("Record: " + record + " (0 records from before)",
                    MatchesRegex(time + " run 1 started, process [0-9]+"),
                    MatchesRegex(time + " run 1 ended with exit code 7"),
                    MatchesRegex(time + " run 2 started, process [0-9]+"),
                    MatchesRegex(time + " run 2 ended with exit code 7"),
                    "No restarts left after 2 runs; 0 archives made, 4 records left in " + record));
}

TEST_F(Supervisor, givesTheProgramItsArgumentsAndItsEnvironment)
{
    setenv("SUPERVISED_VALUE", "of the environment", 1);
    ProgramRun run(
        m_work, {"--restarts", "0", script("echo \"$1|$2|$SUPERVISED_VALUE\" >seen\n"), "a b", ""});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_EQ(support::contentOf(m_work.path("seen")), "a b||of the environment\n");
}

/// Asked without a shell, which would let them through by itself.
TEST_F(Supervisor, holdsNoSignalsBackFromTheProgram)
{
    if (access("/bin/grep", X_OK) != 0) {
        GTEST_SKIP() << "no /bin/grep on this machine";
    }
    ProgramRun run(m_work, {"--restarts", "0", "/bin/grep", "SigBlk", "/proc/self/status"});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(run.output(), ContainsRegex("SigBlk:[[:space:]]0+\n"));
}

TEST_F(Supervisor, keepsTheRecordsOfEarlierRuns)
{
    for (int i = 0; i < 2; ++i) {
        ProgramRun run(m_work, {"--restarts", "0", script("")});
        EXPECT_EQ(run.wait(), 0);
    }
    EXPECT_THAT(records(), SizeIs(4));
}

TEST_F(Supervisor, endsARecordThatWasCutOffBeforeItsOwn)
{
    m_volatile.file("supervisor.records", "whole\ncut o");
    ProgramRun run(m_work, {"--restarts", "0", script("")});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(records(), ElementsAre("whole", "cut o", HasSubstr(" run 1 started"),
                                       HasSubstr(" run 1 ended")));
    EXPECT_THAT(run.output(), HasSubstr("(2 records from before)"));
}

TEST_F(Supervisor, keepsARecordOnOneLineThatCanBeReadBack)
{
    ProgramRun run(m_work, {"--restarts", "0", script(""), "two\nlines", std::string(2000, 'x')});
    EXPECT_EQ(run.wait(), 0);
    ASSERT_TRUE(areCompleteRuns(records(), 1));
    EXPECT_THAT(records()[0], HasSubstr(" two?lines xxx"));
    EXPECT_THAT(records()[0], SizeIs(1000));
}

TEST_F(Supervisor, keepsItsRecordInTheWorkingDirectoryWithoutAVolatileLocation)
{
    unsetenv("MIRTA_VOLATILE_LOCATION");
    ProgramRun run(m_work, {"--restarts", "0", script("")});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_TRUE(areCompleteRuns(linesOf(support::contentOf(m_work.path("supervisor.records"))), 1));
}

TEST_F(Supervisor, namesAProgramThatIsMissing)
{
    EXPECT_EQ(complaint({"/none/program"}),
              "supervisor: cannot start /none/program: GPAL Process missing application\n");
    EXPECT_THAT(records(), IsEmpty());
}

TEST_F(Supervisor, namesAProgramThatIsNotExecutable)
{
    const std::string file = m_tools.file("text", "no program");
    EXPECT_EQ(complaint({file}),
              "supervisor: cannot start " + file + ": GPAL Process application not executable\n");
}

TEST_F(Supervisor, namesAProgramThatIsADirectory)
{
    EXPECT_EQ(complaint({"/"}), "supervisor: cannot start /: is a directory\n");
}

TEST_F(Supervisor, losesNoRecordWhenTheProgramVanishes)
{
    const std::string program = script("rm $0");
    EXPECT_THAT(complaint({"--restarts", "5", "--pause", "0", program}),
                HasSubstr("missing application"));
    EXPECT_TRUE(areCompleteRuns(records(), 1));
}

TEST_F(Supervisor, namesAVolatileLocationThatIsMissing)
{
    setenv("MIRTA_VOLATILE_LOCATION", "/none", 1);
    EXPECT_EQ(complaint({script("")}),
              "supervisor: cannot use the directory /none/: No such file or directory\n");
}

TEST_F(Supervisor, saysThatItsOutputCanNotBeWritten)
{
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "no /dev/full on this machine";
    }
    std::filesystem::create_symlink("/dev/full", m_work.path("stdout"));
    EXPECT_EQ(complaint({"--restarts", "0", script("")}),
              "supervisor: cannot write to standard output\n");
    EXPECT_TRUE(areCompleteRuns(records(), 1));
}

TEST_F(Supervisor, answersBadUseWithItsUsage)
{
    const std::vector<std::vector<std::string>> uses = {
        {},
        {"--loud", "/bin/true"},
        {"--restarts"},
        {"--restarts", "-1", "/bin/true"},
        {"--restarts", "1x", "/bin/true"},
        {"--pause", "", "/bin/true"},
        {"--archive-at", "1000001", "/bin/true"},
        {"--restarts", "99999999999", "/bin/true"},
    };
    for (const std::vector<std::string>& arguments : uses) {
        EXPECT_EQ(complaint(arguments, 2), USAGE);
    }
    EXPECT_FALSE(support::exists(recordPath()));
}

TEST_F(Supervisor, explainsItself)
{
    ProgramRun run(m_work, {"--help"});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(run.output(), StartsWith(USAGE));
    EXPECT_THAT(run.output(), HasSubstr("bsdtar"));
    EXPECT_THAT(run.output(), HasSubstr("Exit status: 0"));
    EXPECT_EQ(run.errors(), "");
}

TEST_F(Supervisor, refusesARecordThatAnotherSupervisorKeeps)
{
    ProgramRun first(m_work, {script("exec sleep 100")});
    ASSERT_TRUE(support::eventually([this] { return recordedProcess(records()) != 0; }));
    const support::TemporaryDirectory elsewhere;
    {
        ProgramRun second(elsewhere, {script("")});
        EXPECT_EQ(second.wait(), 1);
        EXPECT_EQ(second.errors(),
                  "supervisor: " + recordPath() + ": another supervisor keeps its record there\n");
    }
    EXPECT_EQ(kill(first.id(), SIGTERM), 0);
    first.wait();
    EXPECT_TRUE(areCompleteRuns(records(), 1));
}

class InterruptedSupervisor : public SupervisorTest, public testing::WithParamInterface<int>
{
protected:
    /// Interrupts the supervisor when its program runs (and has made the file "ready" if it is to);
    /// expects both to be gone, and returns after how many milliseconds they were.
    long interrupt(const std::string& text, bool waitForReady)
    {
        ProgramRun run(m_work, {"--restarts", "5", "--pause", "0", script(text)});
        EXPECT_TRUE(support::eventually([this, waitForReady] {
            return recordedProcess(records()) != 0 &&
                   (!waitForReady || support::exists(m_work.path("ready")));
        }));
        const int process = recordedProcess(records());
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(kill(run.id(), GetParam()), 0);
        EXPECT_EQ(run.wait(), 128 + GetParam());
        const long took = support::millisecondsSince(start);
        EXPECT_EQ(kill(process, 0), -1);
        EXPECT_EQ(errno, ESRCH);
        EXPECT_EQ(run.errors(), "");
        EXPECT_TRUE(areCompleteRuns(records(), 1));
        EXPECT_THAT(run.output(), HasSubstr("\nTold to end after 1 run; "));
        return took;
    }
};

TEST_P(InterruptedSupervisor, endsTheProgramAndItsRecord)
{
    interrupt("exec sleep 100", false);
    EXPECT_THAT(records().back(), EndsWith(": by a signal, as the supervisor was told to end"));
}

TEST_P(InterruptedSupervisor, waitsForTheProgramToEndInItsOwnWay)
{
    interrupt("trap 'sleep 1; exit 9' TERM\n: >ready\nwhile :; do sleep 0.1; done", true);
    EXPECT_THAT(records().back(), HasSubstr(": with exit code 9, as"));
}

TEST_P(InterruptedSupervisor, killsAProgramThatDoesNotEnd)
{
    EXPECT_GE(interrupt("trap '' TERM\n: >ready\nwhile :; do sleep 0.1; done", true), 2000);
    EXPECT_THAT(records().back(), HasSubstr(": by a signal, as"));
}

TEST_P(InterruptedSupervisor, doesNotSitThePauseOut)
{
    if (support::UNDER_THREAD_SANITIZER) {
        GTEST_SKIP() << "the sanitizer calls the handler when the pause is over";
    }
    // Whoever sat it out would be ended long before, and the test with it.
    ProgramRun run(m_work, {"--pause", "1000000", script("")});
    EXPECT_TRUE(support::eventually([this] { return records().size() == 2; }));
    EXPECT_EQ(kill(run.id(), GetParam()), 0);
    EXPECT_EQ(run.wait(), 128 + GetParam());
    EXPECT_TRUE(areCompleteRuns(records(), 1));
}

INSTANTIATE_TEST_SUITE_P(byEachSignal, InterruptedSupervisor,
                         testing::Values(SIGINT, SIGTERM, SIGHUP));
