/// \file
/// Capture files that go to, and come from, the programs that people look at captures with.
#include <gpal/packet_dump.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include "capture_file.h"
#include "support/command_output.h"
#include "support/temporary_directory.h"

using capture::OTHER_TYPE;
using capture::Read;
using capture::THE_END;
using capture::UDP_TYPE;

namespace
{

bool hasTool(const std::string& name)
{
    return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

#define GPAL_NEEDS_TOOL(name)                                                                      \
    do {                                                                                           \
        if (!hasTool(name)) {                                                                      \
            GTEST_SKIP() << "there is no " << (name) << " on this host";                           \
        }                                                                                          \
    } while (false)

class CaptureTools : public testing::Test
{
protected:
    std::string path(const std::string& name) const { return m_directory.path(name); }

    bool run(const std::string& command) const
    {
        return std::system(("cd " + m_directory.path() + " && " + command + " 2>errors").c_str()) ==
               0;
    }
    std::string outputOf(const std::string& command) const
    {
        support::CommandOutput output =
            support::runCommand("cd " + m_directory.path() + " && " + command + " 2>errors");
        EXPECT_EQ(output.status, 0) << command << "\n" << support::contentOf(path("errors"));
        return output.text;
    }

    /// Writes "capture": UDP, TCP forward, UDP, TCP reverse, with payloads of 10, 20, 160, 0 bytes.
    void writeCapture() const
    {
        std::string name = path("capture");
        packet_dump dump(name.data());
        char payload[161];
        std::fill(std::begin(payload), std::end(payload), '\x55');
        EXPECT_EQ(dump.write(payload, 10, PACKET_DUMP_UDP), 10);
        EXPECT_EQ(dump.write(payload, 20, PACKET_DUMP_TCP_FORWARD), 20);
        EXPECT_EQ(dump.write(payload, 160, PACKET_DUMP_UDP), 160);
        EXPECT_EQ(dump.write(payload, 0, PACKET_DUMP_TCP_REVERSE), 0);
    }

    /// Makes "made" of Ethernet frames: tagged UDP, UDP, TCP, tagged TCP.
    bool makeFrames() const
    {
        std::string text;
        for (const std::string& frame :
             {capture::taggedPacket(17, capture::udp("tagged")),
              capture::packet(17, capture::udp("plain")), capture::packet(6, "0123456789"),
              capture::taggedPacket(6, "0123456789")}) {
            text += "0000";
            for (const char byte : frame) {
                char digits[8];
                std::snprintf(digits, sizeof digits, " %02x", static_cast<unsigned char>(byte));
                text += digits;
            }
            text += "\n";
        }
        m_directory.file("hex", text);
        return run("text2pcap -q -F pcap -l 1 hex made");
    }

    support::TemporaryDirectory m_directory;
};

/// What is read of "made", whichever program has passed it on.
const std::vector<Read> MADE = {{6, UDP_TYPE, "tagged"},
                                {5, UDP_TYPE, "plain"},
                                {0, OTHER_TYPE, ""},
                                {0, OTHER_TYPE, ""},
                                THE_END};

/// Whether a file is of this format; tools of a big-endian host write the other byte order.
bool isLittleEndian(const std::string& file)
{
    return support::contentOf(file).substr(0, 4) == capture::bytes("D4C3B2A1");
}

} // namespace

TEST_F(CaptureTools, decodeEveryHeaderOfARecord)
{
    GPAL_NEEDS_TOOL("tshark");
    writeCapture();
    EXPECT_EQ(outputOf("tshark -r capture -o ip.check_checksum:TRUE -T fields -E separator=, "
                       "-e frame.len -e frame.cap_len -e eth.type -e ip.hdr_len -e ip.dsfield "
                       "-e ip.len -e ip.id -e ip.flags.df -e ip.frag_offset -e ip.ttl -e ip.proto "
                       "-e ip.checksum.status -e ip.src -e ip.dst"),
              "52,52,0x0800,20,0x00,38,0x0000,1,0,64,17,1,0.0.0.0,0.0.0.0\n"
              "74,74,0x0800,20,0x00,60,0x0000,1,0,64,6,1,0.0.0.0,0.0.0.0\n"
              "202,202,0x0800,20,0x00,188,0x0000,1,0,64,17,1,0.0.0.0,0.0.0.0\n"
              "54,54,0x0800,20,0x00,40,0x0000,1,0,64,6,1,0.0.0.1,0.0.0.0\n");
}

TEST_F(CaptureTools, decodeTheTransportHeaders)
{
    GPAL_NEEDS_TOOL("tshark");
    writeCapture();
    EXPECT_EQ(outputOf("tshark -r capture -Y udp -T fields -E separator=, -e udp.srcport "
                       "-e udp.dstport -e udp.length -e udp.checksum"),
              "5120,5120,18,0x0000\n5120,5120,168,0x0000\n");
    EXPECT_EQ(outputOf("tshark -r capture -Y tcp -o tcp.relative_sequence_numbers:FALSE "
                       "-T fields -E separator=, -e tcp.srcport -e tcp.dstport -e tcp.seq "
                       "-e tcp.ack_raw -e tcp.hdr_len -e tcp.flags -e tcp.window_size_value "
                       "-e tcp.checksum -e tcp.urgent_pointer -e tcp.len"),
              "1063,4060,0,0,20,0x0000,65535,0x0000,0,20\n"
              "4060,1063,0,0,20,0x0000,65535,0x0000,0,0\n");
}

TEST_F(CaptureTools, findTheFileWhole)
{
    GPAL_NEEDS_TOOL("capinfos");
    writeCapture();
    const std::string about = outputOf("capinfos -M -t -E -l -c -d capture");
    for (const char* line : {"File type:           pcap\n", "File encapsulation:  ether\n",
                             "Packet size limit:   file hdr: 65535 bytes\n",
                             "Number of packets:   4\n", "Data size:           382 bytes\n"}) {
        EXPECT_NE(about.find(line), std::string::npos) << line << " in\n" << about;
    }
}

TEST_F(CaptureTools, areOfOneMindAboutARecord)
{
    GPAL_NEEDS_TOOL("tcpdump");
    writeCapture();
    const std::string text = outputOf("tcpdump -t -n -v -r capture");
    EXPECT_NE(text.find("0.0.0.0.5120 > 0.0.0.0.5120:"), std::string::npos) << text;
    EXPECT_NE(text.find("0.0.0.1.4060 > 0.0.0.0.1063:"), std::string::npos) << text;
    EXPECT_EQ(text.find("bad cksum 0 "), std::string::npos) << "of IPv4\n" << text;
}

TEST_F(CaptureTools, makeFilesThatAreRead)
{
    GPAL_NEEDS_TOOL("text2pcap");
    ASSERT_TRUE(makeFrames()) << support::contentOf(path("errors"));
    if (!isLittleEndian(path("made"))) {
        GTEST_SKIP() << "the tools of this host write big-endian files";
    }
    EXPECT_EQ(capture::readAll(path("made")), MADE);
}

TEST_F(CaptureTools, passFilesOnThatAreReadTheSame)
{
    GPAL_NEEDS_TOOL("text2pcap");
    ASSERT_TRUE(makeFrames()) << support::contentOf(path("errors"));
    if (!isLittleEndian(path("made"))) {
        GTEST_SKIP() << "the tools of this host write big-endian files";
    }
    for (const char* command : {"tcpdump -r made -w passed", "tshark -r made -F pcap -w passed",
                                "editcap -F pcap made passed"}) {
        GPAL_NEEDS_TOOL(std::string(command).substr(0, std::string(command).find(' ')));
        ASSERT_TRUE(run(command)) << support::contentOf(path("errors"));
        EXPECT_EQ(capture::readAll(path("passed")), MADE) << command;
    }
}

TEST_F(CaptureTools, giveBackWhatWasWritten)
{
    GPAL_NEEDS_TOOL("tcpdump");
    writeCapture();
    ASSERT_TRUE(run("tcpdump -r capture -w passed")) << support::contentOf(path("errors"));
    if (!isLittleEndian(path("passed"))) {
        GTEST_SKIP() << "the tools of this host write big-endian files";
    }
    EXPECT_EQ(support::contentOf(path("passed")).substr(24),
              support::contentOf(path("capture")).substr(24));
}
