// Which memory a walk reads.
#include "diagnostics/thread_stack.h"

#include <cstdarg>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

using gpal::detail::MemoryRange;

namespace
{

/// How often the kernel has been asked whether a page can be read.
int timesAsked = 0;

} // namespace

/// In place of the C library's, and of that for all.
extern "C" long syscall(long number, ...) noexcept
{
    using Call = long (*)(long, long, long, long, long, long, long);
    static const auto original = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "syscall"));
    timesAsked += number == SYS_rt_sigprocmask ? 1 : 0;
    long arguments[6];
    va_list list;
    va_start(list, number);
    for (long& argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    return original(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                    arguments[5]);
}

namespace
{

/// Three pages side by side, of which the second can't be read at first.
class Pages : public testing::Test
{
protected:
    Pages()
        : m_memory(mmap(nullptr, 3 * m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                        -1, 0)),
          m_first(reinterpret_cast<std::uintptr_t>(m_memory))
    {
        *reinterpret_cast<std::uintptr_t*>(m_first + m_size - sizeof m_first) = 17;
        *reinterpret_cast<std::uintptr_t*>(m_first + m_size) = 18;
        protectSecond(PROT_NONE);
    }
    ~Pages() override { munmap(m_memory, 3 * m_size); }

    void protectSecond(int protection) const
    {
        EXPECT_EQ(0, mprotect(reinterpret_cast<void*>(m_first + m_size), m_size, protection));
    }

    const std::uintptr_t m_size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    void* const m_memory;
    const std::uintptr_t m_first;
    std::uintptr_t m_word = 0;
};

} // namespace

TEST_F(Pages, areReadAsFarAsTheyCanBeRead)
{
    MemoryRange both(m_first, m_first + 2 * m_size);
    EXPECT_TRUE(both.read(m_first + m_size - sizeof m_word, m_word));
    EXPECT_EQ(17U, m_word);
    EXPECT_FALSE(both.read(m_first + m_size, m_word));
    EXPECT_EQ(17U, m_word) << "left as it was";
}

TEST_F(Pages, areAskedForOnceInAWalk)
{
    MemoryRange both(m_first, m_first + 2 * m_size);
    EXPECT_FALSE(both.read(m_first + m_size, m_word));
    protectSecond(PROT_READ);
    EXPECT_FALSE(both.read(m_first + m_size, m_word)) << "the kernel has been asked already";
    EXPECT_TRUE(MemoryRange(m_first, m_first + 2 * m_size).read(m_first + m_size, m_word));
    EXPECT_EQ(18U, m_word);
}

TEST_F(Pages, areKnownOnceOneOfTheirWordsHasBeenRead)
{
    protectSecond(PROT_READ);
    MemoryRange both(m_first, m_first + 2 * m_size);
    timesAsked = 0;
    for (std::uintptr_t offset = 0; offset < 2 * m_size; offset += sizeof m_word) {
        EXPECT_TRUE(both.read(m_first + offset, m_word));
    }
    EXPECT_EQ(2, timesAsked);
    EXPECT_TRUE(both.read(m_first, m_word));
    EXPECT_EQ(2, timesAsked);
}

TEST_F(Pages, areReadOnBothSidesOfOneThatCanNotBeRead)
{
    const std::uintptr_t below = m_first + m_size - sizeof m_word;
    MemoryRange all(m_first, m_first + 3 * m_size);
    EXPECT_TRUE(all.read(below, m_word));
    EXPECT_TRUE(all.read(m_first + 2 * m_size, m_word));
    EXPECT_FALSE(all.read(m_first + m_size, m_word));
    EXPECT_TRUE(all.read(below, m_word));
    EXPECT_EQ(17U, m_word);
}

TEST_F(Pages, areReadWithinTheRangeOnlyAndInWholeWords)
{
    MemoryRange first(m_first, m_first + m_size);
    EXPECT_TRUE(first.read(m_first, m_word));
    EXPECT_FALSE(first.read(m_first - sizeof m_word, m_word));
    EXPECT_FALSE(first.read(m_first + 1, m_word));
    protectSecond(PROT_READ);
    EXPECT_FALSE(first.read(m_first + m_size, m_word));
}

TEST(OwnStack, isKnownAsFarAsThePageOfItsUserGoes)
{
    constexpr int PLACES = 16;
    std::uintptr_t word = 0;
    timesAsked = 0;
    for (int place = 0; place < PLACES; ++place) {
        auto* const room = static_cast<volatile std::uintptr_t*>(__builtin_alloca(256));
        room[0] = 17;
        const auto here = reinterpret_cast<std::uintptr_t>(room);
        EXPECT_TRUE(gpal::detail::stackInUse(here).read(here, word));
        EXPECT_EQ(17U, word);
    }
    EXPECT_LT(timesAsked, PLACES / 2) << "for those right above the end of a page";
}
