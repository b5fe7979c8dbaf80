#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gpal/packet_dump.h>
#include <sys/stat.h>
#include <thread>

#include "support/temporary_directory.h"
#include "tool_run.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

std::string fileHeader(char linkType = 1)
{
    return {std::string("\xD4\xC3\xB2\xA1\x02\0\x04\0\0\0\0\0\0\0\0\0\xff\xff\0\0", 20) + linkType +
            std::string(3, '\0')};
}

std::string littleEndian(std::uint32_t number)
{
    std::string bytes;
    for (int i = 0; i < 4; ++i, number >>= 8) {
        bytes += static_cast<char>(number);
    }
    return bytes;
}

std::string record(std::uint32_t seconds, std::uint32_t microseconds, const std::string& packet)
{
    const std::string size = littleEndian(static_cast<std::uint32_t>(packet.size()));
    return littleEndian(seconds) + littleEndian(microseconds) + size + size + packet;
}

/// Port 5004 to 5006 with "abc"; \p more is between Ethernet's addresses and its type.
std::string udpOverIpv4(const std::string& more = "")
{
    return std::string(12, '\0') + more + std::string("\x08\0\x45\0\0\x1f\0\0\0\0\x40\x11", 12) +
           std::string(10, '\0') + std::string("\x13\x8c\x13\x8e\0\x0b\0\0", 8) + "abc";
}

std::string udpOverIpv6()
{
    return std::string(12, '\0') + std::string("\x86\xdd\x60\0\0\0\0\x0b\x11\x40", 10) +
           std::string(32, '\0') + std::string("\x13\x8c\x13\x8e\0\x0b\0\0", 8) + "abc";
}

/// The lines of a capture with 2001-09-09 as its only day.
std::vector<std::string> listed(const std::string& records)
{
    const support::TemporaryDirectory directory;
    const ToolRun run =
        runTool({"--capture", directory.file("capture.pcap", fileHeader() + records)});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(complaints(run), "");
    return linesOf(run.output);
}

const std::uint32_t NOON = 1000036800; ///< of that day

/// A capture by the layer, of two records.
class GpalInfoCapture : public testing::Test
{
protected:
    GpalInfoCapture()
    {
        packet_dump dump(m_path.data());
        char text[] = "abc";
        dump.write(text, 3, PACKET_DUMP_UDP);
        dump.write(text, 3, PACKET_DUMP_UDP);
    }

    void cutOff(std::uintmax_t bytes) const
    {
        std::filesystem::resize_file(m_path, std::filesystem::file_size(m_path) - bytes);
    }

    /// What is listed of a capture that is cut short, without its day and times.
    std::vector<std::string> listedBefore(const std::string& complaint) const
    {
        const ToolRun run = runTool({"--capture", m_path});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(complaints(run), "gpal-info: " + m_path + ": " + complaint + "\n");
        std::vector<std::string> lines = linesOf(run.output);
        lines.erase(lines.begin());
        for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
            lines[i].erase(8, 17);
        }
        return lines;
    }

    support::TemporaryDirectory m_directory;
    std::string m_path = m_directory.path("capture.pcap");
};

} // namespace

TEST(GpalInfoRecords, comeWithTimesAndPorts)
{
    EXPECT_THAT(listed(record(NOON, 5, udpOverIpv4()) + record(NOON + 1, 999999, udpOverIpv4())),
                ElementsAre("2001-09-09 (UTC)",
                            "     1  12:00:00.000005  UDP  5004 > 5006      3 bytes  61 62 63",
                            "     2  12:00:01.999999  UDP  5004 > 5006      3 bytes  61 62 63",
                            "2 records, 6 bytes of UDP payload"));
}

TEST(GpalInfoRecords, ofEachDayHaveItsDateBefore)
{
    const std::vector<std::string> lines =
        listed(record(NOON, 0, udpOverIpv4()) + record(NOON + 86400, 0, udpOverIpv4()));
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], "2001-09-09 (UTC)");
    EXPECT_EQ(lines[2], "2001-09-10 (UTC)");
}

TEST(GpalInfoRecords, areReadBehindOtherHeadersToo)
{
    const std::string tag("\x81\0\0\7", 4);
    const std::vector<std::string> lines =
        listed(record(NOON, 0, udpOverIpv4(tag)) + record(NOON, 0, udpOverIpv6()) +
               record(NOON, 0, udpOverIpv4() + "padding"));
    ASSERT_EQ(lines.size(), 5U);
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(lines[static_cast<std::size_t>(i)].substr(25),
                  "UDP  5004 > 5006      3 bytes  61 62 63");
    }
}

TEST(GpalInfoRecords, thatAreNeitherUdpNorTcpHaveNoPorts)
{
    std::string contradiction = udpOverIpv4();
    contradiction[14 + 20 + 5] = 12;
    std::string echo = udpOverIpv4();
    echo[14 + 9] = 1;
    EXPECT_THAT(listed(record(NOON, 0, "") + record(NOON, 0, "tiny") +
                       record(NOON, 0, contradiction) + record(NOON, 0, echo) +
                       record(NOON, 0, udpOverIpv4().substr(0, 40))),
                ElementsAre("2001-09-09 (UTC)", "     1  12:00:00.000000  other",
                            "     2  12:00:00.000000  other", "     3  12:00:00.000000  other",
                            "     4  12:00:00.000000  other", "     5  12:00:00.000000  other",
                            "5 records, 0 bytes of UDP payload"));
}

TEST(GpalInfoRecords, byTheLayerAreShownInEightyColumns)
{
    const support::TemporaryDirectory directory;
    std::string path = directory.path("capture.pcap");
    {
        packet_dump dump(path.data());
        char text[] = "0123456789abcdef\xff";
        dump.write(text, 7, PACKET_DUMP_UDP);
        dump.write(text, 5, PACKET_DUMP_TCP_FORWARD);
        dump.write(text, 17, PACKET_DUMP_UDP);
        dump.write(text + 16, 1, PACKET_DUMP_TCP_REVERSE);
        dump.write(text, 0, PACKET_DUMP_UDP);
    }
    const ToolRun run = runTool({"--capture", path});
    EXPECT_EQ(run.status, 0);
    std::vector<std::string> lines = linesOf(run.output);
    EXPECT_THAT(lines, testing::Each(SizeIs(testing::Le(80U))));
    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[1].substr(25), "UDP  5120 > 5120      7 bytes  30 31 32 33 34 35 36");
    EXPECT_EQ(lines[2].substr(25), "TCP  1063 > 4060      5 bytes  30 31 32 33 34");
    EXPECT_EQ(lines[3].substr(25), "UDP  5120 > 5120     17 bytes  30 31 32 33 34 35 36 ...");
    EXPECT_EQ(lines[4].substr(25), "TCP  4060 > 1063      1 bytes  ff");
    EXPECT_EQ(lines[5].substr(25), "UDP  5120 > 5120      0 bytes ");
    EXPECT_EQ(lines[6], "5 records, 24 bytes of UDP payload");
}

TEST(GpalInfoRecords, mayBeLongerThanAnyBuffer)
{
    const std::string packet = udpOverIpv4() + std::string(100000, 'x');
    EXPECT_THAT(listed(record(NOON, 0, packet) + record(NOON, 0, packet)),
                testing::Contains("2 records, 6 bytes of UDP payload"));
}

TEST(GpalInfoRecords, mayBeNone)
{
    EXPECT_THAT(listed(""), ElementsAre("0 records, 0 bytes of UDP payload"));
}

TEST(GpalInfoRecords, areReadFromAPipeToo)
{
    const support::TemporaryDirectory directory;
    Surroundings piped;
    piped.input = directory.path("pipe");
    ASSERT_EQ(mkfifo(piped.input.c_str(), 0600), 0);
    std::thread writer([&] {
        std::ofstream(piped.input, std::ios::binary)
            << fileHeader() << record(NOON, 0, udpOverIpv4()) << std::flush << "cut short";
    });
    const ToolRun run = runTool({"--capture", "-"}, piped);
    writer.join();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("1 records, 3 bytes of UDP payload\n"));
    EXPECT_EQ(complaints(run), "gpal-info: standard input: cut short in record 2\n");
}

TEST_F(GpalInfoCapture, cutShortIsListedAsFarAsItGoes)
{
    const std::string first = "     1  UDP  5120 > 5120      3 bytes  61 62 63";
    cutOff(1);
    EXPECT_THAT(listedBefore("cut short in record 2"),
                ElementsAre(first, "     2  UDP  5120 > 5120      2 bytes  61 62",
                            "2 records, 5 bytes of UDP payload"));
    cutOff(3); // in the headers of the second
    EXPECT_THAT(listedBefore("cut short in record 2"),
                ElementsAre(first, "     2  other", "2 records, 3 bytes of UDP payload"));
    cutOff(14 + 20 + 7 + 1); // in the second's own header
    EXPECT_THAT(listedBefore("cut short in record 2"),
                ElementsAre(first, "1 records, 3 bytes of UDP payload"));
}

TEST_F(GpalInfoCapture, withAnImpossibleLengthTakesNoMemory)
{
    std::ofstream(m_path, std::ios::binary | std::ios::app)
        << std::string(8, '\0') << std::string(8, '\xff') << "little";
    const ToolRun run = runTool({"--capture", m_path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(complaints(run), "gpal-info: " + m_path + ": cut short in record 3\n");
}

TEST_F(GpalInfoCapture, isLeftAsItIs)
{
    const std::string content = support::contentOf(m_path);
    runTool({"--capture", m_path});
    EXPECT_EQ(support::contentOf(m_path), content);
}

TEST_F(GpalInfoCapture, isNoneThatIsOfAnotherKind)
{
    struct Foreign {
        std::string content;
        const char* complaint;
    };
    const char* const noCapture = "not a packet capture file (little-endian, with microseconds)";
    for (const Foreign& foreign :
         {Foreign{"This is a text.", noCapture}, Foreign{"", noCapture},
          Foreign{"\xD4\xC3\xB2", noCapture},
          Foreign{"\xD4\xC3\xB2\xA1rest", "cut short in the file header"},
          Foreign{fileHeader(101), "not a capture of Ethernet packets (link type 101)"}}) {
        const std::string path = m_directory.file("foreign", foreign.content);
        const ToolRun run = runTool({"--capture", path});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "gpal-info: " + path + ": " + foreign.complaint + "\n");
    }
}

TEST_F(GpalInfoCapture, isReportedWhenItCannotBeRead)
{
    struct Unreadable {
        const char* path;
        const char* complaint;
    };
    for (const Unreadable& file :
         {Unreadable{"/nowhere/capture.pcap", "No such file or directory"},
          Unreadable{"", "No such file or directory"}, Unreadable{"/", "Is a directory"}}) {
        const ToolRun run = runTool({"--capture", file.path});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors,
                  "gpal-info: " + std::string(file.path) + ": " + file.complaint + "\n");
    }
}
