/// \file
/// The thread that sends.
#ifndef VOICE_CALL_SENDER_H
#define VOICE_CALL_SENDER_H

#include <atomic>
#include <cstdint>
#include <vector>

#include <gpal/packet_dump.h>

#include "call_thread.h"
#include "frame_ticker.h"
#include "media_socket.h"
#include "rtp.h"

namespace voicecall
{

/// Sends one frame of the encoded audio at each tick.
class Sender : public CallThread
{
public:
    /// Sends \p codes, of which the last frame is filled up with silence, over \p socket, which
    /// others may use too, to \p destination. What is sent also goes into \p capture, unless that
    /// is null.
    Sender(const RtpStream& stream, const std::vector<std::uint8_t>& codes, MediaSocket& socket,
           const NetworkAddress& destination, packet_dump* capture = nullptr);

    int frames() const { return m_frames; }
    /// Ends the call at the next tick, from any thread.
    void hangUp() { m_hungUp = true; }
    /// Waits until the last frame is sent, for \p timeoutMs at most; returns whether it is.
    bool waitUntilDone(int timeoutMs) { return m_done.wait(timeoutMs) == 1; }

    int sent() const { return m_sent; }
    int failed() const { return m_failed; }
    int captured() const { return m_captured; }
    /// How late each tick was, in microseconds. To be asked for after `join`.
    const std::vector<int>& lateness() const { return m_lateness; }

private:
    void work() override;
    void send(const RtpPacket& packet);
    Frame frame(int index) const;

    const RtpStream m_stream;
    const std::vector<std::uint8_t>& m_codes;
    MediaSocket& m_socket;
    const NetworkAddress m_destination;
    packet_dump* const m_capture;
    const int m_frames;
    FrameTicker m_ticker;
    Wait m_done;
    std::vector<int> m_lateness;
    std::atomic<bool> m_hungUp{false};
    std::atomic<int> m_sent{0};   ///< frames that got their tick
    std::atomic<int> m_failed{0}; ///< those of them that the network did not take
    std::atomic<int> m_captured{0};
};

} // namespace voicecall

#endif
