#include <gpal/Storage.h>

#include <cstring>
#include <libgen.h>
#include <new>
#include <sys/stat.h>
#include <utility>

namespace
{

constexpr mode_t ROOT_ONLY_MODE = 0700;
constexpr mode_t SHARED_MODE = 0775;

/// The end of the path's prefix after \p from: behind the next run of '/', or of the whole path.
std::size_t prefixEnd(const std::string& path, std::size_t from)
{
    const std::size_t end = path.find_first_not_of('/', path.find('/', from));
    return end == std::string::npos ? path.size() : end;
}

} // namespace

int makeDir(std::string path, bool rootAccessOnly)
{
    // What it leaves of the path counts, not what it returns: it does not write into a path without
    // '/', which is therefore a directory to be made itself.
    dirname(path.data());
    path.resize(std::strlen(path.c_str()));
    std::size_t end = 0;
    do {
        end = prefixEnd(path, end);
        const char next = std::exchange(path[end], '\0');
        struct stat existing {
        };
        if (stat(path.c_str(), &existing) != 0 &&
            mkdir(path.c_str(), rootAccessOnly ? ROOT_ONLY_MODE : SHARED_MODE) != 0) {
            return -1;
        }
        path[end] = next;
    } while (end < path.size());
    return 0;
}

bool Storage::makeDirectory(std::string const& path, bool rootAccessOnly)
try {
    // What follows the last '/' is taken for a file. A path that ends in '/' gets a file name to
    // lose, and so does an empty one: clients rely on "file.tmp" being made for it.
    const bool namesDirectory = path.empty() || path.back() == '/';
    return ::makeDir(namesDirectory ? path + "file.tmp" : path, rootAccessOnly) == 0;
} catch (const std::bad_alloc&) {
    return false;
}

bool Storage::makeDir(std::string const& path)
{
    return makeDirectory(path, false);
}

bool Storage::makeRootAccessOnlyDir(std::string const& path)
{
    return makeDirectory(path, true);
}
