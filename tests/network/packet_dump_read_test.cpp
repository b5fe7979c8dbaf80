#include <gpal/packet_dump.h>

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

class PacketDumpRead : public capture::WrittenCapture
{
protected:
    /// A reader of a file of this content.
    std::unique_ptr<packet_dump> reader(const std::string& content) const
    {
        std::string name = m_directory.file("capture", content);
        return std::make_unique<packet_dump>(name.data());
    }
};

} // namespace

TEST_F(PacketDumpRead, givesThePayloadsOfUdpRecordsInTheirOrder)
{
    const std::string file = fileHeader() + record(packet(17, udp("first"))) +
                             record(packet(17, udp(std::string("a\0b", 3)))) +
                             record(packet(17, udp("")));
    EXPECT_EQ(readOf(file), (std::vector<Read>{{5, UDP_TYPE, "first"},
                                               {3, UDP_TYPE, std::string("a\0b", 3)},
                                               {0, UDP_TYPE, ""},
                                               THE_END}));
}

TEST_F(PacketDumpRead, skipsWhatIsNotUdp)
{
    const std::string file = fileHeader() + record(packet(6, std::string(500, 't'))) +
                             record(packet(17, udp("a"))) + record(packet(1, "")) +
                             record(packet(0x81, "xyz")) + record(packet(17, udp("b")));
    EXPECT_EQ(readOf(file), (std::vector<Read>{{0, OTHER_TYPE, ""},
                                               {1, UDP_TYPE, "a"},
                                               {0, OTHER_TYPE, ""},
                                               {0, OTHER_TYPE, ""},
                                               {1, UDP_TYPE, "b"},
                                               THE_END}));
}

TEST_F(PacketDumpRead, skipsAnEightOhTwoOneQTag)
{
    const std::string file = fileHeader() + record(taggedPacket(17, udp("tagged"))) +
                             record(taggedPacket(6, "other")) + record(packet(17, udp("plain")));
    EXPECT_EQ(readOf(file),
              (std::vector<Read>{
                  {6, UDP_TYPE, "tagged"}, {0, OTHER_TYPE, ""}, {5, UDP_TYPE, "plain"}, THE_END}));
}

TEST_F(PacketDumpRead, knowsATagByTheFirstByteOfItsType)
{
    std::string tagged = taggedPacket(17, udp("x"));
    tagged[13] = '\x7F';
    EXPECT_EQ(readOf(fileHeader() + record(tagged))[0], (Read{1, UDP_TYPE, "x"}));
    tagged = packet(17, udp("x"));
    tagged[12] = '\x82';
    EXPECT_EQ(readOf(fileHeader() + record(tagged))[0], (Read{1, UDP_TYPE, "x"}));
}

TEST_F(PacketDumpRead, takesTheLengthFromTheRecordNotFromThePacket)
{
    std::string lying = packet(17, udp("12345"));
    lying[38] = '\x7F'; // of the UDP header's length
    lying[16] = '\x7F'; // of the IPv4 header's
    EXPECT_EQ(readOf(fileHeader() + record(lying))[0], (Read{5, UDP_TYPE, "12345"}));
}

TEST_F(PacketDumpRead, looksAtNoFileHeader)
{
    const std::string file = std::string(24, '?') + record(packet(17, udp("x")));
    EXPECT_EQ(readOf(file)[0], (Read{1, UDP_TYPE, "x"}));
}

TEST_F(PacketDumpRead, givesBackWhatWasWritten)
{
    std::string name = m_directory.path("written");
    {
        packet_dump dump(name.data());
        char payload[] = "payload";
        EXPECT_EQ(dump.write(payload, 7, PACKET_DUMP_UDP), 7);
        EXPECT_EQ(dump.write(payload, 7, PACKET_DUMP_TCP_FORWARD), 7);
        EXPECT_EQ(dump.write(payload, 7, PACKET_DUMP_TCP_REVERSE), 7);
        EXPECT_EQ(dump.write(payload, 3, PACKET_DUMP_OTHER), 3);
        EXPECT_EQ(dump.write(payload, 2, PACKET_DUMP_UDP), 2);
    }
    EXPECT_EQ(capture::readAll(name), (std::vector<Read>{{7, UDP_TYPE, "payload"},
                                                         {0, OTHER_TYPE, ""},
                                                         {0, OTHER_TYPE, ""},
                                                         {0, OTHER_TYPE, ""},
                                                         {2, UDP_TYPE, "pa"},
                                                         THE_END}));
}

TEST_F(PacketDumpRead, fillsABufferOfJustTheRightSize)
{
    const auto dump = reader(fileHeader() + record(packet(17, udp("12345"))));
    EXPECT_EQ(readFrom(*dump, 5), (Read{5, UDP_TYPE, "12345"}));
}

TEST_F(PacketDumpRead, endsForGoodWithARecordThatIsTooBig)
{
    const Captured output(1);
    const auto dump =
        reader(fileHeader() + record(packet(17, udp("12345"))) + record(packet(17, udp("6"))));
    EXPECT_EQ(readFrom(*dump, 4), (Read{-1, UDP_TYPE, ""}));
    EXPECT_EQ(output.text(), "packet_dump::read buffer not big enough, needed 5 bytes\n");
    EXPECT_EQ(readFrom(*dump), THE_END);
    EXPECT_EQ(readFrom(*dump), THE_END);
    EXPECT_EQ(output.text(), "packet_dump::read buffer not big enough, needed 5 bytes\n");
}

TEST_F(PacketDumpRead, writesNothingIntoABufferThatIsTooSmall)
{
    const Captured quiet(1);
    for (const int size : {0, -1, -2147483647 - 1}) {
        const auto dump = reader(fileHeader() + record(packet(17, udp("12345"))));
        char buffer[] = "kept";
        t_packet_dump_type type = PACKET_DUMP_OTHER;
        EXPECT_EQ(dump->read(buffer, size, &type), -1);
        EXPECT_EQ(type, PACKET_DUMP_UDP);
        EXPECT_STREQ(buffer, "kept");
    }
}

TEST_F(PacketDumpRead, givesAnEmptyPayloadIntoABufferOfNothing)
{
    const auto dump = reader(fileHeader() + record(packet(17, udp(""))));
    EXPECT_EQ(readFrom(*dump, 0), (Read{0, UDP_TYPE, ""}));
}

TEST_F(PacketDumpRead, endsForGoodWithTheFile)
{
    const auto dump = reader(fileHeader() + record(packet(17, udp("x"))));
    EXPECT_EQ(readFrom(*dump).result, 1);
    EXPECT_EQ(readFrom(*dump), THE_END);
    m_directory.file("capture",
                     fileHeader() + record(packet(17, udp("x"))) + record(packet(17, udp("more"))));
    EXPECT_EQ(readFrom(*dump), THE_END) << "though the file has grown";
}

TEST_F(PacketDumpRead, endsWritingOnTheObject)
{
    const std::string content = fileHeader() + record(packet(17, udp("x")));
    const auto dump = reader(content);
    EXPECT_EQ(readFrom(*dump).result, 1);
    char payload[] = "y";
    EXPECT_EQ(dump->write(payload, 1, PACKET_DUMP_UDP), -1);
    EXPECT_EQ(readFrom(*dump), THE_END);
    EXPECT_EQ(dump->write(payload, 1, PACKET_DUMP_UDP), -1);
    EXPECT_EQ(support::contentOf(m_directory.path("capture")), content);
}

TEST_F(PacketDumpRead, ofAFileThatIsNotThereFailsForGood)
{
    std::string name = m_directory.path("absent");
    packet_dump dump(name.data());
    const Captured output(1);
    EXPECT_EQ(readFrom(dump), THE_END);
    m_directory.file("absent", fileHeader() + record(packet(17, udp("x"))));
    EXPECT_EQ(readFrom(dump), THE_END);
    EXPECT_EQ(output.text(), "packet_dump::read failed to fopen " + name + "\n");
    char payload[] = "y";
    EXPECT_EQ(dump.write(payload, 1, PACKET_DUMP_UDP), -1);
}

TEST_F(PacketDumpRead, refusesNullArguments)
{
    const auto dump = reader(fileHeader() + record(packet(17, udp("x"))));
    t_packet_dump_type type = PACKET_DUMP_OTHER;
    char buffer[4] = "";
    EXPECT_EQ(dump->read(nullptr, 4, &type), -1);
    EXPECT_EQ(dump->read(buffer, 4, nullptr), -1);
    EXPECT_EQ(dump->read(buffer, 4, &type), 1) << "no record is lost";
}

TEST_F(PacketDumpRead, givesRecordsWhereverTheyLieInAFile)
{
    // More than any buffer holds, so that each part of a record comes to lie across its edge.
    std::string file = fileHeader();
    std::vector<Read> written;
    for (std::size_t size = 0; size < 1400; ++size) {
        const std::string payload(size * 7 % 1400, static_cast<char>(size));
        file += size % 5 == 0   ? record(packet(6, payload))
                : size % 2 == 0 ? record(taggedPacket(17, udp(payload)))
                                : record(packet(17, udp(payload)));
        written.push_back(size % 5 == 0
                              ? Read{0, OTHER_TYPE, ""}
                              : Read{static_cast<int>(payload.size()), UDP_TYPE, payload});
    }
    const std::string big(200000, 'b');
    file +=
        record(packet(17, udp("before"))) + record(packet(6, big)) + record(packet(17, udp("x")));
    written.insert(written.end(),
                   {{6, UDP_TYPE, "before"}, {0, OTHER_TYPE, ""}, {1, UDP_TYPE, "x"}, THE_END});
    EXPECT_EQ(readOf(file), written);
}

TEST_F(PacketDumpRead, givesARecordThatIsBiggerThanAnyBuffer)
{
    const std::string big(200000, 'b');
    const auto dump =
        reader(fileHeader() + record(packet(17, udp(big))) + record(packet(17, udp("after"))));
    EXPECT_TRUE((readFrom(*dump, 200000) == Read{200000, UDP_TYPE, big}));
    EXPECT_EQ(readFrom(*dump), (Read{5, UDP_TYPE, "after"}));
}
