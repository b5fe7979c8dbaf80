/// \file
/// Lines of the console dumps of semaphores and event objects.
#ifndef GPAL_THREADS_SEMAPHORE_DUMP_H
#define GPAL_THREADS_SEMAPHORE_DUMP_H

#include <iomanip>
#include <set>
#include <string>

#include "base/console.h"

namespace gpal::detail
{

/// First and last line of a dump.
inline const char* const DUMP_RULE = "**************************************\n";

/// "label = value", with all values in one column.
template <typename Value>
std::string dumpLine(const char* label, const Value& value)
{
    constexpr int LABEL_WIDTH = 26;
    return asText(std::left, std::setw(LABEL_WIDTH), label, "= ", value, '\n');
}

/// One line for each thread id, in ascending order, numbered from 0.
inline std::string dumpThreads(const std::multiset<unsigned long>& threads)
{
    std::string text;
    int index = 0;
    for (const unsigned long thread : threads) {
        text += asText(index++, " - ", thread, '\n');
    }
    return text;
}

} // namespace gpal::detail

#endif
