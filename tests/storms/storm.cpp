#include "storms/storm.h"

#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

#include "support/failing_allocations.h"
#include "support/observed.h"

namespace storms
{
namespace
{

/// 0 for a short storm.
int minutes()
{
    const char* const wanted = std::getenv("GPAL_STORM_MINUTES");
    return wanted == nullptr ? 0 : static_cast<int>(std::strtol(wanted, nullptr, 10));
}

} // namespace

bool isLong()
{
    return minutes() > 0;
}

std::chrono::steady_clock::time_point endOfStorm(std::chrono::milliseconds shortly)
{
    const std::chrono::milliseconds lasting = isLong() ? std::chrono::minutes(minutes()) : shortly;
    return std::chrono::steady_clock::now() + lasting;
}

void waitUpTo(Dice& dice, int limit)
{
    std::this_thread::sleep_for(std::chrono::microseconds(dice.below(limit)));
}

void Storm::SetUp()
{
    LayerTest::SetUp();
    alarm(static_cast<unsigned int>(isLong() ? 60 * minutes() + 1800 : 100));

    onThreads(1, [](int) {});
    m_blocks = support::blocksInUse();
    m_descriptors = stress::entriesIn("/proc/self/fd");
    m_threads = stress::threadsInUse();
    m_begin = std::chrono::steady_clock::now();
}

void Storm::TearDown()
{
    EXPECT_TRUE(support::eventually([&] { return stress::threadsInUse() == m_threads; }));
    EXPECT_EQ(m_descriptors, stress::entriesIn("/proc/self/fd"));
    EXPECT_TRUE(support::eventually([&] { return support::blocksInUse() <= m_blocks; }))
        << support::blocksInUse() - m_blocks << " blocks of memory more than before";
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG)) << "a child is left";
    LayerTest::TearDown();
}

void Storm::say(const std::string& figures) const
{
    const auto seconds = std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::steady_clock::now() - m_begin)
                             .count();
    std::printf("%s, in %.1f s\n", figures.c_str(), static_cast<double>(seconds) / 1000);
    std::fflush(stdout);
}

} // namespace storms
