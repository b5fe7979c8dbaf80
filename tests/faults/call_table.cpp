#include "faults/call_table.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "faults/injector.h"
#include "faults/more_calls.h"
#include "faults/stand_ins.h"
#include "support/file_calls.h"
#include "support/ipc_calls.h"
#include "support/network_calls.h"
#include "support/thread_calls.h"

namespace calls = support::calls;
using support::Replaceable;

// Left out, since only misuse makes them fail: locking, unlocking and making of mutexes and
// conditions (the C library's make them without asking for anything), joining, detaching and
// cancelling of threads, and what changes the cancellation state.

namespace faults
{
namespace
{

constexpr bool POINT = true;
constexpr bool NO_POINT = false;

/// How a call says that it fails.
enum class Says { ERRNO, RESULT };

template <typename Signature>
class Watched;

/// Lets the injector decide about each call of a function.
template <typename Result, typename... Arguments>
class Watched<Result(Arguments...)>
{
public:
    using Function = std::function<Result(Arguments...)>;

    /// \p failed is what the call returns when it fails; \p first is done even then, by calls that
    /// have an effect though they fail; \p body is done otherwise.
    Watched(Replaceable<Result(Arguments...)>& replaced, Call call, Says says, Result failed,
            Function first, Function body)
        : m_call(std::move(call)),
          m_says(says),
          m_failed(failed),
          m_first(std::move(first)),
          m_body(std::move(body)),
          m_replacement(replaced, [this](Arguments... arguments) { return make(arguments...); })
    {
    }

private:
    Result make(Arguments... arguments)
    {
        // A wait for a condition is cancelled once it has begun, without the mutex.
        const bool isWait = std::strncmp(m_call.name, "pthread_cond", 12) == 0;
        const int error = enter(m_call, !isWait);
        if (error == NOT_STRUCK) {
            return m_body(arguments...);
        }
        if (m_first) {
            m_first(arguments...);
        }
        if constexpr (std::is_same_v<Result, int>) {
            if (m_says == Says::RESULT) {
                return error;
            }
        }
        errno = error;
        return m_failed;
    }

    Call m_call;
    Says m_says;
    Result m_failed;
    Function m_first;
    Function m_body;
    support::Replacement<Result(Arguments...)> m_replacement;
};

std::vector<std::shared_ptr<void>> watched;

template <typename Result, typename... Arguments>
void watch(Replaceable<Result(Arguments...)>& replaced, const char* name, bool isPoint,
           std::vector<int> errors, Result failed, Says says = Says::ERRNO,
           std::function<Result(Arguments...)> body = nullptr,
           std::function<Result(Arguments...)> first = nullptr)
{
    if (!body) {
        body = [&replaced](Arguments... arguments) { return replaced.original(arguments...); };
    }
    watched.push_back(std::make_shared<Watched<Result(Arguments...)>>(
        replaced, Call{name, isPoint, std::move(errors)}, says, failed, first, body));
}

/// The same for a call that closes what it is given also when it says that it could not.
template <typename Result, typename... Arguments>
void watchClosing(Replaceable<Result(Arguments...)>& replaced, const char* name, bool isPoint,
                  std::vector<int> errors, Result failed)
{
    std::function<Result(Arguments...)> close = [&replaced](Arguments... arguments) {
        return replaced.original(arguments...);
    };
    watch(replaced, name, isPoint, std::move(errors), failed, Says::ERRNO, close, close);
}

void watchFiles()
{
    const std::vector<int> path{EACCES, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EIO};
    const std::vector<int> opening{EACCES, EMFILE, ENFILE, ENOENT, ENOMEM, ENOSPC, EISDIR,
                                   EROFS,  ENXIO,  EINTR,  EDQUOT, ELOOP,  EIO};
    const std::vector<int> removing{EACCES, EBUSY, EIO, EISDIR, ENOENT, EPERM, EROFS, ENOTEMPTY};
    watch(calls::stat, "stat", NO_POINT, path, -1, Says::ERRNO, elsewhere(calls::stat));
    watch(calls::lstat, "lstat", NO_POINT, path, -1, Says::ERRNO, elsewhere(calls::lstat));
    watch(calls::statfs, "statfs", NO_POINT,
          {EACCES, EINTR, EIO, ENOENT, ENOMEM, ENOSYS, EOVERFLOW}, -1);
    watch(calls::access, "access", NO_POINT, path, -1);
    watch(calls::chmod, "chmod", NO_POINT, {EACCES, EPERM, EROFS, EIO, ENOENT}, -1);
    watch(calls::mkdir, "mkdir", NO_POINT, {EACCES, EDQUOT, EEXIST, EMLINK, ENOENT, ENOSPC, EROFS},
          -1);
    watch(calls::unlink, "unlink", NO_POINT, removing, -1);
    watch(calls::remove, "remove", NO_POINT, removing, -1, Says::ERRNO, elsewhere(calls::remove));
    watch(calls::rename, "rename", NO_POINT, {EACCES, EBUSY, EXDEV, ENOSPC, EROFS, ENOENT, EDQUOT},
          -1, Says::ERRNO, bothElsewhere(calls::rename));
    watch(calls::symlink, "symlink", NO_POINT, {EACCES, EEXIST, ENOSPC, EROFS, EIO}, -1);
    watch<DIR*>(calls::opendir, "opendir", POINT, {EACCES, EMFILE, ENFILE, ENOENT, ENOMEM, ENOTDIR},
                nullptr);
    watch<dirent*>(calls::readdir, "readdir", POINT, {EBADF, EIO, EOVERFLOW}, nullptr);
    watchClosing(calls::closedir, "closedir", POINT, {EBADF, EIO}, -1);
    watch(calls::mkstemp, "mkstemp", POINT, {EEXIST, EINVAL, EACCES, EMFILE, ENFILE, ENOSPC, EROFS},
          -1, Says::ERRNO, remembered(calls::mkstemp));
    watch<std::FILE*>(calls::fdopen, "fdopen", NO_POINT, {EINVAL, ENOMEM, EMFILE}, nullptr);
    watch<std::FILE*>(calls::fopen, "fopen", POINT, opening, nullptr, Says::ERRNO,
                      elsewhere(calls::fopen));
    watch<std::FILE*>(calls::fopen64, "fopen64", POINT, opening, nullptr, Says::ERRNO,
                      elsewhere(calls::fopen64));
    watch(calls::open, "open", POINT, opening, -1, Says::ERRNO, elsewhere(calls::open));
    watch(calls::fflush, "fflush", POINT, {EAGAIN, EBADF, EFBIG, EINTR, EIO, ENOSPC, EPIPE}, EOF);
    watch(calls::fsync, "fsync", POINT, {EBADF, EIO, EINTR, ENOSPC, EROFS, EINVAL, EDQUOT}, -1,
          Says::ERRNO, std::function<int(int)>([](int) { return 0; })); // takes its time
    watch<std::size_t>(calls::fwrite, "fwrite", POINT, {EFBIG, EINTR, EIO, ENOSPC, EPIPE}, 0);
    watch<std::size_t>(calls::fread, "fread", POINT, {EAGAIN, EINTR, EIO, EISDIR}, 0);
    watchClosing(calls::fclose, "fclose", POINT, {EBADF, EINTR, EIO, ENOSPC}, EOF);
    watch<ssize_t>(calls::read, "read", POINT, {EAGAIN, EINTR, EIO, EISDIR}, -1);
    watch<ssize_t>(calls::write, "write", POINT, {EAGAIN, EINTR, EIO, ENOSPC, EFBIG, EPIPE}, -1);
    watch<ssize_t>(calls::writev, "writev", POINT, {EAGAIN, EINTR, EIO, ENOSPC, EPIPE}, -1);
    watch<off64_t>(calls::lseek64, "lseek64", NO_POINT, {ESPIPE, EINVAL, EOVERFLOW}, -1);
    watch(calls::vfprintf, "fprintf", POINT, {EFBIG, EINTR, EIO, ENOSPC, EPIPE, ENOMEM}, -1);
    watch(calls::puts, "puts", POINT, {EFBIG, EINTR, EIO, ENOSPC, EPIPE}, EOF);
    watch(calls::setvbuf, "setvbuf", NO_POINT, {EBADF}, EOF);
    watch<char*>(calls::getenv, "getenv", NO_POINT, {0}, nullptr);
}

void watchThreads()
{
    watch(calls::pthread_create, "pthread_create", NO_POINT, {EAGAIN, EPERM, ENOMEM}, 0,
          Says::RESULT);
    watch(calls::pthread_attr_init, "pthread_attr_init", NO_POINT, {ENOMEM}, 0, Says::RESULT);
    watch(calls::pthread_join, "pthread_join", POINT, {}, 0);
    watch(calls::pthread_cond_wait, "pthread_cond_wait", POINT, {0}, 0, Says::RESULT);
    watch(calls::pthread_cond_timedwait, "pthread_cond_timedwait", POINT, {0, ETIMEDOUT}, 0,
          Says::RESULT, inHaste(calls::pthread_cond_timedwait));
    watch(calls::clock_gettime, "clock_gettime", NO_POINT, {EINVAL}, -1, Says::ERRNO,
          inHaste(calls::clock_gettime));
    watch(calls::gettimeofday, "gettimeofday", NO_POINT, {EFAULT}, -1, Says::ERRNO,
          inHaste(calls::gettimeofday));
    watch(calls::nanosleep, "nanosleep", POINT, {EINTR, EINVAL}, -1, Says::ERRNO,
          inHaste(calls::nanosleep));
    watch<unsigned int>(calls::sleep, "sleep", POINT, {EINTR}, 1, Says::ERRNO,
                        inHaste(calls::sleep));
    watch(calls::setpriority, "setpriority", NO_POINT, {EACCES, EPERM, ESRCH}, -1);
    watch(calls::getpriority, "getpriority", NO_POINT, {ESRCH}, -1);
    watch(calls::prctl, "prctl", NO_POINT, {EINVAL}, -1);
    watch(calls::timer_create, "timer_create", NO_POINT, {EAGAIN, EINVAL, ENOMEM, ENOTSUP}, -1);
    watch(calls::timer_settime, "timer_settime", NO_POINT, {EINVAL}, -1);
    watch(calls::timer_getoverrun, "timer_getoverrun", NO_POINT, {EINVAL}, -1);
    watch(calls::timer_delete, "timer_delete", NO_POINT, {EINVAL}, -1);
}

void watchProcesses()
{
    watch<pid_t>(calls::vfork, "vfork", NO_POINT, {EAGAIN, ENOMEM, ENOSYS}, -1, Says::ERRNO,
                 std::function<pid_t()>(forkUntilTheProgramRuns));
    watch(calls::execve, "execve", NO_POINT, {E2BIG, EACCES, ENOEXEC, ENOENT, ENOMEM, ETXTBSY, EIO},
          -1, Says::ERRNO, elsewhere(calls::execve));
    watch(calls::kill, "kill", NO_POINT, {EPERM, ESRCH, EINVAL}, -1);
    watch<pid_t>(calls::waitpid, "waitpid", POINT, {ECHILD, EINTR, EINVAL}, -1);
    watch(calls::system, "system", POINT, {ECHILD, EAGAIN, ENOMEM}, -1, Says::ERRNO,
          std::function<int(const char*)>(standInForTheShell));
    watch(calls::pipe, "pipe", NO_POINT, {EMFILE, ENFILE}, -1);
    watch(calls::dup2, "dup2", NO_POINT, {EBADF, EBUSY, EINTR, EMFILE}, -1);
    watch(calls::semget, "semget", NO_POINT, {EACCES, EEXIST, ENOENT, ENOMEM, ENOSPC}, -1,
          Says::ERRNO, std::function<int(key_t, int, int)>(semaphoreOfThisProcess));
    watch<void*>(calls::dlopen, "dlopen", NO_POINT, {0}, nullptr);
    watchClosing(calls::dlclose, "dlclose", NO_POINT, {0}, -1);
}

void watchNetwork()
{
    watch(calls::getaddrinfo, "getaddrinfo", POINT,
          {EAI_AGAIN, EAI_FAIL, EAI_FAMILY, EAI_MEMORY, EAI_NONAME, EAI_SERVICE, EAI_SYSTEM}, 0,
          Says::RESULT);
    watch(calls::socket, "socket", NO_POINT,
          {EACCES, EAFNOSUPPORT, EMFILE, ENFILE, ENOBUFS, ENOMEM, EPROTONOSUPPORT}, -1);
    watch(calls::fcntl, "fcntl", NO_POINT, {EBADF, EINVAL, EPERM}, -1);
    watch(calls::bind, "bind", NO_POINT, {EACCES, EADDRINUSE, EADDRNOTAVAIL, EINVAL, ENOBUFS}, -1);
    watchClosing(calls::close, "close", POINT, {EBADF, EINTR, EIO, ENOSPC}, -1);
    watch(calls::select, "select", POINT, {EBADF, EINTR, EINVAL, ENOMEM}, -1);
    watch<ssize_t>(calls::sendto, "sendto", POINT,
                   {EACCES, EAGAIN, ECONNREFUSED, EINTR, EMSGSIZE, ENETUNREACH, ENOBUFS, ENOMEM},
                   -1);
    watch<ssize_t>(calls::recvfrom, "recvfrom", POINT, {EAGAIN, ECONNREFUSED, EINTR, ENOMEM}, -1);
    watch(calls::setsockopt, "setsockopt", NO_POINT, {EBADF, EINVAL, ENOPROTOOPT, ENOMEM}, -1);
    watch(calls::inet_pton, "inet_pton", NO_POINT, {EAFNOSUPPORT}, -1);
    watch(calls::gethostname, "gethostname", NO_POINT, {EINVAL, ENAMETOOLONG, EPERM}, -1);
    watch<hostent*>(calls::gethostbyname, "gethostbyname", POINT, {EAGAIN}, nullptr);
}

/// A set of semaphores that was just made takes its value, and a unit that was taken can be given
/// back, unless somebody has removed the set meanwhile. To take one may need memory.
void watchLoadLock()
{
    static const Call setting{"semctl", NO_POINT, {EIDRM, EINVAL}};
    static const Call taking{"semop", NO_POINT, {EACCES, EIDRM, EINTR, EINVAL, ENOMEM, ENOSPC}};
    static const Call giving{"semop", NO_POINT, {EIDRM, EINVAL, EINTR}};
    static const auto fail = [](int id, int error) {
        if (error == EIDRM || error == EINVAL) {
            calls::semctl.original(id, 0, IPC_RMID, {});
        }
        errno = error;
        return -1;
    };
    static const support::Replacement semctl(
        calls::semctl, [](int id, int number, int command, support::SemaphoreArgument argument) {
            const int error = enter(setting);
            return error == NOT_STRUCK ? calls::semctl.original(id, number, command, argument)
                                       : fail(id, error);
        });
    static const support::Replacement semop(calls::semop, [](int id, sembuf* operations,
                                                             size_t count) {
        const int error = enter(operations->sem_op < 0 ? taking : giving);
        return error == NOT_STRUCK ? calls::semop.original(id, operations, count) : fail(id, error);
    });
}

/// The system log is a cancellation point, and fails without a word.
void watchLog()
{
    using Log = Replaceable<void(int, const char*, va_list)>;
    static Log& log = calls::vsyslog;
    static const Call call{"syslog", POINT, {}};
    static const support::Replacement quiet(log,
                                            [](int, const char*, va_list) { enter(call, true); });
}

} // namespace

void watchCalls(const std::string& directory)
{
    setDirectoryOfTheDevice(directory);
    watchFiles();
    watchThreads();
    watchProcesses();
    watchNetwork();
    watchLoadLock();
    watchLog();
}

} // namespace faults
