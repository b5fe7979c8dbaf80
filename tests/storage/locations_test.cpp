#include <gpal/Storage.h>

#include <cstdlib>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/temporary_directory.h"

TEST(StorageLocation, isTheVariablesValueDirectlyBeforeTheName)
{
    setenv("MIRTA_VOLATILE_LOCATION", "/mnt/flash", 1);
    unsetenv("MIRTA_PERSISTENT_LOCATION");
    EXPECT_EQ(Storage::prependWithVolatileStorageLocation("a.dat"), "/mnt/flasha.dat");
    EXPECT_EQ(Storage::prependWithPersistantStorageLocation("a.dat"), "./a.dat");
    EXPECT_EQ(Storage::getEnvLocation("MIRTA_VOLATILE_LOCATION", ""), "/mnt/flash");
}

TEST(StorageLocation, getsOneSlashAtItsEnd)
{
    EXPECT_EQ(Storage::addTrailingForwardSlash(""), "");
    EXPECT_EQ(Storage::addTrailingForwardSlash("/tmp"), "/tmp/");
    EXPECT_EQ(Storage::addTrailingForwardSlash("/tmp/"), "/tmp/");
}

TEST(StorageLocation, isTakenApartIntoFileAndName)
{
    std::string path = "/a/b/cfg.old.dat";
    std::string name;
    Storage::getStorageName(path, name);
    EXPECT_EQ(path, "cfg.old.dat");
    EXPECT_EQ(name, "cfg.old");
    path = "name";
    Storage::getStorageName(path, name);
    EXPECT_EQ(path, "name");
    EXPECT_EQ(name, "name");
}

TEST(DiskSpace, isLessTheReservesOnTheUserDiskOnly)
{
    const support::TemporaryDirectory directory;
    setenv("MIRTA_USER_DISK", "/elsewhere", 1);
    setenv("MIRTA_USER_DISK_RESERVED", " 1048576 bytes", 1);
    unsetenv("MIRTA_USER_DISK_RESERVED_WORKINGMEMORY");
    EXPECT_EQ(Storage::ReserveSize("/elsewhere/data"), 1048576);
    EXPECT_EQ(Storage::ReserveSize("/data/elsewhere"), 0);
    EXPECT_EQ(Storage::ReservedWorkingSpaceSize("/elsewhere"), 0);
    EXPECT_EQ(Storage::UserDiskSpace("/no/such/path"), -1);
    setenv("MIRTA_USER_DISK", "", 1);
    EXPECT_EQ(Storage::ReserveSize("any"), 1048576);
}

TEST(DiskSpace, needsTheUserDiskToBeNamed)
{
    unsetenv("MIRTA_USER_DISK");
    EXPECT_THROW(Storage::ReserveSize("/"), std::logic_error);
    EXPECT_THROW(Storage::ReservedWorkingSpaceSize("/"), std::logic_error);
    EXPECT_EQ(Storage::UserDiskSize("/no/such/path"), -1);
    EXPECT_EQ(Storage::checkDiskUsage("/no/such/path"), -1);
    EXPECT_EQ(Storage::checkDiskUsage("/proc"), -3);
}
