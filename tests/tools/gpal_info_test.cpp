#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gpal/packet_dump.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <vector>

#include "support/private_mounts.h"
#include "support/soft_limit.h"
#include "support/temporary_directory.h"
#include "support/temporary_mounts.h"
#include "tool_run.h"

namespace
{

using testing::Contains;
using testing::ContainsRegex;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

const char* const USAGE =
    "usage: gpal-info [--disk PATH | --process PID|NAME | --capture FILE|-] [--json]\n"
    "       gpal-info --help | --version\n";

/// The overview, which never fails.
std::string overview(const std::vector<std::string>& arguments = {},
                     const std::vector<std::string>& environment = {})
{
    Surroundings around;
    around.environment = environment;
    const ToolRun run = runTool(arguments, around);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(complaints(run), "");
    return run.output;
}

/// A figure of a disk in bytes.
std::string bytes(unsigned long long blocks, unsigned long long size)
{
    return std::to_string(blocks * size);
}

/// Fits a screen of 24 lines with 80 characters each.
void expectOneScreen(const std::string& output)
{
    EXPECT_THAT(linesOf(output), SizeIs(testing::Le(24U)));
    EXPECT_THAT(linesOf(output), Each(SizeIs(testing::Le(80U)))) << output;
}

void expectRefused(const std::vector<std::string>& arguments, const std::string& complaint)
{
    const ToolRun run = runTool(arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "gpal-info: " + complaint + "\n" + USAGE);
}

} // namespace

TEST(GpalInfo, showsEverySectionInOneScreen)
{
    const std::string output = overview();
    EXPECT_THAT(output, StartsWith("Memory: total "));
    EXPECT_THAT(output, HasSubstr("\nLimits: CPU s "));
    EXPECT_THAT(output, HasSubstr("\nDisk of ./: "));
    EXPECT_THAT(output, ContainsRegex("\n[0-9]+ character devices:"));
    EXPECT_THAT(output, ContainsRegex("\n(No process \"init\"|Process \"init\": [0-9]+)\n"));
    EXPECT_THAT(output, HasSubstr("\nIPAddress is: "));
    expectOneScreen(output);
}

TEST(GpalInfo, fillsOneScreenAtMostWithAUserDiskAndLongLimits)
{
    const rlim_t huge = RLIM_INFINITY / 4;
    const support::SoftLimit time(RLIMIT_CPU, huge);
    const support::SoftLimit file(RLIMIT_FSIZE, huge);
    const support::SoftLimit data(RLIMIT_DATA, huge);
    const support::SoftLimit memory(RLIMIT_RSS, huge);
    const support::SoftLimit addressSpace(RLIMIT_AS, huge);
    const support::SoftLimit locks(RLIMIT_LOCKS, huge);
    expectOneScreen(overview({}, {"MIRTA_USER_DISK=/", "MIRTA_USER_DISK_RESERVED=2147483647",
                                  "MIRTA_USER_DISK_RESERVED_WORKINGMEMORY=2147483647"}));
}

TEST(GpalInfo, showsTheMemoryOfTheKernelsReport)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory directory;
    const std::string report = directory.file(
        "meminfo", "MemTotal: 62000 kB\nMemFree: 10240 kB\nCached: 5120 kB\nSwapCached: 1 kB\n");
    const support::ShownInPlace shown(report, "/proc/meminfo");
    EXPECT_THAT(overview(), StartsWith("Memory: total 60MiB, free 10MiB, cached 5MiB\n\n"));
}

TEST(GpalInfo, saysWhenTheMemoryIsUnknown)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory directory;
    const std::string socket = directory.path("socket"); // not even root can open one
    ASSERT_EQ(mknod(socket.c_str(), S_IFSOCK | 0600, 0), 0);
    const support::ShownInPlace shown(socket, "/proc/meminfo");
    EXPECT_THAT(overview(), StartsWith("Memory: unknown\n\n"));
}

TEST(GpalInfo, showsAllResourceLimits)
{
    const support::SoftLimit time(RLIMIT_CPU, 86400);
    const support::SoftLimit file(RLIMIT_FSIZE, 512 * 70000);
    const support::SoftLimit stack(RLIMIT_STACK, 1024 * 4100);
    const support::SoftLimit memory(RLIMIT_RSS, 1024 * 50000);
    const support::SoftLimit openFiles(RLIMIT_NOFILE, 123);
    const support::SoftLimit locks(RLIMIT_LOCKS, 77);
    std::string output = overview();
    std::replace(output.begin(), output.end(), '\n', ' ');
    const std::string value = "([0-9]+|unlimited)";
    std::string all = "Limits:";
    for (const char* name :
         {"CPU s", "file blocks", "data kB", "stack kB", "core blocks", "memory kB", "locked kB",
          "processes", "open files", "address space kB", "file locks"}) {
        all += std::string(" +") + name + " " + value + ",?";
    }
    EXPECT_THAT(output, ContainsRegex(all + "  "));
    for (const char* limit : {"CPU s 86400,", "file blocks 70000,", "memory kB 50000,",
                              "open files 123,", "file locks 77 "}) {
        EXPECT_THAT(output, HasSubstr(limit));
    }
    if (!stack.isSet()) {
        GTEST_SKIP() << "no limit of the stack can be set here; all others are shown";
    }
    EXPECT_THAT(output, HasSubstr("stack kB 4100,"));
}

TEST(GpalInfo, showsTheDisksOfTheTwoLocations)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory place;
    const support::EmptyInPlace disk(place.path());
    const std::string output =
        overview({}, {"MIRTA_VOLATILE_LOCATION=" + place.path(), "MIRTA_PERSISTENT_LOCATION=/"});
    const std::size_t first = output.find("\nDisk of " + place.path() + ": ");
    const std::size_t second = output.find("\nDisk of /: ");
    EXPECT_NE(first, std::string::npos);
    EXPECT_NE(second, std::string::npos);
    EXPECT_LT(first, second);
    EXPECT_THAT(output, Not(HasSubstr("  user ")));
}

TEST(GpalInfo, showsTheFiguresOfADisk)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory place;
    const support::EmptyInPlace disk(place.path());
    std::ofstream(place.path("quarter")) << std::string(1 << 18, 'x');
    struct statfs figures {
    };
    ASSERT_EQ(statfs(place.path().c_str(), &figures), 0);
    const auto size = static_cast<unsigned long long>(figures.f_bsize);

    const std::string output = overview({"--disk", place.path()});
    EXPECT_THAT(linesOf(output), Contains("Disk of " + place.path() + ": 25% used"));
    EXPECT_THAT(output, ContainsRegex("\n  all  +" + bytes(figures.f_bavail, size) + " of  +" +
                                      bytes(figures.f_blocks, size) + " bytes free\n"));
    EXPECT_THAT(output, Not(HasSubstr("Disk of ./")));
}

TEST(GpalInfo, showsTheUsersFiguresWithTheirReserves)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory place;
    const support::EmptyInPlace disk(place.path());
    const std::string output =
        overview({}, {"MIRTA_USER_DISK=" + place.path(), "MIRTA_USER_DISK_RESERVED=1000",
                      "MIRTA_USER_DISK_RESERVED_WORKINGMEMORY=576"});
    EXPECT_THAT(output, ContainsRegex("\nDisk of " + place.path() +
                                      ": 0% used\n  all  +1048576 of  +1048576 bytes free\n"
                                      "  user  +1047000 of  +1047000 bytes free\n"
                                      "  +reserve 1000 \\+ 576 for working memory\nDisk of \\./"));
    EXPECT_THAT(output, ContainsRegex("\nDisk of \\./: .*bytes free\n\n")) << "all is the user's";
}

TEST(GpalInfo, showsFiguresBeyondTheThirtyTwoBitsOfTheLayersOwn)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory place;
    ASSERT_TRUE(support::mountTmpfs(place.path(), 5ULL << 30));
    const std::string output =
        overview({}, {"MIRTA_USER_DISK=" + place.path(), "MIRTA_USER_DISK_RESERVED=3000000000"});
    EXPECT_THAT(output, ContainsRegex("  all  +5368709120 of  +5368709120 bytes free\n"
                                      "  user  +2368709120 of  +2368709120 bytes free\n"
                                      "  +reserve 3000000000 \\+ 0 "));
}

TEST(GpalInfo, showsADiskOnceWhateverThePathsThatLeadToIt)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory place;
    const support::EmptyInPlace disk(place.path());
    const std::string inside = place.path("inside");
    std::filesystem::create_directory(inside);
    const std::string output = overview(
        {}, {"MIRTA_VOLATILE_LOCATION=" + place.path(), "MIRTA_PERSISTENT_LOCATION=" + inside});
    EXPECT_THAT(linesOf(output), Contains("Disk of " + place.path() + ", " + inside + ": 0% used"));
    EXPECT_EQ(output.find("Disk of"), output.rfind("Disk of"));
    EXPECT_THAT(overview({}, {"MIRTA_VOLATILE_LOCATION=/nowhere/at/all",
                              "MIRTA_PERSISTENT_LOCATION=/nowhere/at/all"}),
                HasSubstr("\nDisk of /nowhere/at/all: can't be examined\n\n"));
}

TEST(GpalInfo, saysWhichDiskCannotBeExamined)
{
    EXPECT_THAT(linesOf(overview({"--disk=/nowhere/at/all"})),
                Contains("Disk of /nowhere/at/all: can't be examined"));
}

TEST(GpalInfo, countsAndNamesTheCharacterDevices)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const support::TemporaryDirectory devices;
    std::filesystem::create_symlink("/proc/self/fd", devices.path("not a device"));
    const std::string null = devices.file("null", "");
    const support::ShownInPlace device("/dev/null", null);
    const support::ShownInPlace directory(devices.path(), "/dev");
    EXPECT_THAT(linesOf(overview()), Contains("1 character devices: null"));
}

TEST(GpalInfo, leavesNoControlCharactersOfNamesToTheTerminal)
{
    EXPECT_THAT(linesOf(overview({"--disk=/nowhere/\033[2J\n"})),
                Contains("Disk of /nowhere/?[2J?: can't be examined"));
}

TEST(GpalInfo, explainsItself)
{
    const ToolRun run = runTool({"--help"});
    EXPECT_EQ(runTool({"-h"}).output, run.output);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.output, StartsWith(USAGE));
    for (const char* word : {"--process", "--disk", "--capture", "--json", "-h, --help",
                             "--version", "MIRTA_USER_DISK", "Exit status: 0"}) {
        EXPECT_THAT(run.output, HasSubstr(word));
    }
    expectOneScreen(run.output);
}

TEST(GpalInfo, tellsItsVersion)
{
    const ToolRun run = runTool({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "gpal-info " GPAL_INFO_EXPECTED_VERSION "\n");
}

TEST(GpalInfo, namesWhatIsWrongWithItsCommandLine)
{
    expectRefused({"--unknown"}, "unknown option --unknown");
    expectRefused({"--json", "-x"}, "unknown option -x");
    expectRefused({"-hx"}, "unknown option -x");
    expectRefused({"--help", "--unknown=5"}, "unknown option --unknown=5");
    expectRefused({"surplus"}, "unexpected argument surplus");
    expectRefused({"--disk", "/", "surplus"}, "unexpected argument surplus");
    expectRefused({"--json", "--capture"}, "--capture needs a value");
    expectRefused({"--help=yes"}, "--help=yes: the option takes no value");
    expectRefused({"--disk", "/", "--process", "1"},
                  "only one of --disk, --process and --capture goes at a time");
}

TEST(GpalInfo, failsWhenItsOutputCannotBeWritten)
{
    Surroundings full;
    full.output = "/dev/full";
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"--json"}, {"--help"}, {"--version"}, {"--process=1"}}) {
        const ToolRun run = runTool(arguments, full);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(complaints(run), "gpal-info: cannot write to standard output\n");
    }
}
