#include "report.h"

#include <algorithm>
#include <climits>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <unistd.h>

#include "rtp.h"

namespace voicecall
{
namespace
{

/// Thousandths as a decimal fraction: the ostream's own format is left as it is.
std::string thousandths(int number, int digits)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << number / 1000.0;
    return text.str();
}

std::string seconds(int frames)
{
    return thousandths(frames * FRAME_MS, 2) + " s";
}

std::string milliseconds(int microseconds)
{
    return thousandths(microseconds, 3) + " ms";
}

/// The start of a line: what it is about, in a column of its own.
std::string label(const std::string& text)
{
    constexpr std::size_t WIDTH = 18;
    return (text + ":").append(WIDTH - std::min(WIDTH, text.size() + 1), ' ');
}

/// How the call ended, in a line.
std::string ending(const CallResult& call, int timeoutS)
{
    const std::string patience = std::to_string(timeoutS) + " s";
    switch (call.end) {
    case CallEnd::COMPLETED:
        return "Call completed.";
    case CallEnd::HUNG_UP:
        return "Call hung up early.";
    case CallEnd::OTHER_HUNG_UP:
        return "Call completed: the other side has hung up.";
    case CallEnd::NOBODY_ANSWERED:
        return call.otherSide.empty() ? "Nobody has called within " + patience + "."
                                      : "Nobody has answered within " + patience + ".";
    case CallEnd::FELL_SILENT:
        return "The other side has fallen silent: nothing was heard for " + patience + ".";
    }
    return "";
}

void writeFrames(std::ostream& out, const CallResult& call)
{
    out << label("Frames sent") << call.sent << " of " << call.frames;
    if (call.sendFailures != 0) {
        out << " (" << call.sendFailures << " of them not taken by the network)";
    }
    out << "\n" << label("Frames received") << call.received;
    if (call.reordered + call.duplicates + call.foreign != 0) {
        out << " (" << call.reordered << " out of order, " << call.duplicates << " doubled, "
            << call.foreign << " from others)";
    }
    out << "\n" << label("Frames lost") << call.lost;
    if (call.late != 0) {
        out << ", and " << call.late << " too late; silence is in their place";
    }
    out << "\n";
}

/// A line for each range of lateness, with a bar for its share of the ticks.
void writeHistogram(std::ostream& out, const std::vector<int>& lateness)
{
    struct Range {
        const char* name;
        int from; ///< microseconds
        int below;
    };
    static const Range RANGES[] = {{"below 1 ms", 0, 1000},
                                   {"1 to 5 ms", 1000, 5000},
                                   {"5 to 20 ms", 5000, 20000},
                                   {"20 ms or more", 20000, INT_MAX}};
    constexpr std::size_t LONGEST_BAR = 45;
    for (const Range& range : RANGES) {
        const auto count =
            static_cast<std::size_t>(std::count_if(lateness.begin(), lateness.end(), [&](int late) {
                return late >= range.from && late < range.below;
            }));
        // Rounded up: a single tick is seen too.
        const std::size_t bar = (count * LONGEST_BAR + lateness.size() - 1) / lateness.size();
        out << "  " << std::left << std::setw(14) << range.name << std::right << std::setw(7)
            << count << (bar == 0 ? "" : "  ") << std::string(bar, '#') << "\n";
    }
}

void writeLateness(std::ostream& out, const std::vector<int>& lateness)
{
    out << label("Tick lateness");
    if (lateness.empty()) {
        out << "no ticks\n";
        return;
    }
    out << "median " << milliseconds(percentile(lateness, 50)) << ", 99 % in "
        << milliseconds(percentile(lateness, 99)) << ", maximum "
        << milliseconds(percentile(lateness, 100)) << "\n";
    writeHistogram(out, lateness);
}

void writeThreads(std::ostream& out, const std::vector<ThreadFigures>& threads)
{
    bool allAsWanted = true;
    out << "Threads:          level    nice  kernel id  id (as owner of a semaphore)\n";
    for (const ThreadFigures& thread : threads) {
        const bool asWanted = thread.nice == thread.wantedNice;
        allAsWanted = allAsWanted && asWanted;
        out << "  " << std::left << std::setw(16) << thread.name << std::setw(7) << thread.level
            << std::right << std::setw(6) << thread.nice << (asWanted ? " " : "*") << std::setw(10)
            << thread.kernelId << "  " << thread.id << "\n";
    }
    if (!allAsWanted) {
        out << "  * The level asks for another nice value, which needs privileges.\n";
    }
}

void writeSemaphores(std::ostream& out, const SemaphoreSummary& alive)
{
    out << label("Semaphores") << alive.semaphores << " alive, " << alive.held << " held, and "
        << alive.events << " events; waited for: " << alive.waitedFor << "\n";
}

} // namespace

ProgressLine::ProgressLine() : m_isTerminal(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine()
{
    if (m_isTerminal) {
        std::cerr << "\r\033[K" << std::flush;
    }
}

void ProgressLine::show(const CallProgress& progress) const
{
    if (m_isTerminal) {
        std::cerr << '\r' << progressText(progress) << "\033[K" << std::flush;
    }
}

std::string progressText(const CallProgress& progress)
{
    constexpr int WIDTH = 30;
    const int done = progress.frames == 0 ? WIDTH : progress.sent * WIDTH / progress.frames;
    return "[" + std::string(static_cast<std::size_t>(done), '#') +
           std::string(static_cast<std::size_t>(WIDTH - done), '.') + "] " +
           seconds(progress.sent) + " of " + seconds(progress.frames) + ", received " +
           std::to_string(progress.received);
}

int percentile(std::vector<int> values, int percent)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t rank = (values.size() * static_cast<std::size_t>(percent) + 99) / 100;
    return values[std::max<std::size_t>(rank, 1) - 1];
}

void writeReport(std::ostream& out, const ReportFacts& facts, const CallResult& call)
{
    out << ending(call, facts.timeoutS) << "\n"
        << label("Input") << facts.input << " (" << facts.inputRate << " Hz, "
        << (facts.inputChannels == 1 ? "mono" : "stereo") << ", " << seconds(call.frames) << ")\n"
        << label("Output") << facts.output << " (8000 Hz, mono, " << facts.samplesWritten
        << " samples)\n";
    if (!facts.capture.empty()) {
        out << label("Capture") << facts.capture << " (" << call.captured << " packets)\n";
    }
    if (!call.otherSide.empty()) {
        out << label("Other side") << call.otherSide << "\n";
    }
    if (facts.asEncoded) {
        out << label("Audio")
            << (*facts.asEncoded ? "equal to the encoded and decoded input, sample for sample"
                                 : "DIFFERENT from the encoded and decoded input")
            << "\n";
    }
    writeFrames(out, call);
    if (!call.drained) {
        out << label("Drain") << "frames were still missing when no more came\n";
    }
    writeLateness(out, call.lateness);
    writeThreads(out, call.threads);
    writeSemaphores(out, facts.semaphores);
}

} // namespace voicecall
