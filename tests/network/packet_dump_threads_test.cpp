#include <gpal/packet_dump.h>

#include <atomic>
#include <fcntl.h>
#include <map>
#include <pthread.h>
#include <set>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "capture_file.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"
#include "threads/dump.h"

namespace
{

constexpr int THREADS = 4;
constexpr int RECORDS = 300;

class PacketDumpThreads : public testing::Test
{
protected:
    int write(std::string payload, t_packet_dump_type type)
    {
        return m_dump->write(payload.data(), static_cast<int>(payload.size()), type);
    }

    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.path("capture");
    std::unique_ptr<packet_dump> m_dump = std::make_unique<packet_dump>(m_file.data());
};

/// A payload of one letter, of a length that tells its place in the thread's row.
std::string payloadOf(int thread, int number)
{
    return std::string(static_cast<std::size_t>(number) + 1, static_cast<char>('A' + thread));
}

} // namespace

TEST_F(PacketDumpThreads, shareALockOfOneUnitWhichNobodyHoldsTwice)
{
    expectOnlyOneUnitAnywhere(1);
}

TEST_F(PacketDumpThreads, writeRecordsThatNeverInterleave)
{
    EXPECT_EQ(write("first", PACKET_DUMP_UDP), 5);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < RECORDS; ++i) {
                write(payloadOf(thread, i), PACKET_DUMP_UDP);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    m_dump.reset();
    std::map<char, int> next;
    const std::vector<capture::Read> reads = capture::readAll(m_file);
    ASSERT_EQ(reads.size(), 1u + THREADS * RECORDS + 1u);
    for (std::size_t i = 1; i + 1 < reads.size(); ++i) {
        const char letter = reads[i].payload[0];
        EXPECT_EQ(reads[i].payload, payloadOf(letter - 'A', next[letter]++));
    }
}

TEST_F(PacketDumpThreads, openTheFileOnceAlthoughAllBeginAtTheSameTime)
{
    for (int round = 0; round < 50; ++round) {
        m_dump = std::make_unique<packet_dump>(m_file.data());
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < THREADS; ++thread) {
            threads.emplace_back([&, thread] {
                ++ready;
                while (ready < THREADS) {
                }
                EXPECT_EQ(write(payloadOf(thread, thread), PACKET_DUMP_UDP), thread + 1);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        m_dump.reset();
        ASSERT_EQ(capture::readAll(m_file).size(), THREADS + 1u);
    }
}

TEST_F(PacketDumpThreads, waitForTheOneThatOpensTheFile)
{
    std::string name = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    packet_dump dump(name.data());
    // Both read; the pipe opens when it is written to. One opens it, and the other uses what the
    // first has opened.
    std::atomic<int> got{0};
    const auto read = [&] {
        EXPECT_EQ(capture::readFrom(dump).payload, "x");
        ++got;
    };
    support::PlainThread first(read);
    ASSERT_TRUE(first.blocks());
    support::PlainThread second(read);
    ASSERT_TRUE(second.blocks());
    const int pipe = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(pipe, 0);
    const std::string record = capture::record(capture::packet(17, capture::udp("x")));
    const std::string content = capture::fileHeader() + record + record;
    EXPECT_EQ(::write(pipe, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    close(pipe);
    first.join();
    second.join();
    EXPECT_EQ(got, 2);
}

TEST_F(PacketDumpThreads, numberTcpRecordsWithoutAGap)
{
    EXPECT_EQ(write("first", PACKET_DUMP_UDP), 5);
    // Time for others to get in between, were there no lock.
    const support::Replacement slowClock(
        support::calls::gettimeofday, [](timeval* now, void* zone) {
            std::this_thread::sleep_for(std::chrono::microseconds(10));
            return support::calls::gettimeofday.original(now, zone);
        });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < RECORDS; ++i) {
                write("x", PACKET_DUMP_TCP_FORWARD);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    m_dump.reset();
    unsigned int number = 0;
    for (const capture::Record& record : capture::records(support::contentOf(m_file))) {
        if (record.packet[23] == 6) {
            EXPECT_EQ(record.packet.substr(28, 2), capture::networkShort(number++));
        }
    }
    EXPECT_EQ(number, static_cast<unsigned int>(THREADS * RECORDS));
}

TEST_F(PacketDumpThreads, shareTheRecordsThatTheyRead)
{
    for (int i = 0; i < RECORDS; ++i) {
        EXPECT_EQ(write(payloadOf(0, i), PACKET_DUMP_UDP), i + 1);
    }
    m_dump = std::make_unique<packet_dump>(m_file.data());
    EXPECT_EQ(capture::readFrom(*m_dump).result, 1);
    std::vector<std::set<int>> read(THREADS);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            int length = 0;
            while ((length = capture::readFrom(*m_dump).result) != -1) {
                read[static_cast<std::size_t>(thread)].insert(length);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::set<int> all;
    std::size_t count = 0;
    for (const std::set<int>& part : read) {
        all.insert(part.begin(), part.end());
        count += part.size();
    }
    EXPECT_EQ(count, static_cast<std::size_t>(RECORDS) - 1);
    EXPECT_EQ(all.size(), count);
    EXPECT_EQ(*all.begin(), 2);
    EXPECT_EQ(*all.rbegin(), RECORDS);
}

TEST_F(PacketDumpThreads, finishTheirRecordWhenTheyAreCancelled)
{
    EXPECT_EQ(write("first", PACKET_DUMP_UDP), 5);
    for (int round = 0; round < 20; ++round) {
        support::PlainThread writer([this] {
            std::string payload(20000, 'x'); // bigger than any buffer: written at once
            for (;;) {
                pthread_testcancel();
                m_dump->write(payload.data(), 20000, PACKET_DUMP_UDP);
            }
        });
        writer.cancel();
        EXPECT_EQ(write("between", PACKET_DUMP_UDP), 7) << "the lock is free";
    }
    m_dump.reset();
    for (const capture::Record& record : capture::records(support::contentOf(m_file))) {
        EXPECT_EQ(record.packet.size(), record.capturedLength);
    }
}

TEST_F(PacketDumpThreads, writeAndReadARecordThoughTheyAreBeingCancelled)
{
    for (const bool writes : {true, false}) {
        m_dump = std::make_unique<packet_dump>(m_file.data());
        int result = 0;
        support::PlainThread thread([&] {
            std::string payload(60000, 'x'); // bigger than any buffer
            auto type = PACKET_DUMP_OTHER;
            pthread_cancel(pthread_self());
            result = writes ? m_dump->write(payload.data(), 60000, PACKET_DUMP_UDP)
                            : m_dump->read(payload.data(), 60000, &type);
        });
        EXPECT_TRUE(thread.wasCancelledOnlyAtItsEnd());
        EXPECT_EQ(result, 60000);
    }
}

TEST_F(PacketDumpThreads, getNothingMoreOnceOneHasMetARecordThatIsTooBig)
{
    std::string name = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    packet_dump dump(name.data());
    std::atomic<bool> started{false};
    std::thread first([&] {
        EXPECT_EQ(capture::readFrom(dump).result, 1);
        started = true;
        EXPECT_EQ(capture::readFrom(dump, 4).result, -1);
    });
    const int pipe = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(pipe, 0);
    const std::string record = capture::record(capture::packet(17, capture::udp("x")));
    const std::string start = capture::fileHeader() + record;
    EXPECT_EQ(::write(pipe, start.data(), start.size()), static_cast<ssize_t>(start.size()));
    EXPECT_TRUE(support::eventually([&] { return started.load(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::thread second([&] { EXPECT_EQ(capture::readFrom(dump).result, -1); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    // What is in the record looks like one itself.
    const std::string tooBig = capture::record(capture::packet(17, capture::udp(record)));
    EXPECT_EQ(::write(pipe, tooBig.data(), tooBig.size()), static_cast<ssize_t>(tooBig.size()));
    first.join();
    close(pipe);
    second.join();
}

TEST_F(PacketDumpThreads, areRefusedTheWrongFunctionAtOnce)
{
    std::string name = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    packet_dump dump(name.data());
    std::atomic<bool> reading{false};
    std::thread reader([&] {
        capture::readFrom(dump);
        reading = true;
        capture::readFrom(dump); // waits for the pipe's other end
    });
    const int pipe = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(pipe, 0);
    const std::string content =
        capture::fileHeader() + capture::record(capture::packet(17, capture::udp("x")));
    EXPECT_EQ(::write(pipe, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    EXPECT_TRUE(support::eventually([&] { return reading.load(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    char payload[] = "y";
    EXPECT_EQ(dump.write(payload, 1, PACKET_DUMP_UDP), -1);
    close(pipe);
    reader.join();
}
