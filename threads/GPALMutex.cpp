#include <gpal/GPALMutex.h>

GPALMutex::GPALMutex(MutexInitialState initialState)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
    if (initialState == GPAL_MUTEX_LOCKED) {
        take();
    }
}

GPALMutex::~GPALMutex()
{
    pthread_mutex_destroy(&m_mutex);
}

int GPALMutex::take()
{
    return pthread_mutex_lock(&m_mutex);
}

int GPALMutex::give()
{
    return pthread_mutex_unlock(&m_mutex);
}
