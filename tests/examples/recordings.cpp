#include "recordings.h"

#include <cmath>
#include <cstdlib>
#include <fstream>

#include "g711.h"
#include "resample.h"

namespace recordings
{

voicecall::WavAudio sweep(unsigned rate, unsigned channels, int milliseconds, double pitch)
{
    voicecall::WavAudio audio{rate, channels, {}};
    const std::size_t frames = static_cast<std::size_t>(milliseconds) * rate / 1000;
    for (std::size_t i = 0; i < frames; ++i) {
        const double time = static_cast<double>(i) / rate;
        for (unsigned channel = 0; channel < channels; ++channel) {
            audio.samples.push_back(static_cast<std::int16_t>(
                12000 * std::sin((pitch + 3000 * time) * time + channel)));
        }
    }
    return audio;
}

std::vector<std::int16_t> asEncodedAndDecoded(const voicecall::WavAudio& audio)
{
    return voicecall::muLawDecode(voicecall::muLawEncode(
        voicecall::toTelephoneRate(voicecall::toMono(audio), audio.sampleRate)));
}

void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

int figure(const std::string& text, const std::string& label)
{
    const std::size_t at = text.rfind(label);
    return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + label.size());
}

} // namespace recordings
