// Whatever a client does with the layer: every call of the system and the C library fails once, in
// every way that it documents; so does every allocation; and cancellation strikes once at every
// cancellation point. Nothing crashes, hangs or is left behind but what `exceptions.cpp` names.
#include <cstdio>
#include <gtest/gtest.h>

#include "faults/allocations.h"
#include "faults/attempt.h"
#include "faults/call_table.h"
#include "support/observed.h"
#include "support/temporary_directory.h"
#include "support/thread_sanitizer.h"

using faults::Plan;
using faults::Scenario;
using faults::Strike;

namespace
{

std::vector<Scenario> allScenarios()
{
    std::vector<Scenario> all = faults::THREAD_SCENARIOS;
    all.insert(all.end(), faults::FILE_SCENARIOS.begin(), faults::FILE_SCENARIOS.end());
    all.insert(all.end(), faults::DEVICE_SCENARIOS.begin(), faults::DEVICE_SCENARIOS.end());
    return all;
}

class Struck : public testing::TestWithParam<Scenario>
{
protected:
    void SetUp() override
    {
        if (support::UNDER_THREAD_SANITIZER) {
            GTEST_SKIP() << "the sanitizer makes some of the calls itself, where it is not ready";
        }
        m_place.directory = m_directory.path();
        faults::watchCalls(m_place.directory);
        faults::warmUp(GetParam(), m_place);
    }

    /// Strikes on every occasion of a kind; returns how many there were.
    int strikeEverywhere(Strike kind);

    faults::Place m_place;

private:
    /// Returns in how many ways the call that was struck can be struck; 0: there was none.
    int strikeAt(const Plan& plan);

    support::TemporaryDirectory m_directory{"/dev/shm"}; // in memory: files are made a lot
};

int Struck::strikeAt(const Plan& plan)
{
    const faults::Result result = faults::attempt(GetParam(), m_place, plan);
    const unsigned int happened =
        result.left | (result.endedBy.empty() ? 0U : static_cast<unsigned int>(faults::ENDS));
    if ((happened & ~faults::allowed(GetParam().name, result.outcome.call)) != 0) {
        ADD_FAILURE() << GetParam().name << ": number " << plan.number << ", "
                      << result.outcome.call << " (error " << result.outcome.error
                      << (plan.strike == Strike::CANCELLATION ? ", cancelled" : "")
                      << "): " << result.endedBy << result.details << "\n"
                      << support::contentOf(m_place.file("output"));
    }
    return result.outcome.struck ? result.outcome.variants : 0;
}

int Struck::strikeEverywhere(Strike kind)
{
    // A sanitizer makes each try ten times as long.
    constexpr int STEP = faults::UNDER_SANITIZER ? 5 : 1;
    int strikes = 0;
    // Threads do not always make as many calls: it is the end when there is none twice.
    int without = 0;
    for (int number = 1; without < 2; number += STEP) {
        const int variants = strikeAt({kind, number, 0});
        strikes += variants > 0 ? 1 : 0;
        without = variants > 0 ? 0 : without + 1;
        for (int variant = 1; variant < variants; variant += STEP) {
            strikes += strikeAt({kind, number, variant}) > 0 ? 1 : 0;
        }
    }
    return strikes;
}

TEST_P(Struck, leavesNothingBehindAndWorksAfterwards)
{
    const faults::Result clean = faults::attempt(GetParam(), m_place, {});
    ASSERT_EQ("", clean.endedBy + clean.details) << "without a strike";

    const int calls = strikeEverywhere(Strike::CALL);
    const int news = strikeEverywhere(Strike::NEW);
    const int mallocs = faults::UNDER_SANITIZER ? 0 : strikeEverywhere(Strike::MALLOC);
    const int cancellations = strikeEverywhere(Strike::CANCELLATION);
    std::printf("%-24s %5d calls failed, %4d times new, %4d times malloc, %4d cancellations\n",
                GetParam().name, calls, news, mallocs, cancellations);
    std::fflush(stdout);
    EXPECT_GT(calls + news + cancellations, 0);
}

std::string nameOf(const testing::TestParamInfo<Scenario>& tested)
{
    std::string name = tested.param.name;
    for (char& character : name) {
        character = std::isalnum(static_cast<unsigned char>(character)) != 0 ? character : '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scenario, Struck, testing::ValuesIn(allScenarios()), nameOf);

} // namespace
