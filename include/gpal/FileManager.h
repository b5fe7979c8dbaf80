/// \file
/// Files as objects that tests can substitute.
#ifndef GPAL_FILEMANAGER_H
#define GPAL_FILEMANAGER_H

#include <string>

#include <gpal/export.h>

/// What a client needs of the file system. A file that cannot be opened is logged at error severity
/// ("file \"<path>\" couldn't be opened\n"); nothing is thrown, unless memory runs out. Stateless,
/// callable from any thread; all but `doesExist`, `size` and `deleteFile` are cancellation points,
/// and a cancelled call closes its files, without what it had not written yet.
class GPAL_API FileManagerIfc
{
public:
    virtual ~FileManagerIfc();

    /// Creates or truncates a file with the given content. Returns whether it could be opened; a
    /// failing write, as on a full disk, is not noticed.
    virtual bool createFile(std::string const& path, std::string const& content) = 0;

    /// Copies the bytes of a file, in blocks. Returns whether both could be opened and neither
    /// stream went bad. With a small file a failing write shows in the last flush; a disk that
    /// fills up in the middle of a large one may go unnoticed, so look at its `size`.
    virtual bool copyFile(std::string const& source, std::string const& destination) = 0;

    /// Copies the file, then deletes the source, whether or not that succeeds. Returns the result
    /// of the copy; a failed one leaves the source in place, one that a full disk has cut short
    /// unnoticed does not.
    virtual bool moveFile(std::string const& source, std::string const& destination) = 0;

    /// `unlink(2)`: 0 or -1.
    virtual int deleteFile(std::string const& path) = 0;

    /// Whether the file can be examined.
    virtual bool doesExist(std::string const& path) = 0;

    /// Size of a regular file in bytes, cut to 32 bits: from 2 GiB on it comes out negative or too
    /// small. -1 for anything else.
    virtual int size(std::string const& path) = 0;

    /// Whether the content of \p first is how the content of \p second begins; equal ones count.
    virtual bool isPrefix(std::string const& first, std::string const& second) = 0;
};

/// Works on the real file system. `moveFile` goes through the virtual `copyFile` and `deleteFile`.
class GPAL_API FileManager : public FileManagerIfc
{
public:
    bool createFile(std::string const& path, std::string const& content) override;
    bool copyFile(std::string const& source, std::string const& destination) override;
    bool moveFile(std::string const& source, std::string const& destination) override;
    int deleteFile(std::string const& path) override;
    bool doesExist(std::string const& path) override;
    int size(std::string const& path) override;
    bool isPrefix(std::string const& first, std::string const& second) override;
};

#endif
