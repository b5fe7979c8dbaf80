/// \file
/// Storage: locations, directories, files, archives and record files.
#ifndef GPAL_STORAGE_H
#define GPAL_STORAGE_H

#include <fstream>
#include <ios>
#include <list>
#include <string>
#include <time.h>

#include <gpal/export.h>

/// Record storage as clients see it; tests substitute it. Every `init` names the file anew; keys
/// are accepted and ignored. One thread at a time uses an object. A null pointer or a negative
/// length is a failure. All but `init` are cancellation points where they open, read or write the
/// file; records may be buffered.
class GPAL_API StorageInterface
{
public:
    virtual ~StorageInterface();

    /// Names the file and the modes in which it is opened for reading and for writing; opens
    /// nothing. The caller keeps the text of \p name alive. Returns 1.
    virtual int init(char const* name, std::ios_base::openmode readMode,
                     std::ios_base::openmode writeMode) = 0;

    /// Closes the file, if it is open; what was stored reaches it by then. What cannot be written
    /// any more, as on a full disk, is lost without a word.
    virtual void shutdown() = 0;

    /// Writes one record: \p length bytes of \p data, any bytes, and a line feed. Returns \p
    /// length; 0 on failure. A record that is still buffered counts as written: on a full disk only
    /// a later call may fail.
    virtual int store(char const* key, char* data, int length) = 0;

    /// Reads the next line, without its line feed, into \p buffer of 1024 bytes, NUL-terminated.
    /// Returns its length up to the first NUL; 0 on failure, at the end of the file (after which
    /// reading starts again from the beginning), for an empty record, and for a line that the 1023
    /// bytes cannot hold.
    virtual int retrieve(char const* key, char* buffer) = 0;

    /// Empties the file and closes it. Returns 1; 0 on failure.
    virtual int clear() = 0;
};

/// Everything of the layer that touches the file system. The static functions may be called from
/// any thread at once; they share nothing but the environment, which they read anew on every call.
/// After a failure errno is as the failing call set it. None throws, unless said, or memory runs
/// out. Those that copy, move, create, compare or delete files, or make directories, do not throw
/// then either: they go on as if a file could not be opened, examined or listed. Relative paths
/// start at the process's working directory.
///
/// Those that copy, move, create or compare files, that rename them across file systems, and that
/// pack or unpack are cancellation points, also while they are blocked in opening, reading or
/// writing. What a cancelled one has not written yet is dropped, and its files are closed. Those
/// that list directories, delete or examine may be cancellation points, and so may
/// `synchronizeStorage`: as the C library has it.
///
/// An object is one record file: records are lines in it, without header, key or checksum. It is
/// opened on first use and kept open until the direction changes, so that reading after writing
/// starts at the first record again, and writing after reading where the write mode says: at the
/// end (`std::ios_base::app`) or on an emptied file (`std::ios_base::trunc`). A thread that is
/// cancelled while it writes or opens the file leaves the object closed, without what it had not
/// written yet; the next call opens the file anew.
class GPAL_API Storage : public StorageInterface
{
public:
    /// Direction in which the record file is open.
    enum eAccessMode : int { eAccessRead = 0, eAccessWrite = 1 };

    /// Kind of directory entry; a link counts as a link, whatever it points to.
    enum eDirReadType : int {
        eDirReadDirectories = 0,
        eDirReadFiles = 1, ///< regular files
        eDirReadLinks = 2, ///< symbolic links
        eDirReadFilesAndLinks = 3
    };

    Storage();
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;
    /// Closes the file. Cancellation of the caller is held off meanwhile: whoever may block on the
    /// file, such as a pipe, calls `shutdown` first.
    ~Storage() override;

    /// \name Record file
    /// @{
    int init(char const* name, std::ios_base::openmode readMode,
             std::ios_base::openmode writeMode) override;
    void shutdown() override;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual" // by BinaryStorage, on purpose
    int store(char const* key, char* data, int length) override;
    int retrieve(char const* key, char* buffer) override;

    /// As said in the interface; what is not written yet is written first. When the file cannot be
    /// opened, the write mode is left at `out|trunc|binary`: a file that could not be emptied must
    /// not be appended to. A thread that is cancelled meanwhile leaves the mode as it was.
    int clear() override;
#pragma GCC diagnostic pop

    /// Opens the file in one direction; returns whether it is open and good. One that is already is
    /// left as it is, its position included. Another one is closed first, as by `shutdown`.
    /// Opening is a cancellation point.
    bool openStorage(eAccessMode mode);

    /// Writes \p length bytes without framing. Returns \p length; 0 on failure. Buffered, and a
    /// cancellation point, as `store`.
    int writeBinary(char* data, int length);

    /// Reads \p length bytes. Returns \p length; 0 on failure, which a short read is too. A
    /// cancellation point as `retrieve`.
    int readBinary(char* buffer, int length);

    bool storageExists();      ///< always true
    int storageType();         ///< always 1
    int findTag(char* tag);    ///< always 1; the tag is ignored
    void synchronizeStorage(); ///< `sync(2)`: writes all cached data of the device back
    /// @}

    /// \name Locations
    /// @{

    /// The value of the environment variable \p name, directly followed by \p suffix, with nothing
    /// in between; "./" followed by \p suffix if it is unset, or \p name is null.
    static std::string getEnvLocation(char const* name, std::string const& suffix);

    /// `getEnvLocation` of MIRTA_VOLATILE_LOCATION: where data live until the next restart.
    static std::string prependWithVolatileStorageLocation(std::string const& file);

    /// `getEnvLocation` of MIRTA_PERSISTENT_LOCATION: where data survive restarts.
    static std::string prependWithPersistantStorageLocation(std::string const& file);

    /// \p path with a '/' at its end; an empty path stays empty.
    static std::string addTrailingForwardSlash(std::string const& path);

    /// Cuts \p path to the part after its last '/', and sets \p name to that without the last '.'
    /// and what follows it. Both may be one object, which then ends as the name.
    static void getStorageName(std::string& path, std::string& name);
    /// @}

    /// \name Directories and single files
    /// @{

    /// Makes every missing directory of the path's directory part: of "/a/b/" both, of "/a/b" only
    /// "/a". A path without '/' is made itself, an empty one as "file.tmp". Modes before umask are
    /// 0700 when \p rootAccessOnly is set, else 0775. Returns whether all are there.
    static bool makeDirectory(std::string const& path, bool rootAccessOnly);
    /// `makeDirectory(path, false)`.
    static bool makeDir(std::string const& path);
    /// `makeDirectory(path, true)`.
    static bool makeRootAccessOnlyDir(std::string const& path);

    /// Sets the mode bits of an existing file. Returns whether it could.
    static bool changePermissions(std::string const& path, int mode);

    /// `symlink(2)`: 0 or -1.
    static int createSymlink(std::string const& target, std::string const& linkPath);

    /// Whether the file is there for the real user (`access`).
    static bool fileExists(std::string const& path);
    /// Whether the file is there for the effective user (`stat`).
    static bool fileExists_stat(std::string const& path);
    /// Size in bytes, cut to 32 bits: from 2 GiB on it comes out negative or too small. -1 if the
    /// file cannot be examined.
    static int fileSize(std::string path);
    /// Time of the last modification. Of no use for a file that cannot be examined: test first.
    static time_t getModificationTimeOfFile(std::string const& path);
    /// @}

    /// \name Disk space
    /// All figures are computed in 32 bits and wrap: `AbsoluteDiskSpace` and `AbsoluteDiskSize`, in
    /// bytes, are negative from 2 GiB on and start again at 0 from 4 GiB on, and with them
    /// `UserDiskSpace` and `UserDiskSize`; from a figure of 0 or below no reserves are taken off.
    /// `checkDiskUsage` is right as long as 100 times the used blocks and half of all blocks
    /// together fit into 32 bits: on disks of some 40 million blocks. None is a cancellation point.
    /// @{

    /// What an unprivileged user may still fill; -1 if the file system cannot be examined.
    static int AbsoluteDiskSpace(std::string const& path);
    /// Used and available together, without the super-user's reserve; -1 on failure.
    static int AbsoluteDiskSize(std::string const& path);
    /// `AbsoluteDiskSpace` less both reserves, at least 0; a result of 0 or below is passed on.
    /// Throws as `ReserveSize`.
    static int UserDiskSpace(std::string const& path);
    /// The same for `AbsoluteDiskSize`.
    static int UserDiskSize(std::string const& path);
    /// The value of MIRTA_USER_DISK_RESERVED, in bytes, if \p path begins with the value of
    /// MIRTA_USER_DISK, else 0. Throws `std::logic_error` when MIRTA_USER_DISK is unset.
    static int ReserveSize(std::string const& path);
    /// The same for MIRTA_USER_DISK_RESERVED_WORKINGMEMORY.
    static int ReservedWorkingSpaceSize(std::string const& path);
    /// Used part of what an unprivileged user sees, in percent, rounded; -1 if the file system
    /// cannot be examined, -2 if nothing is used or available, -3 if it has no blocks.
    static int checkDiskUsage(std::string path);
    /// @}

    /// \name Copying, moving, comparing and deleting
    /// @{

    /// Copies the bytes of \p source to \p destination, created or truncated; mode and times are
    /// not carried over. Returns whether both could be opened. A failing read or write is not
    /// noticed: on a full disk the copy is cut short, and the result true.
    ///
    /// It goes character by character through the streams, which is made for the device's small
    /// configuration files: a MiB takes some nine times as long as with `FileManager::copyFile`,
    /// which copies blocks (13 ms and 1.5 ms on an x86-64 server). Use that one for large files.
    static bool copyFile_noEx(std::string const& source, std::string const& destination);

    /// Replaces the existing file \p destination by \p source. Returns false, having logged at
    /// error severity, when the destination could not be removed (it must exist) or, after the
    /// copy, the source could not. A copy whose source cannot be opened leaves it in place and is
    /// reported as success; one that a full disk cuts short is not noticed, and the source is
    /// removed.
    static bool mvFile(std::string const& source, std::string const& destination);

    /// Renames a file, across file systems too. Returns false if \p destination has no '/' or
    /// exists, or \p source does not. Across file systems it copies, and removes the source also
    /// after a copy that a full disk has cut short.
    static bool renameFile(std::string const& source, std::string const& destination);

    /// Creates or truncates a file with the given text; a null text is an empty one. Returns
    /// whether it could be opened, having logged at error severity if not, which it is for a null
    /// path too. A failing write, as on a full disk, is not noticed.
    static bool simpleCreateFile(char const* path, char const* content);

    /// Runs "/bin/busybox cmp" on two files. Returns 0 when they are equal, 1 when they differ, 2
    /// when one cannot be read, -1 when it was ended by a signal or, logged at notice severity,
    /// could not be run or awaited. A `cmp` that still runs then, or when the caller is cancelled,
    /// is ended as by `~Process`.
    static int compareFiles(std::string const& first, std::string const& second);

    /// Removes a file or link, never a link's target. Returns whether it could.
    static bool deleteFile_noEx(std::string const& path);
    /// The same for an entry of a directory, with or without '/' at its end.
    static bool deleteFile_noEx(std::string const& directory, std::string const& name);
    /// Removes an empty directory, or a file. Returns whether it could.
    static bool deleteDirectory(std::string const& path);
    /// Removes regular files and directories of a whole tree. Links, device nodes, pipes and
    /// sockets stay, and so do the directories that hold them. Returns false only if \p path cannot
    /// be examined.
    static bool deleteNonEmptyDirectory(std::string const& path);
    /// @}

    /// \name Listing
    /// One level deep, in the order of the file system; \p result is emptied first. Entries come as
    /// bare names or, with the path, as \p directory, '/' and name. \p directory may be an element
    /// of the list. A directory that fails while it is read ends the list there.
    /// @{

    /// Lists the entries of one kind; of any other value of \p kind none. Returns 0; -1, with
    /// \p result untouched, if the directory cannot be examined or \p result is null. A directory
    /// that cannot be read gives 0 and an empty list.
    static int getListOfElementsByDirectory_noEx(std::string const& directory,
                                                 std::list<std::string>* result, eDirReadType kind,
                                                 bool withPath);
    /// `getListOfElementsByDirectory_noEx` of the directories, with their paths.
    static int getListOfDirectoriesByDirectoryWithPath(std::string const& directory,
                                                       std::list<std::string>* result);
    /// `getListOfElementsByDirectory_noEx` of the directories, as bare names.
    static int getListOfDirectoriesByDirectoryNoPath(std::string const& directory,
                                                     std::list<std::string>* result);
    /// `getListOfElementsByDirectory_noEx` of the regular files, as bare names.
    static int getListOfFilesByDirectoryNoPath(std::string const& directory,
                                               std::list<std::string>* result);
    /// `getListOfElementsByDirectory_noEx` of the symbolic links.
    static int getListOfLinksByDirectory_noEx(std::string const& directory,
                                              std::list<std::string>* result, bool withPath);
    /// `getListOfElementsByDirectory_noEx` of the regular files and symbolic links.
    static int getListOfFilesAndLinksByDirectory(std::string const& directory,
                                                 std::list<std::string>* result, bool withPath);

    /// Lists the character devices, links to them included, with their paths. Returns 1; 0 if the
    /// directory cannot be examined (\p result is then untouched) or read, or \p result is null.
    static int getListOfCharacterDeviceByDirectory(std::string const& directory,
                                                   std::list<std::string>* result);
    /// @}

    /// \name Archives
    /// Made and unpacked by the system's `tar` through the shell. Paths are passed unquoted: they
    /// must hold no blanks and no characters that the shell knows. The `tar` must accept
    /// `-c[z] -T list [-C dir/] -f archive` in this order, as busybox's and libarchive's do.
    /// @{

    /// Packs the files under the names given. With \p checkExistence a missing file fails the pack;
    /// with \p skipLinks links and missing files are left out. Returns false on failure, logged at
    /// error severity; true also when the list of files could not be flushed or synchronised, as
    /// with a full "/tmp", and no archive was made.
    static bool pack(std::string const& archive, bool checkExistence, std::list<std::string> files,
                     bool compress, bool skipLinks);

    /// Packs files of one directory, that of the first, compressed and under their bare names.
    static bool packRelativeFiles(std::string const& archive, std::list<std::string> files);

    /// What the two others do.
    static bool packInternal(std::string const& archive, bool checkExistence,
                             std::list<std::string> files, bool compress, bool skipLinks,
                             bool relative);

    /// Unpacks a compressed archive into the root directory or the working directory. Returns
    /// whether the archive was there and `tar` succeeded.
    static bool unpack(std::string const& archive, bool intoRoot);

    /// Unpacks a compressed archive into \p directory, listing the files on standard output.
    /// Returns whether the archive was there and `tar` succeeded.
    static bool unpackandunzip(std::string const& archive, std::string const& directory);
    /// @}

private:
    eAccessMode m_accessMode;
    std::fstream* m_stream;
    std::ios_base::openmode m_readMode;
    std::ios_base::openmode m_writeMode;
    char const* m_fileName;
};

/// Makes every missing directory of `dirname(path)`; a relative path of one name is made itself.
/// Modes before umask are 0700 when \p rootAccessOnly is set, else 0775; what exists is skipped,
/// whatever it is. Returns 0; -1 when one could not be made, with errno as `mkdir` set it.
GPAL_API int makeDir(std::string path, bool rootAccessOnly);

#endif
