// Calls between two machines, made of network namespaces, over a link that loses, swaps and doubles
// packets, and with a program of others at the far end.
#include <csignal>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "relay.h"
#include "remote_side.h"

#include "support/two_hosts.h"

using recordings::sweep;
using testing::HasSubstr;

namespace
{

constexpr int FRAMES = 30;
constexpr int SAMPLES = 160;

class TwoMachines : public testing::Test
{
protected:
    void SetUp() override
    {
        const std::string reason = support::makeTwoHosts();
        if (!reason.empty()) {
            GTEST_SKIP() << "no second host: " << reason;
        }
    }

    /// What the far side sent, with silence in place of some frames.
    static std::vector<std::int16_t> silentAt(std::vector<std::int16_t> audio,
                                              const std::set<int>& frames)
    {
        for (const int frame : frames) {
            std::fill_n(audio.begin() + frame * SAMPLES, SAMPLES, 0);
        }
        return audio;
    }

    RemoteSide m_near{sweep(8000, 1, FRAMES * 20)};
    RemoteSide m_far{sweep(8000, 1, FRAMES * 20, 700), {"ip", "netns", "exec", "far"}};
};

} // namespace

namespace
{

class TwoMachinesOver : public TwoMachines, public testing::WithParamInterface<const char*>
{
};

} // namespace

TEST_P(TwoMachinesOver, eachFamilyHearEachOther)
{
    if (GetParam()[0] == '[' && access("/proc/net/if_inet6", F_OK) != 0) {
        GTEST_SKIP() << "this host has no IPv6";
    }
    const int port = m_far.listen();
    m_near.start({"--to", GetParam() + (":" + std::to_string(port))});
    EXPECT_EQ(m_near.wait(), 0) << m_near.errors();
    EXPECT_EQ(m_far.wait(), 0) << m_far.errors();
    EXPECT_EQ(m_near.heard(), m_far.sent());
    EXPECT_EQ(m_far.heard(), m_near.sent());
}

INSTANTIATE_TEST_SUITE_P(TwoMachines, TwoMachinesOver, testing::Values("10.9.0.2", "[fd09::2]"));

TEST_F(TwoMachines, haveSilenceForWhatTheFilterOnTheWayDrops)
{
    // Every fourth frame, and no goodbye.
    if (!support::runCommands("ip netns exec far nft 'add table inet lossy;"
                              "add chain inet lossy in { type filter hook input priority 0; };"
                              "add rule inet lossy in udp length 180 numgen inc mod 4 3 drop'")) {
        GTEST_SKIP() << "no packet filter to lose datagrams with";
    }
    const int port = m_far.listen();
    m_near.start({"--to", std::string(support::FAR_HOST) + ":" + std::to_string(port)});
    EXPECT_EQ(m_near.wait(), 0) << m_near.errors();
    EXPECT_EQ(m_far.wait(), 1);
    EXPECT_EQ(m_far.figure("Frames received:"), FRAMES - 7);
    EXPECT_EQ(m_far.figure("Frames lost:"), 7);
    EXPECT_EQ(m_far.heard(), silentAt(m_near.sent(), {3, 7, 11, 15, 19, 23, 27}));
}

TEST_F(TwoMachines, putWhatTheNetworkSwapsAndDoublesAtItsPlace)
{
    const int port = m_far.listen();
    Relay::Mischief mischief;
    mischief.lost = {2, 20};
    mischief.doubled = {7, 8};
    mischief.behind = {{0, 1}, {10, 12}, {14, 26}}; // the last one comes too late
    const Relay relay(support::FAR_HOST, port, mischief);
    m_near.start({"--to", "127.0.0.1:" + std::to_string(relay.port())});
    EXPECT_EQ(m_near.wait(), 0) << m_near.errors();
    EXPECT_EQ(m_far.wait(), 1);
    EXPECT_THAT(m_far.output(), HasSubstr("\nFrames received:  27 (2 out of order, 2 doubled, "));
    EXPECT_THAT(m_far.output(),
                HasSubstr("\nFrames lost:      2, and 1 too late; silence is in their place\n"));
    EXPECT_EQ(m_far.heard(), silentAt(m_near.sent(), {2, 14, 20}));
    EXPECT_EQ(m_near.heard(), m_far.sent());
}

namespace
{

/// A telephone call with GStreamer, which knows RTP too.
class TwoMachinesOfTwoMakes : public TwoMachines
{
protected:
    void SetUp() override
    {
        TwoMachines::SetUp();
        const bool isThere = support::runCommands("for part in rtppcmupay mulawdec udpsrc wavparse "
                                                  "rtpbin; do gst-inspect-1.0 $part; done");
        if (!IsSkipped() && !isThere) {
            GTEST_SKIP() << "no GStreamer with its good plugins";
        }
    }

    void TearDown() override
    {
        // Its part that sends reports does not end by itself.
        if (m_pipeline > 0) {
            kill(m_pipeline, SIGKILL);
            waitpid(m_pipeline, nullptr, 0);
        }
    }

    /// Starts a pipeline on the far host.
    void startThere(const std::string& pipeline)
    {
        const std::string command =
            "exec ip netns exec far gst-launch-1.0 " + pipeline + " >/dev/null 2>&1";
        m_pipeline = fork();
        if (m_pipeline == 0) {
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
    }

    void waitForItsEnd()
    {
        waitpid(m_pipeline, nullptr, 0);
        m_pipeline = -1;
    }

private:
    pid_t m_pipeline = -1;
};

} // namespace

TEST_F(TwoMachinesOfTwoMakes, hearTheOtherUnchanged)
{
    const int port = m_near.listen();
    const std::string towards =
        "udpsink host=" + std::string(support::NEAR_HOST) + " port=" + std::to_string(port);
    startThere("rtpbin name=rtp"
               " filesrc location=" +
               m_far.path("in.wav") +
               " ! wavparse ! mulawenc"
               " ! rtppcmupay min-ptime=20000000 max-ptime=20000000 ! rtp.send_rtp_sink_0"
               " rtp.send_rtp_src_0 ! " +
               towards + " rtp.send_rtcp_src_0 ! " + towards + " sync=false async=false");
    EXPECT_EQ(m_near.wait(), 0) << m_near.errors();
    EXPECT_THAT(m_near.output(), HasSubstr("Call completed: the other side has hung up.\n"));
    EXPECT_EQ(m_near.figure("Frames received:"), FRAMES);
    EXPECT_EQ(m_near.figure("Frames lost:"), 0);
    EXPECT_EQ(m_near.heard(), m_far.sent());
}

TEST_F(TwoMachinesOfTwoMakes, areHeardByTheOtherUnchanged)
{
    // It ends by itself after as many frames.
    startThere("udpsrc port=5004 num-buffers=" + std::to_string(FRAMES) +
               " caps=application/x-rtp,media=audio,clock-rate=8000,encoding-name=PCMU,payload=0"
               " ! rtppcmudepay ! mulawdec ! wavenc ! filesink location=" +
               m_far.path("out.wav"));
    ASSERT_TRUE(support::eventually(
        [] { return support::runCommands("ip netns exec far ss -lun | grep -q :5004"); }));
    m_near.start({"--to", support::FAR_HOST, "--timeout=1"});
    EXPECT_EQ(m_near.wait(), 1);
    EXPECT_THAT(m_near.output(), testing::StartsWith("Nobody has answered within 1 s.\n"))
        << "for it speaks not";
    waitForItsEnd();
    EXPECT_EQ(m_far.heard(), m_near.sent());
}
