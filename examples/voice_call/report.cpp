#include "report.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <unistd.h>

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

void writeFrames(std::ostream& out, const CallResult& call)
{
    out << label("Frames sent") << call.sent << " of " << call.frames;
    if (call.sendFailures != 0) {
        out << " (" << call.sendFailures << " of them not taken by the network)";
    }
    out << "\n" << label("Frames received") << call.received;
    if (call.reordered + call.duplicates + call.foreign != 0) {
        out << " (" << call.reordered << " out of order, " << call.duplicates
            << " more than once; packets of others: " << call.foreign << ")";
    }
    out << "\n" << label("Frames lost") << call.lost() << "\n";
}

void writeLateness(std::ostream& out, const std::vector<int>& lateness)
{
    out << label("Tick lateness");
    if (lateness.empty()) {
        out << "no ticks\n";
        return;
    }
    out << "median " << milliseconds(percentile(lateness, 50)) << ", 99th percentile "
        << milliseconds(percentile(lateness, 99)) << ", maximum "
        << milliseconds(percentile(lateness, 100)) << "\n";
}

void writeThreads(std::ostream& out, const std::vector<ThreadFigures>& threads)
{
    out << "Threads:\n";
    for (const ThreadFigures& thread : threads) {
        out << "  " << std::left << std::setw(14) << thread.name << std::setw(7) << thread.level
            << "nice " << std::right << std::setw(3) << thread.nice;
        if (thread.nice != thread.wantedNice) {
            out << " (the level asks for " << thread.wantedNice << ", which needs privileges)";
        }
        out << "\n";
    }
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
    out << (facts.interrupted ? "Call hung up early.\n" : "Call completed.\n") << label("Input")
        << facts.input << " (" << facts.inputRate << " Hz, "
        << (facts.inputChannels == 1 ? "mono" : "stereo") << ", " << seconds(call.frames) << ")\n"
        << label("Output") << facts.output << " (8000 Hz, mono, " << facts.samplesWritten
        << " samples)\n";
    if (!facts.capture.empty()) {
        out << label("Capture") << facts.capture << " (" << call.captured << " packets)\n";
    }
    out << label("Audio")
        << (facts.asEncoded ? "equal to the encoded and decoded input, sample for sample"
                            : "DIFFERENT from the encoded and decoded input")
        << "\n";
    writeFrames(out, call);
    if (!call.drained) {
        out << label("Drain") << "frames were still missing when no more came\n";
    }
    writeLateness(out, call.lateness);
    writeThreads(out, call.threads);
}

} // namespace voicecall
