/// \file
/// Scope guard over a semaphore that the layer uses as a lock of its own.
#ifndef GPAL_BASE_OWNLOCK_H
#define GPAL_BASE_OWNLOCK_H

#include <gpal/CriticalSection.h>

#include "base/cancellation.h"

namespace gpal::detail
{

/// Waits for the lock with cancellation held off. A thread that was cancelled in there would stay
/// counted as waiting, and nobody could take the lock at once any more: for a lock that everyone
/// takes before giving it, that is never.
class OwnLock : public CriticalSection
{
public:
    /// The default argument lasts exactly as long as the construction.
    explicit OwnLock(Semaphore& lock, const CancellationHeldOff& = CancellationHeldOff())
        : CriticalSection(lock)
    {
    }
};

} // namespace gpal::detail

#endif
