/// \file
/// One run of a scenario in a process of its own, and what it has left behind.
#ifndef GPAL_TESTS_FAULTS_ATTEMPT_H
#define GPAL_TESTS_FAULTS_ATTEMPT_H

#include <string>

#include "faults/injector.h"
#include "faults/scenario.h"

namespace faults
{

struct Result {
    Outcome outcome;
    unsigned int left = NOTHING_LEFT;
    std::string details; ///< of what is left
    std::string endedBy; ///< how the process ended, if not by itself: by a signal, a failed check
};

/// Runs the scenario once in this process, so that what the C library keeps for ever is there.
void warmUp(const Scenario& scenario, const Place& place);

/// Forks, lets the plan strike the scenario in the child, and looks around there.
Result attempt(const Scenario& scenario, const Place& place, const Plan& plan);

} // namespace faults

#endif
