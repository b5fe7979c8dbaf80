#include "thread_list.h"

#include <cstdio>

#include "json.h"
#include "output.h"
#include "process_threads.h"

namespace gpalinfo
{
namespace
{

std::string seconds(double time)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", time);
    return text;
}

void printTable(const ProcessThreads& process)
{
    std::printf("Process %d: %s\n", process.id, printable(process.program).c_str());
    std::printf("%7s  %-15s  %4s  %-10s  %-8s  %10s\n", "thread", "name", "nice", "level", "state",
                "CPU s");
    for (const ThreadState& thread : process.threads) {
        const std::string levels = levelsOf(thread.nice);
        std::printf("%7d  %-15s  %4d  %-10s  %-8s  %10s\n", thread.id,
                    printable(thread.name).c_str(), thread.nice,
                    levels.empty() ? "-" : levels.c_str(), nameOfState(thread.state).c_str(),
                    seconds(thread.cpuSeconds).c_str());
    }
}

void printAsJson(const ProcessThreads& process)
{
    Json json;
    json.open('{').name("id").number(process.id).name("program").text(process.program);
    json.name("threads").open('[');
    for (const ThreadState& thread : process.threads) {
        const std::string levels = levelsOf(thread.nice);
        json.open('{').name("id").number(thread.id).name("name").text(thread.name);
        json.name("nice").number(thread.nice).name("level");
        levels.empty() ? json.null() : json.text(levels);
        json.name("state").text(nameOfState(thread.state));
        json.name("cpu_s").decimal(seconds(thread.cpuSeconds)).close('}');
    }
    json.close(']').close('}');
}

} // namespace

bool printThreads(const std::string& process, bool json)
{
    const std::optional<ProcessThreads> found = findThreads(process);
    if (!found) {
        complain("no process " + process);
        return false;
    }
    json ? printAsJson(*found) : printTable(*found);
    return true;
}

} // namespace gpalinfo
