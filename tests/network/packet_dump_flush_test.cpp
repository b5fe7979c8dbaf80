/// \file
/// Captures whose stream others flush while they are written: `fflush(nullptr)`, flushes every
/// stream of the process.
#include <gpal/packet_dump.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "capture_file.h"
#include "support/temporary_directory.h"

namespace
{

/// Does something over and over in a thread of its own while it lives.
class Meanwhile
{
public:
    template <typename Work>
    explicit Meanwhile(Work work)
        : m_thread([this, work] {
              while (!m_ended) {
                  work();
              }
          })
    {
    }
    Meanwhile(const Meanwhile&) = delete;
    Meanwhile& operator=(const Meanwhile&) = delete;
    ~Meanwhile()
    {
        m_ended = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_ended{false};
    std::thread m_thread;
};

constexpr int RECORDS_WHILE_FLUSHED = 5000;

class FlushedCapture : public testing::Test
{
protected:
    /// The first record opens the file, which is for one thread to do.
    void open() { EXPECT_EQ(m_dump->write(m_file.data(), 0, PACKET_DUMP_UDP), 0); }

    /// A record of the writer's letter; its length tells its place among the writer's.
    void write(int writer, int number)
    {
        std::string payload(static_cast<std::size_t>(number % 200) + 1,
                            static_cast<char>('A' + writer));
        m_dump->write(payload.data(), static_cast<int>(payload.size()), PACKET_DUMP_UDP);
    }

    void writeAll(int writers)
    {
        std::vector<std::thread> threads;
        for (int writer = 0; writer < writers; ++writer) {
            threads.emplace_back([this, writer] {
                for (int number = 0; number < RECORDS_WHILE_FLUSHED; ++number) {
                    write(writer, number);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    /// How many records of a writer can be read, in their order and whole.
    std::map<char, int> readable()
    {
        m_dump.reset();
        std::map<char, int> next;
        for (const capture::Read& read : capture::readAll(m_file)) {
            if (read.result > 0) {
                int& number = next[read.payload[0]];
                const bool isWhole =
                    read.payload ==
                    std::string(static_cast<std::size_t>(number % 200) + 1, read.payload[0]);
                number += isWhole ? 1 : 0;
            }
        }
        return next;
    }

    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.path("capture");
    std::unique_ptr<packet_dump> m_dump = std::make_unique<packet_dump>(m_file.data());
};

} // namespace

TEST_F(FlushedCapture, ofOneWriterStaysWhole)
{
    open();
    {
        const Meanwhile flushing([] { std::fflush(nullptr); });
        writeAll(1);
    }
    EXPECT_EQ(readable(), (std::map<char, int>{{'A', RECORDS_WHILE_FLUSHED}}));
}

TEST_F(FlushedCapture, ofSeveralWritersStaysWhole)
{
    open();
    {
        const Meanwhile flushing([] { std::fflush(nullptr); });
        writeAll(3);
    }
    EXPECT_EQ(readable(), (std::map<char, int>{{'A', RECORDS_WHILE_FLUSHED},
                                               {'B', RECORDS_WHILE_FLUSHED},
                                               {'C', RECORDS_WHILE_FLUSHED}}));
}

TEST_F(FlushedCapture, staysWholeWhileChildrenAreForked)
{
    open();
    {
        const Meanwhile forking([] {
            const pid_t child = fork();
            if (child == 0) {
                _exit(0);
            }
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        });
        writeAll(1);
    }
    EXPECT_EQ(readable(), (std::map<char, int>{{'A', RECORDS_WHILE_FLUSHED}}));
}

TEST_F(FlushedCapture, isInTheFileAfterAnExitWithoutTheDestructor)
{
    const pid_t child = fork();
    if (child == 0) {
        write(0, 0);
        write(0, 1);
        std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readable(), (std::map<char, int>{{'A', 2}}));
}
