/// \file
/// A pointer for each thread, on threads libraries without thread-local variables too.
#ifndef GPAL_TESTS_SUPPORT_PER_THREAD_H
#define GPAL_TESTS_SUPPORT_PER_THREAD_H

#include <pthread.h>

namespace support
{

/// Points to something else in each thread, and to nothing in a new one. For the life of the
/// program.
template <typename Value>
class PerThread
{
public:
    PerThread() { pthread_key_create(&m_key, nullptr); }
    PerThread(const PerThread&) = delete;
    PerThread& operator=(const PerThread&) = delete;

    const Value* get() const { return static_cast<const Value*>(pthread_getspecific(m_key)); }
    void set(const Value* value) { pthread_setspecific(m_key, value); }

private:
    pthread_key_t m_key{};
};

} // namespace support

#endif
