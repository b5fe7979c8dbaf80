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
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

const char* const USAGE =
    "usage: gpal-info [--process NAME] [--disk PATH] [--capture FILE] [--help]\n";

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// What the tool has to complain of; a sanitizer's own lines begin with two signs.
std::string complaints(const ToolRun& run)
{
    std::string text;
    for (const std::string& line : linesOf(run.errors)) {
        text += line.rfind("==", 0) == 0 ? "" : line + "\n";
    }
    return text;
}

/// The overview, which never fails.
std::string overview(const std::vector<std::string>& arguments = {},
                     const std::vector<std::string>& environment = {})
{
    const ToolRun run = runTool(arguments, environment);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(complaints(run), "");
    return run.output;
}

/// A figure of a disk in bytes, in the 32 bits of the device.
std::string bytes(unsigned long long blocks, unsigned long long size)
{
    return std::to_string(static_cast<int>(static_cast<unsigned int>(blocks * size)));
}

/// Fits a screen of 24 lines with 80 characters each.
void expectOneScreen(const std::string& output)
{
    EXPECT_THAT(linesOf(output), SizeIs(testing::Le(24U)));
    EXPECT_THAT(linesOf(output), Each(SizeIs(testing::Le(80U)))) << output;
}

void expectRefused(const std::vector<std::string>& arguments)
{
    const ToolRun run = runTool(arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, USAGE);
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
    const support::TemporaryDirectory place;
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
                                      "  user  +1047000 of  +1047000 bytes free, reserve "
                                      "1000 \\+ 576\n"));
    // Of the others nothing is reserved.
    EXPECT_THAT(output, ContainsRegex("\nDisk of \\./: .*bytes free, reserve 0 \\+ 0\n"));
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

TEST(GpalInfo, findsTheProcessAskedFor)
{
    // The tool itself is a process of that name.
    EXPECT_THAT(overview({"--process", "no such program"}),
                HasSubstr("\nNo process \"no such program\"\n"));
    EXPECT_THAT(overview({"--process=gpal-info"}),
                ContainsRegex("\nProcess \"gpal-info\": [0-9]+\n"));
}

TEST(GpalInfo, listsTheRecordsOfACapture)
{
    const support::TemporaryDirectory directory;
    std::string path = directory.path("capture.pcap");
    {
        packet_dump dump(path.data());
        char text[] = "0123456789abcdef\xff";
        dump.write(text, 3, PACKET_DUMP_UDP);
        dump.write(text, 5, PACKET_DUMP_TCP_FORWARD);
        dump.write(text, 16, PACKET_DUMP_UDP);
        dump.write(text, 17, PACKET_DUMP_UDP);
        dump.write(text + 16, 1, PACKET_DUMP_UDP);
        dump.write(text, 0, PACKET_DUMP_UDP);
    }
    const ToolRun run = runTool({"--capture", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    const std::string sixteen = " 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66";
    EXPECT_THAT(linesOf(run.output),
                ElementsAre("     1  UDP     3 bytes  30 31 32", "     2  other",
                            "     3  UDP    16 bytes " + sixteen,
                            "     4  UDP    17 bytes " + sixteen + " ...",
                            "     5  UDP     1 bytes  ff", "     6  UDP     0 bytes ",
                            "6 records, 37 bytes of UDP payload"));
    EXPECT_THAT(linesOf(run.output), Each(SizeIs(testing::Le(80U))));
}

TEST(GpalInfo, listsWhatThereIsOfATruncatedCapture)
{
    const support::TemporaryDirectory directory;
    std::string path = directory.path("capture.pcap");
    {
        packet_dump dump(path.data());
        char text[] = "abc";
        dump.write(text, 3, PACKET_DUMP_UDP);
        dump.write(text, 3, PACKET_DUMP_UDP);
    }
    const auto size = std::filesystem::file_size(path);
    std::filesystem::resize_file(path, size - 1);
    EXPECT_THAT(linesOf(runTool({"--capture", path}).output),
                ElementsAre("     1  UDP     3 bytes  61 62 63", "     2  UDP     2 bytes  61 62",
                            "2 records, 5 bytes of UDP payload"));
    std::filesystem::resize_file(path, size - 4); // in the headers of the second
    const ToolRun run = runTool({"--capture", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(linesOf(run.output), ElementsAre("     1  UDP     3 bytes  61 62 63",
                                                 "1 records, 3 bytes of UDP payload"));
}

TEST(GpalInfo, captureWithoutRecordsIsOneToo)
{
    const support::TemporaryDirectory directory;
    const std::string path = directory.file(
        "capture.pcap",
        std::string("\xD4\xC3\xB2\xA1\x02\0\x04\0\0\0\0\0\0\0\0\0\xff\xff\0\0\1\0\0\0", 24));
    const ToolRun run = runTool({"--capture", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "0 records, 0 bytes of UDP payload\n");
}

TEST(GpalInfo, captureLeavesTheFileAsItIs)
{
    const support::TemporaryDirectory directory;
    const std::string content("\xD4\xC3\xB2\xA1rest", 8);
    const std::string path = directory.file("capture.pcap", content);
    runTool({"--capture", path});
    EXPECT_EQ(support::contentOf(path), content);
}

TEST(GpalInfo, refusesToListWhatIsNoCapture)
{
    const support::TemporaryDirectory directory;
    for (const std::string& content :
         {std::string("This is a text."), std::string(), std::string("\xD4\xC3\xB2")}) {
        const std::string path = directory.file("text", content);
        const ToolRun run = runTool({"--capture", path});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "gpal-info: " + path + ": not a packet capture file\n");
    }
}

TEST(GpalInfo, refusesToListAFileThatIsNotThere)
{
    for (const char* path : {"/nowhere/capture.pcap", ""}) {
        const ToolRun run = runTool({"--capture", path});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "gpal-info: " + std::string(path) + ": No such file or directory\n");
    }
}

TEST(GpalInfo, explainsItself)
{
    const ToolRun run = runTool({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.output, StartsWith(USAGE));
    for (const char* word : {"--process", "--disk", "--capture", "--help", "MIRTA_USER_DISK",
                             "(default: init)", "Exit status: 0"}) {
        EXPECT_THAT(run.output, HasSubstr(word));
    }
    expectOneScreen(run.output);
}

TEST(GpalInfo, refusesACommandLineThatMakesNoSense)
{
    expectRefused({"--unknown"});
    expectRefused({"-x"});
    expectRefused({"surplus"});
    expectRefused({"--disk", "/", "surplus"});
    expectRefused({"--capture"});
    expectRefused({"--help=yes"});
    expectRefused({"--help", "--unknown"});
}
