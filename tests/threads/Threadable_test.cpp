#include <gpal/Threadable.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <pthread.h>
#include <thread>
#include <type_traits>

#include <gpal/GPALThreadPriority.h>
#include <gpal/ProcessTypeString.h>

#include "support/layer_threads.h"
#include "support/thread_calls.h"

static_assert(std::is_abstract_v<Threadable> && std::has_virtual_destructor_v<Threadable>);
static_assert(std::is_same_v<std::underlying_type_t<GPALThreadPriority>, int>,
              "levels travel as ints");
static_assert(GPAL_THREAD_PRIORITY_LOW == 0 && GPAL_THREAD_PRIORITY_NORMAL == 1 &&
              GPAL_THREAD_PRIORITY_HIGH == 2 && GPAL_THREAD_PRIORITY_TIMER == 3 &&
              GPAL_THREAD_PRIORITY_VOICE == 4);

namespace
{

class OwnBody : public Threadable
{
public:
    explicit OwnBody(std::string& done) : m_done(done) {}
    ~OwnBody() override { m_done += " destroyed"; }
    void run() override { m_done += " run"; }
    int getThreadPriorityForPlatform() override { return GPAL_THREAD_PRIORITY_VOICE; }
    std::string type() override { return "own type"; }

private:
    std::string& m_done;
};

} // namespace

TEST(Threadable, hasTheNormalLevelAndTheGenericTypeUnlessABodySaysOtherwise)
{
    support::Body body([] {});
    EXPECT_EQ(1, body.getThreadPriorityForPlatform());
    EXPECT_EQ(ProcessTypeString::GENERIC_THREAD, body.type());
}

TEST(Threadable, deletesTheWholeBodyThroughItsBase)
{
    std::string done;
    std::unique_ptr<Threadable>(new OwnBody(done)).reset();
    EXPECT_EQ(" destroyed", done);
}

TEST(Threadable, knowsTheCallingThreadsId)
{
    EXPECT_EQ(pthread_self(), Threadable::currentThreadId());
    unsigned long seen = 0;
    std::thread other([&] { seen = Threadable::currentThreadId(); });
    const unsigned long expected = other.native_handle();
    other.join();
    EXPECT_EQ(expected, seen);
    EXPECT_NE(Threadable::currentThreadId(), seen);
}

TEST(Threadable, hasNoThreadIdBeforeItIsSpawned)
{
    support::Body body([] {});
    EXPECT_EQ(0UL, body.threadId());
}

TEST(Threadable, keepsTheThreadIdThatItIsGiven)
{
    support::Body body([] {});
    const unsigned long large = ~0UL;
    body.setThreadId(large);
    EXPECT_EQ(large, body.threadId());
    body.setThreadId(0);
    EXPECT_EQ(0UL, body.threadId());
}

TEST(Threadable, joinsTheThreadOfItsId)
{
    pthread_t joined = 0;
    void* result = nullptr;
    void** resultPlace = &result;
    support::Replacement join(support::calls::pthread_join, [&](pthread_t thread, void** place) {
        joined = thread;
        resultPlace = place;
        return 77;
    });
    support::Body body([] {});
    body.setThreadId(4711);
    EXPECT_EQ(77, body.waitForThreadCompletion());
    EXPECT_EQ(4711UL, joined);
    EXPECT_EQ(nullptr, resultPlace);
}

TEST(Threadable, hasNoThreadToJoinBeforeItIsSpawned)
{
    support::Body body([] {});
    EXPECT_EQ(ESRCH, body.waitForThreadCompletion());
}
