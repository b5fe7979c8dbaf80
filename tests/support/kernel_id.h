/// \file
/// What the kernel knows the calling thread by.
#ifndef GPAL_TESTS_SUPPORT_KERNEL_ID_H
#define GPAL_TESTS_SUPPORT_KERNEL_ID_H

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace support
{

/// The kernel process id of the calling thread; not every C library has a function for it.
inline pid_t ownKernelId()
{
    return static_cast<pid_t>(syscall(SYS_gettid));
}

} // namespace support

#endif
