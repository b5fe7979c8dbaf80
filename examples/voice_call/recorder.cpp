#include "recorder.h"

#include <algorithm>

#include "g711.h"

namespace voicecall
{

Recorder::Recorder(FrameQueue& queue, int frames)
    : CallThread("recorder", GPAL_THREAD_PRIORITY_NORMAL),
      m_queue(queue),
      m_most(static_cast<std::size_t>(frames))
{
    m_audio.reserve(m_most * FRAME_SAMPLES);
    m_arrivals.reserve(m_most);
}

void Recorder::work()
{
    Frame frame;
    while (m_queue.take(frame)) {
        record(frame);
        m_progress.signal();
    }
}

void Recorder::record(const Frame& frame)
{
    const auto index = static_cast<std::size_t>(frame.index);
    if (index >= m_most) {
        return;
    }
    if (index >= m_arrivals.size()) {
        m_arrivals.resize(index + 1, MISSING);
        m_audio.resize((index + 1) * FRAME_SAMPLES);
    }
    if (m_arrivals[index] != MISSING) {
        ++m_duplicates;
        return;
    }
    if (frame.index + PATIENCE < m_last) {
        m_arrivals[index] = TOO_LATE;
        ++m_late;
        return;
    }
    m_arrivals[index] = IN_TIME;
    if (frame.index < m_last) {
        ++m_reordered;
    }
    m_first = m_first < 0 ? frame.index : std::min(m_first, frame.index);
    m_last = std::max(m_last, frame.index);
    std::transform(frame.payload.begin(), frame.payload.end(),
                   m_audio.begin() + static_cast<std::ptrdiff_t>(index * FRAME_SAMPLES),
                   [](std::uint8_t code) { return muLawDecode(code); });
    ++m_received;
}

bool Recorder::waitForFrames(int frames, int timeoutMs)
{
    while (m_received < frames) {
        if (m_progress.wait(timeoutMs) == 0) {
            return m_received >= frames;
        }
    }
    return true;
}

int Recorder::lost() const
{
    return m_first < 0 ? 0
                       : static_cast<int>(std::count(m_arrivals.begin() + m_first,
                                                     m_arrivals.begin() + m_last + 1, MISSING));
}

std::vector<std::int16_t> Recorder::audio(int first, int count) const
{
    std::vector<std::int16_t> audio(static_cast<std::size_t>(count) * FRAME_SAMPLES);
    const std::size_t start =
        std::min(static_cast<std::size_t>(first) * FRAME_SAMPLES, m_audio.size());
    const std::size_t there = std::min(audio.size(), m_audio.size() - start);
    std::copy_n(m_audio.data() + start, there, audio.data());
    return audio;
}

} // namespace voicecall
