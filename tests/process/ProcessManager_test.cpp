#include <gpal/ProcessManager.h>

#include <climits>
#include <gmock/gmock.h>
#include <type_traits>

#include <gpal/Process.h>
#include <gpal/ProcessTypeString.h>
#include <gpal/testing/MockProcesses.h>

#include "support/layer_threads.h"

using gpal::testing::MockPrioritySetter;
using testing::Return;
using testing::StrictMock;

static_assert(std::is_abstract_v<PrioritySetter> && std::has_virtual_destructor_v<PrioritySetter>);
static_assert(std::is_base_of_v<PrioritySetter, SimplePrioritySetter>);
static_assert(sizeof(SimplePrioritySetter) == sizeof(PrioritySetter), "a setter has no data");
static_assert(std::has_virtual_destructor_v<ProcessManager>);

namespace
{

class SetterOutside : public PrioritySetter
{
public:
    explicit SetterOutside(std::string& called) : m_called(called) {}
    ~SetterOutside() override { m_called = "destroyed"; }
    int setThreadPriority(std::string name, unsigned long threadId) override
    {
        return note("set thread " + name, static_cast<int>(threadId));
    }
    int setProcessPriority(std::string type, int pid) override
    {
        return note("set process " + type, pid);
    }
    int requestThreadPriority(std::string name, unsigned long threadId, int nice) override
    {
        return note("request thread " + name + std::to_string(threadId), nice);
    }
    int requestProcessPriority(std::string type, int pid, int nice) override
    {
        return note("request process " + type + std::to_string(pid), nice);
    }

private:
    int note(const std::string& called, int result)
    {
        m_called = called;
        return result;
    }

    std::string& m_called;
};

/// A body that describes itself.
class DescribedBody : public support::Body
{
public:
    explicit DescribedBody(int level) : Body([] {}), m_level(level) {}
    int getThreadPriorityForPlatform() override { return m_level; }
    std::string type() override { return "ringer"; }

private:
    int m_level;
};

class NamedProcess : public Process
{
public:
    std::string type() override { return "/usr/bin/dialler"; }
    int ID() override { return 4711; }
};

class DestructionWatcher : public ProcessManager
{
public:
    explicit DestructionWatcher(int& destroyed) : ProcessManager(nullptr), m_destroyed(destroyed) {}
    ~DestructionWatcher() override { ++m_destroyed; }

private:
    int& m_destroyed;
};

/// Static initialisation of a client may meet the manager already.
const int answerAtStart = ProcessManagement::manager()->removeThread(0);

} // namespace

TEST(ProcessManager, turnsLevelsIntoNiceValues)
{
    ProcessManager manager(nullptr);
    EXPECT_EQ(9, manager.calculatePriority(GPAL_THREAD_PRIORITY_LOW));
    EXPECT_EQ(0, manager.calculatePriority(GPAL_THREAD_PRIORITY_NORMAL));
    EXPECT_EQ(-10, manager.calculatePriority(GPAL_THREAD_PRIORITY_HIGH));
    EXPECT_EQ(-10, manager.calculatePriority(GPAL_THREAD_PRIORITY_TIMER));
    EXPECT_EQ(-16, manager.calculatePriority(GPAL_THREAD_PRIORITY_VOICE));
    for (const int other : {5, 7, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(0, manager.calculatePriority(static_cast<GPALThreadPriority>(other))) << other;
    }
}

TEST(ProcessManager, requestsALevelOfAThreadUnderTheGenericTypeAndReturnsTheAnswer)
{
    StrictMock<MockPrioritySetter> setter;
    ProcessManager manager(&setter);
    EXPECT_CALL(setter, requestThreadPriority(ProcessTypeString::GENERIC_THREAD, 4711UL, -16))
        .WillOnce(Return(-7));
    EXPECT_EQ(-7, manager.requestNewPriority(4711, GPAL_THREAD_PRIORITY_VOICE));
    EXPECT_CALL(setter, requestThreadPriority(ProcessTypeString::GENERIC_THREAD, 4712UL, 0))
        .WillOnce(Return(12));
    EXPECT_EQ(12, manager.requestNewPriority(4712, static_cast<GPALThreadPriority>(7)));
}

TEST(ProcessManager, requestsTheLevelOfABodyUnderTheBodysType)
{
    StrictMock<MockPrioritySetter> setter;
    ProcessManager manager(&setter);
    const int niceValues[] = {9, 0, -10, -10, -16, 0};
    for (int level = 0; level <= 5; ++level) {
        DescribedBody body(level);
        EXPECT_CALL(setter, requestThreadPriority("ringer", 4711UL, niceValues[level]))
            .WillOnce(Return(-1));
        EXPECT_EQ(1, manager.addThread(body, 4711)) << "whatever the setter answers";
    }
}

TEST(ProcessManager, announcesAThreadByNameWithoutRequestingAnything)
{
    StrictMock<MockPrioritySetter> setter;
    ProcessManager manager(&setter);
    for (const int answer : {-1, 0, 19}) {
        EXPECT_CALL(setter, setThreadPriority("ringer", 4711UL)).WillOnce(Return(answer));
        EXPECT_EQ(1, manager.addThread(4711, "ringer"));
    }
}

TEST(ProcessManager, doesNothingWhenAThreadIsRemoved)
{
    StrictMock<MockPrioritySetter> setter;
    ProcessManager manager(&setter);
    EXPECT_EQ(0, manager.removeThread(4711));
    EXPECT_EQ(0, manager.removeThread(-1));
}

TEST(ProcessManager, announcesAProcessByItsTypeAndId)
{
    StrictMock<MockPrioritySetter> setter;
    ProcessManager manager(&setter);
    NamedProcess process;
    for (const int answer : {-1, 0, 5}) {
        EXPECT_CALL(setter, setProcessPriority("/usr/bin/dialler", 4711)).WillOnce(Return(answer));
        EXPECT_EQ(1, manager.addProcess(process));
    }
}

TEST(ProcessManager, doesNotOwnItsSetter)
{
    std::string called;
    SetterOutside setter(called);
    {
        ProcessManager manager(&setter);
        manager.addThread(4711, "ringer");
    }
    EXPECT_EQ("set thread ringer", called);
}

TEST(ProcessManagement, hasNoTestManagerUntilOneIsSet)
{
    EXPECT_EQ(nullptr, ProcessManagement::m_testManager);
    ASSERT_NE(nullptr, ProcessManagement::manager());
    EXPECT_EQ(ProcessManagement::manager(), ProcessManagement::manager());
}

TEST(ProcessManagement, isThereBeforeAnyClientIs)
{
    EXPECT_EQ(0, answerAtStart);
}

TEST(ProcessManagement, putsATestManagerInForceAndOwnsIt)
{
    ProcessManager* const standard = ProcessManagement::manager();
    int destroyed = 0;
    auto* const watcher = new DestructionWatcher(destroyed);
    ProcessManager** const place = ProcessManagement::initialize(watcher);
    EXPECT_EQ(&ProcessManagement::m_testManager, place);
    EXPECT_EQ(watcher, *place);
    EXPECT_EQ(watcher, ProcessManagement::manager());
    EXPECT_EQ(0, destroyed);
    ProcessManagement::uninitialize();
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(nullptr, ProcessManagement::m_testManager);
    EXPECT_EQ(standard, ProcessManagement::manager());
}

TEST(ProcessManagement, isUninitialisedWithoutATestManagerToo)
{
    ProcessManager* const standard = ProcessManagement::manager();
    ProcessManagement::uninitialize();
    ProcessManagement::uninitialize();
    EXPECT_EQ(standard, ProcessManagement::manager());
    EXPECT_EQ(1, standard->addThread(0, "still alive"));
}

TEST(ProcessManagement, forgetsAReplacedTestManagerWithoutDeletingIt)
{
    int destroyed = 0;
    DestructionWatcher first(destroyed);
    ProcessManagement::initialize(&first);
    ProcessManagement::initialize(new DestructionWatcher(destroyed));
    EXPECT_EQ(0, destroyed);
    ProcessManagement::uninitialize();
    EXPECT_EQ(1, destroyed);
}

TEST(ProcessManagement, goesBackToTheDefaultManagerWhenNullIsSet)
{
    ProcessManager* const standard = ProcessManagement::manager();
    EXPECT_EQ(&ProcessManagement::m_testManager, ProcessManagement::initialize(nullptr));
    EXPECT_EQ(standard, ProcessManagement::manager());
}

TEST(ProcessManagement, changesNothingWhenMerelyInitialised)
{
    ProcessManager* const standard = ProcessManagement::manager();
    ProcessManagement::initialize();
    EXPECT_EQ(standard, ProcessManagement::manager());
    int destroyed = 0;
    auto* const watcher = new DestructionWatcher(destroyed);
    ProcessManagement::initialize(watcher);
    ProcessManagement::initialize();
    EXPECT_EQ(watcher, ProcessManagement::manager());
    EXPECT_EQ(0, destroyed);
    ProcessManagement::uninitialize();
}
