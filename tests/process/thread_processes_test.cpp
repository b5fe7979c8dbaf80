// Threads libraries to which each thread is a process of its own, as the device's may have it.
#include <gpal/OSWrappers.h>
#include <gpal/Process.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/layer_threads.h"
#include "support/plain_thread.h"

namespace
{

class ThreadProcess : public testing::Test
{
protected:
    void SetUp() override
    {
        int other = 0;
        support::onAnotherThread([&other] { other = OSWrappers::curID(); });
        if (other == OSWrappers::curID()) {
            GTEST_SKIP() << "the threads of a process have one process id here";
        }
    }
};

} // namespace

TEST_F(ThreadProcess, isWhatTheManagerIsToldOfAThread)
{
    support::Timeline timeline;
    const support::RecordedManager manager(timeline);
    int id = 0;
    {
        support::LayerThread thread([&id] { id = OSWrappers::curID(); });
        thread.join();
        EXPECT_EQ(timeline.events().front(), support::announced(thread.body().type(), id));
    }
    EXPECT_NE(id, OSWrappers::curID());
}

TEST_F(ThreadProcess, aloneCanWaitForTheChildThatItStarted)
{
    const char* argv[] = {"/bin/sh", "-c", "exit 7", nullptr};
    Process child;
    child.start(3, const_cast<char**>(argv), environ, nullptr);
    support::onAnotherThread([&child] { EXPECT_EQ(child.waitForExit(), 0); });
    EXPECT_EQ(child.waitForExit(), 7);
}
