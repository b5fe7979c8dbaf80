/// \file
/// What strikes the scenarios: one call that fails, one allocation that fails, or one cancellation.
///
/// The state is shared with children that are forked while a scenario runs, so that what a child
/// calls before it runs its program counts too.
#ifndef GPAL_TESTS_FAULTS_INJECTOR_H
#define GPAL_TESTS_FAULTS_INJECTOR_H

#include <vector>

namespace faults
{

enum class Strike { NOTHING, CALL, NEW, MALLOC, CANCELLATION };

/// What is to happen: the strike number \p number of its kind, counted from 1. A call fails in its
/// documented way number \p variant, counted from 0.
struct Plan {
    Strike strike = Strike::NOTHING;
    int number = 0;
    int variant = 0;
};

/// What happened.
struct Outcome {
    bool struck = false;
    char call[40] = ""; ///< the call that was struck
    int error = 0;      ///< what it failed with
    int variants = 0;   ///< in how many ways that call can fail
    int reboots = 0;    ///< how often the layer wanted to reboot the device
};

/// What the harness knows of a call.
struct Call {
    const char* name;
    bool isCancellationPoint;
    std::vector<int> errors; ///< what it documents, for this use
};

constexpr int NOT_STRUCK = -1;

/// Puts the plan in force, for the calls of all threads and for the cancellation points of
/// \p whoIsCancelled until `disarm`; what has struck does not strike again.
void arm(const Plan& plan);
void disarm();
bool isArmed();

/// The calling thread is the one that a cancellation strikes.
void cancelMe();

Outcome outcome();
void noteReboot();

/// A call is being made. Returns the error that it is to fail with, or NOT_STRUCK. A cancellation
/// that strikes has effect in here if the thread can be cancelled and \p now is set; otherwise at
/// its next cancellation point.
int enter(const Call& call, bool now = true);

/// An allocation is being made; returns whether it is to fail.
bool allocationFails(Strike kind);

} // namespace faults

#endif
