/// \file
/// What goes into a call and what has to come out of it.
#ifndef GPAL_TESTS_EXAMPLES_RECORDINGS_H
#define GPAL_TESTS_EXAMPLES_RECORDINGS_H

#include <cstdint>
#include <string>
#include <vector>

#include "wav_file.h"

namespace recordings
{

/// Audio in which no two stretches are alike; each \p pitch is another recording.
voicecall::WavAudio sweep(unsigned rate, unsigned channels, int milliseconds, double pitch = 2000);

/// What a call makes of it.
std::vector<std::int16_t> asEncodedAndDecoded(const voicecall::WavAudio& audio);

void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes);

/// The number behind the last \p label in what the program printed; -1 when there is none.
int figure(const std::string& text, const std::string& label);

} // namespace recordings

#endif
