/// \file
/// What the kernel knows the calling thread by.
#ifndef GPAL_BASE_KERNEL_ID_H
#define GPAL_BASE_KERNEL_ID_H

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace gpal::detail
{

/// The kernel process id of the calling thread, which it is scheduled by. Not every C library has a
/// function for this call.
inline pid_t ownKernelId()
{
    return static_cast<pid_t>(syscall(SYS_gettid));
}

} // namespace gpal::detail

#endif
