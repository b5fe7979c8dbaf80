/// \file
/// What the tests of schedules have in common.
#ifndef GPAL_TESTS_SCHEDULES_SCHEDULE_EXPECTATIONS_H
#define GPAL_TESTS_SCHEDULES_SCHEDULE_EXPECTATIONS_H

#include <cstdio>
#include <gtest/gtest.h>
#include <initializer_list>

#include "search.h"

namespace schedules
{

/// A scenario must not fail in any order within \p bounds. Tells how many there were.
inline void expectHolds(const std::function<void()>& scenario, const Bounds& bounds = usualBounds())
{
    const Found found = search(scenario, bounds);
    EXPECT_EQ(found.failure, "");
    std::printf("%ld schedules\n", found.schedules);
}

/// Lets all threads go on as far as they can, which has to be their end.
inline void requireEnd(std::initializer_list<Thread> threads)
{
    rest();
    for (const Thread thread : threads) {
        require(!isStuck(thread), "somebody waits for ever");
    }
}

} // namespace schedules

#endif
