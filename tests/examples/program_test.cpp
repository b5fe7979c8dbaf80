#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gpal/packet_dump.h>
#include <gtest/gtest.h>
#include <sstream>

#include "program_run.h"
#include "recordings.h"
#include "wav_file.h"

#include "support/observed.h"

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using voicecall::WavAudio;
using namespace recordings;

class VoiceCall : public testing::Test
{
protected:
    void writeInput(const WavAudio& audio)
    {
        writeBytes(m_directory.path("in.wav"), voicecall::formatWav(audio));
    }

    void expectPerfectCall(const WavAudio& audio, int frames)
    {
        writeInput(audio);
        ProgramRun run(m_directory, {"in.wav", "--output", "out.wav"});
        EXPECT_EQ(run.wait(), 0);
        EXPECT_EQ(run.errors(), "");
        const WavAudio received = voicecall::readWavFile(m_directory.path("out.wav"));
        EXPECT_EQ(received.sampleRate, 8000U);
        EXPECT_EQ(received.channels, 1U);
        EXPECT_EQ(received.samples, asEncodedAndDecoded(audio));
        EXPECT_EQ(figure(run.output(), "Frames sent:"), frames);
        EXPECT_EQ(figure(run.output(), "Frames received:"), frames);
        EXPECT_EQ(figure(run.output(), "Frames lost:"), 0);
    }

    /// The program refuses with status 2 and one line on standard error, and writes nothing else.
    std::string complaint(const std::vector<std::string>& arguments)
    {
        ProgramRun run(m_directory, arguments);
        EXPECT_EQ(run.wait(), 2);
        EXPECT_EQ(run.output(), "");
        std::string errors = run.errors();
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
        EXPECT_THAT(errors, EndsWith("\n"));
        return errors;
    }

    support::TemporaryDirectory m_directory;
};

TEST_F(VoiceCall, carriesAMonoRecordingUnchanged)
{
    expectPerfectCall(sweep(48000, 1, 405), 21); // the last frame is a quarter full
}

TEST_F(VoiceCall, carriesAStereoRecordingUnchanged)
{
    expectPerfectCall(sweep(44100, 2, 400), 20);
}

TEST_F(VoiceCall, carriesARecordingAtTheTelephoneRateUnchanged)
{
    expectPerfectCall(sweep(8000, 1, 40), 2);
}

TEST_F(VoiceCall, reportsTicksThreadsAndSemaphores)
{
    writeInput(sweep(8000, 1, 200));
    ProgramRun run(m_directory, {"in.wav"});
    EXPECT_EQ(run.wait(), 0);
    const std::string report = run.output();
    EXPECT_THAT(report, StartsWith("Call completed.\nInput:            in.wav (8000 Hz, mono"));
    EXPECT_THAT(report,
                HasSubstr("\nOutput:           voice_call.wav (8000 Hz, mono, 1600 samples"));
    EXPECT_THAT(report, HasSubstr("equal to the encoded and decoded input, sample for sample\n"));
    EXPECT_THAT(report, ContainsRegex("Tick lateness: *median [0-9.]+ ms, 99 % in [0-9.]+ ms, "
                                      "maximum [0-9.]+ ms\n  below 1 ms +[0-9]+"));
    for (const char* thread :
         {"main            -     ", "timer monitor   TIMER ", "sender          VOICE ",
          "receiver        VOICE ", "recorder        NORMAL", "drain           LOW         9 "}) {
        EXPECT_THAT(report, ContainsRegex("\n  " + std::string(thread) + "[ 0-9*-]+  [0-9]+\n"));
    }
    EXPECT_THAT(report,
                ContainsRegex("\nSemaphores: +[1-9][0-9]* alive, [0-9]+ held, and [1-9][0-9]* "
                              "events; waited for: [0-9]+\n$"));
    EXPECT_LE(std::count(report.begin(), report.end(), '\n'), 24) << "a screen";
}

TEST_F(VoiceCall, dumpsAllSemaphoresWhenAskedTo)
{
    writeInput(sweep(8000, 1, 40));
    ProgramRun run(m_directory, {"in.wav", "--dump"});
    EXPECT_EQ(run.wait(), 0);
    const std::string dump = run.output().substr(run.output().find("Semaphores alive"));
    EXPECT_THAT(dump, HasSubstr("Type                      = Semaphore\n"));
    EXPECT_THAT(dump, HasSubstr("Type                      = Wait\n"));
}

TEST_F(VoiceCall, failsWhenItsReportCannotBeWritten)
{
    writeInput(sweep(8000, 1, 40));
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"in.wav"}, {"-h"}}) {
        ProgramRun run(m_directory, arguments, ProgramRun::ERRORS_IN_FILE, {}, "/dev/full");
        EXPECT_EQ(run.wait(), 1);
        EXPECT_EQ(run.errors(), "voice_call: cannot write to standard output\n");
    }
}

TEST_F(VoiceCall, failsWhenItsCaptureCannotBeWritten)
{
    writeInput(sweep(8000, 1, 40));
    ProgramRun run(m_directory, {"in.wav", "--capture", "/dev/full"});
    EXPECT_EQ(run.wait(), 1);
    EXPECT_EQ(run.errors(), "voice_call: cannot write all of /dev/full\n");
    EXPECT_THAT(run.output(), StartsWith("Call completed.\n"));
}

TEST_F(VoiceCall, showsProgressOnATerminalAndTakesItAwayAgain)
{
    writeInput(sweep(8000, 1, 600));
    ProgramRun run(m_directory, {"in.wav"}, ProgramRun::ERRORS_ON_TERMINAL);
    EXPECT_TRUE(support::eventually([&run] { return figure(run.errors(), "received ") > 0; }));
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(run.errors(), StartsWith("\r[...."));
    EXPECT_THAT(run.errors(), HasSubstr(" s of 0.60 s, received "));
    EXPECT_THAT(run.errors(), EndsWith("\r\033[K"));
    EXPECT_THAT(run.errors(), Not(HasSubstr("\n")));
}

TEST_F(VoiceCall, writesWhatItSendsIntoACapture)
{
    writeInput(sweep(8000, 1, 100));
    ProgramRun run(m_directory, {"in.wav", "--capture", "call.pcap"});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(run.output(), HasSubstr("\nCapture:          call.pcap (5 packets)\n"));

    packet_dump capture(m_directory.path("call.pcap").data());
    std::array<char, 2048> packet{};
    t_packet_dump_type type = PACKET_DUMP_OTHER;
    const auto size = static_cast<int>(packet.size());
    for (int frame = 0; frame < 5; ++frame) {
        ASSERT_EQ(capture.read(packet.data(), size, &type), 172) << "RTP header and 20 ms";
        EXPECT_EQ(type, PACKET_DUMP_UDP);
        EXPECT_EQ(static_cast<unsigned char>(packet[0]), 0x80) << "RTP version 2";
        EXPECT_EQ(packet[1] & 0x7F, 0) << "mu-law";
    }
    EXPECT_EQ(capture.read(packet.data(), size, &type), -1);
}

TEST_F(VoiceCall, findsOutBeforeTheCallThatItsCaptureCanNotBeWritten)
{
    writeInput(sweep(8000, 1, 60000));
    EXPECT_EQ(complaint({"in.wav", "--capture", "none/call.pcap"}),
              "voice_call: cannot write none/call.pcap: No such file or directory\n");
    EXPECT_THAT(complaint({"in.wav", "--capture", "./in.wav"}), HasSubstr("is the input"));
    EXPECT_THAT(complaint({"in.wav", "--capture", "voice_call.wav"}), HasSubstr("the output"));
    EXPECT_THAT(complaint({"in.wav", "--output", "a.wav", "--capture", "./a.wav"}),
                HasSubstr("the output"))
        << "though neither was there before";
    EXPECT_EQ(voicecall::readWavFile(m_directory.path("in.wav")).samples.size(), 480000U);
}

TEST_F(VoiceCall, reportsACrashWithRegistersAndCallStackAndEndsByIt)
{
    // The names of its functions are looked up with memory, knowingly, when all else has been said.
    setenv("TSAN_OPTIONS", "report_signal_unsafe=0", 1);
    ProgramRun run(m_directory, {"--crash"});
    EXPECT_EQ(run.wait(), -SIGSEGV);
    const std::string report = run.errors();
    EXPECT_THAT(report, HasSubstr("\nvoice_call has crashed: SIGSEGV\npc = "));
    EXPECT_THAT(report, ContainsRegex("Call stack:\n  .*voice_call\\(.*crash.*\\) \\["));
    EXPECT_THAT(report, ContainsRegex("\n  .*voice_call\\(main\\+0x"));
}

TEST_F(VoiceCall, namesAFileThatIsMissing)
{
    EXPECT_EQ(complaint({"none.wav"}), "voice_call: none.wav: No such file or directory\n");
}

TEST_F(VoiceCall, namesAFileThatIsTruncated)
{
    std::vector<std::uint8_t> bytes = voicecall::formatWav(sweep(8000, 1, 100));
    bytes.pop_back();
    writeBytes(m_directory.path("in.wav"), bytes);
    EXPECT_THAT(complaint({"in.wav"}), StartsWith("voice_call: in.wav: is truncated"));
    EXPECT_EQ(support::contentOf(m_directory.path("voice_call.wav")), "");
}

TEST_F(VoiceCall, namesAFileThatIsNotPcm)
{
    std::vector<std::uint8_t> bytes = voicecall::formatWav(sweep(8000, 1, 100));
    bytes[20] = 3;
    writeBytes(m_directory.path("in.wav"), bytes);
    EXPECT_EQ(complaint({"in.wav"}),
              "voice_call: in.wav: is not PCM audio (format 3, floating point)\n");
}

TEST_F(VoiceCall, findsOutBeforeTheCallThatItsOutputCanNotBeWritten)
{
    writeInput(sweep(8000, 1, 60000));
    EXPECT_EQ(complaint({"in.wav", "--output", "none/out.wav"}),
              "voice_call: cannot write none/out.wav: No such file or directory\n");
}

TEST_F(VoiceCall, saysThatTheDiskIsFull)
{
    writeInput(sweep(8000, 1, 40));
    EXPECT_EQ(complaint({"in.wav", "--output", "/dev/full"}),
              "voice_call: cannot write /dev/full: No space left on device\n");
}

TEST_F(VoiceCall, doesNotOverwriteItsInput)
{
    writeInput(sweep(8000, 1, 40));
    EXPECT_THAT(complaint({"in.wav", "--output", "./in.wav"}), HasSubstr("is the input"));
    EXPECT_EQ(voicecall::readWavFile(m_directory.path("in.wav")).samples.size(), 320U);
}

TEST_F(VoiceCall, answersAnUnknownOptionWithItsUsage)
{
    ProgramRun run(m_directory, {"--loud"});
    EXPECT_EQ(run.wait(), 2);
    EXPECT_EQ(run.output(), "");
    EXPECT_THAT(run.errors(), StartsWith("voice_call: unknown option --loud\nusage: voice_call "));
}

TEST_F(VoiceCall, explainsItself)
{
    ProgramRun run(m_directory, {"--help"});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(run.output(), StartsWith("usage: voice_call "));
    EXPECT_THAT(run.output(), HasSubstr("Exit status: 0"));
    std::istringstream lines(run.output());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
    EXPECT_EQ(run.errors(), "");
}

class InterruptedVoiceCall : public VoiceCall, public testing::WithParamInterface<int>
{
};

TEST_P(InterruptedVoiceCall, endsSoonWithAReportAndAllThatWasReceived)
{
    const WavAudio input = sweep(8000, 1, 60000);
    writeInput(input);
    ProgramRun run(m_directory, {"in.wav"}, ProgramRun::ERRORS_ON_TERMINAL);
    ASSERT_TRUE(support::eventually([&run] { return figure(run.errors(), "received ") > 0; }));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(kill(run.id(), GetParam()), 0);
    EXPECT_EQ(run.wait(), 128 + GetParam());
    EXPECT_LT(support::millisecondsSince(start), 20000); // the call would last a minute

    EXPECT_THAT(run.output(), StartsWith("Call hung up early.\n"));
    EXPECT_THAT(run.output(), HasSubstr("equal to the encoded and decoded input"));
    const int sent = figure(run.output(), "Frames sent:");
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, 3000);
    EXPECT_EQ(figure(run.output(), "Frames received:"), sent);
    std::vector<std::int16_t> expected = asEncodedAndDecoded(input);
    expected.resize(static_cast<std::size_t>(sent) * 160);
    EXPECT_EQ(voicecall::readWavFile(m_directory.path("voice_call.wav")).samples, expected);
}

INSTANTIATE_TEST_SUITE_P(byEachSignal, InterruptedVoiceCall, testing::Values(SIGINT, SIGTERM));
