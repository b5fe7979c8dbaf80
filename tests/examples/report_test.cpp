#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "report.h"

#include "support/observed.h"

using namespace voicecall;
using testing::HasSubstr;
using testing::Not;

namespace
{

CallResult someCall()
{
    CallResult call;
    call.frames = 50;
    call.sent = 50;
    call.received = 50;
    call.drained = true;
    for (int i = 1; i <= 200; ++i) {
        call.lateness.push_back(i * 10);
    }
    call.threads = {{"sender", "VOICE", -16, -16}};
    return call;
}

std::string report(const CallResult& call, bool asEncoded = true, bool interrupted = false)
{
    std::ostringstream out;
    writeReport(out, {"in.wav", 44100, 2, "out.wav", "", 8000, asEncoded, interrupted}, call);
    return out.str();
}

} // namespace

TEST(Report, namesTheCaptureWhenOneWasMade)
{
    CallResult call;
    call.captured = 25;
    std::ostringstream out;
    writeReport(out, {"in.wav", 8000, 1, "out.wav", "call.pcap", 4000, true, false}, call);
    EXPECT_THAT(out.str(), HasSubstr("\nCapture:          call.pcap (25 packets)\n"));
    EXPECT_THAT(report(call), Not(HasSubstr("Capture")));
}

TEST(Percentile, isTheSmallestValueThatEnoughOthersDoNotExceed)
{
    EXPECT_EQ(percentile({30, 10, 20}, 50), 20);
    EXPECT_EQ(percentile({40, 30, 10, 20}, 50), 20);
    EXPECT_EQ(percentile({40, 30, 10, 20}, 99), 40);
    EXPECT_EQ(percentile({40, 30, 10, 20}, 100), 40);
    EXPECT_EQ(percentile({7}, 1), 7);
    EXPECT_EQ(percentile({}, 50), 0);
}

TEST(Report, saysAllThatAPersonAsks)
{
    EXPECT_EQ(report(someCall()),
              "Call completed.\n"
              "Input:            in.wav (44100 Hz, stereo, 1.00 s)\n"
              "Output:           out.wav (8000 Hz, mono, 8000 samples)\n"
              "Audio:            equal to the encoded and decoded input, sample for sample\n"
              "Frames sent:      50 of 50\n"
              "Frames received:  50\n"
              "Frames lost:      0\n"
              "Tick lateness:    median 1.000 ms, 99th percentile 1.980 ms, maximum 2.000 ms\n"
              "Threads:\n"
              "  sender        VOICE  nice -16\n");
}

TEST(Report, saysWhatWentWrong)
{
    CallResult call = someCall();
    call.sent = 40;
    call.sendFailures = 2;
    call.received = 35;
    call.reordered = 3;
    call.duplicates = 4;
    call.foreign = 5;
    call.drained = false;
    call.lateness.clear();
    call.threads[0].nice = 0;
    const std::string text = report(call, false, true);
    EXPECT_THAT(text, HasSubstr("Call hung up early.\n"));
    EXPECT_THAT(text, HasSubstr("DIFFERENT from the encoded and decoded input\n"));
    EXPECT_THAT(text,
                HasSubstr("Frames sent:      40 of 50 (2 of them not taken by the network)\n"));
    EXPECT_THAT(text,
                HasSubstr("Frames received:  35 (3 out of order, 4 more than once; packets of "
                          "others: 5)\n"));
    EXPECT_THAT(text, HasSubstr("Frames lost:      5\n"));
    EXPECT_THAT(text, HasSubstr("Drain:            frames were still missing"));
    EXPECT_THAT(text, HasSubstr("Tick lateness:    no ticks\n"));
    EXPECT_THAT(text, HasSubstr("nice   0 (the level asks for -16, which needs privileges)\n"));
}

TEST(Progress, isABarWithFigures)
{
    EXPECT_EQ(progressText({100, 50, 49}),
              "[###############...............] 1.00 s of 2.00 s, received 49");
    EXPECT_EQ(progressText({100, 0, 0}),
              "[..............................] 0.00 s of 2.00 s, received 0");
    EXPECT_LT(progressText({200000, 199999, 199999}).size(), 79U); // of an hour-long call too
}

TEST(Progress, isSilentWhereThereIsNoTerminal)
{
    const support::Captured errors(2);
    {
        const ProgressLine line;
        line.show({100, 50, 49});
    }
    EXPECT_EQ(errors.text(), "");
}
