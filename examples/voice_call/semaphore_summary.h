/// \file
/// The semaphores of the process at a glance.
#ifndef VOICE_CALL_SEMAPHORE_SUMMARY_H
#define VOICE_CALL_SEMAPHORE_SUMMARY_H

#include <string>

namespace voicecall
{

struct SemaphoreSummary {
    int semaphores = 0; ///< locks and counters that are alive
    int events = 0;     ///< `Wait` objects that are alive
    int held = 0;       ///< of the semaphores, those with an owner
    int waitedFor = 0;  ///< of both, those with threads that wait
};

/// The layer's dump of all semaphores that are alive.
std::string dumpOfSemaphores();

/// Counts in such a dump.
SemaphoreSummary summaryOf(const std::string& dump);

} // namespace voicecall

#endif
