// Threads that run in the test's own.
#include <cerrno>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/testing/ManualThreads.h>

namespace
{

using gpal::testing::BodyCancelled;
using gpal::testing::ManualThreads;
using testing::ElementsAre;

class Task : public Threadable
{
public:
    explicit Task(std::function<void()> work) : m_work(std::move(work)) {}
    void run() override { m_work(); }

private:
    std::function<void()> m_work;
};

unsigned long spawn(ThreaderIfc& threader, Threadable& body)
{
    unsigned long thread = 0;
    EXPECT_TRUE(threader.spawn(&thread, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0));
    return thread;
}

TEST(ManualThreads, runABodyInsideSpawn)
{
    ManualThreads threads;
    bool ran = false;
    Task task([&] { ran = true; });
    const unsigned long thread = spawn(threads, task);
    EXPECT_TRUE(ran);
    EXPECT_EQ(threads.waitForThreadCompletion(thread), 0);
}

TEST(ManualThreads, runBodiesOnDemand)
{
    ManualThreads threads(ManualThreads::ON_DEMAND);
    std::vector<std::string> ran;
    Task first([&] { ran.emplace_back("first"); });
    Task second([&] { ran.emplace_back("second"); });
    const unsigned long one = spawn(threads, first);
    const unsigned long other = spawn(threads, second);
    EXPECT_THAT(ran, ElementsAre());
    EXPECT_EQ(threads.waiting(), 2U);

    EXPECT_TRUE(threads.runNext());
    EXPECT_THAT(ran, ElementsAre("first"));
    EXPECT_EQ(threads.runAll(), 1);
    EXPECT_FALSE(threads.runNext());
    EXPECT_THAT(ran, ElementsAre("first", "second"));
    EXPECT_EQ(threads.waitForThreadCompletion(one), 0);
    EXPECT_EQ(threads.waitForThreadCompletion(other), 0);
}

TEST(ManualThreads, runAWaitingBodyWhenItIsJoined)
{
    ManualThreads threads(ManualThreads::ON_DEMAND);
    bool ran = false;
    Task task([&] { ran = true; });
    EXPECT_EQ(threads.waitForThreadCompletion(spawn(threads, task)), 0);
    EXPECT_TRUE(ran);
}

TEST(ManualThreads, doNotRunABodyThatIsDestroyedBefore)
{
    ManualThreads threads(ManualThreads::ON_DEMAND);
    Task task([] { FAIL() << "it was destroyed"; });
    const unsigned long thread = spawn(threads, task);
    EXPECT_TRUE(threads.destroy(thread));
    EXPECT_EQ(threads.runAll(), 0);
    EXPECT_EQ(threads.waitForThreadCompletion(thread), 0);
}

TEST(ManualThreads, runBodiesThatBodiesSpawn)
{
    ManualThreads threads;
    std::vector<std::string> order;
    Task inner([&] { order.emplace_back("inner"); });
    Task outer([&] {
        const unsigned long thread = spawn(threads, inner);
        EXPECT_EQ(threads.waitForThreadCompletion(thread), 0);
        order.emplace_back("outer");
    });
    EXPECT_EQ(threads.waitForThreadCompletion(spawn(threads, outer)), 0);
    EXPECT_THAT(order, ElementsAre("inner", "outer"));
    EXPECT_EQ(threads.spawned(), 2);
}

TEST(ManualThreads, endABodyThatThrowsBodyCancelled)
{
    ManualThreads threads;
    Task task([] { throw BodyCancelled{}; });
    EXPECT_EQ(threads.waitForThreadCompletion(spawn(threads, task)), 0);
}

TEST(ManualThreads, letOtherExceptionsThroughToTheTest)
{
    ManualThreads threads;
    Task task([] { throw std::runtime_error("escaped"); });
    unsigned long thread = 0;
    EXPECT_THROW(threads.spawn(&thread, &task, "", GPAL_THREAD_PRIORITY_NORMAL, 0),
                 std::runtime_error);
    EXPECT_EQ(threads.waitForThreadCompletion(thread), 0);
}

TEST(ManualThreads, makeSpawnersThatShareThem)
{
    ManualThreads threads(ManualThreads::ON_DEMAND);
    const std::unique_ptr<ThreaderIfc> spawner(threads.createNewThreader());
    bool ran = false;
    Task task([&] { ran = true; });
    const unsigned long thread = spawn(*spawner, task);
    EXPECT_TRUE(threads.runNext());
    EXPECT_TRUE(ran);
    EXPECT_TRUE(spawner->destroy(thread));
    EXPECT_EQ(spawner->waitForThreadCompletion(thread), 0);
}

TEST(ManualThreads, refuseToWaitInABodyForItself)
{
    ManualThreads threads;
    int result = 0;
    unsigned long thread = 0;
    Task task([&] { result = threads.waitForThreadCompletion(thread); });
    threads.spawn(&thread, &task, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    EXPECT_EQ(result, EDEADLK);
    EXPECT_EQ(threads.waitForThreadCompletion(thread), 0);
    EXPECT_EQ(threads.waitForThreadCompletion(thread), ESRCH);
}

} // namespace
