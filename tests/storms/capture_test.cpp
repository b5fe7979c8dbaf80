// Writers of one capture, while others flush every stream and fork.
#include <array>
#include <atomic>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "storms/storm.h"
#include "support/temporary_directory.h"

using storms::Dice;
using storms::onThreads;
using storms::times;

namespace
{

constexpr int WRITERS = 8;
constexpr int OTHERS = 2;
constexpr int LONGEST = 1400;

/// A record that says whose it is, which of them, and how long.
struct Record {
    int writer;
    int number;
    int length;
    char rest[LONGEST];
};
constexpr int SHORTEST = 3 * static_cast<int>(sizeof(int));

void forkAndEnd()
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    waitpid(child, nullptr, 0);
}

} // namespace

using CaptureStorm = storms::Storm;

TEST_F(CaptureStorm, recordsStayWholeWhileOthersForkAndFlush)
{
    const support::TemporaryDirectory directory;
    std::string file = directory.path() + "/capture";
    const int perWriter = times(2000, 200000);
    std::atomic<int> writing{WRITERS};
    {
        packet_dump capture(file.data());
        onThreads(WRITERS + OTHERS, [&](int thread) {
            Dice dice(static_cast<unsigned int>(thread));
            if (thread >= WRITERS) {
                while (writing > 0) {
                    thread == WRITERS ? forkAndEnd() : (void)std::fflush(nullptr);
                    storms::waitUpTo(dice, 2000);
                }
                return;
            }
            Record record{thread, 0, 0, {}};
            for (; record.number < perWriter; ++record.number) {
                record.length = SHORTEST + dice.below(200);
                ASSERT_EQ(record.length, capture.write(reinterpret_cast<char*>(&record),
                                                       record.length, PACKET_DUMP_UDP));
            }
            --writing;
        });
    }
    packet_dump capture(file.data());
    std::array<int, WRITERS> next{};
    Record record{};
    t_packet_dump_type type = PACKET_DUMP_OTHER;
    int length = 0;
    int records = 0;
    while ((length = capture.read(reinterpret_cast<char*>(&record), sizeof record, &type)) > 0) {
        ASSERT_EQ(record.length, length);
        ASSERT_EQ(PACKET_DUMP_UDP, type);
        ASSERT_EQ(next[static_cast<std::size_t>(record.writer)]++, record.number);
        ++records;
    }
    EXPECT_EQ(WRITERS * perWriter, records);
    say(std::to_string(records) + " records by " + std::to_string(WRITERS) + " writers");
}
