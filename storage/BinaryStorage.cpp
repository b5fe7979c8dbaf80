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

ClosingFile openFile(const char* path, const char* mode)
{
    if (path == nullptr) {
        errno = EFAULT;
        return nullptr;
    }
    return ClosingFile(cancellably([=] { return std::fopen(path, mode); }));
}

/// Says on the console what failed, and with which file where the message has a place for that, and
/// leaves errno as it is.
int failed(const char* message, const char* path = nullptr)
{
    const ErrnoKept ofTheFailure;
    if (path == nullptr) {
        std::puts(message);
    } else {
        std::printf(message, path, errno);
    }
    return 0;
}

} // namespace

BinaryStorage::BinaryStorage() = default;

BinaryStorage::~BinaryStorage() = default;

int BinaryStorage::store(char* path, char* data, unsigned int length)
{
    const ClosingFile file = openFile(path, "ab+");
    const DestroyedIfCancelled whenCancelled(file);
    if (file == nullptr) {
        return failed("BinaryStorage:: cannot open file for writing");
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
    const ClosingFile file = openFile(path, "rb+");
    const DestroyedIfCancelled whenCancelled(file);
    if (file == nullptr) {
        return failed("BinaryStorage:: cannot open file for reading");
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
    return failed("BinaryStorage:: cannot remove file %s, error :%d\n",
                  path == nullptr ? "(null)" : path);
}
