/// \file
/// Names of process and thread types.
#ifndef GPAL_PROCESSTYPESTRING_H
#define GPAL_PROCESSTYPESTRING_H

#include <string>

#include <gpal/export.h>

/// One distinct text per process or thread type. The constants live in `libPlatformCommon`, which
/// on the device is the maker's own library; a development host gets a stand-in in which each text
/// is the constant's lower-case name.
class GPAL_API ProcessTypeString
{
public:
    static const std::string GENERIC_THREAD;  ///< a `Threadable` that says nothing else
    static const std::string GENERIC_PROCESS; ///< a child process that was not started yet
    static const std::string OS_TIMER_THREAD; ///< the timer monitor
    static const std::string C_THREAD_LOW;    ///< an unnamed function thread of low priority
    static const std::string C_THREAD_NORMAL; ///< the same of normal priority
    static const std::string C_THREAD_HIGH;   ///< the same of high priority
    static const std::string C_THREAD_TIMER;  ///< the same of timer priority
    static const std::string C_THREAD_VOICE;  ///< the same of voice priority
    /// The launcher of applications, which gets nice value 5.
    static const std::string PHONELET_LAUNCHER_PROCESS;
    static const std::string SVC_CONFIG_PROCESS; ///< the configuration service
};

#endif
