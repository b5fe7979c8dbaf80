#include "process_threads.h"

#include <algorithm>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <gpal/ProcessManager.h>
#include <gpal/Watchdog.h>
#include <iterator>
#include <sstream>
#include <unistd.h>

namespace gpalinfo
{
namespace
{

/// The file's content; "" when it can't be read.
std::string contentOf(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool isNumber(const std::string& text)
{
    return !text.empty() && text.size() < 10 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

std::vector<int> numbersIn(const std::string& directory)
{
    std::vector<int> numbers;
    if (DIR* const entries = opendir(directory.c_str()); entries != nullptr) {
        while (const dirent* const entry = readdir(entries)) {
            if (isNumber(entry->d_name)) {
                numbers.push_back(std::atoi(entry->d_name));
            }
        }
        closedir(entries);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace

std::optional<ProcessThreads> findThreads(const std::string& process)
{
    ProcessThreads found;
    found.id = isNumber(process) ? std::atoi(process.c_str()) : Watchdog().getPIdByName(process);
    const std::string directory = "/proc/" + std::to_string(found.id);
    for (const int id : numbersIn(directory + "/task")) {
        const std::string line = contentOf(directory + "/task/" + std::to_string(id) + "/stat");
        if (std::optional<ThreadState> thread = parseThread(line)) {
            found.threads.push_back(*thread);
        } // else it has ended meanwhile
    }
    if (found.threads.empty()) {
        return std::nullopt;
    }
    const std::string commandLine = contentOf(directory + "/cmdline");
    found.program = commandLine.substr(0, commandLine.find('\0'));
    return found;
}

std::optional<ThreadState> parseThread(const std::string& line)
{
    // A name may hold anything, parentheses and spaces too; behind it there are none.
    const std::size_t nameAt = line.find('(');
    const std::size_t nameEnd = line.rfind(')');
    if (nameAt == std::string::npos || nameEnd == std::string::npos || nameEnd < nameAt) {
        return std::nullopt;
    }
    ThreadState thread;
    thread.id = std::atoi(line.c_str());
    thread.name = line.substr(nameAt + 1, nameEnd - nameAt - 1);
    std::istringstream rest(line.substr(nameEnd + 1));
    const std::vector<std::string> fields{std::istream_iterator<std::string>(rest), {}};
    constexpr std::size_t STATE = 0;
    constexpr std::size_t USER_TIME = 11;
    constexpr std::size_t KERNEL_TIME = 12;
    constexpr std::size_t NICE = 16;
    if (fields.size() <= NICE) {
        return std::nullopt;
    }
    thread.state = fields[STATE][0];
    thread.nice = std::atoi(fields[NICE].c_str());
    thread.cpuSeconds =
        (std::atof(fields[USER_TIME].c_str()) + std::atof(fields[KERNEL_TIME].c_str())) /
        static_cast<double>(sysconf(_SC_CLK_TCK));
    return thread;
}

std::string levelsOf(int nice)
{
    struct Level {
        GPALThreadPriority level;
        const char* name;
    };
    static const Level LEVELS[] = {{GPAL_THREAD_PRIORITY_LOW, "LOW"},
                                   {GPAL_THREAD_PRIORITY_NORMAL, "NORMAL"},
                                   {GPAL_THREAD_PRIORITY_HIGH, "HIGH"},
                                   {GPAL_THREAD_PRIORITY_TIMER, "TIMER"},
                                   {GPAL_THREAD_PRIORITY_VOICE, "VOICE"}};
    std::string names;
    for (const Level& level : LEVELS) {
        if (ProcessManagement::manager()->calculatePriority(level.level) == nice) {
            names += (names.empty() ? "" : "/") + std::string(level.name);
        }
    }
    return names;
}

std::string nameOfState(char state)
{
    switch (state) {
    case 'R':
        return "running";
    case 'S':
        return "sleeping";
    case 'D':
        return "blocked";
    case 'T':
        return "stopped";
    case 't':
        return "traced";
    case 'Z':
        return "ended";
    case 'I':
        return "idle";
    default:
        return std::string(1, state);
    }
}

} // namespace gpalinfo
