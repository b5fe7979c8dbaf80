/// \file
/// A typical request to the layer, as a program: a recording crosses a telephone call from one
/// thread to another, or from one machine to another. `--help` says what it does; call.h and
/// remote_call.h are the places to start reading.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <sys/stat.h>

#include "call.h"
#include "capture_file.h"
#include "crash_report.h"
#include "g711.h"
#include "interrupt.h"
#include "options.h"
#include "remote_call.h"
#include "report.h"
#include "resample.h"
#include "semaphore_summary.h"
#include "wav_file.h"

namespace voicecall
{
namespace
{

enum ExitStatus : int {
    ALL_WELL = 0,
    NOT_ALL_WELL = 1,
    NOT_POSSIBLE = 2,
    ENDED_BY_SIGNAL = 128 ///< to which the signal's number is added
};

void complain(const std::string& text)
{
    std::cerr << "voice_call: " << text << '\n';
}

bool areTheSameFile(const std::string& one, const std::string& other)
{
    struct stat first {
    };
    struct stat second {
    };
    return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

/// Throws unless the files that are written differ from each other and from the input.
void checkFiles(const Options& options)
{
    if (areTheSameFile(options.input, options.output)) {
        throw std::runtime_error(options.output + " is the input; name another file with --output");
    }
    if (areTheSameFile(options.input, options.capture) ||
        areTheSameFile(options.output, options.capture)) {
        throw std::runtime_error(options.capture +
                                 " is the input or the output; name another file with --capture");
    }
}

/// A socket that hears who calls over IPv6 and IPv4 or, on a machine without the one, the other.
std::unique_ptr<MediaSocket> listenAt(int port)
{
    const auto number = static_cast<std::uint16_t>(port);
    try {
        return std::make_unique<MediaSocket>(NetworkAddress::any(AF_INET6, number));
    } catch (const std::runtime_error&) {
        return std::make_unique<MediaSocket>(NetworkAddress::any(AF_INET, number));
    }
}

CallResult carryOut(const Options& options, const std::vector<std::uint8_t>& codes,
                    packet_dump* capture)
{
    const ProgressLine line;
    const GoOn goOn = [&line](const CallProgress& progress) {
        line.show(progress);
        return interruptedBy() == 0;
    };
    const int timeoutMs = options.timeoutS.value_or(DEFAULT_TIMEOUT_S) * 1000;
    if (options.listen) {
        const std::unique_ptr<MediaSocket> socket = listenAt(*options.listen);
        std::cout << "Waiting for a call at UDP port " << socket->port() << ".\n" << std::flush;
        return RemoteCall(codes, *socket, capture)
            .answer(options.timeoutS ? timeoutMs : -1, timeoutMs, goOn);
    }
    if (!options.to.empty()) {
        const NetworkAddress otherSide = NetworkAddress::of(options.to, DEFAULT_PORT);
        MediaSocket socket(NetworkAddress::any(otherSide.family(), 0));
        return RemoteCall(codes, socket, capture).to(otherSide, timeoutMs, goOn);
    }
    return Call(codes, capture).run(goOn);
}

/// Whether all of the audio arrived, of a call to itself as it was sent.
std::optional<bool> isAsEncoded(const Options& options, const CallResult& call,
                                const std::vector<std::uint8_t>& codes)
{
    if (options.listen || !options.to.empty()) {
        return std::nullopt;
    }
    const std::vector<std::int16_t> expected = muLawDecode(codes);
    return call.lost == 0 && std::equal(call.audio.begin(), call.audio.end(), expected.begin());
}

bool wentWell(const CallResult& call, std::optional<bool> asEncoded)
{
    return asEncoded.value_or(true) && call.lost + call.late == 0 &&
           call.end != CallEnd::NOBODY_ANSWERED && call.end != CallEnd::FELL_SILENT;
}

/// This thread, to which the layer gives no level.
ThreadFigures mainThread()
{
    ThreadIdentity identity;
    identity.take();
    ThreadFigures figures = identity.figures("main", GPAL_THREAD_PRIORITY_NORMAL);
    figures.level = "-";
    figures.wantedNice = figures.nice;
    return figures;
}

/// Whether standard output has taken all that was printed; complains if it has not.
bool outputIsWritten()
{
    std::cout.flush();
    if (std::cout && std::ferror(stdout) == 0) {
        return true;
    }
    complain("cannot write to standard output");
    return false;
}

int makeCall(const Options& options)
{
    const WavAudio input = readWavFile(options.input);
    checkFiles(options);
    WavOutput output(options.output);
    checkFiles(options); // once more: the output is there now, by whatever names
    CaptureFile capture(options.capture);
    const std::vector<std::uint8_t> codes =
        muLawEncode(toTelephoneRate(toMono(input), input.sampleRate));

    // The process's one timer monitor: there before the first timer is armed, and kept to the end.
    TimerMonitor monitor;
    monitor.start();
    CallResult result = carryOut(options, codes, capture.packets());

    const bool isToItself = result.otherSide.empty() && !options.listen;
    if (isToItself) {
        // The silence that filled the last frame up is cut off again, so that the recording is as
        // long as the input was.
        result.audio.resize(std::min(result.audio.size(), codes.size()));
    }
    const std::optional<bool> asEncoded = isAsEncoded(options, result, codes);
    output.write({TELEPHONE_RATE, 1, result.audio});
    const bool captured = capture.close(result.sent);
    if (!captured) {
        complain("cannot write all of " + options.capture);
    }

    result.threads.insert(result.threads.begin(), {mainThread(), monitor.figures()});
    writeReport(std::cout,
                {options.input, input.sampleRate, input.channels, options.output, options.capture,
                 result.audio.size(), asEncoded, options.timeoutS.value_or(DEFAULT_TIMEOUT_S),
                 summaryOf(result.semaphores)},
                result);
    if (options.dump) {
        std::cout << "Semaphores alive (locks, events and counters of the call and its timers):\n"
                  << result.semaphores;
    }
    const bool written = outputIsWritten() && captured;
    if (interruptedBy() != 0) {
        return ENDED_BY_SIGNAL + interruptedBy();
    }
    return written && wentWell(result, asEncoded) ? ALL_WELL : NOT_ALL_WELL;
}

} // namespace
} // namespace voicecall

int main(int argc, char** argv)
{
    using namespace voicecall;
    const Options options = readOptions(argc, argv);
    if (!options.complaint.empty()) {
        complain(options.complaint);
        std::cerr << usage();
        return NOT_POSSIBLE;
    }
    if (options.help) {
        std::cout << help();
        return outputIsWritten() ? ALL_WELL : NOT_ALL_WELL;
    }
    noteInterrupts();
    reportCrashes();
    try {
        if (options.crash) {
            crash();
        }
        return makeCall(options);
    } catch (const std::exception& error) {
        complain(error.what());
        return NOT_POSSIBLE;
    }
}
