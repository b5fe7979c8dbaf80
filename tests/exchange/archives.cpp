// Archives: whichever tar packed them, the other one unpacks the same files.
#include <gpal/Storage.h>

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "exchange.h"
#include "support/temporary_directory.h"

namespace exchange
{

namespace
{

constexpr int MODE = 0640;

const std::string LINK_TARGET = "text";

void put(const std::string& file, const std::string& content)
{
    expect(Storage::simpleCreateFile(file.c_str(), ""), file + " is made");
    Storage storage;
    storage.init(file.c_str(), std::ios_base::in, std::ios_base::out | std::ios_base::binary);
    const int length = static_cast<int>(content.size());
    std::string copy = content;
    expect(storage.writeBinary(copy.data(), length) == length, file + " is filled");
}

/// The files in \p folder are those that were packed.
void checkFiles(const std::string& folder)
{
    expect(support::contentOf(folder + "/text") == "a line\n", "the text is unpacked");
    expect(support::contentOf(folder + "/bytes") == bytes(100000), "the bytes are unpacked");
    expect(Storage::fileSize(folder + "/empty") == 0, "the empty file is unpacked");
    struct stat text {
    };
    expect(stat((folder + "/text").c_str(), &text) == 0 && (text.st_mode & 07777) == MODE,
           "the text has its mode");
}

} // namespace

void writeArchives(const std::string& folder)
{
    const std::string files = folder + "/files";
    expect(Storage::makeDir(files + "/"), "the folder is made");
    put(files + "/text", "a line\n");
    put(files + "/bytes", bytes(100000));
    put(files + "/empty", "");
    expect(Storage::changePermissions(files + "/text", MODE), "the text gets its mode");
    expect(Storage::createSymlink(LINK_TARGET, files + "/link") == 0, "the link is made");

    expect(Storage::packRelativeFiles(folder + "/relative.tar.gz",
                                      {files + "/text", files + "/bytes", files + "/empty"}),
           "the files of a folder are packed");
    expect(chdir(folder.c_str()) == 0, "the folder is there");
    const std::list<std::string> all{"files/text", "files/bytes", "files/empty", "files/link"};
    expect(Storage::pack("withLink.tar.gz", true, all, true, false), "a link is packed");
    expect(Storage::pack("withoutLink.tar.gz", false, all, true, true), "a link is left out");
}

void checkArchives(const std::string& folder)
{
    const support::TemporaryDirectory relative;
    expect(Storage::unpackandunzip(folder + "/relative.tar.gz", relative.path()), "it is unpacked");
    checkFiles(relative.path());

    const support::TemporaryDirectory withLink;
    expect(chdir(withLink.path().c_str()) == 0, "the folder is there");
    expect(Storage::unpack(folder + "/withLink.tar.gz", false), "it is unpacked with the link");
    checkFiles("files");
    char target[sizeof "text"] = {};
    expect(readlink("files/link", target, sizeof target) == 4 && target == LINK_TARGET,
           "the link leads where it did");

    const support::TemporaryDirectory withoutLink;
    expect(chdir(withoutLink.path().c_str()) == 0, "the folder is there");
    expect(Storage::unpack(folder + "/withoutLink.tar.gz", false), "it is unpacked without link");
    checkFiles("files");
    expect(!std::filesystem::is_symlink("files/link"), "the link is left out");
    expect(chdir("/") == 0, "the root directory is there");
}

} // namespace exchange
