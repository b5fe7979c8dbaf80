// Nice values of threads and children as another process sees them.
#include <gpal/osTimerThread.h>
#include <gpal/Process.h>
#include <gpal/ProcessManager.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/Semaphore.h>
#include <gpal/Threader.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <gmock/gmock.h>

#include "device/booted.h"
#include "process/programs.h"
#include "support/command_output.h"
#include "support/kernel_id.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::eventually;

namespace
{

struct LevelAndNice {
    int level;
    int nice;
};

constexpr LevelAndNice LEVELS[] = {{0, 9}, {1, 0}, {2, -10}, {3, -10}, {4, -16}, {7, 0}};

constexpr int UNSEEN = 99;

/// The nineteenth figure of the kernel's about a thread; the second is a name in parentheses.
int niceFromOutside(int thread)
{
    const std::string figures = support::outputOf("cat /proc/" + std::to_string(thread) + "/stat");
    std::istringstream rest(figures.substr(figures.rfind(')') + 1));
    const std::vector<std::string> fromTheThird{std::istream_iterator<std::string>(rest),
                                                std::istream_iterator<std::string>()};
    return fromTheThird.size() > 16 ? std::stoi(fromTheThird[16]) : UNSEEN;
}

/// A body that stays until it is let go, at a level of its own.
class Staying : public Threadable
{
public:
    explicit Staying(int level) : m_level(level) {}
    void run() override
    {
        m_kernelId = support::ownKernelId();
        m_go.take(-1);
    }
    int getThreadPriorityForPlatform() override { return m_level; }

    static void* runIt(void* body)
    {
        static_cast<Staying*>(body)->run();
        return nullptr;
    }

    /// The kernel's id of the thread, once it runs.
    int kernelId()
    {
        EXPECT_TRUE(eventually([this] { return m_kernelId != 0; }));
        return m_kernelId;
    }
    void letGo() { m_go.give(); }

private:
    int m_level;
    std::atomic<int> m_kernelId{0};
    Semaphore m_go{0, 1, false};
};

/// One thread for each level, all of them there at once.
class ThreadsOfAllLevels
{
public:
    enum Kind { BODIES, FUNCTIONS };

    explicit ThreadsOfAllLevels(Kind kind)
    {
        for (const LevelAndNice& each : LEVELS) {
            m_bodies.push_back(std::make_unique<Staying>(each.level));
            m_ids.push_back(0);
            Staying* body = m_bodies.back().get();
            if (kind == BODIES) {
                m_threader.spawn(&m_ids.back(), body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
            } else {
                m_threader.spawn(&m_ids.back(), Staying::runIt, body, "",
                                 static_cast<GPALThreadPriority>(each.level), 0);
            }
        }
    }
    ThreadsOfAllLevels(const ThreadsOfAllLevels&) = delete;
    ThreadsOfAllLevels& operator=(const ThreadsOfAllLevels&) = delete;
    ~ThreadsOfAllLevels()
    {
        for (std::size_t i = 0; i < m_ids.size(); ++i) {
            m_bodies[i]->letGo();
            m_threader.waitForThreadCompletion(m_ids[i]);
        }
    }

    void expectNiceValues()
    {
        for (std::size_t i = 0; i < m_ids.size(); ++i) {
            EXPECT_EQ(niceFromOutside(m_bodies[i]->kernelId()), LEVELS[i].nice)
                << "level " << LEVELS[i].level;
        }
    }

private:
    Threader m_threader;
    std::vector<std::unique_ptr<Staying>> m_bodies;
    std::vector<unsigned long> m_ids;
};

class NiceValue : public devicetest::OnTheDevice
{
protected:
    void prepare() override { setOwn(3); }
    void restore() override
    {
        EXPECT_EQ(niceFromOutside(support::ownKernelId()), 3)
            << "that of the starting thread is left alone";
        setOwn(0);
    }

    static void setOwn(int nice)
    {
        setpriority(PRIO_PROCESS, static_cast<id_t>(support::ownKernelId()), nice);
    }

    /// The nice value of a child that runs the program of that path.
    static int ofChild(const std::string& path)
    {
        Process process;
        EXPECT_EQ(start(process, {path}), 1);
        const int nice = niceFromOutside(process.ID());
        finish(process);
        return nice;
    }
};

} // namespace

TEST_F(NiceValue, ofBodiesFollowsTheirLevels)
{
    ThreadsOfAllLevels(ThreadsOfAllLevels::BODIES).expectNiceValues();
}

TEST_F(NiceValue, ofFunctionsFollowsTheLevelsTheyAreSpawnedWith)
{
    ThreadsOfAllLevels(ThreadsOfAllLevels::FUNCTIONS).expectNiceValues();
}

TEST_F(NiceValue, ofARunningThreadFollowsEveryNewLevelAndNoOtherThreads)
{
    Staying body(GPAL_THREAD_PRIORITY_LOW);
    Staying other(GPAL_THREAD_PRIORITY_LOW);
    Threader threader;
    unsigned long ids[2] = {};
    threader.spawn(&ids[0], &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    threader.spawn(&ids[1], &other, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    for (const LevelAndNice& each : LEVELS) {
        const auto level = static_cast<GPALThreadPriority>(each.level);
        EXPECT_EQ(ProcessManagement::manager()->requestNewPriority(body.kernelId(), level),
                  each.nice);
        EXPECT_EQ(niceFromOutside(body.kernelId()), each.nice) << "level " << each.level;
    }
    Threader::setThreadPriority(GPAL_THREAD_PRIORITY_VOICE, ids[0]);
    EXPECT_EQ(niceFromOutside(body.kernelId()), -16);
    EXPECT_EQ(niceFromOutside(other.kernelId()), 9);
    body.letGo();
    other.letGo();
    threader.waitForThreadCompletion(ids[0]);
    threader.waitForThreadCompletion(ids[1]);
}

TEST_F(NiceValue, ofTheTimersMonitorIsTheOneOfTimers)
{
    /// A monitor that tells which thread is its own.
    struct Monitor : osTimerThread {
        void run() override
        {
            m_kernelId = support::ownKernelId();
            osTimerThread::run();
        }
        std::atomic<int> m_kernelId{0};
    } monitor;
    monitor.start();
    EXPECT_EQ(niceFromOutside(monitor.m_kernelId), -10);
}

TEST_F(NiceValue, ofAChildIsNoneOfItsStarters)
{
    const support::TemporaryDirectory directory;
    const std::string program =
        writeProgram(directory.path("program"), "#!/bin/sh\nexec sleep 60\n", 0700);
    EXPECT_EQ(ofChild(program), 0);
    setOwn(-7);
    EXPECT_EQ(ofChild(program), 0);
    setOwn(3);
}

TEST_F(NiceValue, ofTheLauncherIsItsOwn)
{
    const support::TemporaryDirectory directory;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    const std::string launcher = ProcessTypeString::PHONELET_LAUNCHER_PROCESS;
    writeProgram(launcher, "#!/bin/sh\nexec sleep 60\n", 0700);
    EXPECT_EQ(ofChild(launcher), 5);
    EXPECT_EQ(ofChild("./" + launcher), 0);
    std::filesystem::current_path(before);
}
