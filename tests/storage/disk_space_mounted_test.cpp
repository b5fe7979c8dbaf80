#include <gpal/Storage.h>

#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include "support/private_mounts.h"
#include "support/temporary_directory.h"

namespace
{

constexpr int MEBIBYTE = 1024 * 1024;
constexpr unsigned long long GIBIBYTE = 1024ULL * MEBIBYTE;

/// A file system of the test's own, mounted on `m_disk`.
class MountedDisk : public testing::Test
{
protected:
    MountedDisk() { std::filesystem::create_directory(m_disk); }
    ~MountedDisk() override
    {
        if (m_isMounted) {
            umount(m_disk.c_str());
        }
    }

    bool mountTmpfs(unsigned long long bytes)
    {
        m_isMounted = support::mountTmpfs(m_disk, bytes);
        return m_isMounted;
    }

    static bool run(const std::string& command)
    {
        return std::system((command + " > /dev/null 2>&1").c_str()) == 0;
    }

    /// Mounts an ext4 of 16 MiB, a tenth of it for the super-user alone. Returns why not.
    std::string mountExt4()
    {
        const std::string image = m_directory.file("image", "");
        std::filesystem::resize_file(image, 16 * MEBIBYTE);
        if (!run("mkfs.ext4 -q -F -m 10 -b 1024 " + image)) {
            return "no mkfs.ext4";
        }
        m_isMounted = run("mount -o loop " + image + " " + m_disk);
        return m_isMounted ? "" : "no loop device, or no ext4";
    }

    /// Writes a file of \p bytes, or as far as there is room.
    void fill(const std::string& name, std::size_t bytes) const
    {
        std::ofstream(m_disk + "/" + name) << std::string(bytes, 'x');
    }

    support::TemporaryDirectory m_directory;
    const std::string m_disk = m_directory.path("disk");

private:
    bool m_isMounted = false;
};

} // namespace

TEST_F(MountedDisk, isMeasuredWhileItFills)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    ASSERT_TRUE(mountTmpfs(4 * MEBIBYTE));
    EXPECT_EQ(Storage::AbsoluteDiskSpace(m_disk), 4 * MEBIBYTE);
    EXPECT_EQ(Storage::AbsoluteDiskSize(m_disk), 4 * MEBIBYTE);
    EXPECT_EQ(Storage::checkDiskUsage(m_disk), 0);
    fill("quarter", MEBIBYTE);
    EXPECT_EQ(Storage::AbsoluteDiskSpace(m_disk), 3 * MEBIBYTE);
    EXPECT_EQ(Storage::AbsoluteDiskSize(m_disk), 4 * MEBIBYTE);
    EXPECT_EQ(Storage::checkDiskUsage(m_disk), 25);
    EXPECT_EQ(Storage::checkDiskUsage(m_disk + "/quarter"), 25) << "any path on it will do";
    fill("rest", 4 * MEBIBYTE);
    EXPECT_EQ(Storage::AbsoluteDiskSpace(m_disk), 0);
    EXPECT_EQ(Storage::checkDiskUsage(m_disk), 100);
}

TEST_F(MountedDisk, keepsItsReserves)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    ASSERT_TRUE(mountTmpfs(4 * MEBIBYTE));
    setenv("MIRTA_USER_DISK", m_disk.c_str(), 1);
    setenv("MIRTA_USER_DISK_RESERVED", "1048576", 1);
    setenv("MIRTA_USER_DISK_RESERVED_WORKINGMEMORY", "524288", 1);
    fill("file", MEBIBYTE);
    EXPECT_EQ(Storage::UserDiskSpace(m_disk), 3 * MEBIBYTE / 2);
    EXPECT_EQ(Storage::UserDiskSize(m_disk), 5 * MEBIBYTE / 2);
    fill("more", 2 * MEBIBYTE);
    EXPECT_EQ(Storage::UserDiskSpace(m_disk), 0);
}

TEST_F(MountedDisk, ofMoreThanTwoGibibytesHasANegativeFigure)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    ASSERT_TRUE(mountTmpfs(3 * GIBIBYTE));
    unsetenv("MIRTA_USER_DISK");
    EXPECT_EQ(Storage::AbsoluteDiskSpace(m_disk), -1073741824);
    EXPECT_EQ(Storage::AbsoluteDiskSize(m_disk), -1073741824);
    EXPECT_EQ(Storage::UserDiskSpace(m_disk), -1073741824);
    EXPECT_EQ(Storage::checkDiskUsage(m_disk), 0);
}

TEST_F(MountedDisk, doesNotCountTheSuperUsersPart)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const std::string whyNot = mountExt4();
    if (!whyNot.empty()) {
        GTEST_SKIP() << whyNot;
    }
    struct statvfs figures {
    };
    ASSERT_EQ(statvfs(m_disk.c_str(), &figures), 0);
    ASSERT_GT(figures.f_bfree, figures.f_bavail + figures.f_blocks / 20);
    const auto used = figures.f_blocks - figures.f_bfree;
    EXPECT_EQ(static_cast<unsigned>(Storage::AbsoluteDiskSpace(m_disk)),
              figures.f_bavail * figures.f_frsize);
    EXPECT_EQ(static_cast<unsigned>(Storage::AbsoluteDiskSize(m_disk)),
              (used + figures.f_bavail) * figures.f_frsize);
    fill("into the super-user's part", 15 * MEBIBYTE);
    EXPECT_EQ(Storage::AbsoluteDiskSpace(m_disk), 0);
    EXPECT_EQ(Storage::checkDiskUsage(m_disk), 100);
}

TEST(UnreadableDisk, hasNoFigures)
{
    EXPECT_EQ(Storage::AbsoluteDiskSpace("/no/such/path"), -1);
    EXPECT_EQ(Storage::AbsoluteDiskSize("/no/such/path"), -1);
    EXPECT_EQ(Storage::checkDiskUsage("/no/such/path"), -1);
    EXPECT_EQ(Storage::checkDiskUsage("/proc"), -3) << "a file system without blocks";
}
