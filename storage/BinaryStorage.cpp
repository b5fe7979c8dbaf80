#include <gpal/BinaryStorage.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#include "base/cancellation.h"

namespace
{

struct Close {
    void operator()(std::FILE* file) const
    {
        const gpal::detail::CancellationHeldOff untilClosed;
        std::fclose(file);
    }
};

using File = std::unique_ptr<std::FILE, Close>;

File openFile(const char* path, const char* mode)
{
    return File(path == nullptr ? nullptr : std::fopen(path, mode));
}

} // namespace

BinaryStorage::BinaryStorage() = default;

BinaryStorage::~BinaryStorage() = default;

int BinaryStorage::store(char* path, char* data, unsigned int length)
{
    const File file = openFile(path, "ab+");
    if (file == nullptr) {
        std::puts("BinaryStorage:: cannot open file for writing");
        return 0;
    }
    if (data == nullptr || std::fwrite(data, 1, length, file.get()) < length) {
        std::printf("BinaryStorage:: cannot write into file %s\n", path);
        return 0;
    }
    return static_cast<int>(length);
}

int BinaryStorage::retrieve(char* path, char* buffer, unsigned int length)
{
    const File file = openFile(path, "rb+");
    if (file == nullptr) {
        std::puts("BinaryStorage:: cannot open file for reading");
        return 0;
    }
    const std::size_t size = buffer == nullptr ? 0 : std::fread(buffer, 1, length, file.get());
    if (size == 0) {
        std::printf("BinaryStorage:: cannot read from file %s\n", path);
    }
    return static_cast<int>(size);
}

int BinaryStorage::clear(char* path)
{
    std::FILE* file = path == nullptr ? nullptr : std::fopen(path, "w");
    if (file != nullptr && std::fclose(file) == 0) {
        return 1;
    }
    std::printf("BinaryStorage:: cannot remove file %s, error :%d\n", path, errno);
    return 0;
}
