#include "process_threads.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gpal/Threader.h>
#include <gpal/Wait.h>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/c_library.h"
#include "support/kernel_id.h"
#include "support/observed.h"
#include "support/temporary_directory.h"
#include "tool_run.h"

using gpalinfo::parseThread;
using testing::ContainsRegex;
using testing::HasSubstr;

namespace
{

std::string statLine(const std::string& name, int nice)
{
    return "4711 (" + name + ") S 1 4711 4711 0 -1 4194560 1 2 3 4 150 75 0 0 20 " +
           std::to_string(nice) + " 7 0 90000 1000 100 18446744073709551615\n";
}

/// A shell that waits for its input, started with nice value 9 under a path that no other process
/// has.
class WaitingShell
{
public:
    WaitingShell()
    {
        EXPECT_EQ(pipe(m_input), 0);
        m_id = fork();
        if (m_id == 0) {
            dup2(m_input[0], STDIN_FILENO);
            close(m_input[1]);
            setpriority(PRIO_PROCESS, 0, 9);
            execl("/bin/sh", program().c_str(), "-c", "read line", nullptr);
            _exit(127);
        }
        close(m_input[0]);
    }
    WaitingShell(const WaitingShell&) = delete;
    WaitingShell& operator=(const WaitingShell&) = delete;
    ~WaitingShell()
    {
        close(m_input[1]);
        waitpid(m_id, nullptr, 0);
    }

    std::string id() const { return std::to_string(m_id); }
    std::string program() const { return m_directory.path("sh"); }

private:
    support::TemporaryDirectory m_directory;
    int m_input[2] = {};
    pid_t m_id = -1;
};

/// A thread that waits, at the lowest level.
class LowThread : public Threadable
{
public:
    LowThread() : m_threader(ThreaderFactory().createNewThreader())
    {
        EXPECT_TRUE(m_threader->spawn(&m_thread, this, "", GPAL_THREAD_PRIORITY_NORMAL, 0));
        EXPECT_EQ(m_running.wait(10000), 1);
    }
    LowThread(const LowThread&) = delete;
    LowThread& operator=(const LowThread&) = delete;
    ~LowThread() override
    {
        m_end.signal();
        m_threader->waitForThreadCompletion(m_thread);
    }

    void run() override
    {
        m_id = std::to_string(support::ownKernelId());
        m_running.signal();
        m_end.wait(-1);
    }
    int getThreadPriorityForPlatform() override { return GPAL_THREAD_PRIORITY_LOW; }

    std::string id() const { return m_id; }
    /// How it is shown.
    std::string row() const { return "\n *" + m_id + "  .*  9  LOW  "; }

private:
    std::string m_id;
    Wait m_running;
    Wait m_end;
    unsigned long m_thread = 0;
    const std::unique_ptr<ThreaderIfc> m_threader;
};

} // namespace

TEST(ThreadLine, isReadWhateverTheName)
{
    for (const char* name : {"voice", "a b", "(x) S 1", ")", "", "new\nline"}) {
        const auto thread = parseThread(statLine(name, -16));
        ASSERT_TRUE(thread) << name;
        EXPECT_EQ(thread->id, 4711);
        EXPECT_EQ(thread->name, name);
        EXPECT_EQ(thread->state, 'S');
        EXPECT_EQ(thread->nice, -16);
        EXPECT_DOUBLE_EQ(thread->cpuSeconds, 225.0 / static_cast<double>(sysconf(_SC_CLK_TCK)));
    }
}

TEST(ThreadLine, isNoneWhenItIsCutShort)
{
    EXPECT_FALSE(parseThread(""));
    EXPECT_FALSE(parseThread("4711 (voice"));
    EXPECT_FALSE(parseThread(")("));
    EXPECT_FALSE(parseThread("4711 (voice) S 1 4711"));
}

TEST(Levels, areThoseWithTheNiceValue)
{
    EXPECT_EQ(gpalinfo::levelsOf(9), "LOW");
    EXPECT_EQ(gpalinfo::levelsOf(0), "NORMAL");
    EXPECT_EQ(gpalinfo::levelsOf(-10), "HIGH/TIMER");
    EXPECT_EQ(gpalinfo::levelsOf(-16), "VOICE");
    EXPECT_EQ(gpalinfo::levelsOf(5), "");
}

TEST(States, haveNames)
{
    EXPECT_EQ(gpalinfo::nameOfState('R'), "running");
    EXPECT_EQ(gpalinfo::nameOfState('Z'), "ended");
    EXPECT_EQ(gpalinfo::nameOfState('W'), "W");
}

TEST(GpalInfoProcess, isFoundByItsIdOrByAPartOfItsPath)
{
    const WaitingShell shell;
    const std::string row = "\n +" + shell.id() + "  [^ ]+ +9  LOW +[a-z]+ +[0-9]+\\.[0-9][0-9]\n";
    ASSERT_TRUE(support::eventually([&] {
        return runTool({"--process", shell.id()}).output.find(shell.program()) != std::string::npos;
    })) << "the shell has not taken this program's place";
    for (const std::string& process : {shell.id(), shell.program()}) {
        const ToolRun run = runTool({"--process", process});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(complaints(run), "");
        EXPECT_THAT(run.output, HasSubstr("Process " + shell.id() + ": " + shell.program() + "\n"));
        EXPECT_THAT(run.output, ContainsRegex("\n +thread  name +nice  level +state +CPU s\n"));
        EXPECT_THAT(run.output, ContainsRegex(row));
    }
}

TEST(GpalInfoProcess, isShownWithAllItsThreads)
{
    GPAL_SKIP_BECAUSE(support::whyAProcessHasOneThread());
    const LowThread thread;
    const std::string self = std::to_string(getpid());
    const std::string output = runTool({"--process", self}).output;
    EXPECT_THAT(output, ContainsRegex("\n *" + self + "  "));
    EXPECT_THAT(output, ContainsRegex(thread.row()));
}

TEST(GpalInfoProcess, isFoundByTheIdOfAnyOfItsThreads)
{
    const LowThread thread;
    const ToolRun run = runTool({"--process", thread.id()});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, ContainsRegex(thread.row()));
}

TEST(GpalInfoProcess, isReportedWhenItIsNotThere)
{
    for (const char* process : {"999999999", "no such program", "0"}) {
        const ToolRun run = runTool({"--process", process});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(complaints(run), "gpal-info: no process " + std::string(process) + "\n");
    }
}
