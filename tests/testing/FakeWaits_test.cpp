// Event objects that never block.
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/testing/FakeWaits.h>
#include <gpal/testing/ManualThreads.h>

namespace
{

using gpal::testing::BodyCancelled;
using gpal::testing::FakeWait;
using gpal::testing::FakeWaits;
using testing::ElementsAre;

TEST(FakeWait, rememberForHowLongItWasAskedTo)
{
    FakeWait event;
    EXPECT_EQ(event.wait(500), 0); // as when the time has run out, but at once
    event.signal();
    EXPECT_EQ(event.wait(), 1);
    EXPECT_THAT(event.asked(), ElementsAre(500, -1));
    EXPECT_EQ(event.signals(), 1);
}

TEST(FakeWait, canBeSignalledFromWithin)
{
    FakeWait event;
    event.whenWaiting([](WaitIfc& self, int timeoutMs) {
        if (timeoutMs >= 100) {
            self.signal(); // the answer comes after 100 ms, say
        }
    });
    EXPECT_EQ(event.wait(99), 0);
    EXPECT_EQ(event.wait(100), 1);
}

TEST(FakeWait, leavesABodyThatWouldWaitForEver)
{
    FakeWait event;
    testing::internal::CaptureStderr();
    EXPECT_THROW(event.wait(), BodyCancelled);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("for ever"));
}

// A body that serves events until it is cancelled: it serves those that are there, and is left.
TEST(FakeWaits, letAnEndlessBodyServeWhatIsThere)
{
    class Server : public Threadable
    {
    public:
        explicit Server(WaitIfc& request) : m_request(request) {}
        void run() override
        {
            while (m_request.wait() == 1) {
                served += 1;
            }
        }
        int served = 0;

    private:
        WaitIfc& m_request;
    };

    FakeWaits waits;
    const std::unique_ptr<WaitIfc> request(waits.getNewWait());
    Server server(*request);
    request->signal();
    gpal::testing::ManualThreads threads;
    unsigned long thread = 0;
    threads.spawn(&thread, &server, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
    EXPECT_EQ(server.served, 1);
    threads.waitForThreadCompletion(thread);
}

TEST(FakeWaits, keepOneRecordOfAll)
{
    FakeWaits waits;
    const std::unique_ptr<WaitIfc> one(waits.getNewWait());
    const std::unique_ptr<WaitIfc> other(waits.getNewWait());
    one->wait(10);
    other->wait(20);
    other->signal();
    EXPECT_EQ(one->wait(0), 0); // each has a signal of its own
    EXPECT_THAT(waits.asked(), ElementsAre(10, 20, 0));
    EXPECT_EQ(waits.signals(), 1);
}

} // namespace
