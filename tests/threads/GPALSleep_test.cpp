#include <gpal/GPALSleep.h>

#include <cerrno>
#include <gmock/gmock.h>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/observed.h"
#include "support/replaceable.h"

using support::Replacement;
using testing::ElementsAre;
using testing::IsEmpty;
namespace calls = support::calls;

static_assert(std::has_virtual_destructor_v<GPALSleep> &&
              std::has_virtual_destructor_v<GPALSleep_Imple>);

namespace
{

using Request = std::pair<long, long>; // seconds, nanoseconds

/// Takes the requests to sleep instead of the kernel, which is interrupted as often as it is told.
class RecordedSleeps
{
public:
    struct Interruption {
        int error;
        Request rest;
    };

    void interruptWith(std::vector<Interruption> interruptions)
    {
        m_interruptions = std::move(interruptions);
    }
    const std::vector<Request>& requests() const { return m_requests; }
    const std::vector<unsigned int>& seconds() const { return m_seconds; }
    void answerSecondsWith(unsigned int left) { m_secondsLeft = left; }

private:
    int nanosleep(const timespec* request, timespec* rest)
    {
        m_requests.emplace_back(static_cast<long>(request->tv_sec), request->tv_nsec);
        if (m_interruptions.empty()) {
            return 0;
        }
        const Interruption interruption = m_interruptions.front();
        m_interruptions.erase(m_interruptions.begin());
        errno = interruption.error;
        if (interruption.error == EINTR) { // only then does the kernel say what is left
            rest->tv_sec = interruption.rest.first;
            rest->tv_nsec = interruption.rest.second;
        }
        return -1;
    }

    std::vector<Request> m_requests;
    std::vector<Interruption> m_interruptions;
    std::vector<unsigned int> m_seconds;
    unsigned int m_secondsLeft = 0;
    Replacement<int(const timespec*, timespec*)> m_nanosleep{
        calls::nanosleep,
        [this](const timespec* request, timespec* rest) { return nanosleep(request, rest); }};
    Replacement<unsigned int(unsigned int)> m_sleep{calls::sleep, [this](unsigned int seconds) {
                                                        m_seconds.push_back(seconds);
                                                        return m_secondsLeft;
                                                    }};
};

/// A replacement for sleeping that notes what it is asked.
class FakeSleep : public GPALSleep_Imple
{
public:
    void milliSleep(int ms) override { m_asked.push_back(std::to_string(ms) + " ms"); }
    void secSleep(int seconds) override { m_asked.push_back(std::to_string(seconds) + " s"); }
    const std::vector<std::string>& asked() const { return m_asked; }

private:
    std::vector<std::string> m_asked;
};

/// Shows what was in force when it was made.
class OpenSleep : public GPALSleep
{
public:
    bool usesItsOwn() const { return m_impl == &m_default; }
    bool uses(const GPALSleep_Imple* implementation) const { return m_impl == implementation; }
};

} // namespace

TEST(GPALSleepImple, asksForWholeSecondsAndThenTheRest)
{
    const std::pair<int, std::vector<Request>> cases[] = {
        {2500, {{1, 0}, {1, 0}, {0, 500000000}}},
        {1, {{0, 1000000}}},
        {999, {{0, 999000000}}},
        {1000, {{1, 0}}},
        {1001, {{1, 0}, {0, 1000000}}},
        {3000, {{1, 0}, {1, 0}, {1, 0}}},
    };
    for (const auto& [ms, requests] : cases) {
        const RecordedSleeps sleeps;
        GPALSleep_Imple().milliSleep(ms);
        EXPECT_EQ(sleeps.requests(), requests) << ms;
        EXPECT_THAT(sleeps.seconds(), IsEmpty());
    }
}

TEST(GPALSleepImple, asksForNothingWhenTheTimeIsBelowOneMillisecond)
{
    const RecordedSleeps sleeps;
    for (const int ms : {0, -1, -5, -1000, std::numeric_limits<int>::min()}) {
        GPALSleep_Imple().milliSleep(ms);
    }
    EXPECT_THAT(sleeps.requests(), IsEmpty());
}

TEST(GPALSleepImple, resumesAnInterruptedSleepWithWhatIsLeft)
{
    RecordedSleeps sleeps;
    sleeps.interruptWith({{EINTR, {0, 700000000}}, {EINTR, {0, 20}}});
    GPALSleep_Imple().milliSleep(1500);
    EXPECT_THAT(sleeps.requests(), ElementsAre(Request{1, 0}, Request{0, 700000000}, Request{0, 20},
                                               Request{0, 500000000}));
}

TEST(GPALSleepImple, triesAgainAfterAnyOtherFailure)
{
    RecordedSleeps sleeps;
    sleeps.interruptWith({{EINVAL, {}}, {EINTR, {0, 300000000}}, {EFAULT, {}}});
    GPALSleep_Imple().milliSleep(400);
    EXPECT_THAT(sleeps.requests(), ElementsAre(Request{0, 400000000}, Request{0, 400000000},
                                               Request{0, 300000000}, Request{0, 300000000}));
}

TEST(GPALSleepImple, sleepsForReal)
{
    const auto start = std::chrono::steady_clock::now();
    GPALSleep_Imple().milliSleep(30);
    EXPECT_GE(support::millisecondsSince(start), 30);
}

TEST(GPALSleepImple, sleepsSecondsOnceAndDoesNotResume)
{
    RecordedSleeps sleeps;
    sleeps.answerSecondsWith(3);
    GPALSleep_Imple().secSleep(5);
    EXPECT_THAT(sleeps.seconds(), ElementsAre(5U));
    EXPECT_THAT(sleeps.requests(), IsEmpty());
}

TEST(GPALSleep, sleepsForRealAsItComes)
{
    const RecordedSleeps sleeps;
    GPALSleep sleeper;
    sleeper.milliSleep(1200);
    sleeper.secSleep(4);
    EXPECT_THAT(sleeps.requests(), ElementsAre(Request{1, 0}, Request{0, 200000000}));
    EXPECT_THAT(sleeps.seconds(), ElementsAre(4U));
}

TEST(GPALSleep, changesItsImplementationAtOnceInFacadesThatExist)
{
    const RecordedSleeps sleeps;
    FakeSleep fake;
    FakeSleep another;
    GPALSleep sleeper;
    GPALSleep::setImplementation(&fake);
    sleeper.milliSleep(10);
    sleeper.secSleep(2);
    GPALSleep::setImplementation(&another);
    sleeper.milliSleep(-3);
    sleeper.secSleep(0);
    GPALSleep::setImplementation(nullptr);
    EXPECT_THAT(fake.asked(), ElementsAre("10 ms", "2 s"));
    EXPECT_THAT(another.asked(), ElementsAre("-3 ms", "0 s"));
    EXPECT_THAT(sleeps.requests(), IsEmpty());
    EXPECT_THAT(sleeps.seconds(), IsEmpty());
    sleeper.milliSleep(1);
    sleeper.secSleep(1);
    EXPECT_EQ(sleeps.requests().size(), 1U);
    EXPECT_EQ(sleeps.seconds().size(), 1U);
}

TEST(GPALSleep, madeUnderAReplacementSleepsForRealOnceThatIsRemoved)
{
    const RecordedSleeps sleeps;
    auto fake = std::make_unique<FakeSleep>();
    GPALSleep::setImplementation(fake.get());
    GPALSleep sleeper;
    sleeper.milliSleep(10);
    EXPECT_THAT(fake->asked(), ElementsAre("10 ms"));
    GPALSleep::setImplementation(nullptr);
    fake.reset();
    sleeper.milliSleep(20);
    sleeper.secSleep(3);
    EXPECT_THAT(sleeps.requests(), ElementsAre(Request{0, 20000000}));
    EXPECT_THAT(sleeps.seconds(), ElementsAre(3U));
}

TEST(GPALSleep, notesWhatWasInForceWhenItWasMade)
{
    FakeSleep fake;
    const OpenSleep before;
    GPALSleep::setImplementation(&fake);
    const OpenSleep during;
    EXPECT_TRUE(before.usesItsOwn());
    EXPECT_TRUE(during.uses(&fake));
    GPALSleep::setImplementation(nullptr);
    EXPECT_TRUE(during.uses(&fake));
    EXPECT_TRUE(OpenSleep().usesItsOwn());
}
