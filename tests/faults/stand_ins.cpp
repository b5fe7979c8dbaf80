#include "faults/stand_ins.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/time.h>
#include <unistd.h>

#include "faults/call_table.h"
#include "faults/injector.h"
#include "faults/more_calls.h"
#include "support/file_calls.h"
#include "support/ipc_calls.h"
#include "support/network_calls.h"

namespace faults
{
namespace
{

std::string table;
std::string newTable;

constexpr int MOST_FILES = 8;
char temporaryFiles[MOST_FILES][64];
int temporaryFileCount = 0;

constexpr long long SECOND = 1000000000;

/// Since when the clocks go faster, in nanoseconds; 0: they do not. Fits into 64 bits for
/// centuries.
long long hastySince = 0;

long long nanoseconds(const timespec& time)
{
    return time.tv_sec * SECOND + time.tv_nsec;
}

timespec timeOf(long long nanoseconds)
{
    return {nanoseconds / SECOND, static_cast<long>(nanoseconds % SECOND)};
}

timespec wallClock()
{
    timespec now{};
    support::calls::clock_gettime.original(CLOCK_REALTIME, &now);
    return now;
}

timespec hastened(const timespec& time)
{
    return timeOf(hastySince + (nanoseconds(time) - hastySince) * HASTE);
}

timespec slowedDown(const timespec& time)
{
    return timeOf(hastySince + (nanoseconds(time) - hastySince) / HASTE);
}

} // namespace

void makeHaste(bool wanted)
{
    hastySince = wanted ? nanoseconds(wallClock()) : 0;
}

void setDirectoryOfTheDevice(const std::string& directory)
{
    table = directory + "/inittab";
    newTable = directory + "/inittab.new";
}

const char* whereIs(const char* path)
{
    const char* const program = "/bin/true";
    if (path == nullptr) {
        return path;
    }
    if (std::strcmp(path, "/etc/inittab") == 0) {
        return table.c_str();
    }
    if (std::strcmp(path, "/etc/inittab.new") == 0) {
        return newTable.c_str();
    }
    const bool ofTheDevice =
        std::strncmp(path, "/Mirta_Deploy/", 14) == 0 || std::strcmp(path, "/bin/busybox") == 0;
    return ofTheDevice ? program : path;
}

std::function<int(const char*, const char*)>
bothElsewhere(support::Replaceable<int(const char*, const char*)>& call)
{
    return [&call](const char* from, const char* to) {
        return call.original(whereIs(from), whereIs(to));
    };
}

std::function<int(char*)> remembered(support::Replaceable<int(char*)>& call)
{
    return [&call](char* name) {
        const int descriptor = call.original(name);
        if (descriptor != -1 && temporaryFileCount < MOST_FILES) {
            std::strncpy(temporaryFiles[temporaryFileCount++], name, sizeof temporaryFiles[0] - 1);
        }
        return descriptor;
    };
}

std::vector<std::string> temporaryFilesLeft()
{
    std::vector<std::string> left;
    while (temporaryFileCount > 0) {
        const char* const name = temporaryFiles[--temporaryFileCount];
        if (support::calls::unlink.original(name) == 0) {
            left.emplace_back(name);
        }
    }
    return left;
}

std::function<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>
inHaste(support::Replaceable<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>& call)
{
    return [&call](pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
        const timespec real = hastySince == 0 ? *deadline : slowedDown(*deadline);
        return call.original(condition, mutex, &real);
    };
}

std::function<int(clockid_t, timespec*)>
inHaste(support::Replaceable<int(clockid_t, timespec*)>& /*call*/)
{
    return [](clockid_t clock, timespec* time) {
        // Both clocks are read from the wall's: what matters is that they go alike.
        if (hastySince == 0 || (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC)) {
            return support::calls::clock_gettime.original(clock, time);
        }
        *time = hastened(wallClock());
        return 0;
    };
}

std::function<int(timeval*, void*)> inHaste(support::Replaceable<int(timeval*, void*)>& /*call*/)
{
    return [](timeval* time, void*) {
        const timespec now = hastySince == 0 ? wallClock() : hastened(wallClock());
        *time = {now.tv_sec, now.tv_nsec / 1000};
        return 0;
    };
}

std::function<int(const timespec*, timespec*)>
inHaste(support::Replaceable<int(const timespec*, timespec*)>& call)
{
    return [&call](const timespec* request, timespec* rest) {
        const timespec real = timeOf(nanoseconds(*request) / HASTE);
        return call.original(&real, rest);
    };
}

std::function<unsigned int(unsigned int)>
inHaste(support::Replaceable<unsigned int(unsigned int)>& /*call*/)
{
    return [](unsigned int seconds) {
        const timespec real = timeOf(seconds * SECOND / HASTE);
        support::calls::nanosleep.original(&real, nullptr);
        return 0U;
    };
}

pid_t forkUntilTheProgramRuns()
{
    int state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state); // a vfork is no cancellation point
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return -1;
    }
    const pid_t child = fork();
    if (child != 0) {
        char nothing = 0;
        support::calls::close.original(ends[1]);
        while (support::calls::read.original(ends[0], &nothing, 1) == -1 && errno == EINTR) {
        }
        support::calls::close.original(ends[0]);
    }
    pthread_setcancelstate(state, nullptr);
    return child;
}

int standInForTheShell(const char* command)
{
    if (std::strcmp(command, "reboot") == 0) {
        noteReboot();
    }
    return 0;
}

int semaphoreOfThisProcess(key_t /*key*/, int count, int flags)
{
    constexpr key_t OUT_OF_THE_WAY = 0x67700000;
    return support::calls::semget.original(OUT_OF_THE_WAY + getpid(), count, flags);
}

} // namespace faults
