/// \file
/// Look-ups of names in threads that may be cancelled.
#ifndef GPAL_NETWORK_LOOK_UP_H
#define GPAL_NETWORK_LOOK_UP_H

#include <pthread.h>

#include "base/cancellation.h"

namespace gpal::detail
{

/// Makes a call of the C library that looks a name up, and returns its result. A thread that is
/// cancelled meanwhile finishes it first: the locks and descriptors that the C library holds would
/// be lost with the thread. So this is a cancellation point at its beginning only, and the call can
/// throw nothing.
template <typename Call>
auto lookUp(Call call)
{
    pthread_testcancel();
    const CancellationHeldOff untilFound;
    return call();
}

} // namespace gpal::detail

#endif
