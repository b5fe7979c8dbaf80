/// \file
/// Numbers that a person typed.
#ifndef VOICE_CALL_NUMBERS_H
#define VOICE_CALL_NUMBERS_H

#include <string>

namespace voicecall
{

/// Reads decimal digits, and nothing else, as a number from \p least to \p most. Returns false,
/// with \p number unchanged, for any other text.
bool readNumber(const std::string& text, int least, int most, int& number);

} // namespace voicecall

#endif
