// The ways to end a thread from outside or half-way: cancellation and pthread_exit.
#include <gpal/Threader.h>

#include <gmock/gmock.h>
#include <pthread.h>
#include <string>

#include <gpal/Semaphore.h>

#include "support/failing_allocations.h"
#include "support/layer_threads.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/thread_calls.h"

using support::eventually;
using support::Kind;
using support::LayerThread;
using support::removed;
using support::stayUntilCancelled;
using testing::Contains;
using testing::IsEmpty;

namespace
{

/// Every test also watches that nothing is logged or rebooted.
class EndedThread : public testing::TestWithParam<Kind>
{
protected:
    void cancelOnceRunning(LayerThread& thread)
    {
        EXPECT_TRUE(eventually([this] { return m_running.load(); }));
        thread.cancel();
    }

    void expectCleanUp(const LayerThread& thread) const
    {
        EXPECT_THAT(m_timeline.events(), Contains(removed(thread.id())).Times(1));
        EXPECT_THAT(m_log.lines(), IsEmpty());
        EXPECT_THAT(m_shell.commands(), IsEmpty());
        unsigned long id = thread.id();
        EXPECT_FALSE(Threader::setThreadPriority(GPAL_THREAD_PRIORITY_HIGH, id));
        threadExitCleanUp(&id); // takes out the entry that asking has left
    }

    support::Timeline m_timeline;
    support::RecordedManager m_manager{m_timeline};
    support::RecordedLog m_log;
    support::RecordedCommands m_shell;
    Semaphore m_semaphore{1, 1, false};
    std::atomic<bool> m_running{false};
};

INSTANTIATE_TEST_SUITE_P(Each, EndedThread, testing::Values(Kind::THREADABLE, Kind::FUNCTION),
                         support::nameOfKind);

} // namespace

TEST_P(EndedThread, byCancellationIsCleanedUp)
{
    LayerThread thread(GetParam(), [&] {
        m_semaphore.take(-1);
        m_running = true;
        stayUntilCancelled();
    });
    cancelOnceRunning(thread);
    EXPECT_EQ(PTHREAD_CANCELED, thread.join());
    expectCleanUp(thread);
    EXPECT_EQ(Semaphore::AVAILABLE, m_semaphore.take(0));
}

TEST_P(EndedThread, byCancellationInASemaphoreGivesBackThoseItOwned)
{
    Semaphore closed(0, 1, false);
    LayerThread thread(GetParam(), [&] {
        m_semaphore.take(-1);
        m_running = true;
        closed.take(-1);
    });
    cancelOnceRunning(thread);
    EXPECT_EQ(PTHREAD_CANCELED, thread.join());
    expectCleanUp(thread);
    EXPECT_EQ(Semaphore::AVAILABLE, m_semaphore.take(0));
}

TEST_P(EndedThread, byPthreadExitIsCleanedUpAndNothingIsRebooted)
{
    LayerThread thread(GetParam(), [&] {
        m_semaphore.take(-1);
        pthread_exit(this);
    });
    EXPECT_EQ(this, thread.join());
    expectCleanUp(thread);
    EXPECT_EQ(Semaphore::AVAILABLE, m_semaphore.take(0));
}

TEST_P(EndedThread, byCancellationRunsTheDestructorsOfItsWork)
{
    if (!support::unwindsWhenCancelled()) {
        GTEST_SKIP() << support::NO_UNWINDING;
    }
    struct Scope {
        support::Timeline& timeline;
        ~Scope() { timeline.add("destructor"); }
    };
    LayerThread thread(GetParam(), [&] {
        const Scope scope{m_timeline};
        m_running = true;
        stayUntilCancelled();
    });
    cancelOnceRunning(thread);
    thread.join();
    const std::vector<std::string> events = m_timeline.events();
    EXPECT_THAT(std::vector<std::string>(events.end() - 2, events.end()),
                testing::ElementsAre("destructor", removed(thread.id())));
    expectCleanUp(thread);
}

TEST_P(EndedThread, byCancellationDuringItsAnnouncementIsCleanedUpWithoutHavingRun)
{
    m_manager.whenAnnounced = [&] {
        m_running = true;
        stayUntilCancelled();
    };
    LayerThread thread(GetParam(), [&] { m_timeline.add("run"); });
    cancelOnceRunning(thread);
    EXPECT_EQ(PTHREAD_CANCELED, thread.join());
    EXPECT_THAT(m_timeline.events(), testing::Not(Contains("run")));
    expectCleanUp(thread);
}

TEST_P(EndedThread, byReturnFinishesItsCleanUpThoughItIsCancelledMeanwhile)
{
    std::atomic<bool> cancelled{false};
    m_manager.whenRemoved = [&] {
        m_running = true;
        eventually([&] { return cancelled.load(); });
        pthread_testcancel();
        m_timeline.add("removal finished");
    };
    LayerThread thread(GetParam(), [&] { m_semaphore.take(-1); });
    cancelOnceRunning(thread);
    cancelled = true;
    thread.join();
    m_manager.whenRemoved = [] {};
    EXPECT_THAT(m_timeline.events(), Contains("removal finished").Times(1));
    expectCleanUp(thread);
    EXPECT_EQ(Semaphore::AVAILABLE, m_semaphore.take(0));
}

TEST_P(EndedThread, isHeldOffWhileItIsProtected)
{
    std::atomic<bool> requested{false};
    int protection = -1;
    LayerThread thread(GetParam(), [&] {
        protection = Threader::protectFromDestroy();
        m_running = true;
        eventually([&] { return requested.load(); });
        pthread_testcancel();
        m_timeline.add("protected");
        Threader::unProtectFromDestroy();
        m_timeline.add("past the end of protection");
    });
    cancelOnceRunning(thread);
    requested = true;
    EXPECT_EQ(PTHREAD_CANCELED, thread.join());
    EXPECT_EQ(0, protection);
    EXPECT_THAT(m_timeline.events(), Contains("protected"));
    EXPECT_THAT(m_timeline.events(), testing::Not(Contains("past the end of protection")));
    expectCleanUp(thread);
}

TEST_P(EndedThread, isProtectedNoLongerAfterOneEndOfProtection)
{
    std::atomic<bool> requested{false};
    LayerThread thread(GetParam(), [&] {
        Threader::protectFromDestroy();
        Threader::protectFromDestroy();
        Threader::protectFromDestroy();
        m_running = true;
        eventually([&] { return requested.load(); });
        Threader::unProtectFromDestroy();
        m_timeline.add("past the end of protection");
    });
    cancelOnceRunning(thread);
    requested = true;
    EXPECT_EQ(PTHREAD_CANCELED, thread.join());
    EXPECT_THAT(m_timeline.events(), testing::Not(Contains("past the end of protection")));
}

TEST(EndedNamedThread, byCancellationLeavesNothingOfItsName)
{
    const std::string name = "a name that does not fit into a string by itself";
    void* (*work)(void*) = [](void*) -> void* { stayUntilCancelled(); };
    const auto endOne = [&] {
        unsigned long id = 0;
        Threader threader;
        threader.spawn(&id, work, nullptr, name, GPAL_THREAD_PRIORITY_NORMAL, 0);
        EXPECT_TRUE(threader.destroy(id));
        EXPECT_EQ(threader.waitForThreadCompletion(id), 0);
    };
    endOne();
    const long before = support::blocksInUse();
    endOne();
    EXPECT_EQ(support::blocksInUse(), before);
}

TEST(ProtectionFromDestroy, goesOnWhenNobodyHasAskedForTheThreadsEnd)
{
    bool passed = false;
    LayerThread thread(Kind::THREADABLE, [&] {
        Threader::protectFromDestroy();
        Threader::unProtectFromDestroy();
        passed = true;
    });
    EXPECT_EQ(nullptr, thread.join());
    EXPECT_TRUE(passed);
}

TEST(ProtectionFromDestroy, isTheCallingThreadsCancelState)
{
    std::vector<int> states;
    support::Replacement setState(support::calls::pthread_setcancelstate, [&](int state, int*) {
        states.push_back(state);
        return 77;
    });
    EXPECT_EQ(77, Threader::protectFromDestroy());
    Threader::unProtectFromDestroy();
    EXPECT_THAT(states, testing::ElementsAre(PTHREAD_CANCEL_DISABLE, PTHREAD_CANCEL_ENABLE));
}
