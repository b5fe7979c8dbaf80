/// \file
/// The thread that records.
#ifndef VOICE_CALL_RECORDER_H
#define VOICE_CALL_RECORDER_H

#include <atomic>
#include <cstdint>
#include <vector>

#include "call_thread.h"
#include "frame_queue.h"

namespace voicecall
{

/// Decodes the frames and puts each at its place, until the queue is closed. A frame that comes
/// when one that is later by more than `PATIENCE` frames has been heard is too late, as it is for a
/// telephone, which has played on: its place stays silent.
class Recorder : public CallThread
{
public:
    static constexpr int PATIENCE = 10; ///< 200 ms

    /// Records \p frames frames at most. (The memory for them is taken here, because a thread of a
    /// call must not fail; the system gives it when it is used.)
    Recorder(FrameQueue& queue, int frames);

    int received() const { return m_received; }     ///< different frames in time
    int reordered() const { return m_reordered; }   ///< of these, that came after a later one
    int late() const { return m_late; }             ///< different frames, too late
    int duplicates() const { return m_duplicates; } ///< that came once more

    /// Waits until \p frames frames are recorded; returns false if \p timeoutMs passed without a
    /// new one. For one thread at a time.
    bool waitForFrames(int frames, int timeoutMs);

    /// The first and the last frame that was recorded, -1 when there is none. After `join`.
    int first() const { return m_first; }
    int last() const { return m_last; }

    /// How many between these two never came. After `join`.
    int lost() const;

    /// The audio of \p count frames from \p first on, silent where one is missing. After `join`.
    std::vector<std::int16_t> audio(int first, int count) const;

private:
    enum Arrival : std::uint8_t { MISSING, IN_TIME, TOO_LATE };

    void work() override;
    void record(const Frame& frame);

    FrameQueue& m_queue;
    const std::size_t m_most;
    std::vector<std::int16_t> m_audio; ///< as far as frames were heard
    std::vector<Arrival> m_arrivals;   ///< of the same frames
    int m_first = -1;
    int m_last = -1;
    Wait m_progress;
    std::atomic<int> m_received{0};
    std::atomic<int> m_reordered{0};
    std::atomic<int> m_late{0};
    std::atomic<int> m_duplicates{0};
};

} // namespace voicecall

#endif
