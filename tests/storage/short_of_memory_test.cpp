// Record files when the buffer of their stream can't be had.
#include <gpal/Storage.h>

#include <cstdlib>
#include <gtest/gtest.h>
#include <new>

#include "storage/descriptors.h"
#include "support/temporary_directory.h"

namespace
{

bool arraysAreRefused = false;

} // namespace

// The C++ library's streams allocate their buffers so.
void* operator new[](std::size_t size)
{
    void* const memory = arraysAreRefused ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

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
        const auto before = openDescriptors();
        arraysAreRefused = true;
        EXPECT_THROW(call(), std::bad_alloc);
        arraysAreRefused = false;
        EXPECT_EQ(openDescriptors(), before);
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
