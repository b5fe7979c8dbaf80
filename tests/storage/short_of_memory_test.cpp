// Record files when the buffer of their stream can't be had.
#include <gpal/Storage.h>

#include <gtest/gtest.h>
#include <new>

#include "support/descriptors.h"
#include "support/failing_allocations.h"
#include "support/temporary_directory.h"

namespace
{

class RecordsShortOfMemory : public testing::Test
{
protected:
    RecordsShortOfMemory()
    {
        m_records.init(m_file.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    }

    int store() { return m_records.store("key", m_data, 3); }

    template <typename Call>
    void expectRefused(Call call)
    {
        const auto before = support::openDescriptors();
        {
            constexpr std::size_t BUFFER = 1024; // at least; the stream itself is smaller
            const support::FailingAllocations memory(0, support::FailingAllocations::OF_THIS_THREAD,
                                                     BUFFER);
            EXPECT_THROW(call(), std::bad_alloc);
        }
        EXPECT_EQ(support::openDescriptors(), before);
    }

    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.file("records", "old\n");
    Storage m_records;
    char m_data[4] = "new";
};

} // namespace

TEST_F(RecordsShortOfMemory, areNotLeftHalfOpen)
{
    expectRefused([this] { store(); });
    EXPECT_EQ(store(), 3);
    m_records.shutdown();
    EXPECT_EQ(support::contentOf(m_file), "old\nnew\n");
}

TEST_F(RecordsShortOfMemory, areAppendedToAfterAnEmptyingThatFailed)
{
    expectRefused([this] { m_records.clear(); });
    EXPECT_EQ(store(), 3);
    m_records.shutdown();
    EXPECT_EQ(store(), 3);
    m_records.shutdown();
    EXPECT_EQ(support::contentOf(m_file), "new\nnew\n") << "it was emptied when it was opened";
}
