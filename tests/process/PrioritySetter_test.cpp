// Nice values as the default setter sets them, on the way to the kernel and read back from it.
#include <gpal/ProcessManager.h>

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gpal/Process.h>
#include <gpal/ProcessTypeString.h>

#include "programs.h"
#include "support/kernel_id.h"
#include "support/layer_threads.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

namespace calls = support::calls;
using support::mayLowerNiceValues;
using testing::ElementsAre;

namespace
{

/// Records what is asked of the kernel, which refuses everything and says that all have nice 12.
class RecordedKernel
{
public:
    std::vector<std::string> asked() const { return m_timeline.events(); }

private:
    support::Timeline m_timeline;
    support::Replacement<int(int, id_t, int)> m_set{
        calls::setpriority, [this](int which, id_t who, int value) {
            m_timeline.add("set " + named(which, who) + " to " + std::to_string(value));
            return -1;
        }};
    support::Replacement<int(int, id_t)> m_get{calls::getpriority, [this](int which, id_t who) {
                                                   m_timeline.add("get " + named(which, who));
                                                   return 12;
                                               }};

    static std::string named(int which, id_t who)
    {
        return (which == PRIO_PROCESS ? "process " : "something else ") + std::to_string(who);
    }
};

/// A script that sleeps, under a name of choice, in a directory that is the current one meanwhile.
class SleepingProgram
{
public:
    explicit SleepingProgram(const std::string& name) : m_name(name)
    {
        if (getcwd(m_before, sizeof m_before) == nullptr ||
            chdir(m_directory.path().c_str()) != 0) {
            std::abort();
        }
        writeProgram(m_name, "#!/bin/sh\nexec sleep 60\n", S_IRWXU);
    }
    SleepingProgram(const SleepingProgram&) = delete;
    SleepingProgram& operator=(const SleepingProgram&) = delete;
    ~SleepingProgram()
    {
        if (chdir(m_before) != 0) {
            std::abort();
        }
    }

    /// Starts it and returns its nice value while it runs.
    int niceValueOfChild(const std::string& path)
    {
        Process process;
        std::string argument = path;
        char* argv[] = {argument.data(), nullptr};
        EXPECT_EQ(1, process.start(1, argv, environ, nullptr));
        EXPECT_EQ(path, process.type());
        const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(process.ID()));
        process.destroy();
        EXPECT_EQ(-1, process.waitForExit());
        return nice;
    }

private:
    std::string m_name;
    support::TemporaryDirectory m_directory;
    char m_before[4096];
};

std::string inUpperCase(std::string text)
{
    for (char& letter : text) {
        letter = static_cast<char>(std::toupper(letter));
    }
    return text;
}

} // namespace

TEST(SimplePrioritySetter, changesNothingForAThreadThatIsAnnouncedByName)
{
    const RecordedKernel kernel;
    SimplePrioritySetter setter;
    EXPECT_EQ(12, setter.setThreadPriority(ProcessTypeString::C_THREAD_VOICE, 4711));
    EXPECT_THAT(kernel.asked(), ElementsAre("get process 4711"));
}

TEST(SimplePrioritySetter, setsARequestedNiceValueAndAnswersWithTheOneThatIsThenInForce)
{
    for (const int nice : {-20, -16, 0, 9, 19}) {
        const RecordedKernel kernel;
        SimplePrioritySetter setter;
        EXPECT_EQ(12, setter.requestThreadPriority("any", 4711, nice));
        EXPECT_EQ(12, setter.requestProcessPriority("any", 4712, nice));
        const std::string value = std::to_string(nice);
        EXPECT_THAT(kernel.asked(),
                    ElementsAre("set process 4711 to " + value, "get process 4711",
                                "set process 4712 to " + value, "get process 4712"));
    }
}

TEST(SimplePrioritySetter, ignoresTheTypeInARequest)
{
    const RecordedKernel kernel;
    SimplePrioritySetter setter;
    setter.requestThreadPriority(ProcessTypeString::PHONELET_LAUNCHER_PROCESS, 1, 3);
    setter.requestProcessPriority(ProcessTypeString::PHONELET_LAUNCHER_PROCESS, 2, 3);
    EXPECT_THAT(kernel.asked(), ElementsAre("set process 1 to 3", "get process 1",
                                            "set process 2 to 3", "get process 2"));
}

TEST(SimplePrioritySetter, putsTheLauncherAtFive)
{
    const RecordedKernel kernel;
    SimplePrioritySetter setter;
    EXPECT_EQ(12, setter.setProcessPriority(ProcessTypeString::PHONELET_LAUNCHER_PROCESS, 4711));
    EXPECT_THAT(kernel.asked(), ElementsAre("set process 4711 to 5", "get process 4711"));
}

TEST(SimplePrioritySetter, putsEveryOtherProcessAtZero)
{
    const std::string launcher = ProcessTypeString::PHONELET_LAUNCHER_PROCESS;
    const std::string others[] = {ProcessTypeString::SVC_CONFIG_PROCESS,
                                  ProcessTypeString::GENERIC_PROCESS,
                                  "",
                                  "/bin/true",
                                  "./" + launcher,
                                  launcher + " ",
                                  launcher.substr(0, launcher.size() - 1),
                                  inUpperCase(launcher)};
    for (const std::string& type : others) {
        const RecordedKernel kernel;
        SimplePrioritySetter setter;
        EXPECT_EQ(12, setter.setProcessPriority(type, 4711));
        EXPECT_THAT(kernel.asked(), ElementsAre("set process 4711 to 0", "get process 4711"))
            << type;
    }
}

TEST(SimplePrioritySetter, servesTheInterface)
{
    const RecordedKernel kernel;
    SimplePrioritySetter simple;
    PrioritySetter& setter = simple;
    const std::string launcher = ProcessTypeString::PHONELET_LAUNCHER_PROCESS;
    EXPECT_EQ(12, setter.setThreadPriority(launcher, 1UL));
    EXPECT_EQ(12, setter.setProcessPriority(launcher, 2));
    EXPECT_EQ(12, setter.requestThreadPriority(launcher, 3UL, 7));
    EXPECT_EQ(12, setter.requestProcessPriority(launcher, 4, 8));
    EXPECT_THAT(kernel.asked(), ElementsAre("get process 1", "set process 2 to 5", "get process 2",
                                            "set process 3 to 7", "get process 3",
                                            "set process 4 to 8", "get process 4"));
}

TEST(SimplePrioritySetter, addressesOneThreadOfAProcessByItsKernelId)
{
    int nice = 99;
    int answer = 99;
    const int before = support::ownNiceValue();
    std::thread([&] {
        answer = SimplePrioritySetter().requestThreadPriority(
            "any", static_cast<unsigned long>(support::ownKernelId()), 11);
        nice = support::ownNiceValue();
    }).join();
    EXPECT_EQ(11, answer);
    EXPECT_EQ(11, nice);
    EXPECT_EQ(before, support::ownNiceValue());
}

TEST(SimplePrioritySetter, answersAsTheKernelDoesForAnIdThatDoesNotExist)
{
    const int beyondAnyPid = 0x7ffffff0;
    SimplePrioritySetter setter;
    EXPECT_EQ(-1, setter.setThreadPriority("any", beyondAnyPid));
    EXPECT_EQ(-1, setter.requestProcessPriority("any", beyondAnyPid, 3));
    EXPECT_EQ(-1, setter.setProcessPriority("any", beyondAnyPid));
}

TEST(DefaultManager, turnsLevelsIntoNiceValuesThroughTheDefaultSetter)
{
    const RecordedKernel kernel;
    EXPECT_EQ(12,
              ProcessManagement::manager()->requestNewPriority(4711, GPAL_THREAD_PRIORITY_VOICE));
    EXPECT_THAT(kernel.asked(), ElementsAre("set process 4711 to -16", "get process 4711"));
}

TEST(StartedChild, isAnnouncedToTheManagerInForceByItsProgramsPath)
{
    support::Timeline timeline;
    std::string path = "/bin/true";
    char* argv[] = {path.data(), nullptr};
    std::vector<int> ids;
    const auto run = [&] {
        Process process;
        EXPECT_EQ(1, process.start(1, argv, environ, nullptr));
        ids.push_back(process.ID());
        process.waitForExit();
    };
    {
        const support::RecordedManager manager(timeline);
        const RecordedKernel kernel;
        run();
        EXPECT_THAT(kernel.asked(), testing::IsEmpty());
    }
    const RecordedKernel kernel;
    run();
    EXPECT_THAT(timeline.events(), ElementsAre(support::processStarted("/bin/true", ids[0])));
    const std::string child = "process " + std::to_string(ids[1]);
    EXPECT_THAT(kernel.asked(), ElementsAre("set " + child + " to 0", "get " + child))
        << "the default manager again";
}

TEST(StartedChild, runsAtFiveWhenItsProgramsPathIsTheLauncherType)
{
    SleepingProgram launcher(ProcessTypeString::PHONELET_LAUNCHER_PROCESS);
    EXPECT_EQ(5, launcher.niceValueOfChild(ProcessTypeString::PHONELET_LAUNCHER_PROCESS));
}

TEST(StartedChild, runsAtZeroWhateverElseItIsAndWhateverItsParentHas)
{
    if (!mayLowerNiceValues()) {
        GTEST_SKIP() << "this process may not lower nice values";
    }
    const auto self = static_cast<id_t>(support::ownKernelId());
    const int before = support::ownNiceValue();
    setpriority(PRIO_PROCESS, self, 3);
    SleepingProgram program(ProcessTypeString::PHONELET_LAUNCHER_PROCESS);
    EXPECT_EQ(0, program.niceValueOfChild("./" + ProcessTypeString::PHONELET_LAUNCHER_PROCESS));
    setpriority(PRIO_PROCESS, self, before);
}
