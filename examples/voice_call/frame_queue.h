/// \file
/// Hand-over of frames from one thread to another.
#ifndef VOICE_CALL_FRAME_QUEUE_H
#define VOICE_CALL_FRAME_QUEUE_H

#include <deque>

#include <gpal/Semaphore.h>

#include "rtp.h"

namespace voicecall
{

/// Frames that one thread has received and another has not processed yet. It shows the two uses of
/// a semaphore: one with a single unit as a lock, one that counts what there is to take.
class FrameQueue
{
public:
    FrameQueue();

    void put(const Frame& frame);

    /// No more frames will come: who waits in `take`, or comes later, gets the rest and then false.
    void close();

    /// Waits for a frame. Returns false when the queue is closed and empty.
    bool take(Frame& frame);

private:
    Semaphore m_lock; ///< guards the two fields that follow
    std::deque<Frame> m_frames;
    bool m_closed = false;
    Semaphore m_filled; ///< a unit for each frame, and one more for the end
};

} // namespace voicecall

#endif
