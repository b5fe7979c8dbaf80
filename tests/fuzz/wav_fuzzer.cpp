/// \file
/// Takes any bytes for the audio that a voice call plays.
#include "check.h"
#include "input.h"
#include "wav_file.h"

using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        const voicecall::WavAudio audio = voicecall::parseWav(fuzz::Input(data, size).rest());
        check(audio.channels == 1 || audio.channels == 2);
        check(audio.sampleRate >= 4000 && audio.sampleRate <= 192000);
        check(!audio.samples.empty() && audio.samples.size() % audio.channels == 0);
        check(audio.samples.size() * 2 < size);
        const voicecall::WavAudio again = voicecall::parseWav(voicecall::formatWav(audio));
        check(again.channels == audio.channels && again.sampleRate == audio.sampleRate);
        check(again.samples == audio.samples);
    } catch (const voicecall::WavError& error) {
        check(std::string(error.what()).find('\n') == std::string::npos);
    }
    return 0;
}
