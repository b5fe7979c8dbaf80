/// \file
/// How a body that runs in the test's thread is ended from within.
#ifndef GPAL_TESTING_BODYCANCELLED_H
#define GPAL_TESTING_BODYCANCELLED_H

#include <atomic>

namespace gpal::testing
{

/// Stands for the cancellation of the body that `ManualThreads` runs: thrown in the body, it
/// unwinds the body's stack, and `ManualThreads` takes it for an end as any other. `FakeWait`
/// throws it where a body would wait for ever; a test throws it from `whenWaiting` or
/// `whenSleeping` to end a body that loops until it is cancelled.
///
/// As with cancellation, a `catch (...)` in the body must pass it on. It is no `std::exception`, so
/// that handlers for those do not stop it.
struct BodyCancelled {
};

namespace detail
{

/// How many bodies run in `ManualThreads`, which catch `BodyCancelled`.
inline std::atomic<int> runningBodies{0};

} // namespace detail

} // namespace gpal::testing

#endif
