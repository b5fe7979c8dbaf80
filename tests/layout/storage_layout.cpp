// Classes of the storage folder: virtual functions, fields and results.
#include "layout/layout.h"
#include <gpal/BinaryStorage.h>
#include <gpal/FileHandle.h>
#include <gpal/FileManager.h>
#include <gpal/Storage.h>

namespace layout
{

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
template struct InOrder<Storage, offsetof(Storage, m_accessMode), offsetof(Storage, m_stream),
                        offsetof(Storage, m_readMode), offsetof(Storage, m_writeMode),
                        offsetof(Storage, m_fileName)>;

static_assert(sizeof(StorageInterface) == sizeof(void*));
static_assert(sizeof(BinaryStorage) == sizeof(Storage));
static_assert(sizeof(FileManagerIfc) == sizeof(void*) && sizeof(FileManager) == sizeof(void*));
struct StreamWithPath : std::fstream {
    std::string path;
};
static_assert(std::is_convertible_v<FileHandle*, std::fstream*> &&
              sizeof(FileHandle) == sizeof(StreamWithPath));

static_assert(std::is_same_v<std::underlying_type_t<Storage::eAccessMode>, int> &&
              std::is_same_v<std::underlying_type_t<Storage::eDirReadType>, int>);

// Sizes and disk figures are signed 32-bit numbers of bytes.
using Figure = int(std::string const&);
static_assert(sizeof(int) == 4);
static_assert(std::is_same_v<decltype(Storage::AbsoluteDiskSpace), Figure> &&
              std::is_same_v<decltype(Storage::AbsoluteDiskSize), Figure> &&
              std::is_same_v<decltype(Storage::UserDiskSpace), Figure> &&
              std::is_same_v<decltype(Storage::UserDiskSize), Figure> &&
              std::is_same_v<decltype(Storage::ReserveSize), Figure> &&
              std::is_same_v<decltype(Storage::ReservedWorkingSpaceSize), Figure> &&
              std::is_same_v<decltype(Storage::checkDiskUsage), int(std::string)> &&
              std::is_same_v<decltype(Storage::fileSize), int(std::string)>);
static_assert(
    std::is_same_v<decltype(Storage::compareFiles), int(std::string const&, std::string const&)> &&
    std::is_same_v<decltype(Storage::createSymlink), int(std::string const&, std::string const&)> &&
    std::is_same_v<decltype(Storage::changePermissions), bool(std::string const&, int)> &&
    std::is_same_v<decltype(&makeDir), int (*)(std::string, bool)>);
using Records = BinaryStorage;
static_assert(
    std::is_same_v<decltype(&Records::store), int (Records::*)(char*, char*, unsigned int)> &&
    std::is_same_v<decltype(&Records::retrieve), int (Records::*)(char*, char*, unsigned int)> &&
    std::is_same_v<decltype(&Records::clear), int (Records::*)(char*)>);

void storageSlots()
{
    using Interface = StorageInterface;
    using Init = int (Interface::*)(char const*, std::ios_base::openmode, std::ios_base::openmode);
    inSlot<Init>(&Interface::init, 2);
    inSlot<void (Interface::*)()>(&Interface::shutdown, 3);
    inSlot<int (Interface::*)(char const*, char*, int)>(&Interface::store, 4);
    inSlot<int (Interface::*)(char const*, char*)>(&Interface::retrieve, 5);
    inSlot<int (Interface::*)()>(&Interface::clear, 6);
    hasSlots<StorageInterface>(7);
    hasSlots<Storage>(7);
    hasSlots<BinaryStorage>(7);
}

void fileManagerSlots()
{
    using Manager = FileManagerIfc;
    using Path = std::string const&;
    inSlot<bool (Manager::*)(Path, Path)>(&Manager::createFile, 2);
    inSlot<bool (Manager::*)(Path, Path)>(&Manager::copyFile, 3);
    inSlot<bool (Manager::*)(Path, Path)>(&Manager::moveFile, 4);
    inSlot<int (Manager::*)(Path)>(&Manager::deleteFile, 5);
    inSlot<bool (Manager::*)(Path)>(&Manager::doesExist, 6);
    inSlot<int (Manager::*)(Path)>(&Manager::size, 7);
    inSlot<bool (Manager::*)(Path, Path)>(&Manager::isPrefix, 8);
    hasSlots<FileManagerIfc>(9);
    hasSlots<FileManager>(9);
    hasOnlyItsDestructor<FileHandle>();
}

} // namespace layout
