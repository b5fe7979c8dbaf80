/// \file
/// ITU-T G.711 mu-law: 16-bit samples to 8-bit codes and back.
#ifndef VOICE_CALL_G711_H
#define VOICE_CALL_G711_H

#include <cstdint>
#include <vector>

namespace voicecall
{

/// The code of a zero sample, with which an incomplete frame is filled up.
constexpr std::uint8_t MU_LAW_SILENCE = 0xFF;

/// The code of a sample; those beyond +-32635 get the outermost code of their sign.
std::uint8_t muLawEncode(std::int16_t sample);

/// The sample that a code stands for, between -32124 and 32124. 0x7F, "minus zero", is 0 too.
std::int16_t muLawDecode(std::uint8_t code);

std::vector<std::uint8_t> muLawEncode(const std::vector<std::int16_t>& samples);
std::vector<std::int16_t> muLawDecode(const std::vector<std::uint8_t>& codes);

} // namespace voicecall

#endif
