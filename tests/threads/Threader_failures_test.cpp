// What the spawner does with failing system calls, and the calls that it merely hands on.
#include <gpal/Threader.h>

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include "support/kernel_id.h"
#include "support/layer_threads.h"
#include "support/observed.h"
#include "support/thread_calls.h"

namespace calls = support::calls;
using support::Body;

namespace
{

void* markAsRun(void* flag)
{
    *static_cast<bool*>(flag) = true;
    return flag;
}

bool attributesCanBeMadeToFail()
{
    support::Replacement initialise(calls::pthread_attr_init, [](pthread_attr_t*) { return 77; });
    pthread_attr_t attributes{};
    return pthread_attr_init(&attributes) == 77;
}

} // namespace

TEST(Threader, doesNotTellThatABodyThreadCouldNotBeCreated)
{
    support::RecordedLog log;
    support::Captured output(1);
    support::Captured errors(2);
    support::Replacement create(
        calls::pthread_create,
        [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return EAGAIN; });
    Body body([] {});
    unsigned long id = 4711;
    EXPECT_TRUE(Threader().spawn(&id, &body, "name", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_EQ(4711UL, id);
    EXPECT_EQ(4711UL, body.threadId()) << "whatever the variable held";
    EXPECT_EQ("", output.text());
    EXPECT_EQ("", errors.text());
    EXPECT_TRUE(log.lines().empty());
}

TEST(Threader, reportsAFunctionThreadThatCouldNotBeCreatedOnStandardOutputOnly)
{
    support::RecordedLog log;
    support::Captured output(1);
    support::Captured errors(2);
    static const void* block = nullptr; // left to nobody, so it has to stay in sight
    support::Replacement create(calls::pthread_create, [](pthread_t*, const pthread_attr_t*,
                                                          void* (*)(void*), void* argument) {
        block = argument;
        errno = ENOMEM;
        return EAGAIN;
    });
    bool run = false;
    unsigned long id = 4711;
    EXPECT_TRUE(Threader().spawn(&id, markAsRun, &run, "", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_EQ("pthread_create FAILED: " + std::to_string(EAGAIN) + "," + std::to_string(ENOMEM) +
                  "," + std::strerror(EAGAIN) + "\n",
              output.text());
    EXPECT_EQ("", errors.text());
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(run);
    EXPECT_NE(nullptr, block);
}

TEST(Threader, leavesTheIdVariableAsItWasWhenTheKernelRefusesAThread)
{
    support::Captured output(1);
    static const void* block = nullptr; // left to nobody, so it has to stay in sight
    support::Replacement create(calls::pthread_create, [](pthread_t* thread, const pthread_attr_t*,
                                                          void* (*)(void*), void* argument) {
        block = argument;
        *thread = 815; // as the C library does before it asks
        return EAGAIN;
    });
    Body body([] {});
    bool run = false;
    unsigned long id = 4711;
    EXPECT_TRUE(Threader().spawn(&id, &body, "", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_EQ(4711UL, id);
    EXPECT_EQ(4711UL, body.threadId());
    EXPECT_TRUE(Threader().spawn(&id, markAsRun, &run, "", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_EQ(4711UL, id);
    EXPECT_NE(nullptr, block);
}

TEST(Threader, destroysOnlyAttributesThatWereInitialised)
{
    if (!attributesCanBeMadeToFail()) {
        GTEST_SKIP() << "a sanitizer needs pthread_attr_init for itself";
    }
    int destroyed = 0;
    support::Replacement destroy(calls::pthread_attr_destroy, [&](pthread_attr_t* attributes) {
        ++destroyed;
        return calls::pthread_attr_destroy.original(attributes);
    });
    support::Captured output(1);
    static const void* blocks[2]; // left to nobody, so they have to stay in sight
    static int created = 0;
    support::Replacement create(calls::pthread_create, [](pthread_t*, const pthread_attr_t*,
                                                          void* (*)(void*), void* argument) {
        blocks[created++] = argument;
        return EAGAIN;
    });
    unsigned long id = 0;
    Threader().spawn(&id, markAsRun, nullptr, "", GPAL_THREAD_PRIORITY_LOW, 0);
    EXPECT_EQ(1, destroyed);
    support::Replacement initialise(calls::pthread_attr_init, [](pthread_attr_t*) { return 77; });
    Threader().spawn(&id, markAsRun, nullptr, "", GPAL_THREAD_PRIORITY_LOW, 0);
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(2, created);
    EXPECT_NE(blocks[0], blocks[1]);
}

TEST(Threader, reportsFailingAttributesAndCreatesTheThreadWithThemAllTheSame)
{
    if (!attributesCanBeMadeToFail()) {
        GTEST_SKIP() << "a sanitizer needs pthread_attr_init for itself";
    }
    const pthread_attr_t* initialised = nullptr;
    const pthread_attr_t* used = nullptr;
    support::Replacement initialise(calls::pthread_attr_init, [&](pthread_attr_t* attributes) {
        calls::pthread_attr_init.replaceBy(nullptr); // sanitizers call it, too, on the new thread
        initialised = attributes;
        calls::pthread_attr_init(attributes);
        errno = ENOMEM;
        return EAGAIN;
    });
    support::Replacement create(calls::pthread_create, [&](pthread_t* thread,
                                                           const pthread_attr_t* attributes,
                                                           void* (*start)(void*), void* argument) {
        used = attributes;
        return calls::pthread_create.original(thread, attributes, start, argument);
    });
    support::Captured output(1);
    bool run = false;
    unsigned long id = 0;
    EXPECT_TRUE(Threader().spawn(&id, markAsRun, &run, "", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_EQ(0, pthread_join(id, nullptr));
    EXPECT_TRUE(run);
    EXPECT_NE(nullptr, used);
    EXPECT_EQ(initialised, used);
    EXPECT_EQ(std::string("pthread_attr_init FAILED: ") + std::strerror(ENOMEM) + "\n",
              output.text());
}

TEST(Threader, writesNothingWhenAllGoesWell)
{
    support::RecordedLog log;
    support::Captured output(1);
    support::Captured errors(2);
    bool run = false;
    unsigned long id = 0;
    EXPECT_TRUE(Threader().spawn(&id, markAsRun, &run, "", GPAL_THREAD_PRIORITY_LOW, 0));
    EXPECT_EQ(0, pthread_join(id, nullptr));
    EXPECT_EQ("", output.text());
    EXPECT_EQ("", errors.text());
    EXPECT_TRUE(log.lines().empty());
}

TEST(Threader, destroysByCancellationAndTellsWhetherTheRequestWasAccepted)
{
    pthread_t cancelled = 0;
    int result = 0;
    support::Replacement cancel(calls::pthread_cancel, [&](pthread_t thread) {
        cancelled = thread;
        return result;
    });
    Threader threader;
    EXPECT_TRUE(threader.destroy(4711));
    EXPECT_EQ(4711UL, cancelled);
    for (const int error : {ESRCH, 1, -1}) {
        result = error;
        EXPECT_FALSE(threader.destroy(4712));
    }
}

TEST(Threader, returnsTheResultOfTheJoin)
{
    pthread_t joined = 0;
    bool resultWanted = true;
    support::Replacement join(calls::pthread_join, [&](pthread_t thread, void** result) {
        joined = thread;
        resultWanted = result != nullptr;
        return 77;
    });
    EXPECT_EQ(77, Threader().waitForThreadCompletion(4711));
    EXPECT_EQ(4711UL, joined);
    EXPECT_FALSE(resultWanted);
}

TEST(Threader, returnsTheResultOfTheDetachment)
{
    pthread_t detached = 0;
    support::Replacement detach(calls::pthread_detach, [&](pthread_t thread) {
        detached = thread;
        return 77;
    });
    EXPECT_EQ(77, Threader().detach(4711));
    EXPECT_EQ(4711UL, detached);
}

TEST(Threader, detachesAThreadForReal)
{
    // Outlive the test, as nobody joins the thread.
    static std::atomic<int> kernelId{0};
    static std::atomic<bool> mayEnd{false};
    kernelId = 0;
    mayEnd = false;
    const auto work = [](void*) -> void* {
        kernelId = support::ownKernelId();
        support::eventually([] { return mayEnd.load(); });
        return nullptr;
    };
    Threader threader;
    unsigned long id = 0;
    threader.spawn(&id, work, nullptr, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    EXPECT_EQ(0, threader.detach(id));
    EXPECT_EQ(EINVAL, threader.detach(id)) << "detached already";
    EXPECT_TRUE(support::eventually([] { return kernelId != 0; }));
    const std::string task = "/proc/" + std::to_string(kernelId);
    EXPECT_EQ(0, access(task.c_str(), F_OK));
    mayEnd = true;
    EXPECT_TRUE(support::eventually([&] { return access(task.c_str(), F_OK) != 0; }));
    threadExitCleanUp(&id); // a second time; takes the locks that order its last steps before ours
}

TEST(Threader, hasNothingToDoForTheIdOfNoThread)
{
    Threader threader;
    EXPECT_FALSE(threader.destroy(0));
    EXPECT_EQ(ESRCH, threader.waitForThreadCompletion(0));
    EXPECT_EQ(ESRCH, threader.detach(0));
}
