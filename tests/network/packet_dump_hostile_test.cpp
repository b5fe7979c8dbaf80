/// \file
/// Files that no capture program has written, or not to their end.
#include <gpal/packet_dump.h>

#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "capture_file.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using capture::fileHeader;
using capture::OTHER_TYPE;
using capture::packet;
using capture::Read;
using capture::readFrom;
using capture::record;
using capture::taggedPacket;
using capture::THE_END;
using capture::udp;
using capture::UDP_TYPE;
using support::Captured;

namespace
{

using HostileCapture = capture::WrittenCapture;

} // namespace

TEST_F(HostileCapture, cutShortAtAnyByteEndsReading)
{
    constexpr std::size_t HEADERS = 24 + 16 + 34 + 8;
    const std::string whole = fileHeader() + record(packet(17, udp("12345")));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::vector<Read> reads = readOf(whole.substr(0, size));
        if (size < HEADERS) {
            EXPECT_EQ(reads, (std::vector<Read>{THE_END})) << size;
        } else {
            const auto left = static_cast<int>(size - HEADERS);
            const Read part{left, UDP_TYPE, whole.substr(HEADERS, size - HEADERS)};
            EXPECT_EQ(reads, (std::vector<Read>{part, THE_END})) << size;
        }
    }
}

TEST_F(HostileCapture, cutShortInATaggedPacketEndsReading)
{
    const std::string whole = fileHeader() + record(taggedPacket(17, udp("")));
    for (std::size_t size = 24; size < whole.size(); ++size) {
        EXPECT_EQ(readOf(whole.substr(0, size)), (std::vector<Read>{THE_END})) << size;
    }
}

TEST_F(HostileCapture, thatWasCutShortStaysAtItsEnd)
{
    const std::string whole = fileHeader() + record(packet(17, udp("12345")));
    std::string name = m_directory.file("capture", whole.substr(0, whole.size() - 2));
    packet_dump dump(name.data());
    EXPECT_EQ(readFrom(dump).payload, "123");
    m_directory.file("capture", whole + whole);
    EXPECT_EQ(readFrom(dump), THE_END);
}

TEST_F(HostileCapture, withLengthsThatCannotBeNeverSeeksBackwards)
{
    for (const unsigned int length :
         {0u, 1u, 33u, 34u, 41u, 42u, 0x80000000u, 0x80000029u, 0xFFFFFFFFu, 0x80000021u}) {
        const std::string content =
            fileHeader() + record(packet(17, udp("")), length) + record(packet(17, udp("next")));
        EXPECT_EQ(readOf(content),
                  (std::vector<Read>{{0, UDP_TYPE, ""}, {4, UDP_TYPE, "next"}, THE_END}))
            << length;
    }
}

TEST_F(HostileCapture, withLengthsThatCannotBeSkipsNothing)
{
    for (const unsigned int length : {0u, 33u, 34u, 0x80000000u, 0xFFFFFFFFu}) {
        const std::string content =
            fileHeader() + record(packet(6, ""), length) + record(packet(17, udp("next")));
        EXPECT_EQ(readOf(content),
                  (std::vector<Read>{{0, OTHER_TYPE, ""}, {4, UDP_TYPE, "next"}, THE_END}))
            << length;
    }
    for (const unsigned int length : {0u, 34u, 37u, 38u, 0x80000000u}) {
        const std::string content =
            fileHeader() + record(taggedPacket(6, ""), length) + record(packet(17, udp("next")));
        EXPECT_EQ(readOf(content),
                  (std::vector<Read>{{0, OTHER_TYPE, ""}, {4, UDP_TYPE, "next"}, THE_END}))
            << length;
    }
}

TEST_F(HostileCapture, withAnEnormousRecordEndsReading)
{
    const Captured output(1);
    EXPECT_EQ(readOf(fileHeader() + record(packet(17, udp("x")), 0x7FFFFFFF)),
              (std::vector<Read>{{-1, UDP_TYPE, ""}}));
    EXPECT_EQ(output.text(), "packet_dump::read buffer not big enough, needed 2147483605 bytes\n");
    EXPECT_EQ(readOf(fileHeader() + record(packet(6, "x"), 0x7FFFFFFF)),
              (std::vector<Read>{{0, OTHER_TYPE, ""}, THE_END}));
}

TEST_F(HostileCapture, withoutAnEndGivesRecordAfterRecord)
{
    char name[] = "/dev/zero";
    packet_dump dump(name);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(readFrom(dump), (Read{0, OTHER_TYPE, ""}));
    }
}

TEST_F(HostileCapture, thatIsADirectoryIsAtItsEnd)
{
    EXPECT_EQ(capture::readAll(m_directory.path()), (std::vector<Read>{THE_END}));
    std::string name = m_directory.path();
    packet_dump dump(name.data());
    const Captured output(1);
    char payload[] = "x";
    EXPECT_EQ(dump.write(payload, 1, PACKET_DUMP_UDP), -1);
    EXPECT_EQ(output.text(), "packet_dump::write failed to fopen " + name + "\n");
}

TEST_F(HostileCapture, thatIsAPipeIsReadToItsEnd)
{
    std::string name = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    std::thread writer([&] {
        const int pipe = open(name.c_str(), O_WRONLY | O_CLOEXEC);
        const std::string content = fileHeader() + record(packet(17, udp("12345"))) +
                                    record(packet(6, std::string(40000, 'x'))) +
                                    record(packet(17, udp("6")));
        EXPECT_EQ(write(pipe, content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
        close(pipe);
    });
    const std::vector<Read> reads = capture::readAll(name);
    writer.join();
    EXPECT_EQ(reads,
              (std::vector<Read>{
                  {5, UDP_TYPE, "12345"}, {0, OTHER_TYPE, ""}, {1, UDP_TYPE, "6"}, THE_END}));
}

TEST_F(HostileCapture, thatIsAPipeIsReadThoughSignalsInterrupt)
{
    std::string name = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    struct sigaction interrupting {
    }; // without SA_RESTART
    interrupting.sa_handler = [](int) {};
    sigaction(SIGUSR1, &interrupting, nullptr);
    packet_dump dump(name.data());
    std::thread reader([&] { EXPECT_EQ(readFrom(dump), (Read{1, UDP_TYPE, "x"})); });
    const int pipe = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(pipe, 0);
    const std::string content = fileHeader() + record(packet(17, udp("x")));
    for (const char byte : content) { // each of them after an interruption of the wait for it
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        pthread_kill(reader.native_handle(), SIGUSR1);
        EXPECT_EQ(write(pipe, &byte, 1), 1);
    }
    reader.join();
    close(pipe);
}

TEST_F(HostileCapture, ofNoiseEndsWithoutReadingBeyondTheBuffer)
{
    const Captured quiet(1);
    unsigned int state = 1;
    for (int round = 0; round < 200; ++round) {
        std::string noise;
        for (int i = 0; i < 400; ++i) {
            state = state * 1664525 + 1013904223;
            noise += static_cast<char>(state >> 24);
        }
        const std::vector<Read> reads = readOf(noise);
        EXPECT_LE(reads.size(), 10u);
        EXPECT_EQ(reads.back().result, -1);
    }
}
