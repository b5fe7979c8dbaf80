// Calls between two processes on one machine.
#include <csignal>
#include <gmock/gmock.h>
#include <unistd.h>

#include "remote_side.h"

using recordings::sweep;
using testing::HasSubstr;

namespace
{

const char* const SOON = "--timeout=1";

void expectAllHeard(const RemoteSide& side, const RemoteSide& otherSide, int frames)
{
    EXPECT_EQ(side.figure("Frames received:"), frames) << side.output();
    EXPECT_EQ(side.figure("Frames lost:"), 0);
    EXPECT_EQ(side.heard(), otherSide.sent());
}

class RemoteCallTo : public testing::TestWithParam<const char*>
{
};

} // namespace

TEST_P(RemoteCallTo, theOtherProcessCarriesBothRecordingsUnchanged)
{
    if (GetParam()[0] == '[' && access("/proc/net/if_inet6", F_OK) != 0) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    RemoteSide called(sweep(8000, 1, 400));
    RemoteSide caller(sweep(8000, 1, 200, 700));
    const int port = called.listen();
    caller.start({"--to", GetParam() + std::to_string(port)});
    EXPECT_EQ(caller.wait(), 0) << caller.errors();
    EXPECT_EQ(called.wait(), 0) << called.errors();
    expectAllHeard(caller, called, 20);
    expectAllHeard(called, caller, 10);
    EXPECT_THAT(caller.output(), testing::StartsWith("Call completed.\n"));
    EXPECT_THAT(caller.output(), HasSubstr("\nOther side:       " + std::string(GetParam()) +
                                           std::to_string(port) + "\n"));
    EXPECT_THAT(called.output(), HasSubstr("\nCall completed: the other side has hung up.\n"));
}

INSTANTIATE_TEST_SUITE_P(byEachFamily, RemoteCallTo, testing::Values("127.0.0.1:", "[::1]:"));

TEST(RemoteCall, hangsUpWhenNobodyAnswers)
{
    RemoteSide caller(sweep(8000, 1, 10000));
    caller.start({"--to", "127.0.0.1:9", SOON});
    EXPECT_EQ(caller.wait(), 1);
    EXPECT_THAT(caller.output(), testing::StartsWith("Nobody has answered within 1 s.\n"));
    EXPECT_LT(caller.figure("Frames sent:"), 500);
    EXPECT_EQ(caller.figure("Frames received:"), 0);
}

TEST(RemoteCall, waitsForACallerAsLongAsItIsToldTo)
{
    RemoteSide called(sweep(8000, 1, 100));
    called.listen({"--listen=0", SOON});
    EXPECT_EQ(called.wait(), 1);
    EXPECT_THAT(called.output(), HasSubstr("\nNobody has called within 1 s.\n"));
}

TEST(RemoteCall, endsWhenTheOtherSideFallsSilent)
{
    RemoteSide called(sweep(8000, 1, 10000));
    RemoteSide caller(sweep(8000, 1, 10000, 700));
    const int port = called.listen({"--listen=0", "--timeout=3"});
    caller.start({"--to", "127.0.0.1:" + std::to_string(port)});
    ASSERT_TRUE(called.hasHeard());
    ASSERT_EQ(kill(caller.id(), SIGKILL), 0);
    EXPECT_EQ(caller.wait(), -SIGKILL);
    EXPECT_EQ(called.wait(), 1);
    EXPECT_THAT(called.output(),
                HasSubstr("\nThe other side has fallen silent: nothing was heard for 3 s.\n"));
    EXPECT_EQ(called.figure("Frames lost:"), 0);
}

namespace
{

class HungUp : public testing::TestWithParam<int>
{
};

} // namespace

TEST_P(HungUp, byTheOneIsHeardByTheOther)
{
    RemoteSide called(sweep(8000, 1, 10000));
    RemoteSide caller(sweep(8000, 1, 10000, 700));
    const int port = called.listen();
    caller.start({"--to", "127.0.0.1:" + std::to_string(port)});
    ASSERT_TRUE(called.hasHeard());
    ASSERT_EQ(kill(caller.id(), GetParam()), 0);
    EXPECT_EQ(caller.wait(), 128 + GetParam());
    EXPECT_EQ(called.wait(), 0);
    EXPECT_THAT(caller.output(), testing::StartsWith("Call hung up early.\n"));
    EXPECT_THAT(called.output(), HasSubstr("\nCall completed: the other side has hung up.\n"));
    const int sent = caller.figure("Frames sent:");
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, 500);
    EXPECT_EQ(called.figure("Frames received:"), sent);
    std::vector<std::int16_t> expected = caller.sent();
    expected.resize(static_cast<std::size_t>(sent) * 160);
    EXPECT_EQ(called.heard(), expected);
}

INSTANTIATE_TEST_SUITE_P(byEachSignal, HungUp, testing::Values(SIGINT, SIGTERM));

TEST(RemoteCall, isRefusedToNobody)
{
    RemoteSide caller(sweep(8000, 1, 100));
    caller.start({"--to", "127.0.0.1:x"});
    EXPECT_EQ(caller.wait(), 2);
    EXPECT_EQ(caller.errors(), "voice_call: 127.0.0.1:x is no HOST or HOST:PORT\n");
}

TEST(RemoteCall, needsItsPortForItself)
{
    RemoteSide first(sweep(8000, 1, 100));
    RemoteSide second(sweep(8000, 1, 100));
    const int port = first.listen({"--listen=0", SOON});
    second.start({"--listen", std::to_string(port)});
    EXPECT_EQ(second.wait(), 2);
    EXPECT_THAT(second.errors(),
                HasSubstr(":" + std::to_string(port) + ": Address already in use"));
    EXPECT_EQ(first.wait(), 1);
}
