/// \file
/// The one place that converts, adds, subtracts and compares times.
#ifndef GPAL_BASE_TIME_MATH_H
#define GPAL_BASE_TIME_MATH_H

#include <time.h>

namespace gpal::detail
{

constexpr long NANOSECONDS_PER_SECOND = 1000000000;
constexpr long NANOSECONDS_PER_MILLISECOND = 1000000;
constexpr int MILLISECONDS_PER_SECOND = 1000;

/// A time from parts of which the nanoseconds are not below 0 and make less than two seconds: the
/// most that a 32-bit long can be trusted with.
constexpr timespec normalised(time_t seconds, long nanoseconds)
{
    if (nanoseconds < NANOSECONDS_PER_SECOND) {
        return {seconds, nanoseconds};
    }
    return {seconds + 1, nanoseconds - NANOSECONDS_PER_SECOND};
}

constexpr timespec fromMilliseconds(int milliseconds)
{
    return {milliseconds / MILLISECONDS_PER_SECOND,
            (milliseconds % MILLISECONDS_PER_SECOND) * NANOSECONDS_PER_MILLISECOND};
}

constexpr timespec sum(const timespec& a, const timespec& b)
{
    return normalised(a.tv_sec + b.tv_sec, a.tv_nsec + b.tv_nsec);
}

/// \p a minus \p b; the seconds may come out negative, the nanoseconds never do.
constexpr timespec difference(const timespec& a, const timespec& b)
{
    return normalised(a.tv_sec - b.tv_sec - 1, a.tv_nsec - b.tv_nsec + NANOSECONDS_PER_SECOND);
}

constexpr bool isEarlier(const timespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

/// Puts \p time in the place of \p earliest, if it is earlier or if that is {0, 0}: not set.
constexpr void keepEarliest(timespec& earliest, const timespec& time)
{
    const bool isSet = earliest.tv_sec != 0 || earliest.tv_nsec != 0;
    if (!isSet || isEarlier(time, earliest)) {
        earliest = time;
    }
}

} // namespace gpal::detail

#endif
