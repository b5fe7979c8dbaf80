/// \file
/// Captures for which there is no memory at first.
#include <gpal/packet_dump.h>

#include <new>

#include <gtest/gtest.h>

#include "capture_file.h"
#include "support/descriptors.h"
#include "support/failing_allocations.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::FailingAllocations;
using support::openDescriptors;

namespace
{

/// No less than what a buffer of the streams takes.
constexpr std::size_t BUFFER = 4096;

class PacketDumpWithoutMemory : public testing::Test
{
protected:
    int write() { return m_dump->write(m_payload, 5, PACKET_DUMP_UDP); }
    int read() { return m_dump->read(m_payload, 5, &m_type); }
    void reopen() { m_dump = std::make_unique<packet_dump>(m_file.data()); }

    support::TemporaryDirectory m_directory;
    std::string m_file = m_directory.path("capture");
    std::unique_ptr<packet_dump> m_dump = std::make_unique<packet_dump>(m_file.data());
    t_packet_dump_type m_type = PACKET_DUMP_OTHER;
    char m_payload[6] = "hello";
};

} // namespace

TEST_F(PacketDumpWithoutMemory, isNotOpenedByAWriteAndWritesOnceThereIsSome)
{
    const auto before = openDescriptors();
    for (int attempt = 0; attempt < 3; ++attempt) {
        const FailingAllocations memory(0, FailingAllocations::OF_THIS_THREAD, BUFFER);
        EXPECT_THROW(write(), std::bad_alloc);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(support::exists(m_file)) << "nothing is emptied for a capture that is not made";
    EXPECT_EQ(write(), 5);
    EXPECT_EQ(openDescriptors().size(), before.size() + 1);
    m_dump.reset();
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(capture::readAll(m_file),
              (std::vector<capture::Read>{{5, capture::UDP_TYPE, "hello"}, capture::THE_END}));
}

TEST_F(PacketDumpWithoutMemory, isNotOpenedByAReadAndReadsOnceThereIsSome)
{
    ASSERT_EQ(write(), 5);
    reopen();
    const auto before = openDescriptors();
    for (int attempt = 0; attempt < 3; ++attempt) {
        const FailingAllocations memory(0, FailingAllocations::OF_THIS_THREAD, BUFFER);
        EXPECT_THROW(read(), std::bad_alloc);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(read(), 5);
    EXPECT_EQ(m_type, PACKET_DUMP_UDP);
    m_dump.reset();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PacketDumpWithoutMemory, isStillFreeToBeReadOrWritten)
{
    ASSERT_EQ(write(), 5);
    reopen();
    {
        const FailingAllocations memory(0, FailingAllocations::OF_THIS_THREAD, BUFFER);
        EXPECT_THROW(write(), std::bad_alloc);
    }
    EXPECT_EQ(read(), 5);
    reopen();
    {
        const FailingAllocations memory(0, FailingAllocations::OF_THIS_THREAD, BUFFER);
        EXPECT_THROW(read(), std::bad_alloc);
    }
    EXPECT_EQ(write(), 5);
}
