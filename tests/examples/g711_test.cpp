#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

#include "g711.h"

using voicecall::muLawDecode;
using voicecall::muLawEncode;

namespace
{

int decoded(int code)
{
    return muLawDecode(static_cast<std::uint8_t>(code));
}

int encoded(int sample)
{
    return muLawEncode(static_cast<std::int16_t>(sample));
}

} // namespace

TEST(MuLaw, everyCodeButMinusZeroSurvivesDecodingAndEncoding)
{
    for (int code = 0; code < 256; ++code) {
        EXPECT_EQ(encoded(decoded(code)), code == 0x7F ? 0xFF : code) << code;
    }
}

TEST(MuLaw, decodesTheKnownValues)
{
    const struct {
        int code;
        int sample;
    } known[] = {{0xFF, 0},     {0xFE, 8},     {0xF0, 120},    {0xEF, 132},    {0xE0, 372},
                 {0xDF, 396},   {0xD0, 876},   {0xC0, 1884},   {0xB0, 3900},   {0xA0, 7932},
                 {0x90, 15996}, {0x8F, 16764}, {0x80, 32124},  {0x7F, 0},      {0x7E, -8},
                 {0x70, -120},  {0x40, -1884}, {0x10, -15996}, {0x01, -31100}, {0x00, -32124}};
    for (const auto& pair : known) {
        EXPECT_EQ(decoded(pair.code), pair.sample) << pair.code;
    }
}

TEST(MuLaw, encodesTheKnownValues)
{
    const struct {
        int sample;
        int code;
    } known[] = {{0, 0xFF},     {3, 0xFF},     {4, 0xFE},     {-3, 0x7F},     {-4, 0x7E},
                 {123, 0xF0},   {124, 0xEF},   {1000, 0xCE},  {-1000, 0x4E},  {32635, 0x80},
                 {32767, 0x80}, {31611, 0x81}, {31612, 0x80}, {-32635, 0x00}, {-32768, 0x00}};
    for (const auto& pair : known) {
        EXPECT_EQ(encoded(pair.sample), pair.code) << pair.sample;
    }
}

TEST(MuLaw, negativeSamplesDifferInTheSignBitOnly)
{
    for (int sample = 1; sample <= 32767; ++sample) {
        ASSERT_EQ(encoded(-sample), encoded(sample) ^ 0x80) << sample;
    }
}

TEST(MuLaw, noSampleIsFurtherThanHalfAStepFromWhatItsCodeStandsFor)
{
    for (int sample = -32635; sample <= 32635; ++sample) {
        const int magnitude = std::abs(sample) + 132;
        const int step = 8 << (std::ilogb(magnitude) - 7);
        ASSERT_LE(std::abs(decoded(encoded(sample)) - sample), step / 2) << sample;
    }
}

TEST(MuLaw, convertsWholeRecordings)
{
    const std::vector<std::int16_t> samples{0, 1884, -1884};
    const std::vector<std::uint8_t> codes{0xFF, 0xC0, 0x40};
    EXPECT_EQ(muLawEncode(samples), codes);
    EXPECT_EQ(muLawDecode(codes), samples);
}
