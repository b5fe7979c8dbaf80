/// \file
/// More C functions that a test may replace, for the programs that test the threads themselves.
#ifndef GPAL_TESTS_SUPPORT_THREAD_CALLS_H
#define GPAL_TESTS_SUPPORT_THREAD_CALLS_H

#include "support/replaceable.h"

namespace support::calls
{

extern Replaceable<int(pthread_t)> pthread_cancel;
extern Replaceable<int(pthread_t, void**)> pthread_join;
extern Replaceable<int(pthread_t)> pthread_detach;
extern Replaceable<int(int, int*)> pthread_setcancelstate;
extern Replaceable<int(pthread_mutex_t*)> pthread_mutex_destroy;
extern Replaceable<int(pthread_mutexattr_t*)> pthread_mutexattr_destroy;
extern Replaceable<int(pthread_attr_t*)> pthread_attr_destroy;
extern Replaceable<int(const void*, Dl_info*)> dladdr;

} // namespace support::calls

#endif
