#include "sender.h"

#include <algorithm>

#include "g711.h"

namespace voicecall
{

Sender::Sender(const RtpStream& stream, const std::vector<std::uint8_t>& codes, MediaSocket& socket,
               const NetworkAddress& destination, packet_dump* capture)
    : CallThread("sender", GPAL_THREAD_PRIORITY_VOICE),
      m_stream(stream),
      m_codes(codes),
      m_socket(socket),
      m_destination(destination),
      m_capture(capture),
      m_frames(static_cast<int>((codes.size() + FRAME_SAMPLES - 1) / FRAME_SAMPLES))
{
    m_lateness.reserve(static_cast<std::size_t>(m_frames));
}

Frame Sender::frame(int index) const
{
    const std::size_t start = static_cast<std::size_t>(index) * FRAME_SAMPLES;
    const std::size_t end = std::min(start + FRAME_SAMPLES, m_codes.size());
    Frame made;
    made.index = index;
    made.payload.fill(MU_LAW_SILENCE);
    std::copy_n(m_codes.data() + start, end - start, made.payload.begin());
    return made;
}

void Sender::work()
{
    m_ticker.start(m_frames);
    for (int index = 0; index < m_frames; ++index) {
        const int late = m_ticker.waitForTick();
        if (m_hungUp) {
            break;
        }
        m_lateness.push_back(late);
        send(toPacket(m_stream, frame(index)));
    }
    m_done.signal();
}

void Sender::send(const RtpPacket& packet)
{
    if (!m_socket.send(packet.data(), packet.size(), m_destination)) {
        ++m_failed;
    }
    ++m_sent;
    RtpPacket copy = packet; // the layer's writer asks for bytes that may change
    const auto size = static_cast<int>(copy.size());
    if (m_capture != nullptr &&
        m_capture->write(reinterpret_cast<char*>(copy.data()), size, PACKET_DUMP_UDP) == size) {
        ++m_captured;
    }
}

} // namespace voicecall
