#include "supervisor.h"

#include <chrono>
#include <ctime>
#include <ostream>

#include "archive.h"
#include "child.h"

namespace supervisor
{
namespace
{

std::string now()
{
    const std::time_t time = std::time(nullptr);
    std::tm parts{};
    char text[sizeof "2000-01-01T00:00:00Z"] = "";
    if (gmtime_r(&time, &parts) != nullptr) {
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    }
    return text;
}

std::string commandLine(char** command)
{
    std::string line = *command;
    while (*++command != nullptr) {
        line += std::string(" ") + *command;
    }
    return line;
}

std::string ending(int exitCode)
{
    std::string text = exitCode < 0 ? "by a signal" : "with exit code " + std::to_string(exitCode);
    if (Signals::interruptedBy() != 0) {
        text += ", as the supervisor was told to end";
    }
    return text;
}

std::string counted(int count, const std::string& thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

} // namespace

Supervisor::Supervisor(const Options& options, const Signals& signals, std::ostream& out)
    : m_options(options), m_signals(signals), m_out(out)
{
    if (m_options.archiveAt > 0) {
        checkThatArchivesArePossible(m_record);
    }
}

void Supervisor::run()
{
    m_out << "Record: " << m_record.path() << " (" << counted(m_record.count(), "record")
          << " from before)" << std::endl;
    archiveIfFull();
    int runs = 0;
    while (runs <= m_options.restarts && Signals::interruptedBy() == 0) {
        runOnce(++runs);
        archiveIfFull();
        if (runs <= m_options.restarts) {
            pause();
        }
    }
    report(runs);
}

void Supervisor::runOnce(int number)
{
    const std::string run = "run " + std::to_string(number);
    Child child(m_options.command, m_signals);
    const std::string process = "process " + std::to_string(child.id());
    m_record.append(now() + " " + run + " started, " + process + ": " +
                    commandLine(m_options.command));
    m_out << now() << " " << run << " started, " << process << std::endl;
    const std::string end = ending(child.awaitEnd());
    m_record.append(now() + " " + run + " ended, " + process + ": " + end);
    m_out << now() << " " << run << " ended " << end << std::endl;
}

void Supervisor::pause() const
{
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(m_options.pauseMs);
    while (Signals::interruptedBy() == 0) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return;
        }
        m_signals.wait(static_cast<int>(left.count()));
    }
}

void Supervisor::archiveIfFull()
{
    const int count = m_record.count();
    if (m_options.archiveAt == 0 || count < m_options.archiveAt) {
        return;
    }
    const std::string archive = moveIntoArchive(m_record);
    ++m_archives;
    m_out << now() << " archived " << counted(count, "record") << " in " << archive << std::endl;
}

void Supervisor::report(int runs)
{
    m_out << (Signals::interruptedBy() != 0 ? "Told to end" : "No restarts left") << " after "
          << counted(runs, "run") << "; " << counted(m_archives, "archive") << " made, "
          << counted(m_record.count(), "record") << " left in " << m_record.path() << std::endl;
}

} // namespace supervisor
