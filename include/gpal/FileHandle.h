/// \file
/// File stream that remembers its path.
#ifndef GPAL_FILEHANDLE_H
#define GPAL_FILEHANDLE_H

#include <fstream>
#include <ios>
#include <string>

#include <gpal/export.h>

/// File stream that logs when it could not be opened. Belongs to one thread.
class GPAL_API FileHandle : public std::fstream
{
public:
    /// Opens \p path; a failure shows in the stream's failbit and in `isOpen` only. A cancellation
    /// point.
    FileHandle(std::string path, std::ios_base::openmode mode);
    /// Closes the file, with cancellation of the caller held off, and writes what is pending; not
    /// where a write has failed or was cancelled already (badbit), which could block once more.
    /// Whoever may block on the file, such as a pipe, closes it first.
    ~FileHandle() override;

    /// Whether the file is open and the stream has not failed; if not, that is logged at error
    /// severity. A cancellation point where logging is one.
    bool isOpen();

private:
    std::string m_path;
};

#endif
