#include <gpal/BinaryStorage.h>

#include <cerrno>
#include <cstdio>

#include "base/cancellation.h"
#include "base/closing.h"
#include "base/errno_kept.h"
#include "cancelled.h"

using gpal::detail::cancellably;
using gpal::detail::ClosingFile;
using gpal::detail::DestroyedIfCancelled;
using gpal::detail::ErrnoKept;

namespace
{

/// Opens a file. One that can't be opened is reported, if there are words for it, and errno is left
/// as it is.
ClosingFile openFile(const char* path, const char* mode, const char* whenNotOpened = nullptr)
{
    std::FILE* file = nullptr;
    if (path == nullptr) {
        errno = EFAULT;
    } else {
        file = cancellably([=] { return std::fopen(path, mode); });
    }
    if (file == nullptr && whenNotOpened != nullptr) {
        const ErrnoKept ofOpening;
        std::puts(whenNotOpened);
    }
    return ClosingFile(file);
}

/// Says on the console what failed, and leaves errno as it is.
int failed(const char* message, const char* path)
{
    const ErrnoKept ofTheFailure;
    std::printf(message, path == nullptr ? "(null)" : path, errno);
    return 0;
}

} // namespace

BinaryStorage::BinaryStorage() = default;

BinaryStorage::~BinaryStorage() = default;

int BinaryStorage::store(char* path, char* data, unsigned int length)
{
    const ClosingFile file = openFile(path, "ab+", "BinaryStorage:: cannot open file for writing");
    const DestroyedIfCancelled whenCancelled(file);
    if (file == nullptr) {
        return 0;
    }
    const bool written = data != nullptr && cancellably([&] {
                                                return std::fwrite(data, 1, length, file.get());
                                            }) == length;
    const ErrnoKept ofWriting;
    if (!written) {
        failed("BinaryStorage:: cannot write into file %s\n", path);
    }
    // As closing would; what gets lost here does not count.
    cancellably([&] { return std::fflush(file.get()); });
    return written ? static_cast<int>(length) : 0;
}

int BinaryStorage::retrieve(char* path, char* buffer, unsigned int length)
{
    const ClosingFile file = openFile(path, "rb+", "BinaryStorage:: cannot open file for reading");
    const DestroyedIfCancelled whenCancelled(file);
    if (file == nullptr) {
        return 0;
    }
    std::size_t size = 0;
    if (buffer != nullptr) {
        size = cancellably([&] { return std::fread(buffer, 1, length, file.get()); });
    }
    return size == 0 ? failed("BinaryStorage:: cannot read from file %s\n", path)
                     : static_cast<int>(size);
}

int BinaryStorage::clear(char* path)
{
    std::FILE* const file = openFile(path, "w").release();
    if (file != nullptr) {
        const gpal::detail::CancellationHeldOff untilClosed; // there is nothing to write
        if (std::fclose(file) == 0) {
            return 1;
        }
    }
    return failed("BinaryStorage:: cannot remove file %s, error :%d\n", path);
}
