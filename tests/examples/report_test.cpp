#include <algorithm>
#include <climits>
#include <gmock/gmock.h>
#include <gpal/Semaphore.h>
#include <gpal/Wait.h>
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
    for (int i = 1; i <= 200; ++i) {
        call.lateness.push_back(i * 10);
    }
    call.threads = {{"sender", "VOICE", -16, -16, 4711, 2008432640}};
    return call;
}

ReportFacts someFacts()
{
    return {"in.wav", 44100, 2, "out.wav", "", 8000, true, 5, {7, 10, 1, 2}};
}

std::string report(const CallResult& call, const ReportFacts& facts = someFacts())
{
    std::ostringstream out;
    writeReport(out, facts, call);
    return out.str();
}

std::string firstLine(CallResult call, CallEnd end, const std::string& otherSide)
{
    call.end = end;
    call.otherSide = otherSide;
    const std::string text = report(call);
    return text.substr(0, text.find('\n'));
}

} // namespace

TEST(Report, namesTheCaptureWhenOneWasMade)
{
    CallResult call;
    call.captured = 25;
    ReportFacts facts = someFacts();
    facts.capture = "call.pcap";
    EXPECT_THAT(report(call, facts), HasSubstr("\nCapture:          call.pcap (25 packets)\n"));
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
              "Tick lateness:    median 1.000 ms, 99 % in 1.980 ms, maximum 2.000 ms\n"
              "  below 1 ms         99  #######################\n"
              "  1 to 5 ms         101  #######################\n"
              "  5 to 20 ms          0\n"
              "  20 ms or more       0\n"
              "Threads:          level    nice  kernel id  id (as owner of a semaphore)\n"
              "  sender          VOICE     -16       4711  2008432640\n"
              "Semaphores:       7 alive, 1 held, and 10 events; waited for: 2\n");
}

TEST(Report, fitsAScreenWhateverThereIsToSay)
{
    CallResult call = someCall();
    call.otherSide = "[2001:db8:1234:5678:9abc:def0:1234:5678]:65535";
    call.frames = 30000;
    call.sent = 29999;
    call.sendFailures = 29999;
    call.received = 28888;
    call.lost = 1111;
    call.late = 1111;
    call.reordered = 9999;
    call.duplicates = 9999;
    call.foreign = 9999;
    call.drained = false;
    call.lateness = {1000000, 500, 20000};
    call.threads.assign(6, {"timer monitor", "NORMAL", -16, 0, 4194303, ULONG_MAX});
    ReportFacts facts = someFacts();
    facts.capture = "call.pcap";
    const std::string text = report(call, facts);
    EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 24) << text;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST(Report, beginsWithHowTheCallEnded)
{
    const CallResult call = someCall();
    EXPECT_EQ(firstLine(call, CallEnd::HUNG_UP, ""), "Call hung up early.");
    EXPECT_EQ(firstLine(call, CallEnd::OTHER_HUNG_UP, "192.0.2.1:5004"),
              "Call completed: the other side has hung up.");
    EXPECT_EQ(firstLine(call, CallEnd::NOBODY_ANSWERED, "192.0.2.1:5004"),
              "Nobody has answered within 5 s.");
    EXPECT_EQ(firstLine(call, CallEnd::NOBODY_ANSWERED, ""), "Nobody has called within 5 s.");
    EXPECT_EQ(firstLine(call, CallEnd::FELL_SILENT, "192.0.2.1:5004"),
              "The other side has fallen silent: nothing was heard for 5 s.");
}

TEST(Report, namesTheOtherSideWhoseRecordingNobodyHereKnows)
{
    CallResult call = someCall();
    call.otherSide = "[::1]:5004";
    ReportFacts facts = someFacts();
    facts.asEncoded = std::nullopt;
    const std::string text = report(call, facts);
    EXPECT_THAT(text, HasSubstr("\nOther side:       [::1]:5004\n"));
    EXPECT_THAT(text, Not(HasSubstr("Audio:")));
}

TEST(Report, saysWhatWentWrong)
{
    CallResult call = someCall();
    call.sent = 40;
    call.sendFailures = 2;
    call.received = 35;
    call.lost = 5;
    call.late = 6;
    call.reordered = 3;
    call.duplicates = 4;
    call.foreign = 5;
    call.drained = false;
    call.lateness.clear();
    call.threads[0].nice = 0;
    ReportFacts facts = someFacts();
    facts.asEncoded = false;
    const std::string text = report(call, facts);
    EXPECT_THAT(text, HasSubstr("DIFFERENT from the encoded and decoded input\n"));
    EXPECT_THAT(text,
                HasSubstr("Frames sent:      40 of 50 (2 of them not taken by the network)\n"));
    EXPECT_THAT(text,
                HasSubstr("Frames received:  35 (3 out of order, 4 doubled, 5 from others)\n"));
    EXPECT_THAT(text,
                HasSubstr("Frames lost:      5, and 6 too late; silence is in their place\n"));
    EXPECT_THAT(text, HasSubstr("Drain:            frames were still missing"));
    EXPECT_THAT(text, HasSubstr("Tick lateness:    no ticks\nThreads:"));
    EXPECT_THAT(text, HasSubstr("  sender          VOICE       0*      4711"));
    EXPECT_THAT(text, HasSubstr("  * The level asks for another nice value, which needs"));
}

TEST(Semaphores, areCountedInTheirDump)
{
    Semaphore free(1, 1, false);
    Semaphore held(1, 1, false);
    held.take(0);
    Wait event;
    const std::string dump = dumpOfSemaphores();
    const SemaphoreSummary summary = summaryOf(dump);
    EXPECT_EQ(summary.semaphores, 2);
    EXPECT_EQ(summary.events, 1);
    EXPECT_EQ(summary.held, 1);
    EXPECT_EQ(summary.waitedFor, 0);
    EXPECT_THAT(dump, HasSubstr("= " + std::to_string(Threadable::currentThreadId()) + "\n"))
        << "the owner, by the id that the report shows";
    EXPECT_EQ(summaryOf("Type                      = Wait\n"
                        "current owner             = 5\n"
                        "Number of threads waiting = 2\n0 - 7\n1 - 8\n")
                  .waitedFor,
              1);
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
