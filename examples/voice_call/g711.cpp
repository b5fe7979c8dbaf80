#include "g711.h"

#include <algorithm>

namespace voicecall
{
namespace
{

// A code has three fields: sign, segment and step. Segment s covers magnitudes (offset included)
// from 2^(s+7) to 2^(s+8) in 16 equal steps. All bits are sent inverted, so that silence, the most
// frequent code, is all ones.
constexpr unsigned SIGN_BIT = 0x80;
constexpr int OFFSET = 132;
constexpr int LARGEST_MAGNITUDE = 32635;
constexpr int LAST_SEGMENT = 7;
constexpr int STEP_MASK = 0x0F;

int segmentOf(int magnitude)
{
    int segment = 0;
    while (segment < LAST_SEGMENT && magnitude >= 1 << (segment + 8)) {
        ++segment;
    }
    return segment;
}

} // namespace

std::uint8_t muLawEncode(std::int16_t sample)
{
    const bool negative = sample < 0;
    const int magnitude = std::min(negative ? -sample : +sample, LARGEST_MAGNITUDE) + OFFSET;
    const int segment = segmentOf(magnitude);
    const int step = (magnitude >> (segment + 3)) & STEP_MASK;
    const unsigned code = (negative ? SIGN_BIT : 0U) | static_cast<unsigned>(segment) << 4 |
                          static_cast<unsigned>(step);
    return static_cast<std::uint8_t>(~code);
}

std::int16_t muLawDecode(std::uint8_t code)
{
    const unsigned bits = ~static_cast<unsigned>(code);
    const unsigned segment = bits >> 4 & LAST_SEGMENT;
    const int step = static_cast<int>(bits & STEP_MASK);
    // The middle of the step: eight units of the first segment, doubled with every segment.
    const int magnitude = ((step * 8 + OFFSET) << segment) - OFFSET;
    return static_cast<std::int16_t>((bits & SIGN_BIT) != 0 ? -magnitude : magnitude);
}

std::vector<std::uint8_t> muLawEncode(const std::vector<std::int16_t>& samples)
{
    std::vector<std::uint8_t> codes(samples.size());
    std::transform(samples.begin(), samples.end(), codes.begin(),
                   [](std::int16_t sample) { return muLawEncode(sample); });
    return codes;
}

std::vector<std::int16_t> muLawDecode(const std::vector<std::uint8_t>& codes)
{
    std::vector<std::int16_t> samples(codes.size());
    std::transform(codes.begin(), codes.end(), samples.begin(),
                   [](std::uint8_t code) { return muLawDecode(code); });
    return samples;
}

} // namespace voicecall
