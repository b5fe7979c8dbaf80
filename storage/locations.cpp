#include <gpal/Storage.h>

#include <cstdlib>

std::string Storage::getEnvLocation(char const* name, std::string const& suffix)
{
    const char* location = name == nullptr ? nullptr : std::getenv(name);
    return (location == nullptr ? "./" : location) + suffix;
}

std::string Storage::prependWithVolatileStorageLocation(std::string const& file)
{
    return getEnvLocation("MIRTA_VOLATILE_LOCATION", file);
}

std::string Storage::prependWithPersistantStorageLocation(std::string const& file)
{
    return getEnvLocation("MIRTA_PERSISTENT_LOCATION", file);
}

std::string Storage::addTrailingForwardSlash(std::string const& path)
{
    return path.empty() || path.back() == '/' ? path : path + '/';
}

void Storage::getStorageName(std::string& path, std::string& name)
{
    path.erase(0, path.rfind('/') + 1); // nothing without a '/': the position wraps to 0
    name = path.substr(0, path.rfind('.'));
}
