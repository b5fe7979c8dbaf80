#include <gpal/Storage.h>

#include <cstdlib>

std::string Storage::getEnvLocation(char const* name, std::string const& suffix)
{
    const char* location = name == nullptr ? nullptr : std::getenv(name);
    std::string result = location == nullptr ? "./" : location;
    return result += suffix;
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
    std::string result = path;
    if (!path.empty() && path.back() != '/') {
        result += "/";
    }
    return result;
}

void Storage::getStorageName(std::string& path, std::string& name)
{
    path.erase(0, path.rfind('/') + 1); // nothing without a '/': the position wraps to 0
    name = path;
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos) {
        name.resize(dot);
    }
}
