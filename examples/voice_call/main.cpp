/// \file
/// A typical request to the layer, as a program: a recording crosses a telephone call from one
/// thread to another. `--help` says what it does; call.h is the place to start reading.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>

#include <gpal/packet_dump.h>
#include <gpal/Semaphore.h>

#include "call.h"
#include "crash_report.h"
#include "g711.h"
#include "interrupt.h"
#include "options.h"
#include "report.h"
#include "resample.h"
#include "wav_file.h"

namespace voicecall
{
namespace
{

enum ExitStatus : int {
    ALL_ARRIVED = 0,
    LOST_OR_DIFFERENT = 1,
    NOT_POSSIBLE = 2,
    ENDED_BY_SIGNAL = 128 ///< to which the signal's number is added
};

bool areTheSameFile(const std::string& one, const std::string& other)
{
    struct stat first {
    };
    struct stat second {
    };
    return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

ThreadFigures figures(const TimerMonitor& monitor)
{
    return {"timer monitor", nameOfLevel(GPAL_THREAD_PRIORITY_TIMER),
            wantedNice(GPAL_THREAD_PRIORITY_TIMER), monitor.nice()};
}

/// The file that the packets are written to, if one is wanted.
std::unique_ptr<packet_dump> openCapture(const Options& options)
{
    if (options.capture.empty()) {
        return nullptr;
    }
    if (areTheSameFile(options.input, options.capture) ||
        areTheSameFile(options.output, options.capture)) {
        throw std::runtime_error(options.capture +
                                 " is the input or the output; name another file with --capture");
    }
    if (!std::ofstream(options.capture)) {
        throw std::runtime_error("cannot write " + options.capture + ": " + std::strerror(errno));
    }
    std::string name = options.capture;
    return std::make_unique<packet_dump>(name.data());
}

int makeCall(const Options& options)
{
    const WavAudio input = readWavFile(options.input);
    if (areTheSameFile(options.input, options.output)) {
        throw std::runtime_error(options.output + " is the input; name another file with --output");
    }
    WavOutput output(options.output);
    const std::unique_ptr<packet_dump> capture = openCapture(options);
    const std::vector<std::uint8_t> codes =
        muLawEncode(toTelephoneRate(toMono(input), input.sampleRate));

    // The process's one timer monitor: there before the first timer is armed, and kept to the end.
    TimerMonitor monitor;
    monitor.start();

    Call call(codes, capture.get());
    CallResult result;
    {
        const ProgressLine line;
        result = call.run([&line](const CallProgress& progress) {
            line.show(progress);
            return interruptedBy() == 0;
        });
    }

    // The silence that filled the last frame up is cut off again, so that the recording is as long
    // as the input was.
    result.audio.resize(std::min(result.audio.size(), codes.size()));
    const std::vector<std::int16_t> expected = muLawDecode(codes);
    const bool asEncoded = std::equal(result.audio.begin(), result.audio.end(), expected.begin()) &&
                           result.lost() == 0;
    output.write({TELEPHONE_RATE, 1, result.audio});

    result.threads.insert(result.threads.begin(), figures(monitor));
    const int signalNumber = interruptedBy();
    writeReport(std::cout,
                {options.input, input.sampleRate, input.channels, options.output, options.capture,
                 result.audio.size(), asEncoded, signalNumber != 0},
                result);
    std::cout << "Semaphores still alive (locks, events and counters of the call and its timers):\n"
              << std::flush;
    Semaphore::info(nullptr);

    if (signalNumber != 0) {
        return ENDED_BY_SIGNAL + signalNumber;
    }
    return asEncoded ? ALL_ARRIVED : LOST_OR_DIFFERENT;
}

} // namespace
} // namespace voicecall

int main(int argc, char** argv)
{
    using namespace voicecall;
    const Options options = readOptions(argc, argv);
    if (!options.valid) {
        std::cerr << usage();
        return NOT_POSSIBLE;
    }
    if (options.help) {
        std::cout << help();
        return ALL_ARRIVED;
    }
    noteInterrupts();
    reportCrashes();
    try {
        if (options.crash) {
            crash();
        }
        return makeCall(options);
    } catch (const std::exception& error) {
        std::cerr << "voice_call: " << error.what() << '\n';
        return NOT_POSSIBLE;
    }
}
