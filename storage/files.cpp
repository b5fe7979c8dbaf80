#include <gpal/Storage.h>

#include <sys/stat.h>
#include <unistd.h>

bool Storage::changePermissions(std::string const& path, int mode)
{
    return fileExists_stat(path) && chmod(path.c_str(), static_cast<mode_t>(mode)) == 0;
}

int Storage::createSymlink(std::string const& target, std::string const& linkPath)
{
    return symlink(target.c_str(), linkPath.c_str());
}

bool Storage::fileExists(std::string const& path)
{
    return access(path.c_str(), F_OK) == 0;
}

bool Storage::fileExists_stat(std::string const& path)
{
    struct stat file {
    };
    return stat(path.c_str(), &file) == 0;
}

int Storage::fileSize(std::string path)
{
    struct stat file {
    };
    return stat(path.c_str(), &file) == 0 ? static_cast<int>(file.st_size) : -1;
}

time_t Storage::getModificationTimeOfFile(std::string const& path)
{
    struct stat file {
    };
    stat(path.c_str(), &file); // callers have tested that the file is there
    return file.st_mtime;
}
