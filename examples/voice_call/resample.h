/// \file
/// Bringing audio to what a telephone line carries: 8 kHz, one channel.
#ifndef VOICE_CALL_RESAMPLE_H
#define VOICE_CALL_RESAMPLE_H

#include <cstdint>
#include <vector>

#include "wav_file.h"

namespace voicecall
{

constexpr unsigned TELEPHONE_RATE = 8000;

/// The mean of the two channels; mono audio as it is.
std::vector<std::int16_t> toMono(const WavAudio& audio);

/// \p samples, taken \p sourceRate times a second, at 8 kHz. What lies above the new band is
/// filtered out, so that it does not come back as a false tone; audio at 8 kHz stays as it is.
std::vector<std::int16_t> toTelephoneRate(const std::vector<std::int16_t>& samples,
                                          unsigned sourceRate);

} // namespace voicecall

#endif
