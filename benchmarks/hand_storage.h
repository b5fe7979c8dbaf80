/// \file
/// What a client without the layer would write for directory listings, copies and record files.
#ifndef GPAL_BENCHMARKS_HAND_STORAGE_H
#define GPAL_BENCHMARKS_HAND_STORAGE_H

#include <cstdio>
#include <list>
#include <string>

namespace hand
{

/// Lists the regular files of a directory with their paths: opendir, readdir, and lstat of each
/// entry by its full path. Returns whether the directory could be read.
bool listFiles(const std::string& directory, std::list<std::string>& result);

/// The layer's copy to the letter: one character per stream call.
bool copyByCharacter(const std::string& source, const std::string& destination);

/// Lines of a file, through stdio.
class LineFile
{
public:
    LineFile(const char* path, const char* mode);
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;
    ~LineFile();

    /// Writes the bytes and a line feed. Returns \p length; 0 on failure.
    int store(const char* data, int length);
    /// Reads a line of less than \p size characters, its line feed included, and cuts that off.
    /// Returns the length; 0 on failure.
    int retrieve(char* buffer, int size);

private:
    std::FILE* m_file;
};

} // namespace hand

#endif
