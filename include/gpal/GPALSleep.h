/// \file
/// Sleeping, through a replaceable implementation.
#ifndef GPAL_GPALSLEEP_H
#define GPAL_GPALSLEEP_H

#include <gpal/export.h>

/// Sleeps for real. Derive from it to replace sleeping in tests and simulations
/// (`GPALSleep::setImplementation`). Callable from any thread; both are cancellation points.
class GPAL_API GPALSleep_Imple
{
public:
    virtual ~GPALSleep_Imple();

    /// Sleeps for \p ms milliseconds; below 1 it returns at once without a system call. A signal
    /// does not shorten the sleep. It is requested in whole seconds and a final fraction.
    virtual void milliSleep(int ms);

    /// Sleeps for \p seconds seconds (`sleep(3)`, which takes a negative number for more than a
    /// hundred years); a signal ends it early.
    virtual void secSleep(int seconds);
};

/// The layer's sleeping facade. Callable from any thread; both sleeps are cancellation points while
/// no replacement is installed.
class GPAL_API GPALSleep
{
public:
    GPALSleep();
    GPALSleep(const GPALSleep&) = delete;
    GPALSleep& operator=(const GPALSleep&) = delete;
    virtual ~GPALSleep();

    /// Sleeps for \p ms milliseconds, or asks the installed replacement to.
    virtual void milliSleep(int ms);

    /// Sleeps for \p seconds seconds, or asks the installed replacement to.
    virtual void secSleep(int seconds);

    /// Installs \p replacement for every `GPALSleep` of the process, existing ones included, from
    /// the next call on; null restores real sleeping. The replacement stays the caller's and must
    /// stay alive while it is installed.
    static void setImplementation(GPALSleep_Imple* replacement);

protected:
    GPALSleep_Imple* m_impl;   ///< what was in force at construction; the calls ask m_testImple
    GPALSleep_Imple m_default; ///< sleeps for real

    /// The replacement that is installed; null for none.
    static GPALSleep_Imple* m_testImple;
};

#endif
