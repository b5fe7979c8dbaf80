/// \file
/// POSIX timers with thread notification where the real ones can't be used.
#ifndef GPAL_TESTS_TIMERS_SIGEV_THREAD_SHIM_H
#define GPAL_TESTS_TIMERS_SIGEV_THREAD_SHIM_H

#include <memory>

namespace timertest
{

class ShimInstallation;

/// While it lives, timers made with `SIGEV_THREAD` expire: by the system's own service or, where
/// that can't be had, by threads of this program in its place.
///
/// Three environments lack the service. ThreadSanitizer doesn't know the C library's internal
/// thread that waits for the expiries and fails on it; user-mode emulation drops the signal that
/// tells that thread; a C library whose threads are processes refuses to make such timers. The
/// first is known when the program is compiled, the others are tried out.
class SigevThreadService
{
public:
    SigevThreadService();
    SigevThreadService(const SigevThreadService&) = delete;
    SigevThreadService& operator=(const SigevThreadService&) = delete;
    ~SigevThreadService();

private:
    std::unique_ptr<ShimInstallation> m_shim;
};

} // namespace timertest

#endif
