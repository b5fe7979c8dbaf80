/// \file
/// Console dumps of semaphores and event objects.
#ifndef GPAL_THREADS_SEMAPHORE_DUMP_H
#define GPAL_THREADS_SEMAPHORE_DUMP_H

#include <set>
#include <sstream>

namespace gpal::detail
{

/// A dump that is being put together, line by line.
class SemaphoreDump
{
public:
    /// Begins with the lines of the type and of the object's address.
    SemaphoreDump(const char* type, const void* object);

    /// Begins the line "label = ", with all values in one column; the caller adds value and line
    /// end.
    std::ostream& line(const char* label);

    /// One line for each thread id, in ascending order, numbered from 0.
    void threads(const std::multiset<unsigned long>& ids);

    /// Puts the end to it and writes it to the console.
    void write();

private:
    std::ostringstream m_text;
};

} // namespace gpal::detail

#endif
