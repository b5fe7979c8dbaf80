#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "call.h"
#include "g711.h"

#include "support/observed.h"

using namespace voicecall;

namespace
{

Frame frameAt(int index, std::uint8_t code)
{
    Frame frame;
    frame.index = index;
    frame.payload.fill(code);
    return frame;
}

const std::uint8_t CODE = 0x80;
const std::int16_t SAMPLE = 32124;

} // namespace

TEST(Recorder, putsFramesAtTheirPlacesAndLeavesSilenceForLostOnes)
{
    FrameQueue queue;
    Recorder recorder(queue, 5);
    const std::unique_ptr<ThreaderIfc> threader(ThreaderFactory().createNewThreader());
    ASSERT_TRUE(recorder.start(*threader));
    for (const int index : {0, 3, 1, 3, 9}) { // 2 is lost, 1 is late, 3 comes twice, 9 is too far
        queue.put(frameAt(index, CODE));
    }
    EXPECT_TRUE(recorder.waitForFrames(3, 5000));
    EXPECT_FALSE(recorder.waitForFrames(4, 20));
    queue.close();
    recorder.join();
    EXPECT_EQ(recorder.received(), 3);
    EXPECT_EQ(recorder.reordered(), 1);
    EXPECT_EQ(recorder.duplicates(), 1);
    EXPECT_EQ(recorder.first(), 0);
    EXPECT_EQ(recorder.last(), 3);
    EXPECT_EQ(recorder.lost(), 1);
    const std::vector<std::int16_t> audio = recorder.audio(0, 4);
    ASSERT_EQ(audio.size(), 640U);
    for (std::size_t i = 0; i < audio.size(); ++i) {
        ASSERT_EQ(audio[i], i / 160 == 2 ? 0 : SAMPLE) << i;
    }
}

TEST(Recorder, leavesSilenceForAFrameThatComesWhenATelephoneHasPlayedOn)
{
    FrameQueue queue;
    Recorder recorder(queue, 100);
    const std::unique_ptr<ThreaderIfc> threader(ThreaderFactory().createNewThreader());
    ASSERT_TRUE(recorder.start(*threader));
    const int last = 50 + Recorder::PATIENCE + 2;
    for (const int index : {50, last, 51, 52, 51}) { // 51 is too late, 52 is just in time
        queue.put(frameAt(index, CODE));
    }
    EXPECT_TRUE(recorder.waitForFrames(3, 5000));
    queue.close();
    recorder.join();
    EXPECT_EQ(recorder.late(), 1);
    EXPECT_EQ(recorder.reordered(), 1);
    EXPECT_EQ(recorder.duplicates(), 1) << "it came too late twice";
    EXPECT_EQ(recorder.lost(), last - 53);
    EXPECT_EQ(recorder.first(), 50);
    EXPECT_EQ(recorder.last(), last);
    const std::vector<std::int16_t> audio = recorder.audio(50, 3);
    EXPECT_EQ(audio[159], SAMPLE);
    EXPECT_EQ(audio[160], 0);
    EXPECT_EQ(audio[320], SAMPLE);
}

TEST(Recorder, hasNothingToShowOfASilentCall)
{
    FrameQueue queue;
    const Recorder recorder(queue, 5);
    EXPECT_EQ(recorder.first(), -1);
    EXPECT_EQ(recorder.lost(), 0);
    EXPECT_EQ(recorder.audio(0, 1), std::vector<std::int16_t>(160));
}

TEST(Receiver, handsOverFramesOfItsCallAndCountsAllOtherPackets)
{
    FrameQueue queue;
    MediaSocket socket;
    MediaSocket peer;
    MediaSocket stranger;
    const RtpStream stream = RtpStream::atRandom();
    Receiver receiver(IncomingStream(stream, peer.address()), socket, queue);
    const std::unique_ptr<ThreaderIfc> threader(ThreaderFactory().createNewThreader());
    ASSERT_TRUE(receiver.start(*threader));
    EXPECT_FALSE(receiver.waitForSpeaker(0));
    const RtpPacket packet = toPacket(stream, frameAt(0, CODE));
    const std::uint8_t noise[] = {1, 2, 3};
    ASSERT_TRUE(stranger.send(packet.data(), packet.size(), socket.address()));
    ASSERT_TRUE(peer.send(noise, sizeof(noise), socket.address()));
    ASSERT_TRUE(peer.send(packet.data(), packet.size(), socket.address()));
    Frame frame;
    ASSERT_TRUE(queue.take(frame));
    EXPECT_EQ(frame.payload, frameAt(0, CODE).payload);
    EXPECT_EQ(receiver.foreign(), 2);
    EXPECT_TRUE(receiver.waitForSpeaker(5000));
    EXPECT_EQ(receiver.speaker(), peer.address());
    receiver.stop();
    receiver.join();
}

TEST(Sender, fillsTheLastFrameUpWithSilence)
{
    osTimerThread monitor;
    monitor.start();
    MediaSocket peer;
    MediaSocket socket;
    const std::vector<std::uint8_t> codes(170, CODE);
    const RtpStream stream = RtpStream::atRandom();
    Sender sender(stream, codes, socket, peer.address());
    EXPECT_EQ(sender.frames(), 2);
    const std::unique_ptr<ThreaderIfc> threader(ThreaderFactory().createNewThreader());
    ASSERT_TRUE(sender.start(*threader));
    Frame frame;
    for (int index = 0; index < 2; ++index) {
        RtpPacket packet{};
        NetworkAddress from;
        ASSERT_EQ(peer.receive(packet.data(), packet.size(), 10000, from), 172);
        EXPECT_EQ(from, socket.address());
        ASSERT_TRUE(fromPacket(stream, packet.data(), packet.size(), index, frame));
        ASSERT_EQ(frame.index, index);
    }
    const std::vector<std::uint8_t> last(frame.payload.begin(), frame.payload.end());
    EXPECT_EQ(std::count(last.begin(), last.begin() + 10, CODE), 10);
    EXPECT_EQ(std::count(last.begin() + 10, last.end(), MU_LAW_SILENCE), 150);
    sender.join();
    EXPECT_EQ(sender.lateness().size(), 2U);
}

TEST(Call, carriesTheAudioAndAsksWhetherToGoOn)
{
    TimerMonitor monitor;
    monitor.start();
    const std::vector<std::uint8_t> codes(1600, CODE);
    Call call(codes);
    int asked = 0;
    const CallResult result = call.run([&asked](const CallProgress& progress) {
        EXPECT_EQ(progress.frames, 10);
        ++asked;
        return true;
    });
    EXPECT_GE(asked, 2);
    EXPECT_EQ(result.sent, 10);
    EXPECT_EQ(result.received, 10);
    EXPECT_EQ(result.lost, 0);
    EXPECT_EQ(result.end, CallEnd::COMPLETED);
    EXPECT_TRUE(result.drained);
    EXPECT_EQ(result.lateness.size(), 10U);
    EXPECT_EQ(result.audio, std::vector<std::int16_t>(1600, SAMPLE));
    ASSERT_EQ(result.threads.size(), 4U);
    EXPECT_EQ(result.threads[0].level, "VOICE");
    EXPECT_EQ(result.threads[0].wantedNice, -16);
    EXPECT_NE(result.threads[0].kernelId, result.threads[1].kernelId);
    EXPECT_NE(result.threads[0].id, result.threads[1].id);
    EXPECT_EQ(result.threads[3].level, "LOW");
    EXPECT_EQ(result.threads[3].nice, 9); // raising its nice value is anybody's right
}

TEST(Call, endsWhenItIsToldTo)
{
    TimerMonitor monitor;
    monitor.start();
    const std::vector<std::uint8_t> codes(160000, CODE); // 20 s
    Call call(codes);
    const auto start = std::chrono::steady_clock::now();
    const CallResult result =
        call.run([](const CallProgress& progress) { return progress.received < 3; });
    EXPECT_LT(support::millisecondsSince(start), 15000);
    EXPECT_EQ(result.end, CallEnd::HUNG_UP);
    EXPECT_GE(result.sent, 3);
    EXPECT_LT(result.sent, result.frames);
    EXPECT_EQ(result.received, result.sent);
    EXPECT_EQ(result.audio.size(), static_cast<std::size_t>(result.sent) * 160);
}
