#include <gpal/Storage.h>

#include <cstdlib>

#include <gtest/gtest.h>

namespace
{

std::string fileOf(std::string path)
{
    std::string name;
    Storage::getStorageName(path, name);
    return path;
}

std::string nameOf(std::string path)
{
    std::string name = "old";
    Storage::getStorageName(path, name);
    return name;
}

} // namespace

TEST(StorageLocation, isTheVariablesValueDirectlyBeforeTheName)
{
    setenv("GPAL_TEST_LOCATION", "/mnt/flash", 1);
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", "a.dat"), "/mnt/flasha.dat");
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", "/a.dat"), "/mnt/flash/a.dat");
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", ""), "/mnt/flash");
    setenv("GPAL_TEST_LOCATION", "", 1);
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", "a.dat"), "a.dat");
}

TEST(StorageLocation, isTheWorkingDirectoryWithoutTheVariable)
{
    unsetenv("GPAL_TEST_LOCATION");
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", "a.dat"), "./a.dat");
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", ""), "./");
    EXPECT_EQ(Storage::getEnvLocation(nullptr, "a.dat"), "./a.dat");
}

TEST(StorageLocation, isReadAnewOnEveryCall)
{
    setenv("GPAL_TEST_LOCATION", "/one/", 1);
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", "a"), "/one/a");
    setenv("GPAL_TEST_LOCATION", "/two/", 1);
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", "a"), "/two/a");
    unsetenv("GPAL_TEST_LOCATION");
    EXPECT_EQ(Storage::getEnvLocation("GPAL_TEST_LOCATION", "a"), "./a");
}

TEST(StorageLocation, ofVolatileDataIsNamedByAVariableOfItsOwn)
{
    setenv("MIRTA_VOLATILE_LOCATION", "/mnt/ram/", 1);
    unsetenv("MIRTA_PERSISTENT_LOCATION");
    EXPECT_EQ(Storage::prependWithVolatileStorageLocation("a.dat"), "/mnt/ram/a.dat");
    EXPECT_EQ(Storage::prependWithPersistantStorageLocation("a.dat"), "./a.dat");
}

TEST(StorageLocation, ofPersistentDataIsNamedByAVariableOfItsOwn)
{
    unsetenv("MIRTA_VOLATILE_LOCATION");
    setenv("MIRTA_PERSISTENT_LOCATION", "/mnt/flash/", 1);
    EXPECT_EQ(Storage::prependWithVolatileStorageLocation("a.dat"), "./a.dat");
    EXPECT_EQ(Storage::prependWithPersistantStorageLocation("a.dat"), "/mnt/flash/a.dat");
}

TEST(StorageLocation, getsASlashAtItsEndUnlessItHasOneOrIsEmpty)
{
    EXPECT_EQ(Storage::addTrailingForwardSlash(""), "");
    EXPECT_EQ(Storage::addTrailingForwardSlash("/tmp"), "/tmp/");
    EXPECT_EQ(Storage::addTrailingForwardSlash("/tmp/"), "/tmp/");
    EXPECT_EQ(Storage::addTrailingForwardSlash("/tmp//"), "/tmp//");
    EXPECT_EQ(Storage::addTrailingForwardSlash("/"), "/");
    EXPECT_EQ(Storage::addTrailingForwardSlash("tmp"), "tmp/");
}

TEST(StorageName, ofAPathIsWhatFollowsTheLastSlash)
{
    EXPECT_EQ(fileOf("/a/b/cfg.old.dat"), "cfg.old.dat");
    EXPECT_EQ(fileOf("a.d/cfg"), "cfg");
    EXPECT_EQ(fileOf("/cfg"), "cfg");
    EXPECT_EQ(fileOf("/a/b/"), "");
    EXPECT_EQ(fileOf("name"), "name");
    EXPECT_EQ(fileOf(""), "");
}

TEST(StorageName, goesUpToTheLastDotOfTheFile)
{
    EXPECT_EQ(nameOf("/a/b/cfg.old.dat"), "cfg.old");
    EXPECT_EQ(nameOf("a.d/cfg"), "cfg");
    EXPECT_EQ(nameOf("cfg."), "cfg");
    EXPECT_EQ(nameOf("/a/.profile"), "");
    EXPECT_EQ(nameOf("/a.d/"), "");
    EXPECT_EQ(nameOf("name"), "name");
    EXPECT_EQ(nameOf(""), "");
}
