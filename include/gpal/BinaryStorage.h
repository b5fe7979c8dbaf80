/// \file
/// Whole files of raw bytes.
#ifndef GPAL_BINARYSTORAGE_H
#define GPAL_BINARYSTORAGE_H

#include <gpal/export.h>
#include <gpal/Storage.h>

// On purpose the functions below do not override the inherited ones: they take a path in place of a
// key. Clang looks for the warning's consent here, gcc at the functions of Storage.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"

/// Appends to, reads and empties files that are named on every call. The inherited record functions
/// work as in `Storage`, through that type; these here do not override them and do not use the
/// object's stream. Failures, which a null pointer is too, are reported on standard output and
/// leave errno as the failing call set it. Writers of one file take turns. A cancelled call closes
/// its file.
class GPAL_API BinaryStorage : public Storage
{
public:
    BinaryStorage();
    ~BinaryStorage() override;

    /// Appends \p length bytes to the file, which is created if need be. Returns \p length; 0 on
    /// failure. A cancellation point. Bytes that the C library still buffers count as written: on a
    /// full disk a few are lost without a word.
    int store(char* path, char* data, unsigned int length);

    /// Reads up to \p length bytes from the beginning of the file, which must exist and be
    /// writable. Returns how many; 0 on failure or when it is empty. No NUL is added. A
    /// cancellation point.
    int retrieve(char* path, char* buffer, unsigned int length);

    /// Empties the file, which is created if need be. Returns 1; 0 on failure. A cancellation
    /// point.
    int clear(char* path);
};

#pragma GCC diagnostic pop

#endif
