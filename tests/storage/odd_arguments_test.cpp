// Null, negative, zero, largest and otherwise odd arguments: a failure result, and no crash.
#include <gpal/BinaryStorage.h>
#include <gpal/FileHandle.h>
#include <gpal/FileManager.h>

#include <climits>
#include <gmock/gmock.h>
#include <syslog.h>

#include "storage/record_modes.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using testing::ElementsAre;

namespace
{

constexpr auto READ = std::ios_base::in | std::ios_base::binary;

/// What the calls are made with.
struct Place {
    support::TemporaryDirectory directory;
    std::string file = directory.file("file", "text\n");
    const std::string long_ = std::string(100000, 'x');
    const std::string null = std::string("a\0b", 3);
    Storage unnamed;
    Storage records;
    BinaryStorage binary;
    FileManager manager;
    char buffer[1024] = {};
    std::list<std::string> names;

    Place() { records.init(file.c_str(), READ, APPEND); }
};

struct Call {
    const char* name;
    std::function<bool(Place&)> holds;
};

void expectAll(const std::vector<Call>& table)
{
    for (const Call& call : table) {
        Place place;
        EXPECT_TRUE(call.holds(place)) << call.name;
        EXPECT_EQ(support::contentOf(place.file), "text\n") << call.name;
    }
}

constexpr auto ANY_KIND = static_cast<Storage::eDirReadType>(INT_MAX);
constexpr auto ANY_MODE = static_cast<Storage::eAccessMode>(INT_MIN);

} // namespace

TEST(OddArguments, ofRecordFilesFail)
{
    expectAll({
        {"init null", [](Place& p) { return p.unnamed.init(nullptr, READ, APPEND) == 1; }},
        {"no name, store", [](Place& p) { return p.unnamed.store("", p.buffer, 1) == 0; }},
        {"no name, retrieve", [](Place& p) { return p.unnamed.retrieve("", p.buffer) == 0; }},
        {"no name, writeBinary", [](Place& p) { return p.unnamed.writeBinary(p.buffer, 1) == 0; }},
        {"no name, readBinary", [](Place& p) { return p.unnamed.readBinary(p.buffer, 1) == 0; }},
        {"no name, clear", [](Place& p) { return p.unnamed.clear() == 0; }},
        {"no name, open", [](Place& p) { return !p.unnamed.openStorage(ANY_MODE); }},
        {"empty name",
         [](Place& p) {
             return p.unnamed.init("", READ, APPEND) == 1 && p.unnamed.store("", p.buffer, 1) == 0;
         }},
        {"no modes",
         [](Place& p) {
             return p.unnamed.init(p.file.c_str(), {}, {}) == 1 &&
                    p.unnamed.retrieve("", p.buffer) == 0;
         }},
        {"store null", [](Place& p) { return p.records.store(nullptr, nullptr, 4) == 0; }},
        {"store null, 0", [](Place& p) { return p.records.store(nullptr, nullptr, 0) == 0; }},
        {"store -1", [](Place& p) { return p.records.store("", p.buffer, -1) == 0; }},
        {"store INT_MIN", [](Place& p) { return p.records.store("", p.buffer, INT_MIN) == 0; }},
        {"writeBinary null", [](Place& p) { return p.records.writeBinary(nullptr, 4) == 0; }},
        {"writeBinary -1", [](Place& p) { return p.records.writeBinary(p.buffer, -1) == 0; }},
        {"writeBinary 0", [](Place& p) { return p.records.writeBinary(p.buffer, 0) == 0; }},
        {"writeBinary INT_MIN",
         [](Place& p) { return p.records.writeBinary(p.buffer, INT_MIN) == 0; }},
        {"retrieve null", [](Place& p) { return p.records.retrieve(nullptr, nullptr) == 0; }},
        {"readBinary null", [](Place& p) { return p.records.readBinary(nullptr, INT_MAX) == 0; }},
        {"readBinary -1", [](Place& p) { return p.records.readBinary(p.buffer, -1) == 0; }},
        {"readBinary 0", [](Place& p) { return p.records.readBinary(p.buffer, 0) == 0; }},
        {"findTag null", [](Place& p) { return p.records.findTag(nullptr) == 1; }},
    });
}

TEST(OddArguments, ofNegativeLengthLeaveTheRecordsAsTheyAre)
{
    Place place;
    place.directory.file("file", "one\ntwo\n");
    EXPECT_EQ(place.records.retrieve("", place.buffer), 3);
    EXPECT_EQ(place.records.readBinary(place.buffer, -1), 0);
    EXPECT_EQ(place.records.store("", place.buffer, -1), 0);
    EXPECT_EQ(place.records.writeBinary(place.buffer, -1), 0);
    EXPECT_EQ(place.records.retrieve("", place.buffer), 3);
    EXPECT_STREQ(place.buffer, "two") << "not from the start again";
}

TEST(OddArguments, ofBinaryFilesFail)
{
    const support::Captured console(1);
    expectAll({
        {"store to null", [](Place& p) { return p.binary.store(nullptr, p.buffer, 4U) == 0; }},
        {"store null", [](Place& p) { return p.binary.store(p.file.data(), nullptr, 4U) == 0; }},
        {"store null, 0", [](Place& p) { return p.binary.store(p.file.data(), nullptr, 0U) == 0; }},
        {"store null, largest",
         [](Place& p) { return p.binary.store(p.file.data(), nullptr, UINT_MAX) == 0; }},
        {"store 0", [](Place& p) { return p.binary.store(p.file.data(), p.buffer, 0U) == 0; }},
        {"retrieve from null",
         [](Place& p) { return p.binary.retrieve(nullptr, p.buffer, 4U) == 0; }},
        {"retrieve to null",
         [](Place& p) { return p.binary.retrieve(p.file.data(), nullptr, UINT_MAX) == 0; }},
        {"retrieve 0",
         [](Place& p) { return p.binary.retrieve(p.file.data(), p.buffer, 0U) == 0; }},
        {"clear null", [](Place& p) { return p.binary.clear(nullptr) == 0; }},
    });
    EXPECT_NE(console.text().find("cannot remove file (null), error :"), std::string::npos);
}

TEST(OddArguments, ofNamesAreTakenAsTheyAre)
{
    expectAll({
        {"variable null",
         [](Place&) { return Storage::getEnvLocation(nullptr, "file") == "./file"; }},
        {"variable empty", [](Place&) { return Storage::getEnvLocation("", "") == "./"; }},
        {"variable no name", [](Place&) { return Storage::getEnvLocation("a=b", "") == "./"; }},
        {"slash after nothing",
         [](Place&) { return Storage::addTrailingForwardSlash("").empty(); }},
        {"path and name in one",
         [](Place&) {
             std::string both = "/a/b/cfg.old.dat";
             Storage::getStorageName(both, both);
             return both == "cfg.old";
         }},
        {"path and name empty",
         [](Place&) {
             std::string path;
             std::string name = "old";
             Storage::getStorageName(path, name);
             return path.empty() && name.empty();
         }},
        {"path that ends in a slash",
         [](Place&) {
             std::string path = "/a/";
             std::string name = "old";
             Storage::getStorageName(path, name);
             return path.empty() && name.empty();
         }},
    });
}

TEST(OddArguments, ofFilesAndDirectoriesFail)
{
    setenv("MIRTA_USER_DISK", "/user", 1);
    expectAll({
        {"make too long", [](Place& p) { return !Storage::makeDirectory(p.long_ + "/", true); }},
        {"make slashes", [](Place&) { return makeDir("///", false) == 0; }},
        {"permissions of nothing", [](Place&) { return !Storage::changePermissions("", -1); }},
        {"link nothing", [](Place&) { return Storage::createSymlink("", "") == -1; }},
        {"exists nothing",
         [](Place& p) { return !Storage::fileExists("") && !Storage::fileExists_stat(p.long_); }},
        {"size of nothing", [](Place& p) { return Storage::fileSize(p.long_) == -1; }},
        {"time of nothing", [](Place&) { return Storage::getModificationTimeOfFile("") >= 0; }},
        {"space of nothing",
         [](Place&) {
             return Storage::AbsoluteDiskSpace("") == -1 && Storage::UserDiskSpace("") == -1 &&
                    Storage::AbsoluteDiskSize("") == -1 && Storage::UserDiskSize("") == -1 &&
                    Storage::checkDiskUsage("") == -1;
         }},
        {"reserve of nothing",
         [](Place&) {
             return Storage::ReserveSize("") == 0 && Storage::ReservedWorkingSpaceSize("") == 0;
         }},
        {"copy nothing", [](Place& p) { return !Storage::copyFile_noEx("", p.file); }},
        {"copy to nothing", [](Place& p) { return !Storage::copyFile_noEx(p.file, ""); }},
        {"move to nothing", [](Place& p) { return !Storage::mvFile(p.file, ""); }},
        {"rename to nothing", [](Place& p) { return !Storage::renameFile(p.file, ""); }},
        {"rename nothing", [](Place&) { return !Storage::renameFile("", "/"); }},
        {"create null", [](Place&) { return !Storage::simpleCreateFile(nullptr, nullptr); }},
        {"create nothing", [](Place&) { return !Storage::simpleCreateFile("", nullptr); }},
        {"delete nothing",
         [](Place&) {
             return !Storage::deleteFile_noEx("") && !Storage::deleteFile_noEx("", "") &&
                    !Storage::deleteDirectory("") && !Storage::deleteNonEmptyDirectory("");
         }},
        {"pack nothing",
         [](Place& p) { return !Storage::pack("", true, {p.null + "x"}, true, false); }},
        {"unpack nothing",
         [](Place&) { return !Storage::unpack("", true) && !Storage::unpackandunzip("", ""); }},
        {"handle of nothing", [](Place&) { return !FileHandle("", READ).isOpen(); }},
        {"handle without mode", [](Place& p) { return !FileHandle(p.file, {}).isOpen(); }},
        {"manager of nothing",
         [](Place& p) {
             return !p.manager.createFile("", "") && !p.manager.copyFile("", "") &&
                    !p.manager.moveFile("", "") && p.manager.deleteFile("") == -1 &&
                    !p.manager.doesExist("") && p.manager.size("") == -1 &&
                    !p.manager.isPrefix("", "");
         }},
    });
}

TEST(OddArguments, ofListsFail)
{
    expectAll({
        {"no list",
         [](Place&) {
             return Storage::getListOfElementsByDirectory_noEx("/", nullptr, ANY_KIND, true) ==
                        -1 &&
                    Storage::getListOfDirectoriesByDirectoryWithPath("/", nullptr) == -1 &&
                    Storage::getListOfDirectoriesByDirectoryNoPath("/", nullptr) == -1 &&
                    Storage::getListOfFilesByDirectoryNoPath("/", nullptr) == -1 &&
                    Storage::getListOfLinksByDirectory_noEx("/", nullptr, true) == -1 &&
                    Storage::getListOfFilesAndLinksByDirectory("/", nullptr, true) == -1 &&
                    Storage::getListOfCharacterDeviceByDirectory("/", nullptr) == 0;
         }},
        {"no directory",
         [](Place& p) { return Storage::getListOfFilesByDirectoryNoPath("", &p.names) == -1; }},
    });
}

TEST(OddArguments, thatAreElementsOfTheListToBeFilledAreReadFirst)
{
    const Place place;
    std::list<std::string> names{place.directory.path()};
    EXPECT_EQ(Storage::getListOfElementsByDirectory_noEx(names.front(), &names,
                                                         Storage::eDirReadFiles, true),
              0);
    EXPECT_THAT(names, ElementsAre(place.file));
    names = {place.directory.path()};
    EXPECT_EQ(Storage::getListOfCharacterDeviceByDirectory(names.front(), &names), 1);
    EXPECT_THAT(names, ElementsAre());
}

TEST(OddArguments, thatAreNullAreLoggedAsSuch)
{
    const support::RecordedLog log;
    EXPECT_FALSE(Storage::simpleCreateFile(nullptr, ""));
    EXPECT_THAT(log.lines(), ElementsAre(support::LogLine{
                                 LOG_ERR, "createFile: file \"(null)\" couldn't be opened\n"}));
}
