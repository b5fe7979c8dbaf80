#include <gpal/FileManager.h>

#include <sys/stat.h>
#include <unistd.h>

#include <gpal/FileHandle.h>

#include "base/closing.h"
#include "base/walkable.h"
#include "cancelled.h"

using gpal::detail::cancellably;
using gpal::detail::ClosingBuffer;
using gpal::detail::DestroyedIfCancelled;

namespace
{

constexpr std::ios_base::openmode READ = std::ios_base::in | std::ios_base::binary;
constexpr std::ios_base::openmode WRITE = std::ios_base::out | std::ios_base::binary;

} // namespace

FileManagerIfc::~FileManagerIfc() = default;

bool FileManager::createFile(std::string const& path, std::string const& content)
{
    FileHandle file(path, WRITE);
    if (!file.isOpen()) {
        return false;
    }
    const ClosingBuffer closing(file.rdbuf());
    const DestroyedIfCancelled whenCancelled(closing);
    cancellably([&] {
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
        file.rdbuf()->pubsync();
    });
    return true;
}

bool FileManager::copyFile(std::string const& source, std::string const& destination)
{
    FileHandle in(source, READ);
    if (!in.isOpen()) {
        return false;
    }
    const DestroyedIfCancelled sourceWhenCancelled(in);
    FileHandle out(destination, WRITE);
    if (!out.isOpen()) {
        return false;
    }
    const ClosingBuffer closing(out.rdbuf());
    const DestroyedIfCancelled whenCancelled(closing);
    cancellably([&] {
        out << in.rdbuf(); // sets failbit for an empty source, which is no failure here
        out.flush();
        out.rdbuf()->pubsync(); // a stream that has failed was not flushed
    });
    return !out.bad();
}

GPAL_WALKABLE bool FileManager::moveFile(std::string const& source, std::string const& destination)
{
    const bool copied = copyFile(source, destination);
    if (copied) {
        deleteFile(source);
    }
    return copied;
}

int FileManager::deleteFile(std::string const& path)
{
    return unlink(path.c_str());
}

bool FileManager::doesExist(std::string const& path)
{
    struct stat file {
    };
    return stat(path.c_str(), &file) == 0;
}

int FileManager::size(std::string const& path)
{
    struct stat file {
    };
    if (stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) {
        return -1;
    }
    return static_cast<int>(file.st_size);
}

bool FileManager::isPrefix(std::string const& first, std::string const& second)
{
    FileHandle prefix(first, READ);
    if (!prefix.isOpen()) {
        return false;
    }
    const DestroyedIfCancelled prefixWhenCancelled(prefix);
    FileHandle whole(second, READ);
    if (!whole.isOpen()) {
        return false;
    }
    const DestroyedIfCancelled whenCancelled(whole);
    cancellably([&] {
        while (prefix.good() && prefix.get() == whole.get()) {
        }
    });
    return prefix.eof(); // the end of the one, also when it differs there from the other
}
