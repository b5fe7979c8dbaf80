// Files, directories, archives, records.
#include <gpal/gpal.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "faults/scenario.h"

namespace faults
{
namespace
{

void write(const std::string& path, const std::string& content)
{
    std::ofstream(path) << content;
}

void emptyFolder(const Place& place)
{
    std::filesystem::create_directory(place.file("folder"));
    for (const auto& entry : std::filesystem::directory_iterator(place.file("folder"))) {
        std::filesystem::remove_all(entry);
    }
    write(place.file("folder/one"), "the first");
    write(place.file("folder/two"), std::string(20000, '2'));
}

bool copy(const Place& place)
{
    const std::string one = place.file("folder/one");
    const std::string two = place.file("folder/two");
    const std::string three = place.file("folder/three");
    const std::string four = place.file("folder/four");
    FileManager files;
    return Storage::copyFile_noEx(two, three) && Storage::fileSize(three) == 20000 &&
           Storage::mvFile(two, three) && files.copyFile(one, four) && files.size(four) == 9 &&
           files.isPrefix(one, four) && files.moveFile(four, two) &&
           Storage::renameFile(two, four) && files.createFile(two, "content") &&
           Storage::simpleCreateFile(one.c_str(), "content") && files.doesExist(two) &&
           files.deleteFile(two) == 0;
}

bool compare(const Place& place)
{
    return Storage::compareFiles(place.file("folder/one"), place.file("folder/one")) == 0;
}

bool pack(const Place& place)
{
    const std::list<std::string> files{place.file("folder/one"), place.file("folder/two")};
    const std::string archive = place.file("folder/one");
    return Storage::pack(archive, true, files, true, true) &&
           Storage::packRelativeFiles(archive, files) && Storage::unpack(archive, false) &&
           Storage::unpackandunzip(archive, place.directory);
}

bool list(const Place& place)
{
    const std::string folder = place.file("folder");
    const std::string below = place.file("folder/a/b/");
    std::list<std::string> found;
    const bool made = Storage::makeDir(below) &&
                      Storage::simpleCreateFile((below + "f").c_str(), "") &&
                      Storage::createSymlink(folder, place.file("folder/link")) == 0 &&
                      Storage::changePermissions(folder, 0755);
    const bool listed =
        Storage::getListOfFilesByDirectoryNoPath(folder, &found) == 0 && found.size() == 2 &&
        Storage::getListOfDirectoriesByDirectoryWithPath(folder, &found) == 0 &&
        found.size() == 1 && Storage::getListOfLinksByDirectory_noEx(folder, &found, true) == 0 &&
        found.size() == 1 && Storage::getListOfCharacterDeviceByDirectory(folder, &found) == 1;
    return made && listed && Storage::AbsoluteDiskSize(folder) != -1 &&
           Storage::deleteNonEmptyDirectory(place.file("folder/a")) &&
           !Storage::fileExists_stat(place.file("folder/a"));
}

bool storeAndRetrieve(const Place& place)
{
    const std::string name = place.file("folder/records");
    std::string path = place.file("folder/binary");
    char data[] = "a record";
    char buffer[1024] = "";
    Storage storage;
    storage.init(name.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::app);
    bool well = storage.clear() == 1 && storage.store("", data, 8) == 8;
    storage.shutdown();
    well = well && storage.retrieve("", buffer) == 8 && std::strcmp(buffer, data) == 0;
    storage.shutdown();
    BinaryStorage binary;
    return well && binary.store(path.data(), data, 8) == 8 &&
           binary.retrieve(path.data(), buffer, 8) == 8 && binary.clear(path.data()) == 1;
}

bool capture(const Place& place)
{
    std::string name = place.file("folder/capture");
    char payload[] = "a datagram";
    char buffer[64] = "";
    t_packet_dump_type type = PACKET_DUMP_OTHER;
    {
        packet_dump writer(name.data());
        if (writer.write(payload, 10, PACKET_DUMP_UDP) != 10 ||
            writer.write(payload, 10, PACKET_DUMP_TCP_FORWARD) != 10) {
            return false;
        }
    }
    packet_dump reader(name.data());
    return reader.read(buffer, sizeof buffer, &type) == 10 && std::strcmp(buffer, payload) == 0 &&
           type == PACKET_DUMP_UDP && reader.read(buffer, sizeof buffer, &type) == 0 &&
           reader.read(buffer, sizeof buffer, &type) == -1;
}

} // namespace

const std::vector<Scenario> FILE_SCENARIOS{
    {"copy", copy, emptyFolder},
    {"compare", compare, emptyFolder},
    {"pack", pack, emptyFolder},
    {"list", list, emptyFolder},
    {"store and retrieve", storeAndRetrieve, emptyFolder},
    {"capture", capture, emptyFolder},
};

} // namespace faults
