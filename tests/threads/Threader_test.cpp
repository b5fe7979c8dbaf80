#include <gpal/Threader.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <gmock/gmock.h>
#include <memory>
#include <pthread.h>
#include <type_traits>

#include <gpal/ProcessTypeString.h>

#include "support/kernel_id.h"
#include "support/layer_threads.h"
#include "support/observed.h"
#include "support/thread_calls.h"

namespace calls = support::calls;
using support::announced;
using support::announcedByName;
using support::Body;
using support::priorityRequested;
using testing::ElementsAre;

static_assert(std::is_abstract_v<ThreaderIfc> && std::has_virtual_destructor_v<ThreaderIfc>);
static_assert(std::is_abstract_v<ThreaderFactoryIfc> &&
              std::has_virtual_destructor_v<ThreaderFactoryIfc>);
static_assert(std::is_base_of_v<ThreaderIfc, Threader> && sizeof(Threader) == sizeof(ThreaderIfc),
              "a spawner has no data");

namespace
{

void* doNothing(void*)
{
    return nullptr;
}

/// What the process manager hears of a function thread that is spawned like this.
std::vector<std::string> announcementsOf(const std::string& name, int level, int& kernelId)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    manager.whenAnnounced = [&] { kernelId = support::ownKernelId(); };
    unsigned long id = 0;
    EXPECT_TRUE(Threader().spawn(&id, doNothing, nullptr, name,
                                 static_cast<GPALThreadPriority>(level), 99));
    pthread_join(id, nullptr);
    std::vector<std::string> events = timeline.events();
    events.pop_back(); // its removal
    return events;
}

} // namespace

TEST(ThreaderFactory, makesANewSpawnerForEachCallerToOwn)
{
    ThreaderFactory factory;
    ThreaderFactoryIfc& interface = factory;
    const std::unique_ptr<ThreaderIfc> first(interface.createNewThreader());
    const std::unique_ptr<ThreaderIfc> second(interface.createNewThreader());
    EXPECT_NE(nullptr, dynamic_cast<Threader*>(first.get()));
    EXPECT_NE(nullptr, dynamic_cast<Threader*>(second.get()));
    EXPECT_NE(first, second);
}

TEST(Threader, createsNothingWithoutABodyAFunctionOrAPlaceForTheId)
{
    int created = 0;
    support::Replacement create(
        calls::pthread_create,
        [&](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return ++created; });
    support::Captured output(1);
    Threader threader;
    Body body([] {});
    unsigned long id = 4711;
    EXPECT_FALSE(threader.spawn(&id, nullptr, "name", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_FALSE(threader.spawn(nullptr, &body, "name", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_FALSE(threader.spawn(&id, nullptr, &id, "name", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_FALSE(threader.spawn(nullptr, doNothing, &id, "name", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_EQ(0, created);
    EXPECT_EQ(4711UL, id);
    EXPECT_EQ(0UL, body.threadId());
    EXPECT_EQ("", output.text());
}

TEST(Threader, runsABodyOnAThreadWhoseIdItStoresInBothPlaces)
{
    unsigned long seen = 0;
    Body body([&] { seen = Threadable::currentThreadId(); });
    Threader threader;
    unsigned long id = 0;
    EXPECT_TRUE(threader.spawn(&id, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0));
    EXPECT_EQ(id, body.threadId());
    EXPECT_EQ(0, body.waitForThreadCompletion());
    EXPECT_EQ(id, seen);
    EXPECT_NE(pthread_self(), seen);
}

TEST(Threader, letsABodyDescribeItselfWhateverItIsSpawnedWith)
{
    support::Timeline timeline;
    support::RecordedManager manager(timeline);
    int kernelId = 0;
    Body body([&] { kernelId = support::ownKernelId(); });
    unsigned long id = 0;
    EXPECT_TRUE(Threader().spawn(&id, &body, "some name", GPAL_THREAD_PRIORITY_VOICE, 99));
    body.waitForThreadCompletion();
    EXPECT_THAT(
        timeline.events(),
        ElementsAre(announced(ProcessTypeString::GENERIC_THREAD, kernelId), support::removed(id)));
}

TEST(Threader, runsAFunctionWithItsArgumentOnAThreadOfItsOwn)
{
    struct Seen {
        const void* argument;
        unsigned long thread;
    } seen{};
    const auto look = [](void* argument) -> void* {
        *static_cast<Seen*>(argument) = {argument, Threadable::currentThreadId()};
        return argument;
    };
    unsigned long id = 0;
    EXPECT_TRUE(Threader().spawn(&id, look, &seen, "name", GPAL_THREAD_PRIORITY_NORMAL, 0));
    void* result = &id;
    EXPECT_EQ(0, pthread_join(id, &result));
    EXPECT_EQ(&seen, seen.argument);
    EXPECT_EQ(id, seen.thread);
    EXPECT_EQ(nullptr, result) << "the function's own result is dropped";
}

TEST(Threader, announcesAnUnnamedFunctionThreadByTheTypeOfItsLevel)
{
    const std::string types[] = {
        ProcessTypeString::C_THREAD_LOW, ProcessTypeString::C_THREAD_NORMAL,
        ProcessTypeString::C_THREAD_HIGH, ProcessTypeString::C_THREAD_TIMER,
        ProcessTypeString::C_THREAD_VOICE};
    for (int level = 0; level <= 4; ++level) {
        int kernelId = 0;
        const auto events = announcementsOf("", level, kernelId);
        EXPECT_THAT(events, ElementsAre(announcedByName(types[level], kernelId),
                                        priorityRequested(kernelId, level)));
    }
}

TEST(Threader, announcesAnUnnamedFunctionThreadOfAnotherLevelByTheEmptyName)
{
    for (const int level : {7, 5, -1, INT_MAX, INT_MIN}) {
        int kernelId = 0;
        const auto events = announcementsOf("", level, kernelId);
        EXPECT_THAT(events,
                    ElementsAre(announcedByName("", kernelId), priorityRequested(kernelId, level)))
            << "the level itself is handed on unchanged";
    }
}

TEST(Threader, announcesAFunctionThreadByItsNameWhateverItsLevel)
{
    for (const int level : {0, 4, 7}) {
        int kernelId = 0;
        const auto events = announcementsOf("ringer", level, kernelId);
        EXPECT_THAT(events, ElementsAre(announcedByName("ringer", kernelId),
                                        priorityRequested(kernelId, level)));
    }
}

TEST(Threader, createsBodyThreadsJoinableAndWithDefaultAttributes)
{
    bool defaults = false;
    support::Replacement create(calls::pthread_create, [&](pthread_t* thread,
                                                           const pthread_attr_t* attributes,
                                                           void* (*start)(void*), void* argument) {
        defaults = attributes == nullptr;
        return calls::pthread_create.original(thread, attributes, start, argument);
    });
    Body body([] {});
    unsigned long id = 0;
    Threader threader;
    threader.spawn(&id, &body, "", GPAL_THREAD_PRIORITY_VOICE, 0);
    EXPECT_TRUE(defaults);
    EXPECT_EQ(0, threader.waitForThreadCompletion(id));
}

TEST(Threader, setsNoStackSizeAndNoSchedulingForFunctionThreads)
{
    struct Attributes {
        size_t stack = 0;
        int detached = -1;
        int inheritance = -1;
        int policy = -1;
        explicit Attributes(const pthread_attr_t* from)
        {
            pthread_attr_getstacksize(from, &stack);
            pthread_attr_getdetachstate(from, &detached);
            pthread_attr_getinheritsched(from, &inheritance);
            pthread_attr_getschedpolicy(from, &policy);
        }
    };
    std::unique_ptr<Attributes> used;
    support::Replacement create(calls::pthread_create, [&](pthread_t* thread,
                                                           const pthread_attr_t* attributes,
                                                           void* (*start)(void*), void* argument) {
        used = std::make_unique<Attributes>(attributes);
        return calls::pthread_create.original(thread, attributes, start, argument);
    });
    Threader threader;
    unsigned long id = 0;
    threader.spawn(&id, doNothing, nullptr, "", GPAL_THREAD_PRIORITY_VOICE, 4096);
    EXPECT_EQ(0, threader.waitForThreadCompletion(id));

    pthread_attr_t fresh;
    pthread_attr_init(&fresh);
    const Attributes expected(&fresh);
    pthread_attr_destroy(&fresh);
    EXPECT_EQ(expected.stack, used->stack);
    EXPECT_EQ(PTHREAD_CREATE_JOINABLE, used->detached);
    EXPECT_EQ(expected.inheritance, used->inheritance);
    EXPECT_EQ(expected.policy, used->policy);
}
