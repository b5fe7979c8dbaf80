#include <gpal/packet_dump.h>

#include <cstring>
#include <sys/time.h>

#include <gtest/gtest.h>

#include "capture_file.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using capture::bytes;
using capture::Record;
using support::Captured;
using support::Replacement;

namespace calls = support::calls;

namespace
{

constexpr auto SECONDS = 0x12345678;
constexpr auto MICROSECONDS = 0x000ABCDE;

/// Where things stand in a packet.
constexpr std::size_t IPV4_AT = 14;
constexpr std::size_t TOTAL_LENGTH_AT = 16;
constexpr std::size_t PROTOCOL_AT = 23;
constexpr std::size_t CHECKSUM_AT = 24;
constexpr std::size_t SOURCE_AT = 26;
constexpr std::size_t TRANSPORT_AT = 34;

class PacketDumpWrite : public testing::Test
{
protected:
    int write(const std::string& payload, t_packet_dump_type type)
    {
        std::string copy = payload;
        return m_dump->write(copy.data(), static_cast<int>(copy.size()), type);
    }

    /// Ends writing, and gives what is in the file then.
    std::string written()
    {
        m_dump.reset();
        return support::contentOf(m_file);
    }
    std::vector<Record> records() { return capture::records(written()); }

    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.path("capture");
    std::unique_ptr<packet_dump> m_dump = std::make_unique<packet_dump>(m_file.data());
    Replacement<int(timeval*, void*)> m_clock{calls::gettimeofday, [](timeval* time, void*) {
                                                  *time = {SECONDS, MICROSECONDS};
                                                  return 0;
                                              }};
};

} // namespace

TEST_F(PacketDumpWrite, makesAFileOfOneUdpRecordByteForByte)
{
    EXPECT_EQ(write("0123456789", PACKET_DUMP_UDP), 10);
    const std::string expected = bytes("D4C3B2A1 0200 0400 00000000 00000000 FFFF0000 01000000"
                                       "78563412 DEBC0A00 34000000 34000000"
                                       "000000000000 000000000000 0800"
                                       "45 00 0026 0000 4000 40 11 3AC8 00000000 00000000"
                                       "1400 1400 0012 0000") +
                                 "0123456789";
    ASSERT_EQ(expected.size(), 92u);
    EXPECT_EQ(written(), expected);
}

TEST_F(PacketDumpWrite, wrapsForwardTcpByteForByte)
{
    EXPECT_EQ(write("abc", PACKET_DUMP_TCP_FORWARD), 3);
    const std::string expected = bytes("78563412 DEBC0A00 39000000 39000000"
                                       "000000000000 000000000000 0800"
                                       "45 00 002B 0000 4000 40 06 3ACE 00000000 00000000"
                                       "0427 0FDC 00000000 00000000 50 00 FFFF 0000 0000") +
                                 "abc";
    EXPECT_EQ(written().substr(24), expected);
}

TEST_F(PacketDumpWrite, wrapsReverseTcpWithThePortsExchanged)
{
    EXPECT_EQ(write("abc", PACKET_DUMP_TCP_REVERSE), 3);
    EXPECT_EQ(write("abc", PACKET_DUMP_TCP_FORWARD), 3);
    const std::vector<Record> all = records();
    ASSERT_EQ(all.size(), 2u);
    const std::string rest = bytes("00000000 00000000 50 00 FFFF 0000 0000") + "abc";
    EXPECT_EQ(all[0].packet.substr(TRANSPORT_AT), bytes("0FDC 0427") + rest);
    EXPECT_EQ(all[1].packet.substr(TRANSPORT_AT), bytes("0427 0FDC") + rest);
}

TEST_F(PacketDumpWrite, numbersTcpRecordsThroughTheirSourceAddress)
{
    EXPECT_EQ(write("1", PACKET_DUMP_TCP_FORWARD), 1);
    EXPECT_EQ(write("2", PACKET_DUMP_UDP), 1);
    EXPECT_EQ(write("3", PACKET_DUMP_TCP_REVERSE), 1);
    EXPECT_EQ(write("4", PACKET_DUMP_OTHER), 1);
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(write("5", PACKET_DUMP_TCP_FORWARD), 1);
    }
    const std::vector<Record> all = records();
    ASSERT_EQ(all.size(), 304u);
    EXPECT_EQ(all[0].packet.substr(SOURCE_AT, 8), bytes("00000000 00000000"));
    EXPECT_EQ(all[1].packet.substr(SOURCE_AT, 8), bytes("00000000 00000000"));
    EXPECT_EQ(all[2].packet.substr(SOURCE_AT, 8), bytes("00000001 00000000"));
    EXPECT_EQ(all[3].packet.substr(SOURCE_AT, 8), bytes("00000000 00000000"));
    EXPECT_EQ(all[4].packet.substr(SOURCE_AT, 8), bytes("00000002 00000000"));
    EXPECT_EQ(all[303].packet.substr(SOURCE_AT, 8), bytes("0000012D 00000000"));
}

TEST_F(PacketDumpWrite, numbersMoreTcpRecordsThanAWordOfSixteenBitsCounts)
{
    for (int i = 0; i <= 0x10203; ++i) {
        write("", PACKET_DUMP_TCP_FORWARD);
    }
    const std::string all = written();
    const std::string lastPacket = all.substr(all.size() - 54);
    EXPECT_EQ(lastPacket.substr(SOURCE_AT, 8), bytes("00010203 00000000"));
}

TEST_F(PacketDumpWrite, leavesTheTransportHeaderOutOfOtherRecords)
{
    EXPECT_EQ(write("abc", PACKET_DUMP_OTHER), 3);
    EXPECT_EQ(write("", static_cast<t_packet_dump_type>(-1)), 0);
    EXPECT_EQ(write("de", static_cast<t_packet_dump_type>(4)), 2);
    const std::vector<Record> all = records();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].capturedLength, 37u);
    EXPECT_EQ(all[0].packet.substr(TRANSPORT_AT), "abc");
    EXPECT_EQ(all[0].packet.substr(TOTAL_LENGTH_AT, 2), bytes("0017"));
    EXPECT_EQ(all[1].capturedLength, 34u);
    EXPECT_EQ(all[2].packet.substr(TRANSPORT_AT), "de");
}

TEST_F(PacketDumpWrite, keepsTheProtocolOfTheRecordBeforeInOtherRecords)
{
    for (const auto type : {PACKET_DUMP_OTHER, PACKET_DUMP_TCP_REVERSE, PACKET_DUMP_OTHER,
                            PACKET_DUMP_UDP, PACKET_DUMP_OTHER}) {
        EXPECT_EQ(write("x", type), 1);
    }
    std::vector<int> protocols;
    for (const Record& record : records()) {
        protocols.push_back(record.packet[PROTOCOL_AT]);
    }
    EXPECT_EQ(protocols, (std::vector<int>{17, 6, 6, 17, 17}));
}

TEST_F(PacketDumpWrite, givesLengthsOfEachRecordsOwn)
{
    for (const std::size_t size : {0u, 1u, 2u, 159u, 160u, 1472u, 9u}) {
        EXPECT_EQ(write(std::string(size, 'x'), PACKET_DUMP_UDP), static_cast<int>(size));
    }
    std::vector<std::size_t> sizes;
    for (const Record& record : records()) {
        const auto payload = static_cast<unsigned int>(record.packet.size()) - 42;
        EXPECT_EQ(record.lengthOnTheWire, record.capturedLength);
        EXPECT_EQ(record.packet.substr(TOTAL_LENGTH_AT, 2), capture::networkShort(payload + 28));
        EXPECT_EQ(record.packet.substr(TRANSPORT_AT + 4, 2), capture::networkShort(payload + 8));
        sizes.push_back(payload);
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{0, 1, 2, 159, 160, 1472, 9}));
}

TEST_F(PacketDumpWrite, checksEveryIPv4Header)
{
    const t_packet_dump_type types[] = {PACKET_DUMP_UDP, PACKET_DUMP_TCP_FORWARD,
                                        PACKET_DUMP_TCP_REVERSE, PACKET_DUMP_OTHER};
    for (unsigned int i = 0; i < 1000; ++i) {
        EXPECT_GE(write(std::string(i * 7 % 1500, 'x'), types[i % 4]), 0);
    }
    for (const Record& record : records()) {
        EXPECT_EQ(capture::internetSum(record.packet.substr(IPV4_AT, 20)), 0xFFFFu);
        EXPECT_NE(record.packet.substr(CHECKSUM_AT, 2), bytes("0000"));
    }
}

TEST_F(PacketDumpWrite, keepsARecordWholeThatIsBiggerThanItsHeadersCanSay)
{
    const std::string payload(70000, 'y');
    EXPECT_EQ(write(payload, PACKET_DUMP_UDP), 70000);
    EXPECT_EQ(write("after", PACKET_DUMP_UDP), 5);
    const std::vector<Record> all = records();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].capturedLength, 70042u);
    EXPECT_EQ(all[0].packet.substr(42), payload);
    EXPECT_EQ(all[0].packet.substr(TOTAL_LENGTH_AT, 2), capture::networkShort(70028 - 65536));
    EXPECT_EQ(all[0].packet.substr(TRANSPORT_AT + 4, 2), capture::networkShort(70008 - 65536));
    EXPECT_EQ(all[1].packet.substr(42), "after");
}

TEST_F(PacketDumpWrite, goesOnWithoutATimeOfDay)
{
    const Captured output(1);
    const Replacement noTime(calls::gettimeofday, [](timeval*, void*) { return -1; });
    EXPECT_EQ(write("abc", PACKET_DUMP_UDP), 3);
    EXPECT_EQ(output.text(), "packet_dump::write gettimeofday failed\n");
    const std::vector<Record> all = records();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].packet.substr(42), "abc");
}

TEST_F(PacketDumpWrite, stampsRecordsWithTheTimeOfDay)
{
    m_clock.~Replacement();
    new (&m_clock)
        Replacement<int(timeval*, void*)>(calls::gettimeofday, [](timeval* time, void* zone) {
            return calls::gettimeofday.original(time, zone);
        });
    const auto before = static_cast<unsigned int>(time(nullptr));
    EXPECT_EQ(write("abc", PACKET_DUMP_UDP), 3);
    const std::vector<Record> all = records();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_GE(all[0].seconds, before);
    EXPECT_LE(all[0].seconds, before + 60);
    EXPECT_LT(all[0].microseconds, 1000000u);
}

TEST_F(PacketDumpWrite, emptiesTheFileAtTheFirstRecordOnly)
{
    m_directory.file("capture", std::string(10000, 'z'));
    EXPECT_EQ(support::contentOf(m_file).size(), 10000u) << "constructing opens nothing";
    EXPECT_EQ(write("1", PACKET_DUMP_UDP), 1);
    EXPECT_EQ(write("2", PACKET_DUMP_UDP), 1);
    EXPECT_EQ(records().size(), 2u);
}

TEST_F(PacketDumpWrite, goesToTheFileThatWasNamedWhenItWasMade)
{
    std::string name = m_directory.path("first");
    packet_dump dump(name.data());
    name.back() = 'X';
    char payload[] = "x";
    EXPECT_EQ(dump.write(payload, 1, PACKET_DUMP_UDP), 1);
    EXPECT_TRUE(support::exists(m_directory.path("first")));
}

TEST_F(PacketDumpWrite, refusesANullPayloadAndANegativeLength)
{
    EXPECT_EQ(write("1", PACKET_DUMP_TCP_FORWARD), 1);
    char payload[] = "x";
    EXPECT_EQ(m_dump->write(nullptr, 1, PACKET_DUMP_TCP_FORWARD), -1);
    EXPECT_EQ(m_dump->write(payload, -1, PACKET_DUMP_TCP_FORWARD), -1);
    EXPECT_EQ(m_dump->write(payload, -2147483647 - 1, PACKET_DUMP_TCP_FORWARD), -1);
    EXPECT_EQ(write("2", PACKET_DUMP_TCP_FORWARD), 1);
    const std::vector<Record> all = records();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[1].packet.substr(SOURCE_AT, 4), bytes("00000001"));
}

TEST_F(PacketDumpWrite, ofAFileThatCannotBeMadeFailsForGood)
{
    std::string name = m_directory.path("no/such");
    packet_dump dump(name.data());
    const Captured output(1);
    char payload[] = "x";
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(dump.write(payload, 1, PACKET_DUMP_UDP), -1);
    }
    EXPECT_EQ(output.text(), "packet_dump::write failed to fopen " + name + "\n");
    EXPECT_EQ(capture::readFrom(dump).result, -1);
    packet_dump nameless(nullptr);
    EXPECT_EQ(nameless.write(payload, 1, PACKET_DUMP_UDP), -1);
}

TEST_F(PacketDumpWrite, endsReadingOnTheObject)
{
    EXPECT_EQ(write("x", PACKET_DUMP_UDP), 1);
    EXPECT_EQ(capture::readFrom(*m_dump), (capture::Read{-1, capture::UNTOUCHED, ""}));
    EXPECT_EQ(write("y", PACKET_DUMP_UDP), 1);
    EXPECT_EQ(records().size(), 2u);
}
