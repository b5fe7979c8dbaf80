/// \file
/// What a client does with the layer, in a few steps that are tried again and again.
#ifndef GPAL_TESTS_FAULTS_SCENARIO_H
#define GPAL_TESTS_FAULTS_SCENARIO_H

#include <ostream>
#include <pthread.h>
#include <string>
#include <vector>

namespace faults
{

/// Where a scenario may leave files; what it needs is there.
struct Place {
    std::string directory;
    std::string file(const char* name) const { return directory + "/" + name; }
};

/// Holds cancellation off where a scenario looks at what it got, or a destructor waits.
class NotCancelled
{
public:
    NotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
    NotCancelled(const NotCancelled&) = delete;
    NotCancelled& operator=(const NotCancelled&) = delete;
    ~NotCancelled() { pthread_setcancelstate(m_before, nullptr); }

private:
    int m_before = PTHREAD_CANCEL_ENABLE;
};

/// One client's way through the layer.
struct Scenario {
    const char* name;
    /// What is struck. Returns whether all went well. Gives everything back that it took, also when
    /// an exception or cancellation passes.
    bool (*run)(const Place& place);
    /// What is done before, and after, without being struck.
    void (*prepare)(const Place& place) = [](const Place&) {};
    void (*finish)(const Place& place) = [](const Place&) {};
    /// How many threads the C library itself keeps afterwards.
    int threadsKept = 0;
};

/// GoogleTest shows a scenario by its name.
inline void PrintTo(const Scenario& scenario, std::ostream* output) // NOLINT: its name for it
{
    *output << scenario.name;
}

extern const std::vector<Scenario> THREAD_SCENARIOS;
extern const std::vector<Scenario> FILE_SCENARIOS;
extern const std::vector<Scenario> DEVICE_SCENARIOS;

/// What may be left behind, or happen, in a scenario that is struck.
enum Left : unsigned int {
    NOTHING_LEFT = 0,
    DESCRIPTOR_LEFT = 1,
    CHILD_LEFT = 2,
    FILE_LEFT = 4,
    MEMORY_LEFT = 8,
    LOCK_LEFT = 16,
    THREAD_LEFT = 32,
    REBOOTS = 64,
    BLOCKS = 128,      ///< until the thread is cancelled
    SPOILS_NEXT = 256, ///< the scenario does not succeed afterwards
    NOT_WELL = 512,    ///< without being struck the scenario does not succeed
    ENDS = 1024,       ///< the process ends
};

/// What a client has to expect of a strike: a scenario ("*" for each), what was struck, and why.
struct Exception {
    const char* scenario;
    const char* call;
    unsigned int left;
    const char* reason;
};

extern const std::vector<Exception> EXCEPTIONS;

/// What is allowed to be left when \p call is struck in \p scenario.
unsigned int allowed(const char* scenario, const char* call);

} // namespace faults

#endif
