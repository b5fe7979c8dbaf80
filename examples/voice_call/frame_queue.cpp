#include "frame_queue.h"

#include <gpal/CriticalSection.h>

namespace voicecall
{

FrameQueue::FrameQueue() : m_lock(1, 1, false), m_filled(0, -1, false) {}

void FrameQueue::put(const Frame& frame)
{
    {
        const CriticalSection fields(m_lock);
        m_frames.push_back(frame);
    }
    m_filled.give();
}

void FrameQueue::close()
{
    {
        const CriticalSection fields(m_lock);
        m_closed = true;
    }
    m_filled.give();
}

bool FrameQueue::take(Frame& frame)
{
    m_filled.take(-1);
    const CriticalSection fields(m_lock);
    if (m_frames.empty()) {
        m_filled.give(); // the end stays the end for whoever asks next
        return false;
    }
    frame = m_frames.front();
    m_frames.pop_front();
    return true;
}

} // namespace voicecall
