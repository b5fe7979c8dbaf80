#include "private_root.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <unistd.h>

#include "support/private_mounts.h"

namespace fs = std::filesystem;

namespace
{

// The new root is put together where every machine has a directory.
const char* const PLACE = "/tmp";

std::string failed(const std::string& step)
{
    return step + ": " + std::strerror(errno);
}

/// Shows a file or directory of the old root under the same name in the new one.
bool show(const fs::path& entry)
{
    const fs::path shown = PLACE + entry.string();
    if (fs::is_symlink(entry)) {
        fs::copy_symlink(entry, shown);
        return true;
    }
    if (fs::is_directory(entry)) {
        fs::create_directory(shown);
    } else {
        std::ofstream(shown).flush();
    }
    return support::mountOver(entry.string(), shown.string());
}

/// Shows the place itself, which the descriptor \p place still reaches below the new root. The view
/// comes with all that is mounted in it, a copy of the new root on top, which is taken off again.
bool showPlace(int place)
{
    const std::string shown = std::string(PLACE) + PLACE;
    fs::create_directory(shown);
    return support::mountOver("/proc/self/fd/" + std::to_string(place), shown) &&
           umount2(shown.c_str(), MNT_DETACH) == 0;
}

bool showEverything(int place)
{
    for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
        if (entry.path() != PLACE && !show(entry.path())) {
            return false;
        }
    }
    return showPlace(place);
}

} // namespace

std::string enterPrivateRoot()
{
    std::string reason;
    if (!support::enterPrivateNamespaces(reason)) {
        return reason;
    }
    const fs::path directory = fs::current_path();
    const int place = open(PLACE, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (place == -1 || !support::mountTmpfs(PLACE, 1 << 20)) {
        return failed("a file system in memory");
    }
    const bool shown = showEverything(place);
    close(place);
    if (!shown) {
        return failed("showing the machine's files");
    }
    if (chroot(PLACE) != 0 || chdir(directory.c_str()) != 0) {
        return failed("changing the root");
    }
    return "";
}
