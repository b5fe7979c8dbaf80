/// \file
/// The semaphore for callers that hold only an opaque pointer, in C or C++.
///
/// A semaphore is a `void*` from one of the two functions that make one, and belongs to the caller
/// until `delete_Semaphore`. What each operation does in detail, and which of them may be called
/// from where, is said at the class (`gpal/Semaphore.h`).
#ifndef GPAL_SEMAPHORE_C_API_H
#define GPAL_SEMAPHORE_C_API_H

#include <gpal/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A new counting semaphore with \p initialCount units and at most \p maxCount (-1: no bound). Null
/// without memory for it.
GPAL_API void* new_Semaphore(int initialCount, int maxCount);

/// A new reentrant semaphore; its bound is 1 whatever \p maxCount is. Null without memory for it.
GPAL_API void* new_RSemaphore(int initialCount, int maxCount);

/// Takes one unit, waiting for at most \p timeoutMs milliseconds (-1: without limit). Returns 1, or
/// 0 when the time ran out or \p semaphore is null. A cancellation point when it has to wait.
GPAL_API int take_Semaphore(void* semaphore, int timeoutMs);

/// Gives one unit. Returns 1; 0 when \p semaphore is null. No cancellation point.
GPAL_API int give_Semaphore(void* semaphore);

/// Deletes the semaphore; null is ignored.
GPAL_API void delete_Semaphore(void* semaphore);

#ifdef __cplusplus
}
#endif

#endif
