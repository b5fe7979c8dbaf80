/// \file
/// The replaceable functions that only this harness needs: those beneath C++ streams, children,
/// formatted output, mutexes.
#ifndef GPAL_TESTS_FAULTS_MORE_CALLS_H
#define GPAL_TESTS_FAULTS_MORE_CALLS_H

#include <cstdio>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include "support/replaceable.h"

namespace support::calls
{

extern Replaceable<int(const char*, int, mode_t)> open;
extern Replaceable<std::FILE*(const char*, const char*)> fopen64;
extern Replaceable<ssize_t(int, void*, size_t)> read;
extern Replaceable<ssize_t(int, const void*, size_t)> write;
extern Replaceable<ssize_t(int, const iovec*, int)> writev;
extern Replaceable<off64_t(int, off64_t, int)> lseek64;
extern Replaceable<int(std::FILE*, const char*, va_list)> vfprintf;
extern Replaceable<int(std::FILE*, char*, int, size_t)> setvbuf;
extern Replaceable<int(int, int)> dup2;
extern Replaceable<int(int*)> pipe;
extern Replaceable<int(int, unsigned long)> prctl;
extern Replaceable<pid_t()> vfork;
extern Replaceable<int(const char*, char* const*, char* const*)> execve;

} // namespace support::calls

namespace faults
{

/// Mutexes locked by the program that are not unlocked yet.
int heldLocks();

} // namespace faults

#endif
