/// \file
/// Holding cancellation off where it must not strike.
#ifndef GPAL_BASE_CANCELLATION_H
#define GPAL_BASE_CANCELLATION_H

#include <pthread.h>

namespace gpal::detail
{

/// Holds cancellation of the calling thread off for a scope; a request that arrives meanwhile takes
/// effect at the next cancellation point after it. For destructors and clean-up handlers that
/// block: cancellation unwinds the stack, and unwinding out of those would end the process.
class CancellationHeldOff
{
public:
    CancellationHeldOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
    CancellationHeldOff(const CancellationHeldOff&) = delete;
    CancellationHeldOff& operator=(const CancellationHeldOff&) = delete;
    ~CancellationHeldOff() { pthread_setcancelstate(m_before, nullptr); }

private:
    int m_before = PTHREAD_CANCEL_ENABLE;
};

} // namespace gpal::detail

#endif
