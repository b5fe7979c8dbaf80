/// \file
/// Anonymous pipe.
#ifndef GPAL_GPALANONYMOUSPIPE_H
#define GPAL_GPALANONYMOUSPIPE_H

#include <gpal/export.h>

/// A pipe (`pipe(2)`) that closes both its ends when it goes. Whoever wants to keep an end
/// duplicates it first. No lock; its ends may be used from any thread.
class GPAL_API GPALAnonymousPipe
{
public:
    /// Makes the pipe; both fields are -1 if that failed, with errno as `pipe` set it. Nothing is
    /// logged or thrown.
    GPALAnonymousPipe();
    GPALAnonymousPipe(const GPALAnonymousPipe&) = delete;
    GPALAnonymousPipe& operator=(const GPALAnonymousPipe&) = delete;
    /// Closes both ends. Cancellation of the caller is held off meanwhile.
    virtual ~GPALAnonymousPipe();

    int readFd;  ///< read end; owned by the pipe
    int writeFd; ///< write end; owned by the pipe
};

#endif
