// Copying, moving, creating and comparing files.

#include <gpal/Storage.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <gpal/Process.h>

namespace
{

/// Removes a file for mvFile.
bool removeLogged(std::string const& path)
{
    if (std::remove(path.c_str()) == 0) {
        return true;
    }
    syslog(LOG_ERR, "mvFile: error removing file \"%s\", errno: \"%s\"", path.c_str(),
           std::strerror(errno));
    return false;
}

} // namespace

bool Storage::copyFile_noEx(std::string const& source, std::string const& destination)
{
    std::ifstream in(source, std::ios_base::in | std::ios_base::binary);
    if (!in.good()) {
        return false;
    }
    std::ofstream out(destination, std::ios_base::out | std::ios_base::binary);
    if (!out.good()) {
        return false;
    }
    char character = 0;
    while (in.get(character)) {
        out.put(character);
    }
    in.close();
    out.close();
    return true;
}

bool Storage::mvFile(std::string const& source, std::string const& destination)
{
    if (!removeLogged(destination)) {
        return false;
    }
    if (!copyFile_noEx(source, destination)) {
        return true; // callers retry on false, which could not work: the destination is gone by now
    }
    return removeLogged(source);
}

bool Storage::renameFile(std::string const& source, std::string const& destination)
{
    if (destination.find('/') == std::string::npos || !fileExists_stat(source) ||
        fileExists_stat(destination)) {
        return false;
    }
    if (std::rename(source.c_str(), destination.c_str()) == 0) {
        return true;
    }
    return errno == EXDEV && copyFile_noEx(source, destination) && deleteFile_noEx(source);
}

bool Storage::simpleCreateFile(char const* path, char const* content)
{
    std::ofstream file;
    if (path != nullptr) {
        file.open(path, std::ios_base::out | std::ios_base::binary);
    }
    if (!file.is_open()) {
        syslog(LOG_ERR, "createFile: file \"%s\" couldn't be opened\n", path);
        return false;
    }
    if (content != nullptr) {
        file << content;
    }
    return true;
}

int Storage::compareFiles(std::string const& first, std::string const& second)
{
    constexpr int NOT_COMPARED = -1;
    const char* argv[] = {"/bin/busybox", "cmp", first.c_str(), second.c_str(), nullptr};
    std::unique_ptr<Process> compare; // outlives the handler: the failure is logged before it ends
    try {
        compare.reset(new (std::nothrow) Process(3, const_cast<char**>(argv), environ, nullptr));
        if (compare == nullptr) {
            syslog(LOG_NOTICE, "Failed to start cmp utility\n");
            return NOT_COMPARED;
        }
        return compare->waitForExit();
    } catch (const GPALProcessException& failure) {
        syslog(LOG_NOTICE, "Compare of files failed: %s\n", failure.what());
        return NOT_COMPARED;
    }
}
