// Levels on their way from a thread to the kernel, through whatever manager is in force.
#include <gpal/Threader.h>

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>

#include "support/kernel_id.h"
#include "support/layer_threads.h"
#include "support/observed.h"

using support::Body;
using support::Kind;
using support::LayerThread;
using support::mayLowerNiceValues;
using support::ownNiceValue;
using support::priorityRequested;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class BodyOfLevel : public Body
{
public:
    BodyOfLevel(int level, std::function<void()> work) : Body(std::move(work)), m_level(level) {}
    int getThreadPriorityForPlatform() override { return m_level; }

private:
    int m_level;
};

struct LevelAndNice {
    int level;
    int nice;
};

constexpr LevelAndNice LEVELS[] = {{0, 9}, {1, 0}, {2, -10}, {3, -10}, {4, -16}, {7, 0}, {-1, 0}};

/// Sets the calling thread's nice value for a scope; threads that it starts inherit it.
class NiceScope
{
public:
    explicit NiceScope(int value) : m_before(ownNiceValue())
    {
        setpriority(PRIO_PROCESS, static_cast<id_t>(support::ownKernelId()), value);
    }
    NiceScope(const NiceScope&) = delete;
    NiceScope& operator=(const NiceScope&) = delete;
    ~NiceScope() { setpriority(PRIO_PROCESS, static_cast<id_t>(support::ownKernelId()), m_before); }

private:
    int m_before;
};

void* storeNiceValue(void* place)
{
    *static_cast<int*>(place) = ownNiceValue();
    return nullptr;
}

} // namespace

TEST(ThreadPriority, isAppliedToThreadsOfBodiesByTheBodysLevel)
{
    if (!mayLowerNiceValues()) {
        GTEST_SKIP() << "this process may not lower nice values";
    }
    const NiceScope inherited(3);
    for (const LevelAndNice& expected : LEVELS) {
        int nice = 99;
        BodyOfLevel body(expected.level, [&] { nice = ownNiceValue(); });
        unsigned long id = 0;
        Threader().spawn(&id, &body, "", GPAL_THREAD_PRIORITY_LOW, 0);
        body.waitForThreadCompletion();
        EXPECT_EQ(expected.nice, nice) << "level " << expected.level;
    }
    EXPECT_EQ(3, ownNiceValue()) << "the spawner's own is untouched";
}

TEST(ThreadPriority, isAppliedToThreadsOfFunctionsByTheLevelTheyAreSpawnedWith)
{
    if (!mayLowerNiceValues()) {
        GTEST_SKIP() << "this process may not lower nice values";
    }
    const NiceScope inherited(3);
    for (const LevelAndNice& expected : LEVELS) {
        int nice = 99;
        unsigned long id = 0;
        Threader().spawn(&id, storeNiceValue, &nice, "",
                         static_cast<GPALThreadPriority>(expected.level), 0);
        pthread_join(id, nullptr);
        EXPECT_EQ(expected.nice, nice) << "level " << expected.level;
    }
    EXPECT_EQ(3, ownNiceValue()) << "the spawner's own is untouched";
}

TEST(ThreadPriority, ofARunningThreadCanBeChangedByOthers)
{
    if (!mayLowerNiceValues()) {
        GTEST_SKIP() << "this process may not lower nice values";
    }
    std::atomic<bool> running{false};
    std::atomic<bool> changed{false};
    int nice = 99;
    LayerThread thread(Kind::THREADABLE, [&] {
        running = true;
        support::eventually([&] { return changed.load(); });
        nice = ownNiceValue();
    });
    EXPECT_TRUE(support::eventually([&] { return running.load(); }));
    EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, thread.id()))
        << "the library's own manager answers with a nice value, not with a level";
    changed = true;
    thread.join();
    EXPECT_EQ(9, nice);
}

TEST(ThreadPriority, isGrantedWhenTheManagerAnswersWithTheLevelItself)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    int kernelId = 0;
    std::vector<bool> granted;
    LayerThread(Kind::THREADABLE, [&] {
        kernelId = support::ownKernelId();
        manager.answer = [](GPALThreadPriority level) { return level; };
        granted.push_back(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, 0));
        granted.push_back(Threader::setThreadPriority(static_cast<GPALThreadPriority>(-5), 0));
        manager.answer = [](GPALThreadPriority level) { return level + 1; };
        granted.push_back(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, 0));
        manager.answer = [](GPALThreadPriority) { return 0; };
        granted.push_back(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_LOW, 0));
    }).join();
    EXPECT_THAT(granted, ElementsAre(true, true, false, true));
    EXPECT_THAT(timeline.events(), Contains(priorityRequested(kernelId, 2)).Times(2));
    EXPECT_THAT(timeline.events(), Contains(priorityRequested(kernelId, -5)).Times(1));
}

TEST(ThreadPriority, isRequestedByTheKernelIdOfTheThreadThatIsNamed)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    std::atomic<int> kernelId{0};
    std::atomic<bool> asked{false};
    LayerThread thread(Kind::THREADABLE, [&] {
        kernelId = support::ownKernelId();
        support::eventually([&] { return asked.load(); });
    });
    EXPECT_TRUE(support::eventually([&] { return kernelId != 0; }));
    EXPECT_TRUE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_VOICE, thread.id()));
    asked = true;
    thread.join();
    EXPECT_THAT(timeline.events(), Contains(priorityRequested(kernelId, 4)).Times(1));
}

TEST(ThreadPriority, isRefusedToThreadsThatTheLayerDoesNotKnow)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    unsigned long strangers[] = {pthread_self(), ~0UL - 4711};
    EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, 0));
    EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, strangers[1]));
    EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, strangers[1]))
        << "its entry is no thread";
    EXPECT_THAT(timeline.events(), IsEmpty());
    for (unsigned long& stranger : strangers) {
        threadExitCleanUp(&stranger); // takes out the entries that asking has left
    }
}
