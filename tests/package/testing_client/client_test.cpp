// The test of a client as it stands outside the tree: doubles, recorders and the guard.
#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <syslog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gpal/gpal.h>
#include <gpal/testing/MockTimers.h>
#include <gpal/testing/SystemLogRecorder.h>
#include <gpal/testing/VirtualTimers.h>

TEST(Client, hasTimersThatExpireWhenItsTestSaysSo)
{
    gpal::testing::VirtualTimers timers;
    const std::unique_ptr<osTimerIfc> timer(timers.getTimer());
    testing::StrictMock<gpal::testing::MockTimeAble> receiver;
    EXPECT_CALL(receiver, timerExpired(timer.get()));
    timer->init(&receiver, 200);
    timer->start();
    timers.advance(200);
}

TEST(Client, seesWhatIsLogged)
{
    const gpal::testing::SystemLogRecorder log;
    syslogger_error("by the layer");
    syslog(LOG_ERR, "by the %s", "client");
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0].text, "by the layer");
    EXPECT_EQ(log.lines()[1].text, "by the client");
}

TEST(Client, isEndedInPlaceOfTheMachine)
{
    class Leaky : public Threadable
    {
    public:
        void run() override { throw std::runtime_error("escaped"); }
    };
    const auto letItEscape = [] {
        setenv("PATH", "/nowhere", 1); // if all else fails there is no such command
        Leaky body;
        unsigned long thread = 0;
        Threader().spawn(&thread, &body, "", GPAL_THREAD_PRIORITY_NORMAL, 0);
        body.waitForThreadCompletion();
    };
    EXPECT_EXIT(letItEscape(), testing::KilledBySignal(SIGABRT), "would reboot.*escaped");
}
