/// \file
/// Searches every order in which threads can take their steps.
///
/// A scenario is a function that starts threads of its own and lets them use the layer. It is run
/// again and again, each time with the steps in another order, until there is no further one.
///
/// A step ends at each call that threads meet by: to lock or unlock a mutex, to wait for a
/// condition or signal one, to create, cancel or join a thread. These calls are the search's own
/// (controlled_calls.cpp). All threads of a scenario are contexts of the one thread that searches,
/// so exactly one runs at a time, and the search alone decides which one is next.
///
/// What is assumed: whatever threads share is guarded by mutexes, so that nothing is missed between
/// two steps (the thread sanitizer sees to that in the rest of the suite); memory looks the same to
/// all of them; a signal wakes any one of those that wait, chosen by the search; a wait that is
/// limited may time out at any moment, which sets the clock to its limit at least.
#ifndef GPAL_TESTS_SCHEDULES_SEARCH_H
#define GPAL_TESTS_SCHEDULES_SEARCH_H

#include <functional>
#include <string>

namespace schedules
{

/// How far a search goes.
struct Bounds {
    /// How often a thread that could go on has to let another one go first. Most defects of locking
    /// need one or two such places.
    int preemptions = 2;
    int spuriousWakeUps = 1; ///< of waits for a condition
};

constexpr int WITHOUT_LIMIT = 1000000;

struct Found {
    long schedules = 0;
    std::string failure; ///< with the schedule that leads to it; "" when there is none
};

/// Runs \p scenario in every order within \p bounds, up to the first failure.
Found search(const std::function<void()>& scenario, const Bounds& bounds);

/// The bounds that tests search in: so many preemptions, or as many as the environment variable
/// GPAL_SCHEDULE_PREEMPTIONS says.
Bounds usualBounds(int preemptions = 2);

// For scenarios and their threads:

using Thread = unsigned long; ///< as the layer knows it, for `pthread_cancel` and such

/// Starts a thread, which must end, or be dismissed, before the scenario does.
Thread start(std::function<void()> body);

/// Waits until no other thread can go on: each has ended, or waits for something.
void rest();

/// Whether a thread has not ended.
bool isStuck(Thread thread);

/// Cancels a thread where it waits, and waits for its end.
void dismiss(Thread thread);

/// A place at which another thread may take over.
void step();

/// Ends the search with a failure, unless the condition holds.
void require(bool condition, const char* what);

} // namespace schedules

#endif
