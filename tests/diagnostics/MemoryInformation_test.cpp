#include <gpal/MemoryInformation.h>

#include <fstream>
#include <gmock/gmock.h>
#include <string>
#include <type_traits>

#include "fabricated_proc.h"
#include "support/private_mounts.h"
#include "support/temporary_directory.h"
#include "support/temporary_mounts.h"

namespace
{

using testing::MatchesRegex;

/// Shows a report in place of the kernel's.
class MemoryReport
{
public:
    explicit MemoryReport(const std::string& content)
        : m_shown(m_directory.file("meminfo", content), "/proc/meminfo")
    {
    }

private:
    support::TemporaryDirectory m_directory;
    support::ShownInPlace m_shown;
};

/// The three figures of the summary for this report.
std::string summaryOf(const std::string& content)
{
    const MemoryReport report(content);
    std::string text = "before";
    EXPECT_TRUE(MemoryInformation().getGenericMemoryInfo(text));
    return text;
}

int totalOf(const std::string& content)
{
    const MemoryReport report(content);
    return MemoryInformation().getTotalMemory();
}

int freeOf(const std::string& content)
{
    const MemoryReport report(content);
    return MemoryInformation().getFreeMemory();
}

const char* const DEVICE = "MemTotal:          62000 kB\n"
                           "MemFree:           10240 kB\n"
                           "Buffers:            2048 kB\n"
                           "Cached:             5120 kB\n"
                           "SwapCached:         9216 kB\n"
                           "Active:            20480 kB\n";

} // namespace

TEST(MemoryInformation, hasNoDataAndOneVirtualFunctionTheDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<MemoryInformation>);
    EXPECT_EQ(sizeof(MemoryInformation), sizeof(void*));
}

TEST(MemoryInformation, totalIsInKilobytesAsTheKernelGivesIt)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(totalOf(DEVICE), 62000);
}

TEST(MemoryInformation, freeIsInMebibytesAndCountsTheCacheIn)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(freeOf(DEVICE), 15);
}

TEST(MemoryInformation, freeRoundsEachFigureDownBeforeAdding)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(freeOf("MemFree: 1023 kB\nCached: 1023 kB\n"), 0);
    EXPECT_EQ(freeOf("MemFree: 1024 kB\nCached: 1023 kB\n"), 1);
    EXPECT_EQ(freeOf("MemFree: 2047 kB\nCached: 2047 kB\n"), 2);
}

TEST(MemoryInformation, summaryIsOneLineWithoutLineEndInMebibytes)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(summaryOf(DEVICE), "Memory: total 60MiB, free 10MiB, cached 5MiB");
}

TEST(MemoryInformation, summaryRoundsEachFigureDown)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(summaryOf("MemTotal: 3071 kB\nMemFree: 2047 kB\nCached: 1023 kB\n"),
              "Memory: total 2MiB, free 1MiB, cached 0MiB");
}

TEST(MemoryInformation, missingLinesCountAsZero)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(summaryOf("MemTotal: 62000 kB\nMemFree: 10240 kB\n"),
              "Memory: total 60MiB, free 10MiB, cached 0MiB");
    EXPECT_EQ(summaryOf("Cached: 5120 kB\n"), "Memory: total 0MiB, free 0MiB, cached 5MiB");
    EXPECT_EQ(summaryOf(""), "Memory: total 0MiB, free 0MiB, cached 0MiB");
    EXPECT_EQ(totalOf("MemFree: 10240 kB\n"), 0);
    EXPECT_EQ(freeOf("MemTotal: 62000 kB\nMemFree: 10240 kB\n"), 10);
    EXPECT_EQ(freeOf("MemTotal: 62000 kB\nCached: 10240 kB\n"), 10);
}

TEST(MemoryInformation, swapCacheIsNotTheCache)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(freeOf("MemFree: 10240 kB\nSwapCached: 9216 kB\n"), 10);
    EXPECT_EQ(freeOf("Cached: 5120 kB\nSwapCached: 9216 kB\nMemFree: 10240 kB\n"), 15);
}

TEST(MemoryInformation, keyThatDoesNotBeginItsLineIsNoFigure)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(summaryOf("HighMemTotal: 1048576 kB\nLowMemFree: 1048576 kB\n MemTotal: 2048 kB\n"),
              "Memory: total 0MiB, free 0MiB, cached 0MiB");
    EXPECT_EQ(totalOf("MemTotal: 62000 kB\nHighMemTotal: 7 kB\n"), 62000);
}

TEST(MemoryInformation, lineBelongsToTheFirstKeyInItOnly)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(summaryOf("MemFree: 2048 kB MemTotal\n"),
              "Memory: total 0MiB, free 0MiB, cached 0MiB");
    EXPECT_EQ(summaryOf("Cached: 2048 kB MemFree\n"), "Memory: total 0MiB, free 0MiB, cached 0MiB");
    EXPECT_EQ(freeOf("Cached: 2048 kB MemFree\n"), 0);
    EXPECT_EQ(freeOf("MemFree: 2048 kB Cached\n"), 2);
}

TEST(MemoryInformation, keysThatAFunctionDoesNotNeedAreNotLookedFor)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(freeOf("MemFree: 2048 kB MemTotal\nCached: 1024 kB MemTotal\n"), 3);
    EXPECT_EQ(totalOf("MemTotal: 2048 kB MemFree Cached\n"), 2048);
}

TEST(MemoryInformation, figuresNeedNoParticularOrderOrSpacing)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(summaryOf("Cached:\t5120 kB\nMemFree:10240\nMemTotal:       62000 kB"),
              "Memory: total 60MiB, free 10MiB, cached 5MiB");
}

TEST(MemoryInformation, keyIsCaseSensitiveAndNeedsItsColon)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(summaryOf("memtotal: 62000 kB\nMemFree 10240 kB\nCached : 5120 kB\n"),
              "Memory: total 0MiB, free 0MiB, cached 0MiB");
}

TEST(MemoryInformation, unreadableNumberLeavesTheFigureAsItWas)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(totalOf("MemTotal: unknown\n"), 0);
    EXPECT_EQ(totalOf("MemTotal: 62000 kB\nMemTotal: unknown\n"), 62000);
}

TEST(MemoryInformation, lastOfSeveralLinesCounts)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    EXPECT_EQ(totalOf("MemTotal: 1 kB\nMemTotal: 62000 kB\n"), 62000);
}

TEST(MemoryInformation, reportIsReadAnewEachTime)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    MemoryInformation information;
    {
        const MemoryReport report("MemTotal: 1 kB\n");
        EXPECT_EQ(information.getTotalMemory(), 1);
    }
    const MemoryReport report("MemTotal: 2 kB\n");
    EXPECT_EQ(information.getTotalMemory(), 2);
}

TEST(MemoryInformation, withoutReportThereIsNoFigure)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc nothing;
    MemoryInformation information;
    EXPECT_EQ(information.getTotalMemory(), -1);
    EXPECT_EQ(information.getFreeMemory(), -1);
    std::string text = "as it was";
    EXPECT_FALSE(information.getGenericMemoryInfo(text));
    EXPECT_EQ(text, "as it was");
}

TEST(MemoryInformation, tellsTheMemoryOfThisMachine)
{
    std::ifstream report("/proc/meminfo");
    std::string key;
    int total = -1;
    ASSERT_TRUE(report >> key >> total);
    ASSERT_EQ(key, "MemTotal:");

    MemoryInformation information;
    EXPECT_EQ(information.getTotalMemory(), total);
    EXPECT_GT(information.getFreeMemory(), 0);
    EXPECT_LE(information.getFreeMemory(), total / 1024);
    std::string text;
    EXPECT_TRUE(information.getGenericMemoryInfo(text));
    EXPECT_THAT(text, MatchesRegex("Memory: total " + std::to_string(total / 1024) +
                                   "MiB, free [0-9]+MiB, cached [0-9]+MiB"));
}
