/// \file
/// Console dumps of semaphores and event objects.
#ifndef GPAL_THREADS_SEMAPHORE_DUMP_H
#define GPAL_THREADS_SEMAPHORE_DUMP_H

#include <set>
#include <string>

namespace gpal::detail
{

/// A dump that is being put together, line by line.
class SemaphoreDump
{
public:
    /// Begins with the lines of the type and of the object's address.
    SemaphoreDump(const char* type, const void* object);

    /// Adds the line "label = value", with all values in one column.
    void line(const char* label, long long value);

    /// One line for each thread id, in ascending order, numbered from 0.
    void threads(const std::multiset<unsigned long>& ids);

    /// Puts the end to it and writes it to the console.
    void write();

private:
    void add(const char* format, ...) __attribute__((format(printf, 2, 3)));

    std::string m_text;
};

} // namespace gpal::detail

#endif
