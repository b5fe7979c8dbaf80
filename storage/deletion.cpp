#include <gpal/Storage.h>

#include <cstdio>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

/// Whether an entry is there, a link counting as itself.
bool isEntry(std::string const& path)
{
    struct stat entry {
    };
    return lstat(path.c_str(), &entry) == 0;
}

} // namespace

bool Storage::deleteFile_noEx(std::string const& path)
{
    return isEntry(path) && unlink(path.c_str()) == 0;
}

bool Storage::deleteFile_noEx(std::string const& directory, std::string const& name)
try {
    std::string path = addTrailingForwardSlash(directory);
    return isEntry(path) && deleteFile_noEx(path += name);
} catch (const std::bad_alloc&) {
    return false;
}

bool Storage::deleteDirectory(std::string const& path)
{
    return fileExists_stat(path) && std::remove(path.c_str()) == 0;
}

/// Links and special files are left in place on purpose, as the interface says.
bool Storage::deleteNonEmptyDirectory(std::string const& path)
try {
    if (!fileExists_stat(path)) {
        return false;
    }
    std::list<std::string> entries;
    getListOfElementsByDirectory_noEx(path, &entries, eDirReadFiles, true);
    for (const std::string& file : entries) {
        deleteFile_noEx(file);
    }
    entries.clear(); // a listing that fails leaves its list as it is
    getListOfDirectoriesByDirectoryWithPath(path, &entries);
    for (const std::string& directory : entries) {
        deleteNonEmptyDirectory(directory);
    }
    deleteDirectory(path);
    return true;
} catch (const std::bad_alloc&) {
    return true;
}
