#include "support/private_mounts.h"

#include <cerrno>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>

namespace support
{

bool enterPrivateNamespaces(std::string& reason)
{
    if (unshare(CLONE_NEWNS | CLONE_NEWIPC) != 0) {
        reason = std::string("unshare: ") + std::strerror(errno);
        return false;
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        reason = std::string("mount --make-rprivate /: ") + std::strerror(errno);
        return false;
    }
    return true;
}

bool mountTmpfs(const std::string& path, unsigned long long bytes)
{
    const std::string options = "size=" + std::to_string(bytes);
    return mount("tmpfs", path.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

bool mountOver(const std::string& source, const std::string& target)
{
    return mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

} // namespace support
