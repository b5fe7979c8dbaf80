#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "resample.h"

using testing::ElementsAre;
using voicecall::toTelephoneRate;

namespace
{

constexpr double PI = 3.14159265358979323846;
constexpr double AMPLITUDE = 10000;

/// A quarter of a second of a tone.
std::vector<std::int16_t> tone(double frequency, unsigned rate)
{
    std::vector<std::int16_t> samples(rate / 4);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::int16_t>(
            std::lround(AMPLITUDE * std::sin(2 * PI * frequency * static_cast<double>(i) / rate)));
    }
    return samples;
}

/// The amplitude of a steady sine with as much power as the middle part of \p samples.
double amplitudeOf(const std::vector<std::int16_t>& samples)
{
    const std::size_t edge = samples.size() / 8;
    double power = 0;
    for (std::size_t i = edge; i < samples.size() - edge; ++i) {
        power += static_cast<double>(samples[i]) * samples[i];
    }
    return std::sqrt(2 * power / static_cast<double>(samples.size() - 2 * edge));
}

double decibels(double amplitude)
{
    return 20 * std::log10(amplitude / AMPLITUDE);
}

} // namespace

class ResampleFrom : public testing::TestWithParam<unsigned>
{
};

TEST_P(ResampleFrom, keepsATelephoneToneAtItsPitchLoudnessAndTime)
{
    const auto result = toTelephoneRate(tone(1000, GetParam()), GetParam());
    const auto expected = tone(1000, 8000);
    ASSERT_NEAR(static_cast<double>(result.size()), static_cast<double>(expected.size()), 1);
    for (std::size_t i = 200; i < expected.size() - 200; ++i) {
        ASSERT_NEAR(result[i], expected[i], AMPLITUDE / 100) << i;
    }
}

TEST_P(ResampleFrom, keepsTheUpperEndOfTheTelephoneBand)
{
    EXPECT_NEAR(decibels(amplitudeOf(toTelephoneRate(tone(3300, GetParam()), GetParam()))), 0, 0.5);
}

INSTANTIATE_TEST_SUITE_P(eachRate, ResampleFrom, testing::Values(8000, 11025, 16000, 44100, 48000));

class ResampleDownFrom : public testing::TestWithParam<unsigned>
{
};

TEST_P(ResampleDownFrom, leavesNothingOfATonePastTheNewBand)
{
    for (const double frequency : {4100.0, 6000.0, 7500.0}) {
        EXPECT_LT(decibels(amplitudeOf(toTelephoneRate(tone(frequency, GetParam()), GetParam()))),
                  -40)
            << frequency;
    }
}

INSTANTIATE_TEST_SUITE_P(eachRate, ResampleDownFrom, testing::Values(16000, 44100, 48000, 96000));

TEST(Resample, leavesAudioAtTheTelephoneRateAlone)
{
    const std::vector<std::int16_t> samples{1, -32768, 32767, 5};
    EXPECT_EQ(toTelephoneRate(samples, 8000), samples);
}

TEST(Resample, givesEachSecondEightThousandSamples)
{
    EXPECT_EQ(toTelephoneRate(std::vector<std::int16_t>(48000), 48000).size(), 8000U);
    EXPECT_EQ(toTelephoneRate(std::vector<std::int16_t>(44100), 44100).size(), 8000U);
    EXPECT_EQ(toTelephoneRate(std::vector<std::int16_t>(1), 192000).size(), 1U);
    EXPECT_EQ(toTelephoneRate(std::vector<std::int16_t>(7), 48000).size(), 2U);
    EXPECT_EQ(toTelephoneRate(std::vector<std::int16_t>(4000), 4000).size(), 8000U);
}

TEST(Resample, invertsNoPeakThatTheFilterDrivesPastTheLimit)
{
    std::vector<std::int16_t> square(4800);
    for (std::size_t i = 0; i < square.size(); ++i) {
        square[i] = i / 240 % 2 == 0 ? 32767 : -32768; // 100 Hz
    }
    const auto result = toTelephoneRate(square, 48000);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const std::size_t inHalfWave = i % 40;
        if (inHalfWave > 2 && inHalfWave < 38) {
            ASSERT_EQ(result[i] > 0, i / 40 % 2 == 0) << i;
        }
    }
}

TEST(Resample, isTheSameEachTime)
{
    const auto samples = tone(777, 44100);
    EXPECT_EQ(toTelephoneRate(samples, 44100), toTelephoneRate(samples, 44100));
}

TEST(ToMono, takesTheMeanOfTwoChannels)
{
    EXPECT_THAT(voicecall::toMono({8000, 2, {100, 200, -32768, -32768, 32767, -32767}}),
                ElementsAre(150, -32768, 0));
}

TEST(ToMono, leavesOneChannelAlone)
{
    EXPECT_THAT(voicecall::toMono({8000, 1, {1, 2, 3}}), ElementsAre(1, 2, 3));
}
