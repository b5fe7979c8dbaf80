#include <gpal/GPALSleep.h>

#include <time.h>
#include <unistd.h>

#include "base/time_math.h"
#include "cancelled.h"

GPALSleep_Imple* GPALSleep::m_testImple = nullptr;

GPALSleep_Imple::~GPALSleep_Imple() = default;

void GPALSleep_Imple::milliSleep(int ms)
{
    using namespace gpal::detail;
    for (int remaining = ms; remaining > 0; remaining -= MILLISECONDS_PER_SECOND) {
        const bool wholeSecond = remaining >= MILLISECONDS_PER_SECOND;
        timespec request = fromMilliseconds(wholeSecond ? MILLISECONDS_PER_SECOND : remaining);
        timespec rest = request;
        while (nanosleep(&request, &rest) < 0) {
            request = rest;
        }
    }
}

void GPALSleep_Imple::secSleep(int seconds)
{
    gpal::detail::cancellably([=] { return sleep(static_cast<unsigned int>(seconds)); });
}

namespace
{

/// Replacements come and go while other threads sleep.
GPALSleep_Imple* current(GPALSleep_Imple* const& installed)
{
    return __atomic_load_n(&installed, __ATOMIC_ACQUIRE);
}

} // namespace

GPALSleep::GPALSleep()
{
    GPALSleep_Imple* replacement = current(m_testImple);
    m_impl = replacement != nullptr ? replacement : &m_default;
}

GPALSleep::~GPALSleep() = default;

// The replacement is looked up at every call, not taken from m_impl: installing or removing one
// must take effect at once in facades that exist already.

void GPALSleep::milliSleep(int ms)
{
    if (GPALSleep_Imple* replacement = current(m_testImple)) {
        replacement->milliSleep(ms);
    } else {
        m_default.milliSleep(ms);
    }
}

void GPALSleep::secSleep(int seconds)
{
    if (GPALSleep_Imple* replacement = current(m_testImple)) {
        replacement->secSleep(seconds);
    } else {
        m_default.secSleep(seconds);
    }
}

void GPALSleep::setImplementation(GPALSleep_Imple* replacement)
{
    __atomic_store_n(&m_testImple, replacement, __ATOMIC_RELEASE);
}
