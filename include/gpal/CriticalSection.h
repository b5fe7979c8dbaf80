/// \file
/// Scope guard over a semaphore.
#ifndef GPAL_CRITICALSECTION_H
#define GPAL_CRITICALSECTION_H

#include <gpal/export.h>
#include <gpal/Semaphore.h>

/// Holds a semaphore from its construction to its destruction, left by cancellation or exception
/// included. The semaphore must outlive it.
class GPAL_API CriticalSection
{
public:
    /// Takes \p semaphore, waiting without limit. A cancellation point when it has to wait.
    explicit CriticalSection(Semaphore& semaphore);
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    /// Gives the semaphore back.
    virtual ~CriticalSection();

private:
    Semaphore* m_semaphore;
};

#endif
