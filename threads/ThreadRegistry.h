/// \file
/// Which kernel id each thread of the layer has.
#ifndef GPAL_THREADS_THREADREGISTRY_H
#define GPAL_THREADS_THREADREGISTRY_H

/// Process-wide map from POSIX thread id to kernel id. It empties itself when the library is
/// unloaded or the process exits, and can be used on as an empty one. Its lock is held for one
/// look-up or change at a time, never while calling out. The functions may be called from any
/// thread; none is a cancellation point or throws.
namespace gpal::detail::threadRegistry
{

/// Records a thread, unless there is an entry for it already: that one stays as it is. A thread
/// that there is no memory for is not recorded.
void add(unsigned long thread, int kernelId);

/// The kernel id of a thread; an unknown thread gets an entry with 0, if there is memory for it.
int kernelIdOf(unsigned long thread);

void remove(unsigned long thread);

} // namespace gpal::detail::threadRegistry

#endif
