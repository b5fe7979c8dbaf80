/// \file
/// The thread that receives.
#ifndef VOICE_CALL_RECEIVER_H
#define VOICE_CALL_RECEIVER_H

#include <atomic>

#include "call_thread.h"
#include "frame_queue.h"
#include "incoming_stream.h"
#include "media_socket.h"

namespace voicecall
{

/// Takes packets from the network and hands their frames over, so that it is back at the socket
/// before the next one comes. It never waits for long, so that it can be stopped.
class Receiver : public CallThread
{
public:
    /// Reads from \p socket, which others may send over.
    Receiver(const IncomingStream& stream, MediaSocket& socket, FrameQueue& queue);

    /// Ends the thread soon.
    void stop() { m_stopped = true; }

    /// Waits until somebody speaks, for \p timeoutMs at most; returns whether somebody does.
    bool waitForSpeaker(int timeoutMs) { return m_begun.wait(timeoutMs) == 1; }
    /// Who speaks. To be asked for when `waitForSpeaker` said so.
    const NetworkAddress& speaker() const { return m_speaker; }

    int frames() const { return m_frames; }
    int foreign() const { return m_foreign; } ///< packets that do not belong to the call
    bool saidGoodbye() const { return m_goodbye; }

private:
    void work() override;
    void take(const std::uint8_t* packet, std::size_t size, const NetworkAddress& from);

    IncomingStream m_stream;
    MediaSocket& m_socket;
    FrameQueue& m_queue;
    NetworkAddress m_speaker;
    Wait m_begun;
    std::atomic<bool> m_stopped{false};
    std::atomic<bool> m_goodbye{false};
    std::atomic<int> m_frames{0};
    std::atomic<int> m_foreign{0};
};

} // namespace voicecall

#endif
