/// \file
/// What a test puts in place of the system's files for a while.
#ifndef GPAL_TESTS_SUPPORT_TEMPORARY_MOUNTS_H
#define GPAL_TESTS_SUPPORT_TEMPORARY_MOUNTS_H

#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>

#include "support/private_mounts.h"

namespace support
{

/// Shows a file or directory in place of another while it lives. For a process in private
/// namespaces.
class ShownInPlace
{
public:
    ShownInPlace(const std::string& source, const std::string& target) : m_target(target)
    {
        EXPECT_TRUE(mountOver(source, target)) << target;
    }
    ShownInPlace(const ShownInPlace&) = delete;
    ShownInPlace& operator=(const ShownInPlace&) = delete;
    ~ShownInPlace() { umount2(m_target.c_str(), MNT_DETACH); }

private:
    std::string m_target;
};

/// Shows an empty directory in memory in place of another while it lives.
class EmptyInPlace
{
public:
    explicit EmptyInPlace(const std::string& target) : m_target(target)
    {
        EXPECT_TRUE(mountTmpfs(target, 1 << 20)) << target;
    }
    EmptyInPlace(const EmptyInPlace&) = delete;
    EmptyInPlace& operator=(const EmptyInPlace&) = delete;
    ~EmptyInPlace() { umount2(m_target.c_str(), MNT_DETACH); }

private:
    std::string m_target;
};

} // namespace support

#endif
