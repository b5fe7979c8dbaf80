#include "resample.h"

#include <algorithm>
#include <cmath>

namespace voicecall
{
namespace
{

constexpr double PI = 3.14159265358979323846;

/// A windowed-sinc low-pass, tabulated: half of it, since it is symmetric.
class LowPass
{
public:
    /// \p cutoff is a part of the source's sampling rate, up to 0.5.
    explicit LowPass(double cutoff) : m_cutoff(cutoff), m_table(TABLE_SIZE)
    {
        for (std::size_t i = 0; i < m_table.size(); ++i) {
            m_table[i] = valueAt(static_cast<double>(i) / POINTS_PER_CROSSING);
        }
    }

    /// Distance from the centre, in source samples, at which it has died out.
    double halfWidth() const { return CROSSINGS / (2 * m_cutoff); }

    /// Weight of a source sample at \p distance from the centre, between two points of the table.
    double weight(double distance) const
    {
        const double position = std::fabs(distance) * 2 * m_cutoff * POINTS_PER_CROSSING;
        const auto index = static_cast<std::size_t>(position);
        if (index + 1 >= m_table.size()) {
            return 0;
        }
        const double fraction = position - static_cast<double>(index);
        return m_table[index] + fraction * (m_table[index + 1] - m_table[index]);
    }

private:
    static constexpr int CROSSINGS = 32; ///< zero crossings of the sinc to each side
    static constexpr int POINTS_PER_CROSSING = 256;
    static constexpr std::size_t TABLE_SIZE = CROSSINGS * POINTS_PER_CROSSING + 1;

    /// The filter \p crossings zero crossings away from its centre, under a Blackman window.
    double valueAt(double crossings) const
    {
        const double sinc = crossings == 0 ? 1 : std::sin(PI * crossings) / (PI * crossings);
        const double phase = PI * crossings / CROSSINGS;
        const double window = 0.42 + 0.5 * std::cos(phase) + 0.08 * std::cos(2 * phase);
        return 2 * m_cutoff * sinc * window;
    }

    double m_cutoff;
    std::vector<double> m_table;
};

std::int16_t toSample(double value)
{
    return static_cast<std::int16_t>(std::lround(std::clamp(value, -32768.0, 32767.0)));
}

} // namespace

std::vector<std::int16_t> toMono(const WavAudio& audio)
{
    if (audio.channels == 1) {
        return audio.samples;
    }
    std::vector<std::int16_t> mono(audio.samples.size() / 2);
    for (std::size_t i = 0; i < mono.size(); ++i) {
        mono[i] = static_cast<std::int16_t>((audio.samples[2 * i] + audio.samples[2 * i + 1]) / 2);
    }
    return mono;
}

std::vector<std::int16_t> toTelephoneRate(const std::vector<std::int16_t>& samples,
                                          unsigned sourceRate)
{
    if (sourceRate == TELEPHONE_RATE) {
        return samples;
    }
    // The filter needs some room to fall off before half of the lower of the two rates.
    constexpr double PASSED_PART_OF_BAND = 0.92;
    const double lowerRate = std::min(sourceRate, TELEPHONE_RATE);
    const LowPass filter(PASSED_PART_OF_BAND * lowerRate / 2 / sourceRate);
    const auto reach = static_cast<std::int64_t>(std::ceil(filter.halfWidth()));
    const auto length = static_cast<std::int64_t>(samples.size());

    std::vector<std::int16_t> result(
        static_cast<std::size_t>((length * TELEPHONE_RATE + sourceRate - 1) / sourceRate));
    for (std::size_t n = 0; n < result.size(); ++n) {
        // In whole numbers: the place of a sample an hour into the recording is as exact as the
        // first one's.
        const std::uint64_t place = static_cast<std::uint64_t>(n) * sourceRate;
        const auto centre = static_cast<std::int64_t>(place / TELEPHONE_RATE);
        const double fraction = static_cast<double>(place % TELEPHONE_RATE) / TELEPHONE_RATE;
        const std::int64_t last = std::min(centre + reach, length - 1);
        double sum = 0;
        for (std::int64_t i = std::max<std::int64_t>(centre - reach, 0); i <= last; ++i) {
            sum += samples[static_cast<std::size_t>(i)] *
                   filter.weight(static_cast<double>(i - centre) - fraction);
        }
        result[n] = toSample(sum);
    }
    return result;
}

} // namespace voicecall
