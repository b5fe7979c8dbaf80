/// \file
/// What stands in for the machine's own things when a call succeeds: files of the device that are
/// looked for elsewhere, clocks that go faster, a shell that runs nothing.
#ifndef GPAL_TESTS_FAULTS_STAND_INS_H
#define GPAL_TESTS_FAULTS_STAND_INS_H

#include <functional>
#include <string>
#include <sys/types.h>

#include "support/replaceable.h"

namespace faults
{

/// Where the files are that the device has below "/etc".
void setDirectoryOfTheDevice(const std::string& directory);

/// Where a file of the device is looked for on this machine: scripts and the toolbox are a program
/// that succeeds.
const char* whereIs(const char* path);

/// The call with the path in its first argument looked for elsewhere.
template <typename Result, typename... Rest>
std::function<Result(const char*, Rest...)>
elsewhere(support::Replaceable<Result(const char*, Rest...)>& call)
{
    return
        [&call](const char* path, Rest... rest) { return call.original(whereIs(path), rest...); };
}

std::function<int(const char*, const char*)>
bothElsewhere(support::Replaceable<int(const char*, const char*)>& call);

/// The names of the files that the call makes are kept for `temporaryFilesLeft`.
std::function<int(char*)> remembered(support::Replaceable<int(char*)>& call);

std::function<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>
inHaste(support::Replaceable<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>& call);
std::function<int(clockid_t, timespec*)>
inHaste(support::Replaceable<int(clockid_t, timespec*)>& call);
std::function<int(timeval*, void*)> inHaste(support::Replaceable<int(timeval*, void*)>& call);
std::function<int(const timespec*, timespec*)>
inHaste(support::Replaceable<int(const timespec*, timespec*)>& call);
std::function<unsigned int(unsigned int)>
inHaste(support::Replaceable<unsigned int(unsigned int)>& call);

/// As vfork: the parent stands still until the child runs its program or has ended.
pid_t forkUntilTheProgramRuns();

/// Runs nothing, successfully. Takes note when the device would be rebooted.
int standInForTheShell(const char* command);

/// Each process has a lock of its own for loading libraries, so that none stands in another's way.
int semaphoreOfThisProcess(key_t key, int count, int flags);

} // namespace faults

#endif
