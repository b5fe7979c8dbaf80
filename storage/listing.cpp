#include <gpal/Storage.h>

#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <utility>

#include "base/cancellation.h"
#include "cancelled.h"

namespace
{

/// A directory being read.
class OpenDirectory
{
public:
    explicit OpenDirectory(std::string const& path) : m_stream(opendir(path.c_str())) {}
    OpenDirectory(const OpenDirectory&) = delete;
    OpenDirectory& operator=(const OpenDirectory&) = delete;
    ~OpenDirectory() { close(); }

    bool isOpen() const { return m_stream != nullptr; }

    /// The name of the next entry other than "." and ".."; null at the end.
    const char* next()
    {
        const dirent* entry = nullptr;
        do {
            entry = readdir(m_stream);
        } while (entry != nullptr &&
                 (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0));
        return entry == nullptr ? nullptr : entry->d_name;
    }

    int close()
    {
        const gpal::detail::CancellationHeldOff untilClosed;
        DIR* stream = m_stream;
        m_stream = nullptr;
        return stream == nullptr ? 0 : closedir(stream);
    }

private:
    DIR* m_stream;
};

bool isOfKind(mode_t mode, Storage::eDirReadType kind)
{
    switch (kind) {
    case Storage::eDirReadDirectories:
        return S_ISDIR(mode);
    case Storage::eDirReadFiles:
        return S_ISREG(mode);
    case Storage::eDirReadLinks:
        return S_ISLNK(mode);
    case Storage::eDirReadFilesAndLinks:
        return S_ISREG(mode) || S_ISLNK(mode);
    }
    return false;
}

bool isElement(const char* path, Storage::eDirReadType kind)
{
    struct stat entry {
    };
    return lstat(path, &entry) == 0 && isOfKind(entry.st_mode, kind);
}

bool isCharacterDevice(const char* path, Storage::eDirReadType /*kind*/)
{
    struct stat entry {
    }; // of what a link points to
    return stat(path, &entry) == 0 && S_ISCHR(entry.st_mode);
}

enum class Listing { ABSENT, NOT_OPENED, NOT_CLOSED, DONE };

/// Fills the list with the entries whose full path \p keep accepts, with or without the path.
Listing list(std::string const& directory, std::list<std::string>* result, bool withPath,
             bool (*keep)(const char*, Storage::eDirReadType), Storage::eDirReadType kind)
{
    if (result == nullptr || !Storage::fileExists_stat(directory)) {
        return Listing::ABSENT;
    }
    OpenDirectory open(directory);
    const gpal::detail::DestroyedIfCancelled whenCancelled(open);
    std::string full = Storage::addTrailingForwardSlash(directory);
    const std::size_t prefix = full.size();
    result->clear(); // not before: the directory may be named by one of its elements
    if (!open.isOpen()) {
        return Listing::NOT_OPENED;
    }
    while (const char* name = open.next()) {
        full.replace(prefix, std::string::npos, name);
        if (keep(full.c_str(), kind)) {
            result->emplace_back(withPath ? full.c_str() : name);
        }
    }
    return open.close() == 0 ? Listing::DONE : Listing::NOT_CLOSED;
}

} // namespace

int Storage::getListOfElementsByDirectory_noEx(std::string const& directory,
                                               std::list<std::string>* result, eDirReadType kind,
                                               bool withPath)
{
    const Listing listing = list(directory, result, withPath, isElement, kind);
    return listing == Listing::ABSENT || listing == Listing::NOT_CLOSED ? -1 : 0;
}

int Storage::getListOfDirectoriesByDirectoryWithPath(std::string const& directory,
                                                     std::list<std::string>* result)
{
    return getListOfElementsByDirectory_noEx(directory, result, eDirReadDirectories, true);
}

int Storage::getListOfDirectoriesByDirectoryNoPath(std::string const& directory,
                                                   std::list<std::string>* result)
{
    return getListOfElementsByDirectory_noEx(directory, result, eDirReadDirectories, false);
}

int Storage::getListOfFilesByDirectoryNoPath(std::string const& directory,
                                             std::list<std::string>* result)
{
    return getListOfElementsByDirectory_noEx(directory, result, eDirReadFiles, false);
}

int Storage::getListOfLinksByDirectory_noEx(std::string const& directory,
                                            std::list<std::string>* result, bool withPath)
{
    return getListOfElementsByDirectory_noEx(directory, result, eDirReadLinks, withPath);
}

int Storage::getListOfFilesAndLinksByDirectory(std::string const& directory,
                                               std::list<std::string>* result, bool withPath)
{
    return getListOfElementsByDirectory_noEx(directory, result, eDirReadFilesAndLinks, withPath);
}

int Storage::getListOfCharacterDeviceByDirectory(std::string const& directory,
                                                 std::list<std::string>* result)
{
    const Listing listing = list(directory, result, true, isCharacterDevice, eDirReadFiles);
    return listing == Listing::ABSENT || listing == Listing::NOT_OPENED ? 0 : 1;
}
