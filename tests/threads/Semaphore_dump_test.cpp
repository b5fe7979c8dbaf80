#include <gpal/Semaphore.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <gmock/gmock.h>
#include <iomanip>
#include <iostream>
#include <locale>
#include <memory>
#include <streambuf>
#include <unistd.h>

#include <gpal/GPALException.h>
#include <gpal/Wait.h>

#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/replaceable.h"
#include "threads/dump.h"

namespace calls = support::calls;

namespace
{

/// Writes 1234567 as 1,234,567 and true as "yes".
class Grouping : public std::numpunct<char>
{
protected:
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "yes"; }
};

/// A semaphore whose figures are known, and what its dump says.
struct Known {
    Known() { semaphore.take(0); }

    std::string dump() const
    {
        return RULE + "Type                      = Semaphore\n" +
               "id                        = " + addressText(&semaphore) + "\n" +
               "max count                 = 7654321\n"
               "current count             = 1234566\n"
               "current owner             = " +
               std::to_string(pthread_self()) + "\n" +
               "give() count              = 0\n"
               "take() count              = 1\n"
               "take() timeout count      = 0\n"
               "reentrant                 = 0\n"
               "Number of threads waiting = 0\n" +
               RULE;
    }

    Semaphore semaphore{1234567, 7654321, false};
};

/// Runs \p whileDumping from inside its dump.
class ObservedDump : public Semaphore
{
public:
    explicit ObservedDump(std::function<void()> whileDumping)
        : Semaphore(1, 1, false), m_whileDumping(std::move(whileDumping))
    {
    }
    void displayInfo() override { m_whileDumping(); }

private:
    std::function<void()> m_whileDumping;
};

/// A buffer of the client's own under `std::cout`, which is as it was afterwards.
class ClientsBuffer
{
public:
    explicit ClientsBuffer(std::streambuf& buffer) : m_output(std::cout.rdbuf(&buffer)) {}
    ClientsBuffer(const ClientsBuffer&) = delete;
    ClientsBuffer& operator=(const ClientsBuffer&) = delete;
    ~ClientsBuffer()
    {
        std::cout.exceptions(std::ios_base::goodbit);
        std::cout.rdbuf(m_output);
    }

private:
    std::streambuf* m_output;
};

} // namespace

TEST(SemaphoreDump, saysEverythingInItsOwnWords)
{
    Known known;
    EXPECT_EQ(dumpTextOf(known.semaphore), known.dump());
}

TEST(SemaphoreDump, saysSoWhenReentrantAndNested)
{
    Semaphore semaphore(1, 5, true);
    for (int depth = 0; depth < 3; ++depth) {
        semaphore.take(0);
    }
    semaphore.give();
    support::onAnotherThread([&] { semaphore.take(0); });
    EXPECT_EQ(dumpTextOf(semaphore), RULE + "Type                      = Semaphore\n" +
                                         "id                        = " + addressText(&semaphore) +
                                         "\n" +
                                         "max count                 = 1\n"
                                         "current count             = -1\n"
                                         "current owner             = " +
                                         std::to_string(pthread_self()) + "\n" +
                                         "give() count              = 1\n"
                                         "take() count              = 4\n"
                                         "take() timeout count      = 1\n"
                                         "reentrant                 = 1\n"
                                         "Number of threads waiting = 0\n" +
                                         RULE);
}

TEST(SemaphoreDump, listsTheWaitingThreadsInAscendingOrderCountedFromZero)
{
    Semaphore semaphore(0, -1, false);
    std::vector<std::unique_ptr<support::PlainThread>> waiters;
    std::vector<unsigned long> ids;
    for (long number = 1; number <= 3; ++number) {
        waiters.push_back(std::make_unique<support::PlainThread>([&] { semaphore.take(-1); }));
        ids.push_back(waiters.back()->id());
        ASSERT_TRUE(areQueued(semaphore, number));
    }
    std::sort(ids.begin(), ids.end());
    const std::string dump = dumpTextOf(semaphore);
    EXPECT_EQ(dump.substr(dump.find("Number")),
              "Number of threads waiting = 3\n0 - " + std::to_string(ids[0]) + "\n1 - " +
                  std::to_string(ids[1]) + "\n2 - " + std::to_string(ids[2]) + "\n" + RULE);
    for (int give = 0; give < 3; ++give) {
        semaphore.give();
    }
}

TEST(SemaphoreDump, doesNotDependOnWhatTheClientSetOnTheStream)
{
    Known known;
    const auto flags = std::cout.flags();
    const char fill = std::cout.fill('#');
    std::cout << std::hex << std::showbase << std::showpos << std::boolalpha << std::right
              << std::uppercase;
    const std::string text = dumpTextOf(known.semaphore);
    const auto after = std::cout.flags();
    std::cout.flags(flags);
    std::cout.fill(fill);
    EXPECT_EQ(text, known.dump());
    EXPECT_TRUE((after & std::ios_base::hex) != 0) << "what the client set is kept";
}

TEST(SemaphoreDump, isNotPaddedToAWidthThatTheClientSet)
{
    Known known;
    const std::streamsize before = std::cout.width(2000);
    const std::string text = dumpTextOf(known.semaphore);
    std::cout.width(before);
    EXPECT_EQ(text, known.dump());
}

TEST(SemaphoreDump, doesNotDependOnTheGlobalLocale)
{
    Known known;
    const std::locale grouping(std::locale::classic(), new Grouping);
    const std::locale global = std::locale::global(grouping);
    const std::locale ofTheStream = std::cout.imbue(grouping);
    const std::string text = dumpTextOf(known.semaphore);
    std::locale::global(global);
    std::cout.imbue(ofTheStream);
    EXPECT_EQ(text, known.dump());
}

TEST(SemaphoreDump, isLostAndNothingElseWhereTheClientsStreamThrows)
{
    Semaphore semaphore(1, 1, false);
    struct Full : std::streambuf {
    } full;
    const ClientsBuffer buffer(full);
    std::cout.exceptions(std::ios_base::badbit | std::ios_base::failbit);
    EXPECT_NO_THROW(semaphore.displayInfo()) << "it fails";
    EXPECT_TRUE(std::cout.bad());
    EXPECT_NO_THROW(semaphore.displayInfo()) << "it has failed";
}

TEST(SemaphoreDump, isLostAndNothingElseWhereTheClientsBufferThrowsWhatIsNoStandardException)
{
    Semaphore semaphore(1, 1, false);
    struct Broken : std::streambuf {
        int_type overflow(int_type /*character*/) override { throw GPALException(); }
    } broken;
    const ClientsBuffer buffer(broken);
    std::cout.exceptions(std::ios_base::badbit);
    EXPECT_NO_THROW(semaphore.displayInfo());
    EXPECT_TRUE(std::cout.bad());
}

TEST(SemaphoreDump, endsWithTheThreadThatTheClientsBufferEnds)
{
    Semaphore semaphore(1, 1, false);
    struct Final : std::streambuf {
        int_type overflow(int_type /*character*/) override { pthread_exit(PTHREAD_CANCELED); }
    } final;
    const ClientsBuffer buffer(final);
    EXPECT_TRUE(support::PlainThread([&] { semaphore.displayInfo(); }).wasCancelled());
}

TEST(SemaphoreDump, isASnapshotThatDoesNotWaitForTheState)
{
    Semaphore semaphore(0, 1, false);
    std::string text;
    const support::Replacement wait(calls::pthread_cond_timedwait,
                                    [&](pthread_cond_t*, pthread_mutex_t* mutex, const timespec*) {
                                        EXPECT_EQ(pthread_mutex_trylock(mutex), EBUSY)
                                            << "the state is locked";
                                        text = dumpTextOf(semaphore);
                                        return ETIMEDOUT;
                                    });
    semaphore.take(100);
    const Dump dump = Dump::parse(text).at(0);
    EXPECT_EQ(dump.waitingCount(), 1);
    EXPECT_EQ(dump.number("take() count"), 1);
    EXPECT_THAT(dump.waitingThreads(), testing::ElementsAre(pthread_self()));
}

TEST(SemaphoreDump, isTheObjectsOwnWhenAskedForOne)
{
    bool asked = false;
    ObservedDump other([] { ADD_FAILURE() << "another one was asked"; });
    ObservedDump semaphore([&] { asked = true; });
    Semaphore::info(&semaphore);
    EXPECT_TRUE(asked);

    Known known;
    const support::Captured output(1);
    Semaphore::info(&known.semaphore);
    EXPECT_EQ(output.text(), known.dump());
}

TEST(SemaphoreDump, goesThroughAllLiveOnesInAscendingOrderOfAddress)
{
    std::vector<std::unique_ptr<Semaphore>> semaphores;
    std::vector<std::string> ids;
    for (int number = 0; number < 8; ++number) {
        semaphores.push_back(std::make_unique<Semaphore>(number, -1, false));
    }
    std::sort(semaphores.begin(), semaphores.end());
    std::string expected;
    for (const auto& semaphore : semaphores) {
        expected += dumpTextOf(*semaphore);
    }
    EXPECT_EQ(dumpTextOfAll(), expected);
}

TEST(SemaphoreDump, ofAllIncludesEventObjectsAndAsksEachObjectForItsOwn)
{
    Wait wait;
    EXPECT_EQ(dumpTextOfAll(), dumpTextOf(wait));
    int asked = 0;
    const ObservedDump semaphore([&] { ++asked; });
    EXPECT_EQ(dumpTextOfAll(), dumpTextOf(wait));
    EXPECT_EQ(asked, 1);
}

TEST(SemaphoreDump, ofAllPrintsNothingWhenNoneIsAlive)
{
    EXPECT_EQ(dumpTextOfAll(), "");
    {
        const Semaphore semaphore(1, 1, false);
    }
    EXPECT_EQ(dumpTextOfAll(), "");
}

TEST(SemaphoreDump, ofAllKeepsSemaphoresFromComingAndGoingMeanwhile)
{
    std::unique_ptr<support::PlainThread> creator;
    std::atomic<bool> created{false};
    bool createdMeanwhile = false;
    {
        const ObservedDump semaphore([&] {
            creator = std::make_unique<support::PlainThread>([&] {
                const Semaphore newcomer(1, 1, false);
                created = true;
            });
            usleep(30000);
            createdMeanwhile = created;
        });
        Semaphore::info(nullptr);
    }
    creator->join();
    EXPECT_FALSE(createdMeanwhile);
    EXPECT_TRUE(created);
}

TEST(SemaphoreDump, ofAllMeetsOnlyWholeObjects)
{
    std::atomic<bool> through{false};
    const support::Captured output(1);
    support::PlainThread creator([&] {
        for (int round = 0; round < 300; ++round) {
            const Semaphore semaphore(1, 1, false);
            const Wait wait;
        }
        through = true;
    });
    while (!through) {
        Semaphore::info(nullptr);
    }
    creator.join();
    for (const Dump& dump : Dump::parse(output.text())) {
        const bool isWait = dump.text("Type") == "Wait";
        EXPECT_EQ(dump.number(isWait ? "wait() count" : "take() count"), 0);
        EXPECT_EQ(dump.count(), isWait ? 0 : 1);
    }
}
