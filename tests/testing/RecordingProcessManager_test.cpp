// What the layer tells its process manager, written down.
#include <csignal>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/ProcessManager.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/testing/RecordingProcessManager.h>
#include <gpal/Threader.h>

namespace
{

using gpal::testing::RecordingPrioritySetter;
using gpal::testing::RecordingProcessManager;
using testing::ElementsAre;

class VoiceThread : public Threadable
{
public:
    void run() override { kernelId = static_cast<int>(syscall(SYS_gettid)); }
    int getThreadPriorityForPlatform() override { return GPAL_THREAD_PRIORITY_VOICE; }
    int kernelId = 0;
};

TEST(RecordingProcessManager, isToldOfThreads)
{
    RecordingProcessManager manager;
    Threader threader;
    VoiceThread voice;
    unsigned long thread = 0;
    threader.spawn(&thread, &voice, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    threader.waitForThreadCompletion(thread);

    const std::string type = ProcessTypeString::GENERIC_THREAD;
    EXPECT_THAT(manager.threads(),
                ElementsAre(RecordingProcessManager::Announced{type, voice.kernelId}));
    EXPECT_THAT(manager.endedThreads(), ElementsAre(static_cast<int>(thread)));
    EXPECT_THAT(manager.priorities(), ElementsAre(RecordingPrioritySetter::Request{
                                          type, static_cast<unsigned long>(voice.kernelId), -16}));
}

TEST(RecordingProcessManager, isToldOfChildProcesses)
{
    RecordingProcessManager manager;
    std::string program = "/bin/sh";
    std::string option = "-c";
    std::string script = ":";
    char* argv[] = {program.data(), option.data(), script.data(), nullptr};
    char* envp[] = {nullptr};
    Process child(3, argv, envp, nullptr);
    child.waitForExit();
    EXPECT_THAT(manager.processes(),
                ElementsAre(RecordingProcessManager::Announced{program, child.ID()}));
}

TEST(RecordingProcessManager, answersAsTheOrdinaryOneThatMaySetEverything)
{
    RecordingProcessManager manager;
    EXPECT_EQ(manager.requestNewPriority(4711, GPAL_THREAD_PRIORITY_HIGH), -10);
    EXPECT_EQ(manager.addThread(4711, "name"), 1);
    EXPECT_EQ(manager.removeThread(4711), 0);
}

TEST(RecordingProcessManager, isInForceWhileItLives)
{
    ProcessManager* const ordinary = ProcessManagement::manager();
    {
        RecordingProcessManager outer;
        {
            RecordingProcessManager inner;
            EXPECT_EQ(ProcessManagement::manager(), &inner);
        }
        EXPECT_EQ(ProcessManagement::manager(), &outer);
    }
    EXPECT_EQ(ProcessManagement::manager(), ordinary);
}

TEST(RecordingPrioritySetter, remembersRequests)
{
    RecordingPrioritySetter setter;
    ProcessManager manager(&setter);
    EXPECT_EQ(manager.requestNewPriority(12, GPAL_THREAD_PRIORITY_LOW), 9);
    EXPECT_EQ(setter.setProcessPriority("browser", 34), 0);
    EXPECT_EQ(setter.requestProcessPriority("browser", 34, 5), 5);
    EXPECT_THAT(
        setter.requests(),
        ElementsAre(RecordingPrioritySetter::Request{ProcessTypeString::GENERIC_THREAD, 12, 9},
                    RecordingPrioritySetter::Request{"browser", 34, 0},
                    RecordingPrioritySetter::Request{"browser", 34, 5}));
}

} // namespace
