#include <gpal/semaphore_c_api.h>

#include <gmock/gmock.h>
#include <gpal/Semaphore.h>
#include <syslog.h>
#include <vector>

#include "support/observed.h"
#include "threads/c_client.h"
#include "threads/dump.h"

using support::LogLine;
using testing::ElementsAre;

namespace
{

/// Notes what is called on it, and has results of its own.
class AnsweringSemaphore : public Semaphore
{
public:
    explicit AnsweringSemaphore(std::vector<std::string>& calls)
        : Semaphore(1, 1, false), m_calls(calls)
    {
    }
    ~AnsweringSemaphore() override { m_calls.emplace_back("destroyed"); }
    int take(int timeoutMs) override
    {
        m_calls.push_back("take " + std::to_string(timeoutMs));
        return 17;
    }
    int give() override
    {
        m_calls.emplace_back("give");
        return 18;
    }

private:
    std::vector<std::string>& m_calls;
};

} // namespace

TEST(SemaphoreForC, isUsableFromC)
{
    EXPECT_EQ(useCountingSemaphore(), 0);
    EXPECT_EQ(useReentrantSemaphore(), 0);
}

TEST(SemaphoreForC, answersForNoSemaphoreWithoutHarm)
{
    EXPECT_EQ(useNoSemaphore(), 0);
}

TEST(SemaphoreForC, makesAnOrdinarySemaphore)
{
    void* made = new_Semaphore(3, 9);
    const Dump dump = dumpOf(*static_cast<Semaphore*>(made));
    EXPECT_EQ(dump.count(), 3);
    EXPECT_EQ(dump.number("max count"), 9);
    EXPECT_EQ(dump.number("reentrant"), 0);
    delete_Semaphore(made);
    EXPECT_EQ(dumpTextOfAll(), "");
}

TEST(SemaphoreForC, makesAReentrantSemaphore)
{
    void* made = new_RSemaphore(1, 9);
    const Dump dump = dumpOf(*static_cast<Semaphore*>(made));
    EXPECT_EQ(dump.count(), 1);
    EXPECT_EQ(dump.number("max count"), 1);
    EXPECT_EQ(dump.number("reentrant"), 1);
    delete_Semaphore(made);
    EXPECT_EQ(dumpTextOfAll(), "");
}

TEST(SemaphoreForC, passesOnToTheObjectsOwnFunctionsAndReturnsTheirResults)
{
    std::vector<std::string> calls;
    void* semaphore = static_cast<Semaphore*>(new AnsweringSemaphore(calls));
    EXPECT_EQ(take_Semaphore(semaphore, 250), 17);
    EXPECT_EQ(take_Semaphore(semaphore, -1), 17);
    EXPECT_EQ(give_Semaphore(semaphore), 18);
    delete_Semaphore(semaphore);
    EXPECT_THAT(calls, ElementsAre("take 250", "take -1", "give", "destroyed"));
}

TEST(SysloggerForC, isUsableFromC)
{
    const support::RecordedLog log;
    logAtEachSeverity();
    logGathered("%d of %s", 3, "four");
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{LOG_EMERG, "emergency 0"}, LogLine{LOG_ERR, "error 3"},
                            LogLine{LOG_WARNING, "warning 4"}, LogLine{LOG_NOTICE, "notice 5"},
                            LogLine{LOG_INFO, "info 6"}, LogLine{LOG_DEBUG, "debug 7"},
                            LogLine{LOG_DEBUG, "3 of four"}));
}
