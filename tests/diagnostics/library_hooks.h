/// \file
/// What the test program does while one of its libraries is loaded or unloaded.
#ifndef GPAL_TESTS_DIAGNOSTICS_LIBRARY_HOOKS_H
#define GPAL_TESTS_DIAGNOSTICS_LIBRARY_HOOKS_H

#include <functional>

namespace hooks
{

extern std::function<void()> loading;
extern std::function<void()> unloading;

/// Nothing any more.
void reset();

} // namespace hooks

#endif
