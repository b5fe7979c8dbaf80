#include <gpal/BinaryStorage.h>
#include <gpal/Storage.h>

#include <memory>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/observed.h"
#include "support/slots.h"
#include "support/temporary_directory.h"

using support::openDescriptors;
using support::slot;

namespace
{

constexpr auto TO_READ = std::ios_base::in;
constexpr auto TO_WRITE = std::ios_base::out | std::ios_base::app;

// Places of the virtual functions, the destructor first.
constexpr int DESTROYING = 0;
constexpr int DELETING = 1;
constexpr int ALL = 7;

static_assert(std::is_abstract_v<StorageInterface>);
static_assert(std::has_virtual_destructor_v<StorageInterface>);
static_assert(std::is_convertible_v<Storage*, StorageInterface*>);
static_assert(std::is_convertible_v<BinaryStorage*, Storage*>);
static_assert(sizeof(StorageInterface) == sizeof(void*), "it has no data");

// How clients pass their arguments, which is part of the names that they link against.
static_assert(std::is_same_v<decltype(&Storage::fileSize), int (*)(std::string)>);
static_assert(std::is_same_v<decltype(&Storage::checkDiskUsage), int (*)(std::string)>);
static_assert(
    std::is_same_v<decltype(&Storage::getStorageName), void (*)(std::string&, std::string&)>);
static_assert(
    std::is_same_v<decltype(&Storage::makeDirectory), bool (*)(std::string const&, bool)>);
static_assert(std::is_same_v<decltype(&makeDir), int (*)(std::string, bool)>);
static_assert(
    std::is_same_v<decltype(&Storage::pack),
                   bool (*)(std::string const&, bool, std::list<std::string>, bool, bool)>);
static_assert(std::is_same_v<decltype(&Storage::packRelativeFiles),
                             bool (*)(std::string const&, std::list<std::string>)>);

class StorageObject : public testing::Test
{
protected:
    support::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path("records");
    char m_record[4] = "abc";
    char m_buffer[1024] = {};
};

} // namespace

TEST_F(StorageObject, isUsedThroughTheInterface)
{
    StorageInterface* storage = new Storage;
    EXPECT_EQ(storage->init(m_file.c_str(), TO_READ, TO_WRITE), 1);
    EXPECT_EQ(storage->store("key", m_record, 3), 3);
    storage->shutdown();
    EXPECT_EQ(support::contentOf(m_file), "abc\n");
    EXPECT_EQ(storage->retrieve("key", m_buffer), 3);
    EXPECT_STREQ(m_buffer, "abc");
    EXPECT_EQ(storage->clear(), 1);
    EXPECT_EQ(support::contentOf(m_file), "");
    delete storage;
}

TEST_F(StorageObject, canBeAClientsOwn)
{
    struct Kept : StorageInterface {
        explicit Kept(bool& isGone) : m_isGone(isGone) {}
        ~Kept() override { m_isGone = true; }
        int init(char const*, std::ios_base::openmode, std::ios_base::openmode) override
        {
            return 1;
        }
        int store(char const*, char*, int length) override { return length; }
        int retrieve(char const*, char*) override { return 0; }
        int clear() override { return 1; }
        void shutdown() override {}
        bool& m_isGone;
    };
    bool isGone = false;
    StorageInterface* storage = new Kept(isGone);
    EXPECT_EQ(storage->store("key", m_record, 3), 3);
    delete storage;
    EXPECT_TRUE(isGone);
}

TEST_F(StorageObject, ofBytesOverridesTheDestructorOnly)
{
    const Storage records;
    const BinaryStorage bytes;
    EXPECT_NE(slot(&records, DESTROYING), slot(&bytes, DESTROYING));
    EXPECT_NE(slot(&records, DELETING), slot(&bytes, DELETING));
    for (int same = DELETING + 1; same < ALL; ++same) {
        EXPECT_EQ(slot(&records, same), slot(&bytes, same)) << same;
    }
}

TEST_F(StorageObject, opensNothingUntilItIsUsed)
{
    const auto before = openDescriptors();
    Storage storage;
    EXPECT_EQ(storage.init(m_file.c_str(), TO_READ, TO_WRITE), 1);
    EXPECT_EQ(storage.init(nullptr, TO_READ, TO_WRITE), 1);
    EXPECT_EQ(storage.init(m_directory.path("missing/file").c_str(), TO_READ, TO_WRITE), 1);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(support::exists(m_file));
}

TEST_F(StorageObject, closesItsFileWhenShutDown)
{
    const auto before = openDescriptors();
    Storage storage;
    storage.shutdown();
    storage.init(m_file.c_str(), TO_READ, TO_WRITE);
    EXPECT_EQ(storage.store("key", m_record, 3), 3);
    EXPECT_NE(openDescriptors(), before);
    storage.shutdown();
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(support::contentOf(m_file), "abc\n");
    storage.shutdown();
}

TEST_F(StorageObject, closesItsFileWhenItGoes)
{
    const auto before = openDescriptors();
    {
        const std::unique_ptr<StorageInterface> storage = std::make_unique<Storage>();
        storage->init(m_file.c_str(), TO_READ, TO_WRITE);
        EXPECT_EQ(storage->store("key", m_record, 3), 3);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(support::contentOf(m_file), "abc\n");
}

TEST_F(StorageObject, saysNothingOfAFileThatCannotBeClosedWell)
{
    if (!support::exists("/dev/full")) {
        GTEST_SKIP() << "no /dev/full";
    }
    const auto before = openDescriptors();
    {
        const support::RecordedLog log;
        const support::Captured output(1);
        const support::Captured error(2);
        Storage storage;
        storage.init("/dev/full", TO_READ, TO_WRITE);
        EXPECT_EQ(storage.store("key", m_record, 3), 3) << "it is in the buffer";
        storage.shutdown();
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(output.text() + error.text(), "");
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(StorageObject, hasConstantsForAnswers)
{
    char tag[] = "tag";
    Storage storage;
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(storage.storageExists());
        EXPECT_EQ(storage.storageType(), 1);
        EXPECT_EQ(storage.findTag(tag), 1);
        EXPECT_EQ(storage.findTag(nullptr), 1);
        storage.init(m_file.c_str(), TO_READ, TO_WRITE);
        storage.store("key", m_record, 3);
    }
    EXPECT_STREQ(tag, "tag");
}

TEST_F(StorageObject, synchronisesAllDisks)
{
    int synchronised = 0;
    const support::Replacement sync(support::calls::sync, [&] { ++synchronised; });
    Storage storage;
    storage.synchronizeStorage();
    EXPECT_EQ(synchronised, 1);
}

TEST_F(StorageObject, numbersItsDirections)
{
    EXPECT_EQ(Storage::eAccessRead, 0);
    EXPECT_EQ(Storage::eAccessWrite, 1);
}
