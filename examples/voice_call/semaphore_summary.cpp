#include "semaphore_summary.h"

#include <iostream>
#include <sstream>

#include <gpal/Semaphore.h>

namespace voicecall
{

std::string dumpOfSemaphores()
{
    // The layer dumps to std::cout, which here lets a text take it.
    std::ostringstream text;
    std::streambuf* const output = std::cout.rdbuf(text.rdbuf());
    Semaphore::info(nullptr);
    std::cout.rdbuf(output);
    return text.str();
}

SemaphoreSummary summaryOf(const std::string& dump)
{
    SemaphoreSummary summary;
    bool isEvent = false;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        // "label = value"
        const std::string value = line.substr(line.rfind(' ') + 1);
        if (line.rfind("Type ", 0) == 0) {
            isEvent = value == "Wait";
            ++(isEvent ? summary.events : summary.semaphores);
        } else if (line.rfind("current owner ", 0) == 0 && !isEvent && value != "0") {
            ++summary.held;
        } else if (line.rfind("Number of threads waiting ", 0) == 0 && value != "0") {
            ++summary.waitedFor;
        }
    }
    return summary;
}

} // namespace voicecall
