/// \file
/// How a fuzzer says that something does not hold.
#ifndef GPAL_TESTS_FUZZ_CHECK_H
#define GPAL_TESTS_FUZZ_CHECK_H

#include <cstdlib>

namespace fuzz
{

/// Ends the run, which keeps its input, unless the condition holds.
inline void check(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

} // namespace fuzz

#endif
