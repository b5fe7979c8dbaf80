/// \file
/// What every thread of the layer runs through, from its first instruction to its last.
#ifndef GPAL_THREADS_THREAD_START_H
#define GPAL_THREADS_THREAD_START_H

#include <string>

#include <gpal/GPALThreadPriority.h>

namespace gpal::detail
{

/// What a function thread needs to know; filled by the spawner, owned by `functionThreadStart`.
struct ThreadStartBlock {
    void* (*function)(void*);
    GPALThreadPriority priority;
    void* argument;
    std::string name;
};

/// Start routine of a thread that runs a `Threadable`, which \p body points to.
void* threadableStart(void* body);

/// Start routine of a thread that runs a function; \p block is a `ThreadStartBlock` from the heap,
/// which it deletes.
void* functionThreadStart(void* block);

} // namespace gpal::detail

#endif
