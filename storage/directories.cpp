#include <gpal/Storage.h>

#include <cstring>
#include <libgen.h>
#include <sys/stat.h>

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

/// The directory part, as `dirname` leaves it in the path it is given: it does not write into one
/// without '/', which is therefore a directory to be made itself.
std::string directoryPart(std::string path)
{
    dirname(path.data());
    path.resize(std::strlen(path.c_str()));
    return path;
}

} // namespace

int makeDir(std::string path, bool rootAccessOnly)
{
    const std::string directory = directoryPart(std::move(path));
    std::size_t end = 0;
    do {
        end = prefixEnd(directory, end);
        std::string prefix = directory;
        prefix.resize(end);
        struct stat existing {
        };
        if (stat(prefix.c_str(), &existing) != 0 &&
            mkdir(prefix.c_str(), rootAccessOnly ? ROOT_ONLY_MODE : SHARED_MODE) != 0) {
            return -1;
        }
    } while (end < directory.size());
    return 0;
}

bool Storage::makeDirectory(std::string const& path, bool rootAccessOnly)
{
    // What follows the last '/' is taken for a file. A path that ends in '/' gets a file name to
    // lose, and so does an empty one: clients rely on "file.tmp" being made for it.
    const bool namesDirectory = path.empty() || path.back() == '/';
    return ::makeDir(namesDirectory ? path + "file.tmp" : path, rootAccessOnly) == 0;
}

bool Storage::makeDir(std::string const& path)
{
    return makeDirectory(path, false);
}

bool Storage::makeRootAccessOnlyDir(std::string const& path)
{
    return makeDirectory(path, true);
}
