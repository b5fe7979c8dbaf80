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

#include "support/slots.h"
#include "support/thread_calls.h"

using support::callSlot;

static_assert(std::is_abstract_v<Threadable> && std::has_virtual_destructor_v<Threadable>);
static_assert(std::is_same_v<std::underlying_type_t<GPALThreadPriority>, int>,
              "levels travel as ints");
static_assert(GPAL_THREAD_PRIORITY_LOW == 0 && GPAL_THREAD_PRIORITY_NORMAL == 1 &&
              GPAL_THREAD_PRIORITY_HIGH == 2 && GPAL_THREAD_PRIORITY_TIMER == 3 &&
              GPAL_THREAD_PRIORITY_VOICE == 4);

namespace
{

/// Overrides nothing that it need not.
class PlainBody : public Threadable
{
public:
    void run() override {}
};

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
    PlainBody body;
    EXPECT_EQ(1, body.getThreadPriorityForPlatform());
    EXPECT_EQ(ProcessTypeString::GENERIC_THREAD, body.type());
}

TEST(Threadable, keepsItsVirtualFunctionsInTheOrderThatClientsWereBuiltWith)
{
    std::string done;
    OwnBody body(done);
    callSlot<void()>(&body, 2);
    EXPECT_EQ(" run", done);
    EXPECT_EQ(GPAL_THREAD_PRIORITY_VOICE, callSlot<int()>(&body, 3));
    EXPECT_EQ("own type", callSlot<std::string()>(&body, 4));
}

TEST(Threadable, isDestroyedThroughItsFirstTwoSlots)
{
    std::string done;
    alignas(OwnBody) unsigned char place[sizeof(OwnBody)];
    callSlot<void()>(new (place) OwnBody(done), 0);
    EXPECT_EQ(" destroyed", done);
    callSlot<void()>(new OwnBody(done), 1);
    EXPECT_EQ(" destroyed destroyed", done);
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
    PlainBody body;
    EXPECT_EQ(0UL, body.threadId());
}

TEST(Threadable, keepsTheThreadIdThatItIsGiven)
{
    PlainBody body;
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
    PlainBody body;
    body.setThreadId(4711);
    EXPECT_EQ(77, body.waitForThreadCompletion());
    EXPECT_EQ(4711UL, joined);
    EXPECT_EQ(nullptr, resultPlace);
}

TEST(Threadable, hasNoThreadToJoinBeforeItIsSpawned)
{
    PlainBody body;
    EXPECT_EQ(ESRCH, body.waitForThreadCompletion());
}
