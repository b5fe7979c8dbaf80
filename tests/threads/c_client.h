/// \file
/// A client of the layer that is written in C.
#ifndef GPAL_TESTS_THREADS_C_CLIENT_H
#define GPAL_TESTS_THREADS_C_CLIENT_H

#ifdef __cplusplus
extern "C" {
#endif

/// Takes and gives a counting semaphore of two units; returns 0 when each step went as it should,
/// else the number of the first that did not.
int useCountingSemaphore(void);

/// The same with a reentrant semaphore.
int useReentrantSemaphore(void);

/// The same with no semaphore at all.
int useNoSemaphore(void);

/// Logs one line at each severity, from "emergency 0" to "debug 7".
void logAtEachSeverity(void);

/// Logs with arguments that were gathered elsewhere.
void logGathered(const char* format, ...);

#ifdef __cplusplus
}
#endif

#endif
