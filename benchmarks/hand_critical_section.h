/// \file
/// What a client without the layer would write for `CriticalSection`.
#ifndef GPAL_BENCHMARKS_HAND_CRITICAL_SECTION_H
#define GPAL_BENCHMARKS_HAND_CRITICAL_SECTION_H

#include "hand_semaphore.h"

namespace hand
{

/// A scope guard over a hand-written semaphore, compiled apart from it, as the layer's is.
class CriticalSection
{
public:
    explicit CriticalSection(Semaphore& semaphore);
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection();

private:
    Semaphore* m_semaphore;
};

} // namespace hand

#endif
