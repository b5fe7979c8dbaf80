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
    static const std::string GENERIC_THREAD;
    static const std::string GENERIC_PROCESS;
    static const std::string OS_TIMER_THREAD;
    static const std::string C_THREAD_LOW;
    static const std::string C_THREAD_NORMAL;
    static const std::string C_THREAD_HIGH;
    static const std::string C_THREAD_TIMER;
    static const std::string C_THREAD_VOICE;
    static const std::string PHONELET_LAUNCHER_PROCESS;
    static const std::string SVC_CONFIG_PROCESS;
};

#endif
