/// \file
/// Priority levels of the layer's threads.
#ifndef GPAL_GPALTHREADPRIORITY_H
#define GPAL_GPALTHREADPRIORITY_H

/// Priority level of a thread. The process manager maps levels to nice values
/// (`ProcessManager::calculatePriority`); any other int may be passed and is handed on unchanged.
enum GPALThreadPriority : int {
    GPAL_THREAD_PRIORITY_LOW = 0,    ///< nice 9; an unnamed thread is a `C_THREAD_LOW`
    GPAL_THREAD_PRIORITY_NORMAL = 1, ///< nice 0; an unnamed thread is a `C_THREAD_NORMAL`
    GPAL_THREAD_PRIORITY_HIGH = 2,   ///< nice -10; an unnamed thread is a `C_THREAD_HIGH`
    GPAL_THREAD_PRIORITY_TIMER = 3,  ///< nice -10; an unnamed thread is a `C_THREAD_TIMER`
    GPAL_THREAD_PRIORITY_VOICE = 4   ///< nice -16; an unnamed thread is a `C_THREAD_VOICE`
};

#endif
