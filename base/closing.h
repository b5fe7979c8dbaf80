/// \file
/// Closing files where neither blocking nor cancellation may happen any more.
#ifndef GPAL_BASE_CLOSING_H
#define GPAL_BASE_CLOSING_H

#include <cstdio>
#include <fstream>
#include <memory>

namespace gpal::detail
{

/// Closes a file with cancellation held off, drops what is not written yet, and leaves errno alone.
/// To write it would block on a full pipe, and in a thread that is being cancelled for ever.
struct DropAndClose {
    void operator()(std::filebuf* file) const;
    void operator()(std::FILE* file) const;
};

/// Closes the file of a stream, which is declared before it, at the end of a scope. Whoever wants
/// what is pending to be written does so first, where the thread can still be cancelled: with
/// `pubsync`, or `fflush` on a file of the C library.
using ClosingBuffer = std::unique_ptr<std::filebuf, DropAndClose>;
using ClosingFile = std::unique_ptr<std::FILE, DropAndClose>;

} // namespace gpal::detail

#endif
