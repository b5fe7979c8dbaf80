// Copying, moving, creating and comparing files.

#include <gpal/Storage.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cxxabi.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <gpal/Process.h>

#include "base/closing.h"
#include "base/errno_kept.h"
#include "cancelled.h"

using gpal::detail::cancellably;
using gpal::detail::ClosingBuffer;
using gpal::detail::DestroyedIfCancelled;
using gpal::detail::ErrnoKept;

namespace
{

/// Removes a file for mvFile.
bool removeLogged(std::string const& path)
{
    if (std::remove(path.c_str()) == 0) {
        return true;
    }
    const ErrnoKept ofRemoving;
    syslog(LOG_ERR, "mvFile: error removing file \"%s\", errno: \"%s\"", path.c_str(),
           std::strerror(errno));
    return false;
}

/// Logs why two files were not compared, before a child that was started is ended.
int notCompared(std::unique_ptr<Process>& compare, const char* format, const char* reason)
{
    const ErrnoKept ofTheFailure;
    syslog(LOG_NOTICE, format, reason);
    compare.reset();
    return -1;
}

} // namespace

bool Storage::copyFile_noEx(std::string const& source, std::string const& destination)
try {
    std::ifstream in;
    std::ofstream out;
    const ClosingBuffer closingIn(in.rdbuf());
    const DestroyedIfCancelled inWhenCancelled(closingIn);
    const ClosingBuffer closingOut(out.rdbuf());
    const DestroyedIfCancelled outWhenCancelled(closingOut);
    return cancellably([&] {
        in.open(source.c_str(), std::ios_base::in | std::ios_base::binary);
        if (!in.good()) {
            return false;
        }
        out.open(destination.c_str(), std::ios_base::out | std::ios_base::binary);
        if (!out.good()) {
            return false;
        }
        char character = 0;
        while (in.get(character)) {
            out.put(character);
        }
        // Who waits for the destination's closing may take the source away then.
        gpal::detail::DropAndClose()(in.rdbuf());
        out.rdbuf()->pubsync();
        return true;
    });
} catch (const std::bad_alloc&) {
    return false;
}

bool Storage::mvFile(std::string const& source, std::string const& destination)
{
    if (!removeLogged(destination)) {
        return false;
    }
    if (!copyFile_noEx(source, destination)) {
        return true; // clients rely on this result: the destination is gone, and false means it
                     // stays
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
    const ClosingBuffer closing(file.rdbuf());
    const DestroyedIfCancelled whenCancelled(closing);
    bool opened = false;
    try {
        opened = path != nullptr && cancellably([&] {
                     file.open(path, std::ios_base::out | std::ios_base::binary);
                     if (!file.is_open()) {
                         return false;
                     }
                     if (content != nullptr) {
                         file.write(content, static_cast<std::streamsize>(std::strlen(content)));
                     }
                     file.rdbuf()->pubsync();
                     return true;
                 });
    } catch (const std::bad_alloc&) {
    }
    if (!opened) {
        const ErrnoKept ofOpening;
        syslog(LOG_ERR, "createFile: file \"%s\" couldn't be opened\n",
               path == nullptr ? "(null)" : path);
    }
    return opened;
}

// Cancellation comes as an exception without an object, which the sanitizer would take the first
// handler's reference to miss.
__attribute__((no_sanitize("null"))) int Storage::compareFiles(std::string const& first,
                                                               std::string const& second)
{
    const char* argv[] = {"/bin/busybox", "cmp", first.c_str(), second.c_str(), nullptr};
    const char* const notStarted = "Failed to start cmp utility\n";
    std::unique_ptr<Process> compare;
    const DestroyedIfCancelled whenCancelled(compare);
    try {
        compare.reset(new (std::nothrow) Process(3, const_cast<char**>(argv), environ, nullptr));
        return compare == nullptr ? notCompared(compare, notStarted, "") : compare->waitForExit();
    } catch (const abi::__forced_unwind&) {
        throw; // a cancelled caller goes its way
    } catch (const GPALProcessException& failure) {
        return notCompared(compare, "Compare of files failed: %s\n", failure.what());
    } catch (...) {
        return notCompared(compare, notStarted, ""); // out of memory, or of the process manager
    }
}
