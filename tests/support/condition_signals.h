/// \file
/// The C functions that wake threads up, for a test to replace: to see whom the layer wakes, or
/// to keep a thread from noticing for a while; and the one that takes their condition away.
#ifndef GPAL_TESTS_SUPPORT_CONDITION_SIGNALS_H
#define GPAL_TESTS_SUPPORT_CONDITION_SIGNALS_H

#include "support/replaceable.h"

namespace support::calls
{

extern Replaceable<int(pthread_cond_t*)> pthread_cond_signal;
extern Replaceable<int(pthread_cond_t*)> pthread_cond_broadcast;
extern Replaceable<int(pthread_cond_t*)> pthread_cond_destroy;

} // namespace support::calls

#endif
