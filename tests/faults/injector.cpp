#include "faults/injector.h"

#include <atomic>
#include <cstring>
#include <pthread.h>
#include <sys/mman.h>

namespace faults
{
namespace
{

struct State {
    std::atomic<bool> armed{false};
    std::atomic<int> seen{0};
    Plan plan;
    Outcome outcome;
    std::atomic<int> reboots{0};
};

/// Made before main, and never in the middle of an allocation.
State* const state =
    new (mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
        State;

/// Not in the shared page: a child's main thread has the id of the one that forked.
std::atomic<pthread_t> victim{};

/// Counts one occasion; returns whether it is the one.
bool isTheOne(Strike kind)
{
    return state != nullptr && state->armed && state->plan.strike == kind &&
           ++state->seen == state->plan.number;
}

void note(const char* call, int error, int variants)
{
    Outcome& outcome = state->outcome;
    std::strncpy(outcome.call, call, sizeof outcome.call - 1);
    outcome.error = error;
    outcome.variants = variants;
    outcome.struck = true;
}

/// A request that is held off takes effect where the next call begins: inside, the C library might
/// lose what it has allocated.
void cancelAt(const Call& call, bool now)
{
    if (isTheOne(Strike::CANCELLATION)) {
        note(call.name, 0, 1);
        pthread_cancel(pthread_self());
    }
    if (now && state->plan.strike == Strike::CANCELLATION && state->outcome.struck) {
        pthread_testcancel();
    }
}

} // namespace

void arm(const Plan& plan)
{
    state->plan = plan;
    state->outcome = Outcome();
    state->seen = 0;
    state->reboots = 0;
    state->armed = true;
}

void disarm()
{
    state->armed = false;
}

bool isArmed()
{
    return state != nullptr && state->armed;
}

void cancelMe()
{
    victim = pthread_self();
}

Outcome outcome()
{
    Outcome result = state->outcome;
    result.reboots = state->reboots;
    return result;
}

void noteReboot()
{
    ++state->reboots;
}

int enter(const Call& call, bool now)
{
    const int variants = static_cast<int>(call.errors.size());
    if (variants > 0 && isTheOne(Strike::CALL)) {
        const int error = call.errors[static_cast<std::size_t>(state->plan.variant % variants)];
        note(call.name, error, variants);
        return error;
    }
    if (call.isCancellationPoint && victim == pthread_self()) {
        cancelAt(call, now);
    }
    return NOT_STRUCK;
}

bool allocationFails(Strike kind)
{
    if (!isTheOne(kind)) {
        return false;
    }
    note(kind == Strike::NEW ? "operator new" : "malloc", 0, 1);
    return true;
}

} // namespace faults
