#include "hand_mutex.h"

namespace hand
{

Mutex::Mutex()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
}

Mutex::~Mutex()
{
    pthread_mutex_destroy(&m_mutex);
}

int Mutex::take()
{
    return pthread_mutex_lock(&m_mutex);
}

int Mutex::give()
{
    return pthread_mutex_unlock(&m_mutex);
}

} // namespace hand
