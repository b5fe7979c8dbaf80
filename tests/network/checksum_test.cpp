#include <gpal/packet_dump.h>

#include <cstring>

#include <gtest/gtest.h>

#include "capture_file.h"

namespace
{

unsigned int checksumOf(std::string data)
{
    return checksum_1(reinterpret_cast<unsigned char*>(data.data()), static_cast<int>(data.size()));
}

std::string inMemory(int value)
{
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

} // namespace

TEST(Checksum, ofNothingIsAllOnes)
{
    EXPECT_EQ(checksumOf(""), 0xFFFFu);
    EXPECT_EQ(checksum_1(nullptr, 0), 0xFFFFu);
    EXPECT_EQ(checksum_1(nullptr, 20), 0xFFFFu);
    unsigned char byte = 1;
    EXPECT_EQ(checksum_1(&byte, -1), 0xFFFFu);
    EXPECT_EQ(checksum_1(&byte, -2147483647 - 1), 0xFFFFu);
}

TEST(Checksum, isTheComplementOfTheSumInNetworkOrder)
{
    EXPECT_EQ(checksumOf(capture::bytes("0102")), 0xFEFDu);
    EXPECT_EQ(checksumOf(capture::bytes("0001 F203 F4F5 F6F7")), 0x220Du);
    EXPECT_EQ(checksumOf(capture::bytes("FFFF")), 0u);
    EXPECT_EQ(checksumOf(capture::bytes("0000")), 0xFFFFu);
}

TEST(Checksum, carriesAroundAsOftenAsItTakes)
{
    EXPECT_EQ(checksumOf(capture::bytes("FFFF 0001")), 0xFFFEu);
    EXPECT_EQ(checksumOf(capture::bytes("FFFF FFFF 0001")), 0xFFFEu);
    EXPECT_EQ(checksumOf(capture::bytes("FFFF FFFF")), 0u);
}

TEST(Checksum, takesALastOddByteAsANumber)
{
    EXPECT_EQ(checksumOf(capture::bytes("FF")), 0xFF00u);
    EXPECT_EQ(checksumOf(capture::bytes("0102 03")), 0xFEFAu);
    EXPECT_EQ(checksumOf(capture::bytes("FFFF FF")), 0xFF00u);
}

TEST(Checksum, holdsForMoreWordsThanItsSumHasRoomFor)
{
    // 2^31 is reached after 32,769 words of ones, 2^32 after 65,538.
    const std::string ones(400000, '\xFF');
    EXPECT_EQ(checksumOf(ones), 0u);
    std::string mixed;
    for (int i = 0; i < 100000; ++i) {
        mixed += capture::bytes("FFFE");
    }
    unsigned int expected = 0;
    for (int i = 0; i < 100000; ++i) {
        expected += 0xFFFE;
        expected = (expected & 0xFFFF) + (expected >> 16);
    }
    EXPECT_EQ(checksumOf(mixed), ~expected & 0xFFFF);
}

TEST(Checksum, verifiesToZero)
{
    std::string header = capture::bytes("45000073 00004000 4011 0000 C0A80001 C0A800C7");
    EXPECT_EQ(checksumOf(header), 0xB861u);
    header.replace(10, 2, capture::networkShort(0xB861));
    EXPECT_EQ(checksumOf(header), 0u);
}

TEST(LittleEndianLong, hasItsLowestByteFirstOnEveryProcessor)
{
    EXPECT_EQ(inMemory(host_to_little_endian_long(0x01020304)), capture::bytes("04030201"));
    EXPECT_EQ(inMemory(host_to_little_endian_long(-2)), capture::bytes("FEFFFFFF"));
    EXPECT_EQ(inMemory(host_to_little_endian_long(0)), capture::bytes("00000000"));
}

TEST(LittleEndianLong, comesBack)
{
    int stored = 0;
    std::memcpy(&stored, "\x04\x03\x02\x01", 4);
    EXPECT_EQ(little_endian_to_host_long(stored), 0x01020304);
    for (const int value : {0, 1, -1, 0x12345678, -2147483647 - 1, 2147483647}) {
        EXPECT_EQ(little_endian_to_host_long(host_to_little_endian_long(value)), value);
    }
}
