/// \file
/// Which kernel id each thread of the layer has.
#ifndef GPAL_THREADS_THREADREGISTRY_H
#define GPAL_THREADS_THREADREGISTRY_H

/// Process-wide map from POSIX thread id to kernel id, from the library's loading to its unloading.
/// Its lock is held for one look-up or change at a time, never while calling out. The functions may
/// be called from any thread; none is a cancellation point.
namespace gpal::detail::threadRegistry
{

/// Records a thread, unless there is an entry for it already: that one stays as it is.
void add(unsigned long thread, int kernelId);

/// The kernel id of a thread; an unknown thread gets an entry with 0.
int kernelIdOf(unsigned long thread);

void remove(unsigned long thread);

} // namespace gpal::detail::threadRegistry

#endif
