#include <gpal/GPALAnonymousPipe.h>

#include <unistd.h>

#include "base/cancellation.h"

GPALAnonymousPipe::GPALAnonymousPipe() : readFd(-1), writeFd(-1)
{
    int ends[2];
    if (pipe(ends) == 0) {
        readFd = ends[0];
        writeFd = ends[1];
    }
}

GPALAnonymousPipe::~GPALAnonymousPipe()
{
    const gpal::detail::CancellationHeldOff untilClosed;
    // What the fields say is closed, whatever callers did to it meanwhile: the pipe owns both ends.
    // A -1 is refused by the kernel.
    close(readFd);
    close(writeFd);
}
