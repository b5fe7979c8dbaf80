/// \file
/// What every thread of the layer runs through, from its first instruction to its last.
#ifndef GPAL_THREADS_THREAD_START_H
#define GPAL_THREADS_THREAD_START_H

#include <memory>
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

/// A block to fill.
std::unique_ptr<ThreadStartBlock> newStartBlock();

/// Start routine of a thread that runs a `Threadable`, which \p body points to.
void* threadableStart(void* body);

/// Start routine of a thread that runs a function; \p block is a `ThreadStartBlock` from
/// `newStartBlock`.
void* functionThreadStart(void* block);

} // namespace gpal::detail

#endif
