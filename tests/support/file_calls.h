/// \file
/// More C functions that a test may replace, for the programs that test the storage. A file stream
/// of the C++ library may reach some of them too.
#ifndef GPAL_TESTS_SUPPORT_FILE_CALLS_H
#define GPAL_TESTS_SUPPORT_FILE_CALLS_H

#include <cstdio>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include "support/replaceable.h"

namespace support::calls
{

extern Replaceable<int(const char*, struct stat*)> stat;
extern Replaceable<int(const char*, struct stat*)> lstat;
extern Replaceable<int(const char*, struct statfs*)> statfs;
extern Replaceable<int(const char*, int)> access;
extern Replaceable<int(const char*, mode_t)> chmod;
extern Replaceable<int(const char*, mode_t)> mkdir;
extern Replaceable<int(const char*)> unlink;
extern Replaceable<int(const char*)> remove;
extern Replaceable<int(const char*, const char*)> rename;
extern Replaceable<int(const char*, const char*)> symlink;

extern Replaceable<DIR*(const char*)> opendir;
extern Replaceable<dirent*(DIR*)> readdir;
extern Replaceable<int(DIR*)> closedir;

extern Replaceable<int(char*)> mkstemp;
extern Replaceable<std::FILE*(int, const char*)> fdopen;
extern Replaceable<std::FILE*(const char*, const char*)> fopen;
extern Replaceable<int(std::FILE*)> fflush;
extern Replaceable<int(int)> fsync;
extern Replaceable<std::size_t(const void*, std::size_t, std::size_t, std::FILE*)> fwrite;
extern Replaceable<int(const char*, std::FILE*)> fputs;
extern Replaceable<std::size_t(void*, std::size_t, std::size_t, std::FILE*)> fread;
extern Replaceable<int(std::FILE*)> fclose;
extern Replaceable<int(const char*)> puts;
extern Replaceable<void()> sync;

extern Replaceable<char*(const char*)> getenv;

} // namespace support::calls

#endif
